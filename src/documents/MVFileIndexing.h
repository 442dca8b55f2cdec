#pragma once

#include <QString>

#include <atomic>

// What documents tell the code index: a single-file document that makes its
// view and every successful save hand over the file's path. The index stands
// on a higher floor and installs itself here at launch; until then, and in
// programs without one, the calls go nowhere.
class MVFileIndexing
{
public:
    virtual ~MVFileIndexing() = default;

    virtual void indexFile(const QString &path) = 0;
    virtual void indexDirectory(const QString &path) = 0;

    static void setShared(MVFileIndexing *indexing) { _shared().store(indexing); }
    static MVFileIndexing *shared() { return _shared().load(); }

private:
    static std::atomic<MVFileIndexing *> &_shared()
    {
        static std::atomic<MVFileIndexing *> instance{nullptr};
        return instance;
    }
};
