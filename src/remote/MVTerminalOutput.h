#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

// What a client printed since the last finished command, split into lines at
// the terminal's CR LF (a bare CR or LF ends no line), with the unfinished
// tail kept apart: a prompt has no line end. Each line keeps its raw bytes
// beside its text, so that a listed name can be sent back byte for byte.
class MVTerminalOutput
{
public:
    // Appends a chunk; lines it completes are added to lines().
    void append(QByteArrayView chunk);

    QStringList &lines() { return _lines; }
    const QList<QByteArray> &rawLines() const { return _rawLines; }
    bool hasLines() const { return !_lines.isEmpty(); }
    void clearLines();

    const QByteArray &rawTail() const { return _tail; }
    QString tail() const;
    bool hasTail() const { return !_tail.isEmpty(); }
    bool tailBeginsWith(QByteArrayView prefix) const { return _tail.startsWith(prefix); }
    // The tail ends in ":" or ": ", as an input request does.
    bool tailEndsWithColon() const;
    bool tailEndsWith(QByteArrayView suffix) const { return _tail.endsWith(suffix); }
    // Moves the tail, if not empty, to the end of the lines.
    void moveTailToLines();
    void clearTail() { _tail.clear(); _scanned = 0; }

private:
    QStringList _lines;
    QList<QByteArray> _rawLines;
    QByteArray _tail;
    qsizetype _scanned = 0; // bytes of _tail known to hold no line end
};
