#pragma once

#include "files/MVFile.h"

#include <functional>

// The root of a tree: holds the absolute local path, the watcher of the tree
// and the site's queue, and answers for them to every node below.
class MVRootFile : public MVFile
{
public:
    using WatcherFactory = std::function<std::shared_ptr<MVFileWatcher>()>;

    // With watchForChanges a watcher is made for a local directory that is
    // not on a network file system, if a watcher factory is set.
    static std::shared_ptr<MVRootFile> rootWithPath(const QString &path, bool watchForChanges = true);
    static void setWatcherFactory(WatcherFactory factory);
    // True for network file systems, whose changes a watcher cannot see.
    static bool isNetworkFileSystem(const QString &path);

    MVRootFile() = default;
    ~MVRootFile() override;

    QString name() const override;
    QString path() const override { return _path; }
    QString pathFromRoot() const override { return QString(); }
    // The root is a directory whether or not the local one exists.
    int fileType() const override { return 1; }
    // Absolute components: the root's own path gives the root; a path that
    // starts with the root's path gives the node below it; anything else nothing.
    Ptr childWithPath(const QStringList &components, bool load) override;

    std::shared_ptr<MVFileWatcher> fileWatcher() const override { return _watcher; }
    std::shared_ptr<MVRemoteFilesQueue> remoteQueue() const override { return _remoteQueue; }
    bool remoteOnly() const override { return _remoteOnly; }
    void setRemoteOnly(bool remoteOnly) { _remoteOnly = remoteOnly; }
    // Cuts the old queue off and makes the remote side anew with the new one.
    void setRemoteQueue(const std::shared_ptr<MVRemoteFilesQueue> &queue);

private:
    QString _path;
    std::shared_ptr<MVRemoteFilesQueue> _remoteQueue;
    std::shared_ptr<MVFileWatcher> _watcher;
    bool _remoteOnly = false;
};
