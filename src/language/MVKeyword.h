#pragma once

#include "text/MVTextAttributes.h"

#include <QString>
#include <QVariantMap>

#include <memory>

class MVRegex;
class MVTheme;

// One keyword of a keyword language: a literal word or a pattern, with the
// style identifier of the theme that colours it.
class MVKeyword
{
public:
    MVKeyword(const QString &identifier, const QString &keyword);
    static std::shared_ptr<MVKeyword> initWithIdentifierPattern(const QString &identifier, const QString &pattern);
    // "id" and "keyword", the latter a pattern.
    static std::shared_ptr<MVKeyword> initWithPlist(const QVariantMap &plist);

    // "id", and "keyword" with the pattern for a pattern keyword.
    QVariantMap plistRepresentation() const;
    // The theme's attributes for the style; a null theme changes nothing.
    void setTheme(const std::shared_ptr<MVTheme> &theme);

    const MVTextAttributes &attributes() const { return _attributes; }
    const QString &identifier() const { return _themeID; }
    // The literal word; empty for a pattern keyword.
    const QString &keyword() const { return _keyword; }
    // The compiled pattern; null for a literal keyword or one that does not compile.
    const std::shared_ptr<MVRegex> &regex() const { return _regex; }
    bool isPattern() const { return _isPattern; }
    // The word, or the pattern of a pattern keyword.
    QString stringValue() const;

private:
    MVKeyword() = default;

    QString _keyword;
    std::shared_ptr<MVRegex> _regex;
    QString _pattern;
    bool _isPattern = false;
    QString _themeID;
    MVTextAttributes _attributes;
};
