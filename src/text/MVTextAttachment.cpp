#include "text/MVTextAttachment.h"

#include "text/MVTextBuffer.h"

MVTextAttachment::MVTextAttachment(const QString &string)
    : _string(string)
    , _numberOfLines(countLines(string))
{
}

MVTextAttachment::~MVTextAttachment() = default;

qsizetype MVTextAttachment::countLines(const QString &string)
{
    if (string.isEmpty())
        return 0;
    MVTextBuffer buffer(string);
    qsizetype lines = buffer.lineCount();
    // An empty last line behind a final line break is not a line of its own.
    if (MVTextBuffer::isLineTerminator(string.back().unicode()))
        --lines;
    return lines;
}
