#include "files/MVFileEnumerator.h"

#include "platform/MVMainThread.h"

MVFileEnumerator::MVFileEnumerator(const MVFile::Ptr &start)
{
    if (start)
        _queue.push_back(start);
}

MVFile::Ptr MVFileEnumerator::nextObject()
{
    if (_queue.empty())
        return nullptr;
    MVFile::Ptr file = std::move(_queue.front());
    _queue.pop_front();
    MVFile::List children;
    MVMainThread::sync([&file, &children] {
        if (file->fileType() == 1)
            children = file->children(true);
    });
    _queue.insert(_queue.end(), children.begin(), children.end());
    return file;
}

MVFile::List MVFileEnumerator::allObjects()
{
    MVFile::List all;
    while (MVFile::Ptr file = nextObject())
        all.push_back(std::move(file));
    return all;
}
