#include "servers/TestServer.h"

#include "servers/FreePorts.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QThread>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include <arpa/inet.h>
#include <csignal>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
constexpr int startTries = 5;
constexpr int startDeadlineMs = 10000;
constexpr int stopDeadlineMs = 5000;
// Listening ports come from here; passive FTP ranges from above it.
constexpr quint16 firstPort = 20000;
constexpr quint16 endPort = 26000;

QString makeTemporaryDirectory(const QString &parent, const QString &prefix)
{
    QByteArray pattern = QFile::encodeName(parent + QLatin1Char('/') + prefix + QStringLiteral("-XXXXXX"));
    if (!::mkdtemp(pattern.data()))
        return {};
    return QFile::decodeName(pattern);
}

// Inodes of the sockets listening on 127.0.0.1:port.
QSet<QByteArray> listeningInodes(quint16 port)
{
    QSet<QByteArray> inodes;
    QFile table(QStringLiteral("/proc/net/tcp"));
    if (!table.open(QIODevice::ReadOnly))
        return inodes;
    const QByteArray local = QByteArray("0100007F:") + QByteArray::number(port, 16).toUpper().rightJustified(4, '0');
    table.readLine();
    while (!table.atEnd()) {
        const QList<QByteArray> fields = table.readLine().simplified().split(' ');
        if (fields.size() > 9 && fields[1] == local && fields[3] == "0A")
            inodes.insert(fields[9]);
    }
    return inodes;
}

QString lastLines(const QByteArray &text, int count)
{
    QList<QByteArray> lines = text.trimmed().split('\n');
    if (lines.size() > count)
        lines = lines.mid(lines.size() - count);
    return QString::fromLocal8Bit(lines.join('\n'));
}
}

TestServer::TestServer(const QString &name, const QString &program)
    : _name(name)
    , _program(program)
{
}

TestServer::~TestServer()
{
    stop();
    removeDirectories();
}

QString TestServer::start()
{
    if (_pid > 0)
        return {};
    QElapsedTimer timer;
    timer.start();
    if (const QString error = prepare(); !error.isEmpty())
        return error;
    for (int attempt = 0; attempt < startTries; ++attempt) {
        const quint16 port = FreePorts::pick(1, firstPort, endPort);
        if (port == 0)
            return QStringLiteral("%1: no free port on 127.0.0.1 between %2 and %3").arg(_name).arg(firstPort).arg(endPort);
        if (const QString error = configure(port); !error.isEmpty())
            return QStringLiteral("%1: %2").arg(_name, error);
        if (const QString error = spawn(); !error.isEmpty())
            return error;
        _port = port;
        QElapsedTimer waited;
        waited.start();
        bool up = false;
        while (!exited() && waited.elapsed() < startDeadlineMs) {
            if ((up = listening() && FreePorts::acceptsConnections(port)))
                break;
            QThread::msleep(5);
        }
        if (up) {
            _startMilliseconds = timer.elapsed();
            return {};
        }
        const bool died = _pid == 0;
        stop();
        const QString serverLog = log();
        // Another test's server took the port between our check and the
        // server's bind: try again on another one.
        if (died && (!FreePorts::isFree(port) || serverLog.contains(QLatin1String("bind"), Qt::CaseInsensitive))
            && attempt + 1 < startTries)
            continue;
        return QStringLiteral("%1 (%2) %3 on 127.0.0.1:%4; its log:\n%5")
            .arg(_name, _program,
                 died ? QStringLiteral("exited before accepting connections")
                      : QStringLiteral("did not accept connections within %1 ms").arg(startDeadlineMs))
            .arg(port)
            .arg(serverLog);
    }
    return QStringLiteral("%1: every port tried was taken by the time the server bound it").arg(_name);
}

QString TestServer::prepare()
{
    if (!_stateDirectory.isEmpty())
        return {};
    if (!QFileInfo(_program).isExecutable())
        return QStringLiteral("%1 is not installed (%2 is missing); run scripts/install-deps").arg(_name, _program);
    if (::geteuid() != 0)
        return QStringLiteral("%1 must be started as root (it logs the test account in and switches to it); "
                              "run the tests as root")
            .arg(_name);
    QString error;
    if (!_account.load(&error))
        return QStringLiteral("%1: %2").arg(_name, error);
    _stateDirectory = makeTemporaryDirectory(QDir::tempPath(), QStringLiteral("morvel-%1").arg(_name));
    if (_stateDirectory.isEmpty())
        return QStringLiteral("%1: cannot make a state directory in %2").arg(_name, QDir::tempPath());
    // The server's unprivileged processes read their part of it.
    QFile::setPermissions(_stateDirectory, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup
                                               | QFile::ExeGroup | QFile::ReadOther | QFile::ExeOther);
    _userDirectory = makeTemporaryDirectory(_account.home(), _name);
    if (_userDirectory.isEmpty() || !chownToAccount(_userDirectory))
        return QStringLiteral("%1: cannot make a directory for %2 in %3").arg(_name, _account.user(), _account.home());
    _rootDirectory = _userDirectory;
    return {};
}

