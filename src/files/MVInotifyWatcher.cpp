#include "files/MVInotifyWatcher.h"

#include "files/MVFile.h"
#include "files/MVRootFile.h"
#include "platform/MVLog.h"
#include "platform/MVMainThread.h"

#include <QFile>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <mutex>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <vector>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

// Quiet time after the last event before a burst is delivered, and the
// longest a burst is held back while events keep coming.
constexpr auto QuietTime = std::chrono::milliseconds(100);
constexpr auto LongestHold = std::chrono::milliseconds(1000);
// The thread wakes at least this often, even with nothing to do.
constexpr int IdleWakeUpMs = 30000;

constexpr uint32_t SelfGone = IN_DELETE_SELF | IN_MOVE_SELF;
constexpr uint32_t EntriesChanged = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;

uint32_t maskForType(int type)
{
    switch (type) {
    case MVFileWatcher::File:
        return IN_CLOSE_WRITE | IN_ATTRIB | SelfGone;
    case MVFileWatcher::Directory:
    case MVFileWatcher::Root:
    default:
        return EntriesChanged | SelfGone | IN_ONLYDIR | IN_EXCL_UNLINK;
    }
}

// What the node is told, in the bits of the watch types.
quint32 eventBits(uint32_t mask, int type)
{
    quint32 bits = 0;
    if (mask & (IN_CLOSE_WRITE | EntriesChanged))
        bits |= MVInotifyWatcher::Written;
    if (mask & IN_ATTRIB)
        bits |= MVInotifyWatcher::AttributesChanged;
    if (mask & IN_UNMOUNT)
        bits |= MVInotifyWatcher::Revoked;
    // A directory that goes away is reported by its parent's listing; only
    // files and the root hear of their own end.
    if (type != MVFileWatcher::Directory) {
        if (mask & IN_DELETE_SELF)
            bits |= MVInotifyWatcher::Deleted;
        if (mask & IN_MOVE_SELF)
            bits |= MVInotifyWatcher::Renamed;
    }
    return bits;
}

// What a file is, as far as a change of its contents goes.
struct Signature
{
    bool exists = false;
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    struct timespec modified = {};

    static Signature of(const QByteArray &path)
    {
        Signature signature;
        struct stat st;
        if (::stat(path.constData(), &st) != 0)
            return signature;
        signature.exists = true;
        signature.device = st.st_dev;
        signature.inode = st.st_ino;
        signature.size = st.st_size;
        signature.modified = st.st_mtim;
        return signature;
    }

    bool operator==(const Signature &other) const
    {
        if (exists != other.exists)
            return false;
        return !exists
            || (device == other.device && inode == other.inode && size == other.size
                && modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec);
    }
};

bool isDirectory(const QByteArray &path)
{
    struct stat st;
    return ::stat(path.constData(), &st) == 0 && S_ISDIR(st.st_mode);
}

} // namespace

struct MVInotifyWatcher::State
{
    struct Entry
    {
        std::weak_ptr<MVFile> node;
        QByteArray path;
        int type = File;
        // The kernel's watch, or -1 when it was lost and must be added again.
        int watch = -1;
        // Events gathered for the next delivery.
        quint32 pending = 0;
        // The file as the node last knew it (files only).
        Signature known;
        // What the kernel's watch is on.
        dev_t watchedDevice = 0;
        ino_t watchedInode = 0;
    };

    ~State()
    {
        if (inotifyFd >= 0)
            ::close(inotifyFd);
        if (wakeFd >= 0)
            ::close(wakeFd);
    }

    // All below with the mutex held.
    bool addWatch(const MVFile *key, Entry &entry);
    void releaseWatch(const MVFile *key, Entry &entry);
    void forgetWatch(int watch);
    void handle(const struct inotify_event &event);
    void run();
    void deliver();

