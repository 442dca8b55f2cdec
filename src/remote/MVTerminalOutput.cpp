#include "remote/MVTerminalOutput.h"

#include "remote/MVTerminalText.h"

void MVTerminalOutput::append(QByteArrayView chunk)
{
    _tail.append(chunk);
    qsizetype start = 0;
    qsizetype from = _scanned;
    for (;;) {
        const qsizetype end = _tail.indexOf("\r\n", from);
        if (end < 0)
            break;
        QByteArray raw = _tail.sliced(start, end - start);
        _lines.append(MVTerminalText::decode(raw));
        _rawLines.append(std::move(raw));
        start = end + 2;
        from = start;
    }
    if (start > 0)
        _tail.remove(0, start);
    // A CR at the very end may be the first half of a line end.
    _scanned = _tail.endsWith('\r') ? _tail.size() - 1 : _tail.size();
}

void MVTerminalOutput::clearLines()
{
    _lines.clear();
    _rawLines.clear();
}

QString MVTerminalOutput::tail() const
{
    return MVTerminalText::decode(_tail);
}

bool MVTerminalOutput::tailEndsWithColon() const
{
    return _tail.endsWith(':') || _tail.endsWith(": ");
}

void MVTerminalOutput::moveTailToLines()
{
    if (_tail.isEmpty())
        return;
    _lines.append(MVTerminalText::decode(_tail));
    _rawLines.append(_tail);
    clearTail();
}
