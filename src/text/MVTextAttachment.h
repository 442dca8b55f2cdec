#pragma once

#include <QString>

// What stands behind one U+FFFC character of the storage: the text that a
// fold hides. A U+FFFC without an attachment is an ordinary character.
class MVTextAttachment
{
public:
    explicit MVTextAttachment(const QString &string);
    virtual ~MVTextAttachment();

    const QString &string() const { return _string; }
    // The number of lines of the text; a final line break adds no line.
    qsizetype numberOfLines() const { return _numberOfLines; }
    // What stands for the attachment in texts that keep the storage's
    // locations: one blank.
    static QString emptyRepresentation() { return QStringLiteral(" "); }

    static qsizetype countLines(const QString &string);

private:
    QString _string;
    qsizetype _numberOfLines = 0;
};
