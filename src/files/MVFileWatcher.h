#pragma once

#include <memory>

class MVFile;

// Watches nodes for changes on disk, on a thread of its own, and calls
// MVFile::watcherNoticedChange on that thread. Keyed by the node's uuid; a
// watcher keeps only weak references to nodes.
class MVFileWatcher
{
public:
    enum WatchType { File = 0, Directory = 1, Root = 2 };

    virtual ~MVFileWatcher() = default;

    // Starts watching; true if the node is (already) watched. A second call
    // for a watched node keeps the first watch and its type.
    virtual bool watchFile(const std::shared_ptr<MVFile> &file, int type) = 0;
    // Renews the watch of a watched node whose file was replaced; false if the
    // node is not watched.
    virtual bool resetForFile(const std::shared_ptr<MVFile> &file, int type) = 0;
    virtual void stopWatching(const MVFile &file) = 0;
    // Stops watching everything and ends the thread.
    virtual void destroy() = 0;
};
