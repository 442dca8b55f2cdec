#pragma once

#include <memory>

class MVFile;

// Watches nodes for changes on disk, on a thread of its own, and calls
// MVFile::watcherNoticedChange, which moves to the main thread by itself (the
// inotify watcher already calls it there, so that a node is never held, and
// so never destroyed, off the main thread). A watcher keeps only weak
// references to nodes.
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