QString TestServer::spawn()
{
    // Everything the child needs is made before fork: the test process may
    // have other threads, and only async-signal-safe calls may follow it.
    std::vector<std::string> strings;
    strings.push_back(QFile::encodeName(_program).toStdString());
    for (const QString &argument : arguments())
        strings.push_back(argument.toLocal8Bit().toStdString());
    std::vector<char *> argv;
    for (std::string &s : strings)
        argv.push_back(s.data());
    argv.push_back(nullptr);
    char path[] = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
    char locale[] = "LC_ALL=C";
    char *envp[] = {path, locale, nullptr};

    const QByteArray logPath = QFile::encodeName(statePath(QStringLiteral("output.log")));
    // The log is the standard input too: vsftpd writes its start-up errors
    // ("500 OOPS: …") to descriptor 0, and none of the servers reads it.
    const int logFd = ::open(logPath.constData(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (logFd < 0)
        return QStringLiteral("%1: cannot open %2").arg(_name, QFile::decodeName(logPath));
    const pid_t parent = ::getpid();
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::setpgid(0, 0);
        // A test process that dies without its destructors takes the server along.
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (::getppid() != parent)
            ::_exit(127);
        sigset_t all;
        ::sigemptyset(&all);
        ::sigprocmask(SIG_SETMASK, &all, nullptr);
        ::signal(SIGPIPE, SIG_DFL);
        ::dup2(logFd, 0);
        ::dup2(logFd, 1);
        ::dup2(logFd, 2);
        ::close_range(3, ~0U, 0);
        ::execve(argv[0], argv.data(), envp);
        ::_exit(127);
    }
    ::close(logFd);
    if (pid < 0)
        return QStringLiteral("%1: fork failed").arg(_name);
    ::setpgid(pid, pid);
    _pid = pid;
    return {};
}

bool TestServer::listening() const
{
    const QSet<QByteArray> inodes = listeningInodes(_port);
    if (inodes.isEmpty())
        return false;
    // The listener must be our server's, not another test's on the same port.
    const QDir fds(QStringLiteral("/proc/%1/fd").arg(_pid));
    for (const QString &fd : fds.entryList(QDir::System | QDir::NoDotAndDotDot)) {
        char buffer[64];
        const ssize_t length = ::readlink(QFile::encodeName(fds.filePath(fd)).constData(), buffer, sizeof buffer);
        if (length <= 8 || std::string_view(buffer, 8) != "socket:[")
            continue;
        if (inodes.contains(QByteArray(buffer + 8, int(length) - 9)))
            return true;
    }
    return false;
}

bool TestServer::exited()
{
    if (_pid <= 0)
        return true;
    int status = 0;
    if (::waitpid(_pid, &status, WNOHANG) == _pid) {
        // Whatever else is left in its group goes too.
        ::kill(-_pid, SIGKILL);
        _pid = 0;
        return true;
    }
    return false;
}

void TestServer::stop()
{
    if (_pid <= 0)
        return;
    ::kill(-_pid, SIGTERM);
    QElapsedTimer timer;
    timer.start();
    while (!exited() && timer.elapsed() < stopDeadlineMs)
        QThread::msleep(5);
    if (_pid > 0) {
        ::kill(-_pid, SIGKILL);
        ::waitpid(_pid, nullptr, 0);
        _pid = 0;
    }
}

QString TestServer::log() const
{
    QString text;
    QStringList files{statePath(QStringLiteral("output.log"))};
    files += logFiles();
    for (const QString &path : files) {
        QFile file(path);
        if (file.open(QIODevice::ReadOnly))
            text += QStringLiteral("--- %1\n%2\n").arg(path, lastLines(file.readAll(), 30));
    }
    return text;
}

QString TestServer::addDirectory(const QString &relativePath) const
{
    const QString path = QDir::cleanPath(_rootDirectory + QLatin1Char('/') + relativePath);
    if (!QDir().mkpath(path))
        return {};
    for (QString dir = path; dir.startsWith(_rootDirectory + QLatin1Char('/')); dir = QFileInfo(dir).path())
        chownToAccount(dir);
    return path;
}

QString TestServer::addFile(const QString &relativePath, const QByteArray &contents) const
{
    const QString path = QDir::cleanPath(_rootDirectory + QLatin1Char('/') + relativePath);
    if (addDirectory(QFileInfo(relativePath).path()).isEmpty())
        return {};
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(contents) != contents.size())
        return {};
    file.close();
    chownToAccount(path);
    return path;
}

QString TestServer::makeUserDirectory(const QString &name) const
{
    const QString path = _userDirectory + QLatin1Char('/') + name;
    if (!QDir().mkpath(path) || !chownToAccount(path))
        return {};
    return path;
}

bool TestServer::chownToAccount(const QString &path) const
{
    return ::chown(QFile::encodeName(path).constData(), _account.uid(), _account.gid()) == 0;
}

void TestServer::removeDirectories()
{
    std::error_code ignored;
    for (const QString &dir : {_stateDirectory, _userDirectory}) {
        if (!dir.isEmpty())
            std::filesystem::remove_all(QFile::encodeName(dir).constData(), ignored);
    }
}
