#include "language/MVKeyword.h"

#include "language/MVTheme.h"
#include "search/MVRegex.h"

MVKeyword::MVKeyword(const QString &identifier, const QString &keyword)
    : _keyword(keyword)
    , _themeID(identifier)
{
}

std::shared_ptr<MVKeyword> MVKeyword::initWithIdentifierPattern(const QString &identifier, const QString &pattern)
{
    auto keyword = std::shared_ptr<MVKeyword>(new MVKeyword());
    keyword->_themeID = identifier;
    keyword->_pattern = pattern;
    keyword->_isPattern = true;
    keyword->_regex = MVRegex::initWithPattern(pattern);
    return keyword;
}

std::shared_ptr<MVKeyword> MVKeyword::initWithPlist(const QVariantMap &plist)
{
    return initWithIdentifierPattern(plist.value(QStringLiteral("id")).toString(),
                                     plist.value(QStringLiteral("keyword")).toString());
}

QVariantMap MVKeyword::plistRepresentation() const
{
    QVariantMap plist;
    plist.insert(QStringLiteral("id"), _themeID);
    if (_isPattern)
        plist.insert(QStringLiteral("keyword"), _pattern);
    return plist;
}

void MVKeyword::setTheme(const std::shared_ptr<MVTheme> &theme)
{
    if (theme)
        _attributes = theme->attributesForIdentifier(_themeID);
}

QString MVKeyword::stringValue() const
{
    return _isPattern ? _pattern : _keyword;
}
