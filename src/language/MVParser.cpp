#include "language/MVParser.h"

#include "platform/MVPropertyList.h"
#include "search/MVRegex.h"

namespace {

QStringList stringList(const QVariant &value)
{
    QStringList result;
    for (const QVariant &entry : value.toList()) {
        if (entry.typeId() == QMetaType::QString)
            result.append(entry.toString());
    }
    return result;
}

} // namespace

MVParser::MVParser(MVBundle *bundle, const QVariantMap &plist)
    : _bundle(bundle)
{
    const QVariant id = plist.value(QStringLiteral("format-id"));
    if (id.typeId() == QMetaType::QString)
        _identifier = id.toString();
    const QVariantMap folding = plist.value(QStringLiteral("folding")).toMap();
    setFoldOpener(folding.value(QStringLiteral("open")).toString());
    setFoldCloser(folding.value(QStringLiteral("close")).toString());
    _openers = stringList(plist.value(QStringLiteral("openers")));
    _closers = stringList(plist.value(QStringLiteral("closers")));
}

MVParser::MVParser(MVBundle *bundle, const QString &identifier)
    : _bundle(bundle)
    , _identifier(identifier)
{
}

MVParser::~MVParser() = default;

void MVParser::finishLoad(MVBundleRepository &)
{
}

void MVParser::setTheme(const std::shared_ptr<MVTheme> &theme)
{
    _theme = theme;
}

void MVParser::setFoldOpener(const QString &pattern)
{
    if (pattern.isEmpty())
        return;
    _foldOpenerPattern = pattern;
    _foldOpener = MVRegex::initWithPattern(pattern);
}

void MVParser::setFoldCloser(const QString &pattern)
{
    if (pattern.isEmpty())
        return;
    _foldCloserPattern = pattern;
    _foldCloser = MVRegex::initWithPattern(pattern);
}

QVariantMap MVParser::plistRepresentation() const
{
    QVariantMap plist;
    plist.insert(QStringLiteral("format-version"), QStringLiteral("1.0"));
    if (!_identifier.isEmpty())
        plist.insert(QStringLiteral("format-id"), _identifier);
    if (!_foldOpenerPattern.isEmpty() || !_foldCloserPattern.isEmpty()) {
        QVariantMap folding;
        if (!_foldOpenerPattern.isEmpty())
            folding.insert(QStringLiteral("open"), _foldOpenerPattern);
        if (!_foldCloserPattern.isEmpty())
            folding.insert(QStringLiteral("close"), _foldCloserPattern);
        plist.insert(QStringLiteral("folding"), folding);
    }
    if (!_openers.isEmpty())
        plist.insert(QStringLiteral("openers"), _openers);
    if (!_closers.isEmpty())
        plist.insert(QStringLiteral("closers"), _closers);
    return plist;
}

bool MVParser::commitToPath(const QString &contentsPath)
{
    if (_codeNavParser && !_codeNavParser->commitToPath(contentsPath))
        return false;
    return MVPropertyList::writeFile(plistRepresentation(), contentsPath + QStringLiteral("/syntax.plist"),
                                     MVPropertyList::BinaryFormat);
}
