#include "remote/MVPseudoTerminal.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <linux/close_range.h>
#include <sys/syscall.h>

extern char **environ;

QList<QByteArray> MVPseudoTerminal::environmentWith(const QMap<QString, QString> &variables)
{
    QList<QByteArray> result;
    for (char **entry = environ; entry && *entry; ++entry) {
        const QByteArray pair(*entry);
        const qsizetype equals = pair.indexOf('=');
        if (equals > 0 && variables.contains(QString::fromUtf8(pair.left(equals))))
            continue;
        result.append(pair);
    }
    for (auto it = variables.cbegin(); it != variables.cend(); ++it)
        result.append(it.key().toUtf8() + '=' + it.value().toUtf8());
    return result;
}

bool MVPseudoTerminal::spawn(const QString &path, const QStringList &arguments, const QList<QByteArray> &environment,
                             const QString &workingDirectory, int *masterFD, pid_t *pid, QString *error)
{
    *masterFD = -1;
    *pid = 0;
    // Everything the child needs is prepared here, before the fork.
    const QByteArray executable = path.toUtf8();
    QList<QByteArray> argumentBytes{executable};
    for (const QString &argument : arguments)
        argumentBytes.append(argument.toUtf8());
    std::vector<char *> argv;
    for (QByteArray &argument : argumentBytes)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    QList<QByteArray> environmentBytes = environment;
    std::vector<char *> envp;
    for (QByteArray &entry : environmentBytes)
        envp.push_back(entry.data());
    envp.push_back(nullptr);
    const QByteArray directory = workingDirectory.toUtf8();
    const QByteArray execFailure = "EXEC FAILED: " + executable + ", ";

    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) {
        *error = QStringLiteral("FORKPTY FAILED: %1").arg(QString::fromLocal8Bit(strerror(errno)));
        if (master >= 0)
            close(master);
        return false;
    }
    char slaveName[128];
    int slave = -1;
    if (ptsname_r(master, slaveName, sizeof slaveName) == 0)
        slave = open(slaveName, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (slave < 0) {
        *error = QStringLiteral("FORKPTY FAILED: %1").arg(QString::fromLocal8Bit(strerror(errno)));
        close(master);
        return false;
    }

    const pid_t child = fork();
    if (child == 0) {
        // Only async-signal-safe calls from here on.
        setsid();
        ioctl(slave, TIOCSCTTY, 0);
        dup2(slave, 0);
        dup2(slave, 1);
        dup2(slave, 2);
        syscall(SYS_close_range, 3U, ~0U, 0U);
        struct sigaction action;
        memset(&action, 0, sizeof action);
        action.sa_handler = SIG_DFL;
        for (int signal = 1; signal < NSIG; ++signal)
            sigaction(signal, &action, nullptr);
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        umask(077);
        if (!directory.isEmpty() && chdir(directory.constData()) != 0) {
            // The program starts where it is; it will say what it misses.
        }
        execve(argv[0], argv.data(), envp.data());
        const int code = errno;
        if (write(2, execFailure.constData(), execFailure.size()) > 0) {
            const char *reason = strerror(code);
            if (write(2, reason, strlen(reason)) > 0 && write(2, "\n", 1) > 0) {
            }
        }
        _exit(1);
    }
    const int forkError = errno;
    close(slave);
    if (child < 0) {
        close(master);
        *error = QStringLiteral("FORKPTY FAILED: %1").arg(QString::fromLocal8Bit(strerror(forkError)));
        return false;
    }
    fcntl(master, F_SETFL, fcntl(master, F_GETFL) | O_NONBLOCK);
    *masterFD = master;
    *pid = child;
    return true;
}

int MVPseudoTerminal::waitForInput(int masterFD, int timeoutMs)
{
    pollfd descriptor{masterFD, POLLIN, 0};
    for (;;) {
        const int ready = poll(&descriptor, 1, timeoutMs);
        if (ready < 0 && errno == EINTR)
            continue;
        return ready < 0 ? -1 : (ready > 0 ? 1 : 0);
    }
}

qsizetype MVPseudoTerminal::readChunk(int masterFD, char *buffer)
{
    for (;;) {
        const ssize_t count = read(masterFD, buffer, ChunkSize);
        if (count > 0)
            return count;
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return 0;
        // EIO: the last holder of the terminal's other side has gone.
        return -1;
    }
}

bool MVPseudoTerminal::writeAll(int masterFD, QByteArrayView bytes)
{
    qsizetype written = 0;
    while (written < bytes.size()) {
        const ssize_t count = write(masterFD, bytes.data() + written, size_t(bytes.size() - written));
        if (count > 0) {
            written += count;
        } else if (count < 0 && errno == EINTR) {
            continue;
        } else if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            // The terminal's input buffer is full until the client reads.
            pollfd descriptor{masterFD, POLLOUT, 0};
            if (poll(&descriptor, 1, 10000) <= 0)
                return false;
        } else {
            return false;
        }
    }
    return true;
}

int MVPseudoTerminal::reap(pid_t pid, int graceMs)
{
    if (pid <= 0)
        return -1;
    int status = 0;
    for (int waited = 0; waited < graceMs; waited += 5) {
        const pid_t result = waitpid(pid, &status, WNOHANG);
        if (result == pid)
            return status;
        if (result < 0 && errno != EINTR)
            return -1;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    ::kill(pid, SIGKILL);
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR)
            return -1;
    }
    return status;
}
