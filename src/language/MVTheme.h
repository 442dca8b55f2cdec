#pragma once

#include "text/MVTextAttributes.h"

#include <QColor>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <memory>

// One colour set: the colours of the text view and an attribute set
// (foreground and/or background colour) per style identifier. Languages name
// styles by dotted identifiers ("comment.block"); a theme answers for the
// most specific identifier it defines.
class MVTheme
{
public:
    // A new theme: "New Theme", black on white, modified.
    MVTheme();

    // A theme from the dictionary of a theme file. Values of the wrong type
    // are left out and described in loadProblems(); the theme is never null.
    static std::shared_ptr<MVTheme> initWithPlist(const QVariantMap &plist);
    // Reads a theme file. An unreadable file gives a theme with empty values
    // and a problem; path() remembers where it came from.
    static std::shared_ptr<MVTheme> initWithContentsOfFile(const QString &path);

    // A copy without identifier (it gets a new one on first use).
    std::shared_ptr<MVTheme> copy() const;

    // The generic setter of the colour preferences: "title", "backgroundColor",
    // "textColor", "insertionPointColor", "invisiblesColor", "selectionColor"
    // (a QColor or a style string). Marks the theme modified; false for an
    // unknown key or a value that is no colour.
    bool setValueForKey(const QVariant &value, const QString &key);

    // Writes the theme to the user's "Themes" folder if it was modified: back
    // to its own file when it came from there, else to "<id>.plist" (or a new
    // unique name when the identifier is not a safe file name). The modified
    // mark is cleared only when the write succeeded.
    bool commit(QString *error = nullptr);

    bool modified() const { return _modified; }
    void setModified(bool modified) { _modified = modified; }
    // Case-insensitive order of titles: negative, zero or positive.
    int compareTitle(const MVTheme &other) const;

    QString title() const { return _title; }
    void setTitle(const QString &title);
    // Makes a new UUID identifier when none is set.
    QString identifier();
    bool hasIdentifier() const { return !_identifier.isEmpty(); }
    void setIdentifier(const QString &identifier);

    // The attributes of the identifier, else of its nearest parent
    // ("a.b.c", then "a.b", then "a"); empty if none. Never fails.
    MVTextAttributes attributesForIdentifier(const QString &identifier) const;
    bool containsIdentifier(const QString &identifier) const { return _styles.contains(identifier); }
    QStringList styleIdentifiers() const { return _styles.keys(); }

    // Adds only a new identifier with a non-empty attribute set.
    bool addStyle(const QString &identifier, const MVTextAttributes &attributes);
    // Moves the attributes found for the old identifier (possibly a parent's)
    // to the new one and removes the old entry; an empty new name only removes.
    void changeIdentifier(const QString &oldIdentifier, const QString &newIdentifier);
    bool changeStyle(const QString &identifier, const MVTextAttributes &attributes);
    void removeStyle(const QString &identifier);

    QColor backgroundColor() const { return _backgroundColor; }
    QColor textColor() const { return _textColor; }
    QColor insertionPointColor() const { return _insertionPointColor; }
    QColor invisiblesColor() const { return _invisiblesColor; }
    QColor selectionColor() const { return _selectionColor; }
    void setBackgroundColor(const QColor &color);
    void setTextColor(const QColor &color);
    void setInsertionPointColor(const QColor &color);
    void setInvisiblesColor(const QColor &color);
    void setSelectionColor(const QColor &color);

    QVariantMap plistRepresentation() const;

    // The file the theme was read from, or the one it was last written to.
    QString path() const { return _path; }
    // What was wrong in the file it was read from (wrong types, bad colours).
    const QStringList &loadProblems() const { return _loadProblems; }

    // The default selection colour ("selectedControlColor").
    static QColor defaultSelectionColor();
    // Whether a theme identifier can be used as a file name as it stands.
    static bool isSafeFileName(const QString &name);

private:
    void _loadStylesFromPlist(const QVariantList &styles);
    QColor _colorFromValue(const QVariant &value, const QString &what);

    QString _title;
    QString _identifier;
    bool _modified = false;
    QColor _backgroundColor;
    QColor _textColor;
    QColor _insertionPointColor;
    QColor _invisiblesColor;
    QColor _selectionColor;
    QMap<QString, MVTextAttributes> _styles;

    QString _path;
    QStringList _loadProblems;
};
