#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

// Text of what a terminal client printed. Output is UTF-8; a byte that is
// not part of a valid UTF-8 sequence is read as Windows-1252, whose five
// unassigned bytes stand for the C1 controls of the same value, so every
// byte gives exactly one character and nothing is lost or replaced.
namespace MVTerminalText {
// Decodes complete bytes; an unfinished sequence at the end takes the fallback too.
QString decode(QByteArrayView bytes);
// Length of an unfinished but so far valid UTF-8 sequence at the end of bytes
// (0 to 3): those bytes wait for the rest of their character.
qsizetype unfinishedSuffixLength(QByteArrayView bytes);
// Why a command cannot be typed to a client, or an empty string: control
// characters would end the line early or run something else, and a line
// over 4000 bytes would be cut by the terminal's line editing.
QString refusalForCommand(const QString &command);
inline constexpr qsizetype MaximumCommandBytes = 4000;
}

// Decodes a stream of chunks: a character split between two chunks is
// decoded whole, with the second.
class MVTerminalDecoder
{
public:
    QString decode(QByteArrayView chunk);

private:
    QByteArray _pending;
};
