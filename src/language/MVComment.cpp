#include "language/MVComment.h"

#include "language/MVTheme.h"

namespace {
QString stringValue(const QVariantMap &plist, const char *key)
{
    const QVariant value = plist.value(QLatin1String(key));
    return value.typeId() == QMetaType::QString ? value.toString() : QString();
}
} // namespace

MVComment::MVComment(const QVariantMap &plist)
    : _begin(stringValue(plist, "begin"))
    , _end(stringValue(plist, "end"))
    , _themeID(stringValue(plist, "id"))
{
}

QVariantMap MVComment::plistRepresentation() const
{
    QVariantMap plist;
    if (!_begin.isEmpty())
        plist.insert(QStringLiteral("begin"), _begin);
    if (!_end.isEmpty())
        plist.insert(QStringLiteral("end"), _end);
    if (!_themeID.isEmpty())
        plist.insert(QStringLiteral("id"), _themeID);
    return plist;
}

void MVComment::setTheme(const std::shared_ptr<MVTheme> &theme)
{
    if (!theme)
        return;
    _attributes = theme->attributesForIdentifier(_themeID);
    if (!_end.isEmpty())
        _attributes.setMultiLine();
}