    int inotifyFd = -1;
    int wakeFd = -1;
    std::atomic<bool> die{false};
    std::thread thread;
    std::weak_ptr<State> self;

    mutable std::mutex mutex;
    std::unordered_map<const MVFile *, Entry> files;
    std::unordered_map<int, std::vector<const MVFile *>> watches;
    bool limitLogged = false;
    Clock::time_point firstPending;
    Clock::time_point lastEvent;
    bool anyPending = false;
};

bool MVInotifyWatcher::State::addWatch(const MVFile *key, Entry &entry)
{
    // Several nodes on one file get the same watch descriptor from the kernel:
    // their masks are joined, and each node filters by its own.
    const int watch = ::inotify_add_watch(inotifyFd, entry.path.constData(), maskForType(entry.type) | IN_MASK_ADD);
    if (watch < 0) {
        if (errno == ENOSPC && !limitLogged) {
            limitLogged = true;
            MVLog::line(QStringLiteral("INOTIFY WATCH LIMIT REACHED, NOT WATCHING: %1").arg(QFile::decodeName(entry.path)));
        }
        entry.watch = -1;
        return false;
    }
    entry.watch = watch;
    watches[watch].push_back(key);
    struct stat st;
    if (::stat(entry.path.constData(), &st) == 0) {
        entry.watchedDevice = st.st_dev;
        entry.watchedInode = st.st_ino;
    }
    return true;
}

void MVInotifyWatcher::State::releaseWatch(const MVFile *key, Entry &entry)
{
    if (entry.watch < 0)
        return;
    const auto found = watches.find(entry.watch);
    if (found != watches.end()) {
        std::erase(found->second, key);
        if (found->second.empty()) {
            ::inotify_rm_watch(inotifyFd, entry.watch);
            watches.erase(found);
        }
    }
    entry.watch = -1;
}

// The kernel's watch is gone (or follows a file that left the path): every
// node on it is to be watched again by path at the next delivery.
void MVInotifyWatcher::State::forgetWatch(int watch)
{
    const auto found = watches.find(watch);
    if (found == watches.end())
        return;
    for (const MVFile *key : found->second) {
        const auto entry = files.find(key);
        if (entry != files.end())
            entry->second.watch = -1;
    }
    watches.erase(found);
}

void MVInotifyWatcher::State::handle(const struct inotify_event &event)
{
    if (event.mask & IN_Q_OVERFLOW) {
        // Events were lost: every node looks again. Files whose identity,
        // size and time did not change are not told.
        for (auto &[key, entry] : files)
            entry.pending |= Written;
        anyPending = true;
        return;
    }
    const auto found = watches.find(event.wd);
    if (found == watches.end())
        return;
    for (const MVFile *key : found->second) {
        const auto entry = files.find(key);
        if (entry == files.end())
            continue;
        const quint32 bits = eventBits(event.mask & (maskForType(entry->second.type) | IN_UNMOUNT), entry->second.type);
        if (bits) {
            entry->second.pending |= bits;
            anyPending = true;
        }
    }
    if (event.mask & IN_IGNORED) {
        forgetWatch(event.wd);
    } else if (event.mask & IN_MOVE_SELF) {
        // The watch would follow the file to its new name; the node means
        // whatever is at its path.
        ::inotify_rm_watch(inotifyFd, event.wd);
        forgetWatch(event.wd);
    }
}

