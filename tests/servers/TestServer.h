#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <sys/types.h>

#include "servers/TestAccount.h"

// A real server program on 127.0.0.1 for the tests of the remote clients.
// Each instance has a fresh state directory (configuration, keys, logs) and
// a fresh directory under the test account's home that the client sees
// (owned by that account, so the server can write to it). The server runs
// in the foreground as a child of the test process, in a process group of
// its own, and is stopped by its pid; the destructor stops it and removes
// both directories.
class TestServer
{
public:
    virtual ~TestServer();
    TestServer(const TestServer &) = delete;
    TestServer &operator=(const TestServer &) = delete;

    // Starts the server on a free port and waits until it accepts
    // connections. Returns an empty string on success, otherwise what went
    // wrong (missing program, not root, no account, or the server's own
    // log when it did not come up).
    QString start();
    // SIGTERM to the server's process group, SIGKILL after a deadline.
    void stop();

    quint16 port() const { return _port; }
    pid_t pid() const { return _pid; }
    // The writable directory the client sees as its home (or DAV root).
    const QString &rootDirectory() const { return _rootDirectory; }
    QString user() const { return _account.user(); }
    QString password() const { return _account.password(); }
    // Configuration, keys and logs of this instance.
    const QString &stateDirectory() const { return _stateDirectory; }
    // Milliseconds the last successful start took, up to accepting.
    qint64 startMilliseconds() const { return _startMilliseconds; }
    // What the server printed and logged so far, for failure messages.
    QString log() const;

    // Puts a file below the root directory, owned by the test account so
    // the client can also replace or delete it. Returns its path.
    QString addFile(const QString &relativePath, const QByteArray &contents) const;
    // The same for a directory (and its missing parents).
    QString addDirectory(const QString &relativePath) const;

protected:
    TestServer(const QString &name, const QString &program);

    // Writes the configuration for a start on `port`; returns an error or "".
    virtual QString configure(quint16 port) = 0;
    // Arguments after the program name.
    virtual QStringList arguments() const = 0;
    // Log files of the server other than its standard output and error.
    virtual QStringList logFiles() const { return {}; }

    QString statePath(const QString &name) const { return _stateDirectory + QLatin1Char('/') + name; }
    // A directory below the instance's directory in the test account's home.
    QString makeUserDirectory(const QString &name) const;
    void setRootDirectory(const QString &path) { _rootDirectory = path; }
    const TestAccount &account() const { return _account; }
    // Gives the test account a file or directory made by the test process.
    bool chownToAccount(const QString &path) const;

private:
    QString prepare();
    QString spawn();
    bool listening() const;
    bool exited();
    void removeDirectories();

    QString _name;
    QString _program;
    TestAccount _account;
    QString _stateDirectory;
    QString _userDirectory;
    QString _rootDirectory;
    quint16 _port = 0;
    pid_t _pid = 0;
    qint64 _startMilliseconds = 0;
};
