#pragma once

#include <QString>

class MVTextBuffer;

// Reads the characters of a buffer one at a time, in either direction,
// through a window of the text that is copied again only when a read leaves
// it. So a scan costs one copy per window, not per character, and never a
// copy of the whole text.
class MVTextScanner
{
public:
    explicit MVTextScanner(const MVTextBuffer &buffer);

    qsizetype length() const { return _length; }
    // The character at index; a null character outside the text.
    QChar at(qsizetype index);
    // The last index before from (exclusive) holding c, looking back at most
    // limit characters; -1 if none.
    qsizetype lastIndexOf(QChar c, qsizetype from, qsizetype limit);
    // The first index at or after from holding c, up to end; -1 if none.
    qsizetype indexOf(QChar c, qsizetype from, qsizetype end);

private:
    void _load(qsizetype index);

    const MVTextBuffer &_buffer;
    qsizetype _length;
    QString _window;
    qsizetype _windowStart = 0;
};
