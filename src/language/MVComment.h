#pragma once

#include "text/MVTextAttributes.h"

#include <QString>
#include <QVariantMap>

#include <memory>

class MVTheme;

// One comment form of a keyword language: an opener and, for a block
// comment, a closer. A comment without a closer runs to the end of its line.
class MVComment
{
public:
    // "begin", "end", "id".
    explicit MVComment(const QVariantMap &plist);

    QVariantMap plistRepresentation() const;
    // The theme's attributes for the style; a block comment's carry the
    // multi-line mark, so that an edit inside it re-parses from its start.
    // A null theme changes nothing.
    void setTheme(const std::shared_ptr<MVTheme> &theme);

    const MVTextAttributes &attributes() const { return _attributes; }
    const QString &begin() const { return _begin; }
    // Empty for a comment to the end of the line.
    const QString &end() const { return _end; }
    const QString &identifier() const { return _themeID; }

private:
    QString _begin;
    QString _end;
    QString _themeID;
    MVTextAttributes _attributes;
};