void MVInotifyWatcher::State::deliver()
{
    struct Delivery
    {
        const MVFile *key;
        std::weak_ptr<MVFile> node;
        quint32 bits;
    };
    std::vector<Delivery> deliveries;
    {
        std::lock_guard lock(mutex);
        for (auto it = files.begin(); it != files.end();) {
            Entry &entry = it->second;
            if (entry.node.expired()) {
                // The node went without saying so: nothing to tell.
                releaseWatch(it->first, entry);
                it = files.erase(it);
                continue;
            }
            if (entry.pending && entry.watch >= 0) {
                // A file replaced while the old one is still open somewhere
                // is not deleted yet: the watch must move to the new one.
                struct stat st;
                if (::stat(entry.path.constData(), &st) == 0
                    && (st.st_dev != entry.watchedDevice || st.st_ino != entry.watchedInode))
                    releaseWatch(it->first, entry);
            }
            if (entry.watch < 0 && (entry.type == File || isDirectory(entry.path)))
                addWatch(it->first, entry);
            if (entry.pending)
                deliveries.push_back({it->first, entry.node, entry.pending});
            entry.pending = 0;
            ++it;
        }
        anyPending = false;
    }
    const std::weak_ptr<State> weakState = self;
    for (Delivery &delivery : deliveries) {
        // Checked again on the main thread: by then a save of our own has
        // noted its file (resetForFile), and the node may have stopped
        // watching or gone.
        MVMainThread::async([weakState, key = delivery.key, node = std::move(delivery.node), bits = delivery.bits] {
            const auto state = weakState.lock();
            const auto file = node.lock();
            if (!state || !file || state->die)
                return;
            {
                std::lock_guard lock(state->mutex);
                const auto found = state->files.find(key);
                if (found == state->files.end() || found->second.node.lock() != file)
                    return;
                Entry &entry = found->second;
                if (entry.type == File) {
                    const Signature now = Signature::of(entry.path);
                    if (now == entry.known)
                        return;
                    entry.known = now;
                } else if (entry.type == Directory && !isDirectory(entry.path)) {
                    return;
                }
            }
            file->watcherNoticedChange(bits);
        });
    }
}

void MVInotifyWatcher::State::run()
{
    // A background thread of low importance.
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), 10);
    alignas(struct inotify_event) char buffer[16 * 1024];
    while (!die) {
        int timeout = IdleWakeUpMs;
        bool pending;
        {
            std::lock_guard lock(mutex);
            pending = anyPending;
        }
        if (pending) {
            const auto now = Clock::now();
            const auto due = std::min(lastEvent + QuietTime, firstPending + LongestHold);
            timeout = due <= now ? 0 : static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(due - now).count());
        }
        struct pollfd fds[2] = {{inotifyFd, POLLIN, 0}, {wakeFd, POLLIN, 0}};
        const int ready = ::poll(fds, 2, timeout);
        if (die)
            break;
        if (ready < 0 && errno != EINTR)
            break;
        if (ready > 0 && (fds[0].revents & POLLIN)) {
            const ssize_t length = ::read(inotifyFd, buffer, sizeof buffer);
            if (length > 0) {
                std::lock_guard lock(mutex);
                const bool wasPending = anyPending;
                for (ssize_t offset = 0; offset < length;) {
                    const auto *event = reinterpret_cast<const struct inotify_event *>(buffer + offset);
                    handle(*event);
                    offset += static_cast<ssize_t>(sizeof(struct inotify_event) + event->len);
                }
                lastEvent = Clock::now();
                if (anyPending && !wasPending)
                    firstPending = lastEvent;
            }
        }
        if (ready > 0 && (fds[1].revents & POLLIN)) {
            uint64_t count;
            [[maybe_unused]] const ssize_t ignored = ::read(wakeFd, &count, sizeof count);
        }
        bool due;
        {
            std::lock_guard lock(mutex);
            const auto now = Clock::now();
            due = anyPending && (now >= lastEvent + QuietTime || now >= firstPending + LongestHold);
        }
        if (due)
            deliver();
    }
}

