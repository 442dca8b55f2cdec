#pragma once

#include "files/MVFileWatcher.h"

#include <QtGlobal>

#include <memory>

// The file watcher over inotify: one inotify descriptor and one thread per
// root. Each watched node gets one watch (nodes on the same file share the
// kernel's watch descriptor); inotify needs no descriptor per file, so a path
// that cannot be watched leaves nothing open.
//
// Type 0 (a file) sees writes that are closed, attribute changes, and the
// file being deleted or moved away. When the file at the path was replaced
// (an editor's or our own save by rename), the watch is added again by path
// and the change is reported. Type 1 (a directory) and type 2 (the root) see
// entries appearing, vanishing and being renamed; the root also sees itself
// go.
//
// Events are gathered for about 100 ms before they are delivered, and each
// node's change is delivered once per burst, on the main thread, through
// MVFile::watcherNoticedChange. An event for a node that is gone or no longer
// watched is dropped. After resetForFile, events whose file still has the
// identity, size and time it had at the reset (those of our own save) are
// dropped too.
//
// When the system's inotify limits are reached the program keeps working
// without watching: make() gives nothing when no inotify instance can be
// had, and watchFile() gives false when no watch can be added.
class MVInotifyWatcher : public MVFileWatcher
{
public:
    // The event bits passed to watcherNoticedChange.
    enum Event : quint32 {
        Deleted = 0x01,
        Written = 0x02,
        AttributesChanged = 0x08,
        Renamed = 0x20,
        Revoked = 0x40,
    };

    // A running watcher, or nothing if inotify is not available.
    static std::shared_ptr<MVInotifyWatcher> make();
    // Makes every new local root watch with an inotify watcher. Called once
    // at launch.
    static void install();

    ~MVInotifyWatcher() override;

    bool watchFile(const std::shared_ptr<MVFile> &file, int type) override;
    bool resetForFile(const std::shared_ptr<MVFile> &file, int type) override;
    void stopWatching(const MVFile &file) override;
    void destroy() override;

    // For tests: the number of watched nodes, and of kernel watches held.
    int countOfWatchedFiles() const;
    int countOfKernelWatches() const;

    struct State;

private:
    explicit MVInotifyWatcher(std::shared_ptr<State> state);

    std::shared_ptr<State> _state;
};
