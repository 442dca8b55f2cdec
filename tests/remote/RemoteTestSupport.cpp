#include "remote/RemoteTestSupport.h"

#include "remote/MVRemoteFilesConnection.h"
#include "remote/actions/MVCommandAction.h"
#include "remote/actions/MVConnectAction.h"

#include <QDir>
#include <QFile>

#include <thread>
#include <unistd.h>

void RecordingDelegate::taskFinishedCommandWithOutput(MVInteractiveTask *, const QStringList &lines, bool hadError)
{
    std::lock_guard lock(_lock);
    _finishes.append({lines, hadError, 0});
    _changed.notify_all();
}

void RecordingDelegate::actionFinishedWithResult(MVRemoteFileAction *, bool result, int statusCode)
{
    std::lock_guard lock(_lock);
    _finishes.append({{}, result, statusCode});
    _changed.notify_all();
}

bool RecordingDelegate::actionShouldTrustHostKey(MVRemoteFileAction *, const QString &, const QString &fingerprint)
{
    std::lock_guard lock(_lock);
    _fingerprints.append(fingerprint);
    return trustHostKeys;
}

void RecordingDelegate::appendStringToLog(const QString &text)
{
    const QByteArray processes = watchDescendants ? ProcessCensus::descendantsCommandLinesAndEnvironments() : QByteArray();
    std::lock_guard lock(_lock);
    _log += text;
    _descendants += processes;
}

QByteArray RecordingDelegate::descendants() const
{
    std::lock_guard lock(_lock);
    return _descendants;
}

std::optional<RecordingDelegate::Finish> RecordingDelegate::next(std::chrono::milliseconds timeout)
{
    std::unique_lock lock(_lock);
    if (!_changed.wait_for(lock, timeout, [this] { return _finishes.size() > _taken; }))
        return std::nullopt;
    return _finishes.at(_taken++);
}

QString RecordingDelegate::log() const
{
    std::lock_guard lock(_lock);
    return _log;
}

QStringList RecordingDelegate::fingerprints() const
{
    std::lock_guard lock(_lock);
    return _fingerprints;
}

int ProcessCensus::openDescriptors()
{
    return int(QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System).size());
}

int ProcessCensus::threads()
{
    return int(QDir(QStringLiteral("/proc/self/task")).entryList(QDir::NoDotAndDotDot | QDir::Dirs).size());
}

namespace {

// Pid, state and parent of every process.
struct ProcessEntry
{
    int pid;
    char state;
    int parent;
};

QList<ProcessEntry> allProcesses()
{
    QList<ProcessEntry> result;
    const QStringList names = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &name : names) {
        bool number = false;
        const int pid = name.toInt(&number);
        if (!number)
            continue;
        QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
        if (!stat.open(QIODevice::ReadOnly))
            continue;
        const QByteArray text = stat.readAll();
        const qsizetype close = text.lastIndexOf(')');
        if (close < 0)
            continue;
        const QList<QByteArray> fields = text.mid(close + 2).split(' ');
        if (fields.size() < 2)
            continue;
        result.append({pid, fields.at(0).isEmpty() ? '?' : fields.at(0).at(0), fields.at(1).toInt()});
    }
    return result;
}

} // namespace

int ProcessCensus::zombies()
{
    int count = 0;
    for (const ProcessEntry &entry : allProcesses())
        count += entry.parent == getpid() && entry.state == 'Z';
    return count;
}

bool ProcessCensus::waitForThreads(int count)
{
    for (int i = 0; i < 300; ++i) {
        if (threads() <= count)
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

QList<int> ProcessCensus::descendantsOf(int pid)
{
    const QList<ProcessEntry> processes = allProcesses();
    QList<int> tree{pid};
    for (bool grew = true; grew;) {
        grew = false;
        for (const ProcessEntry &entry : processes) {
            if (tree.contains(entry.parent) && !tree.contains(entry.pid)) {
                tree.append(entry.pid);
                grew = true;
            }
        }
    }
    tree.removeFirst();
    return tree;
}

QByteArray ProcessCensus::descendantsCommandLinesAndEnvironments()
{
    const QList<ProcessEntry> processes = allProcesses();
    QList<int> ours{getpid()};
    QByteArray text;
    for (bool grew = true; grew;) {
        grew = false;
        for (const ProcessEntry &entry : processes) {
            if (ours.contains(entry.parent) && !ours.contains(entry.pid)) {
                ours.append(entry.pid);
                grew = true;
                for (const char *file : {"cmdline", "environ"}) {
                    QFile f(QStringLiteral("/proc/%1/%2").arg(entry.pid).arg(QLatin1String(file)));
                    if (f.open(QIODevice::ReadOnly))
                        text += f.readAll() + '\n';
                }
            }
        }
    }
    return text;
}

Login::Login(int type, const QString &host, int port, const QString &user, const QString &password, const QString &knownHosts)
{
    connection = MVRemoteFilesConnection::initWithType(type);
    connection->setLogDelegate(delegate);
    action = MVConnectAction::actionWithConnection(connection, host, port, user, password, {});
    action->setLoginTimeout(kLoginTimeout);
    if (!knownHosts.isEmpty())
        action->setKnownHostsFile(knownHosts);
}

void Login::start()
{
    action->runWithDelegate(delegate);
}

std::optional<RecordingDelegate::Finish> Login::run(const QString &command)
{
    return run(MVCommandAction::actionWithConnection(connection, command, false));
}

std::optional<RecordingDelegate::Finish> Login::run(const std::shared_ptr<MVRemoteFileAction> &other)
{
    other->runWithDelegate(delegate);
    return delegate->next();
}

void Login::end()
{
    connection->close();
    connection->kill();
    connection->waitUntilExit();
}
