// mv-remote-shell: logs in to a site through MVRemoteFilesConnection and
// passes typed commands on, printing the client's own transcript. For trying
// the clients by hand; built with the tests, never installed.
//
//   mv-remote-shell [--known-hosts FILE] ftp|sftp|dav HOST PORT USER
//
// The password is asked for on the terminal (or read as the first line of
// standard input when that is not a terminal); it is never an argument.
#include "remote/MVRemoteFilesConnection.h"
#include "remote/MVRemoteLogDelegate.h"
#include "remote/actions/MVCommandAction.h"
#include "remote/actions/MVConnectAction.h"
#include "remote/actions/MVRemoteFileActionDelegate.h"

#include <QCoreApplication>

#include <condition_variable>
#include <cstdio>
#include <iostream>
#include <mutex>
#include <string>
#include <termios.h>
#include <unistd.h>

namespace {

class ShellDelegate : public MVRemoteFileActionDelegate, public MVRemoteLogDelegate
{
public:
    void actionFinishedWithResult(MVRemoteFileAction *, bool result, int statusCode) override
    {
        std::lock_guard lock(_lock);
        _result = result;
        _status = statusCode;
        _done = true;
        _changed.notify_all();
    }

    bool actionShouldTrustHostKey(MVRemoteFileAction *, const QString &host, const QString &fingerprint) override
    {
        std::cerr << "\n[The host key of " << host.toStdString() << " is not known. Its fingerprint is "
                  << fingerprint.toStdString() << ". Trust it? yes/no] " << std::flush;
        std::string answer;
        std::getline(std::cin, answer);
        return answer == "yes";
    }

    void appendStringToLog(const QString &text) override
    {
        const QByteArray bytes = text.toUtf8();
        fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
        fflush(stdout);
    }

    std::pair<bool, int> wait()
    {
        std::unique_lock lock(_lock);
        _changed.wait(lock, [this] { return _done; });
        _done = false;
        return {_result, _status};
    }

private:
    std::mutex _lock;
    std::condition_variable _changed;
    bool _done = false;
    bool _result = false;
    int _status = 0;
};

QString readPassword()
{
    const bool terminal = isatty(STDIN_FILENO);
    termios saved{};
    if (terminal) {
        std::cerr << "Password: " << std::flush;
        tcgetattr(STDIN_FILENO, &saved);
        termios quiet = saved;
        quiet.c_lflag &= ~tcflag_t(ECHO);
        tcsetattr(STDIN_FILENO, TCSANOW, &quiet);
    }
    std::string line;
    std::getline(std::cin, line);
    if (terminal) {
        tcsetattr(STDIN_FILENO, TCSANOW, &saved);
        std::cerr << "\n";
    }
    return QString::fromStdString(line);
}

int usage()
{
    std::cerr << "usage: mv-remote-shell [--known-hosts FILE] ftp|sftp|dav HOST PORT USER\n";
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QStringList arguments = application.arguments().mid(1);
    QString knownHosts;
    if (arguments.size() >= 2 && arguments.first() == QLatin1String("--known-hosts")) {
        knownHosts = arguments.at(1);
        arguments = arguments.mid(2);
    }
    if (arguments.size() != 4)
        return usage();
    const QStringList types{QStringLiteral("ftp"), QStringLiteral("sftp"), QStringLiteral("dav")};
    const int type = int(types.indexOf(arguments.at(0)));
    if (type < 0)
        return usage();

    const auto delegate = std::make_shared<ShellDelegate>();
    const auto connection = MVRemoteFilesConnection::initWithType(type);
    connection->setLogDelegate(delegate);
    const QString password = readPassword();
    const auto connect = MVConnectAction::actionWithConnection(connection, arguments.at(1), arguments.at(2).toInt(),
                                                               arguments.at(3), password, {});
    if (!knownHosts.isEmpty())
        connect->setKnownHostsFile(knownHosts);
    connect->runWithDelegate(delegate);
    const auto [connected, status] = delegate->wait();
    if (!connected) {
        const MVError error = connect->errorWithStatusCode(status);
        std::cerr << "\n" << error.localizedDescription().toStdString() << " (status " << status << ", step "
                  << connect->state() << "): " << error.localizedRecoverySuggestion().toStdString() << "\n";
        connection->kill();
        connection->waitUntilExit();
        return 1;
    }
    std::string line;
    while (std::getline(std::cin, line)) {
        if (line == "quit" || line == "bye" || line == "exit")
            break;
        const auto command = MVCommandAction::actionWithConnection(connection, QString::fromStdString(line), false);
        command->runWithDelegate(delegate);
        const auto [ok, code] = delegate->wait();
        if (getenv("MV_SHELL_DEBUG")) std::cerr << "[" << command->output().join(QLatin1Char('|')).toStdString() << "]\n";
        if (!ok)
            std::cerr << "[failed, status " << code << "]\n";
        if (connection->state() != MVRemoteFilesConnection::AtPrompt) {
            std::cerr << "[the client has ended]\n";
            break;
        }
    }
    connection->close();
    connection->waitUntilExit();
    return 0;
}
