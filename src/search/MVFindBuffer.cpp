#include "search/MVFindBuffer.h"

MVFindBuffer &MVFindBuffer::sharedBuffer()
{
    static MVFindBuffer buffer;
    return buffer;
}

QString MVFindBuffer::string() const
{
    std::lock_guard lock(_mutex);
    return _string;
}

void MVFindBuffer::setString(const QString &string)
{
    std::lock_guard lock(_mutex);
    _string = string;
}
