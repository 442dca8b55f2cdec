#pragma once

#include "files/MVFile.h"

#include <deque>

// Walks a tree breadth first from a start node (which comes first), loading
// directories as it goes. Loading happens on the main thread, so a worker may
// walk a tree while the main thread runs its event loop.
class MVFileEnumerator
{
public:
    explicit MVFileEnumerator(const MVFile::Ptr &start);

    // The next node, or null at the end.
    MVFile::Ptr nextObject();
    MVFile::List allObjects();

private:
    std::deque<MVFile::Ptr> _queue;
};
