#include "files/MVRootFile.h"

#include "files/MVFileWatcher.h"
#include "files/MVLocalFileRepresentation.h"
#include "files/MVRemoteFilesQueue.h"
#include "files/PathModification.h"

#include <QDir>
#include <QFile>

#include <mutex>
#include <sys/stat.h>
#include <sys/vfs.h>

namespace {

std::mutex s_watcherMutex;
MVRootFile::WatcherFactory s_watcherFactory;

} // namespace

void MVRootFile::setWatcherFactory(WatcherFactory factory)
{
    std::lock_guard lock(s_watcherMutex);
    s_watcherFactory = std::move(factory);
}

bool MVRootFile::isNetworkFileSystem(const QString &path)
{
    struct statfs info;
    if (::statfs(QFile::encodeName(path).constData(), &info) != 0)
        return false;
    switch (static_cast<unsigned long>(info.f_type)) {
    case 0x6969UL:     // NFS
    case 0x517BUL:     // SMB
    case 0xFF534D42UL: // CIFS
    case 0xFE534D42UL: // SMB2
    case 0x65735546UL: // FUSE
    case 0x01021997UL: // 9P
    case 0x5346414FUL: // AFS
        return true;
    default:
        return false;
    }
}

std::shared_ptr<MVRootFile> MVRootFile::rootWithPath(const QString &path, bool watchForChanges)
{
    auto root = std::make_shared<MVRootFile>();
    root->_path = path.size() > 1 && path.endsWith(QLatin1Char('/')) ? QDir::cleanPath(path) : path;
    auto rep = MVLocalFileRepresentation::make(root->_path);
    root->_localRepresentation = rep;
    rep->setDelegate(root);

    struct stat st;
    const bool isDirectory = ::stat(QFile::encodeName(root->_path).constData(), &st) == 0 && S_ISDIR(st.st_mode);
    if (watchForChanges && isDirectory && !isNetworkFileSystem(root->_path)) {
        WatcherFactory factory;
        {
            std::lock_guard lock(s_watcherMutex);
            factory = s_watcherFactory;
        }
        if (factory)
            root->_watcher = factory();
        if (root->_watcher)
            root->_watcher->watchFile(root, MVFileWatcher::Root);
    }
    return root;
}

MVRootFile::~MVRootFile()
{
    if (_watcher)
        _watcher->destroy();
    if (_remoteQueue)
        _remoteQueue->clearActionDelegate(this);
}

QString MVRootFile::name() const
{
    return _path.mid(_path.lastIndexOf(QLatin1Char('/')) + 1);
}

MVFile::Ptr MVRootFile::childWithPath(const QStringList &components, bool load)
{
    QString joined = components.join(QLatin1Char('/'));
    while (joined.startsWith(QLatin1String("//")))
        joined.remove(0, 1);
    if (joined == _path)
        return shared_from_this();
    const QString prefix = PathModification::stringWithTrailingSlash(_path);
    if (!joined.startsWith(prefix))
        return nullptr;
    return MVFile::childWithPath(joined.mid(prefix.size()).split(QLatin1Char('/'), Qt::SkipEmptyParts), load);
}

void MVRootFile::setRemoteQueue(const std::shared_ptr<MVRemoteFilesQueue> &queue)
{
    if (queue == _remoteQueue)
        return;
    if (_remoteQueue)
        _remoteQueue->clearActionDelegate(this);
    _remoteQueue = queue;
    loadRemoteRepresentation();
}
