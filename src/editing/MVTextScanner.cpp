#include "editing/MVTextScanner.h"

#include "text/MVTextBuffer.h"

namespace {
constexpr qsizetype WindowSize = 16 * 1024;
}

MVTextScanner::MVTextScanner(const MVTextBuffer &buffer)
    : _buffer(buffer)
    , _length(buffer.length())
{
}

void MVTextScanner::_load(qsizetype index)
{
    // Centred on the index, so that a scan in either direction goes on
    // inside the window for half its size.
    _windowStart = qMax<qsizetype>(0, index - WindowSize / 2);
    _window = _buffer.substring(MVRange{_windowStart, qMin(WindowSize, _length - _windowStart)});
}

QChar MVTextScanner::at(qsizetype index)
{
    if (index < 0 || index >= _length)
        return QChar();
    if (index < _windowStart || index >= _windowStart + _window.size())
        _load(index);
    return _window.at(index - _windowStart);
}

qsizetype MVTextScanner::lastIndexOf(QChar c, qsizetype from, qsizetype limit)
{
    const qsizetype stop = qMax<qsizetype>(0, from - limit);
    for (qsizetype i = qMin(from, _length) - 1; i >= stop; --i) {
        if (at(i) == c)
            return i;
    }
    return -1;
}

qsizetype MVTextScanner::indexOf(QChar c, qsizetype from, qsizetype end)
{
    end = qMin(end, _length);
    for (qsizetype i = qMax<qsizetype>(0, from); i < end; ++i) {
        if (at(i) == c)
            return i;
    }
    return -1;
}