std::shared_ptr<MVInotifyWatcher> MVInotifyWatcher::make()
{
    auto state = std::make_shared<State>();
    state->inotifyFd = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (state->inotifyFd < 0) {
        MVLog::line(QStringLiteral("INOTIFY UNAVAILABLE, NOT WATCHING: %1").arg(QString::fromLocal8Bit(std::strerror(errno))));
        return nullptr;
    }
    state->wakeFd = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (state->wakeFd < 0) {
        MVLog::line(QStringLiteral("EVENTFD FAILED, NOT WATCHING: %1").arg(QString::fromLocal8Bit(std::strerror(errno))));
        return nullptr;
    }
    state->self = state;
    try {
        state->thread = std::thread([state] { state->run(); });
    } catch (const std::system_error &error) {
        MVLog::line(QStringLiteral("WATCHER THREAD NOT STARTED, NOT WATCHING: %1").arg(QString::fromLocal8Bit(error.what())));
        return nullptr;
    }
    return std::shared_ptr<MVInotifyWatcher>(new MVInotifyWatcher(std::move(state)));
}

void MVInotifyWatcher::install()
{
    MVRootFile::setWatcherFactory([]() -> std::shared_ptr<MVFileWatcher> { return make(); });
}

MVInotifyWatcher::MVInotifyWatcher(std::shared_ptr<State> state) : _state(std::move(state)) {}

MVInotifyWatcher::~MVInotifyWatcher()
{
    destroy();
}

bool MVInotifyWatcher::watchFile(const std::shared_ptr<MVFile> &file, int type)
{
    if (!file || _state->die)
        return false;
    const MVFile *key = file.get();
    const QByteArray path = QFile::encodeName(file->path());
    std::lock_guard lock(_state->mutex);
    auto found = _state->files.find(key);
    if (found != _state->files.end()) {
        if (found->second.node.lock() == file)
            return true;
        // A node that went without stopping left its entry at this address.
        _state->releaseWatch(key, found->second);
        _state->files.erase(found);
    }
    State::Entry entry;
    entry.node = file;
    entry.path = path;
    entry.type = type;
    if (!_state->addWatch(key, entry))
        return false;
    if (type == File)
        entry.known = Signature::of(path);
    _state->files.emplace(key, std::move(entry));
    return true;
}

bool MVInotifyWatcher::resetForFile(const std::shared_ptr<MVFile> &file, int type)
{
    if (!file || _state->die)
        return false;
    const MVFile *key = file.get();
    std::lock_guard lock(_state->mutex);
    const auto found = _state->files.find(key);
    if (found == _state->files.end() || found->second.node.lock() != file)
        return false;
    State::Entry &entry = found->second;
    _state->releaseWatch(key, entry);
    entry.path = QFile::encodeName(file->path());
    entry.type = type;
    entry.pending = 0;
    // What is there now is what the node knows: the events of its own save
    // that are still on their way find the same file and are dropped.
    if (type == File)
        entry.known = Signature::of(entry.path);
    return _state->addWatch(key, entry);
}

void MVInotifyWatcher::stopWatching(const MVFile &file)
{
    std::lock_guard lock(_state->mutex);
    const auto found = _state->files.find(&file);
    if (found == _state->files.end())
        return;
    _state->releaseWatch(&file, found->second);
    _state->files.erase(found);
}

void MVInotifyWatcher::destroy()
{
    {
        std::lock_guard lock(_state->mutex);
        for (auto &[key, entry] : _state->files)
            _state->releaseWatch(key, entry);
        _state->files.clear();
        _state->watches.clear();
    }
    _state->die = true;
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t ignored = ::write(_state->wakeFd, &one, sizeof one);
    if (_state->thread.joinable()) {
        // The last owner may let go on the watcher's own thread; the thread
        // holds the state, so it can end on its own.
        if (_state->thread.get_id() == std::this_thread::get_id())
            _state->thread.detach();
        else
            _state->thread.join();
    }
}

int MVInotifyWatcher::countOfWatchedFiles() const
{
    std::lock_guard lock(_state->mutex);
    return static_cast<int>(_state->files.size());
}

int MVInotifyWatcher::countOfKernelWatches() const
{
    std::lock_guard lock(_state->mutex);
    return static_cast<int>(_state->watches.size());
}
