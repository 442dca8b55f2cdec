// Logging in to real servers on loopback through the real clients.
#include "remote/MVRemoteFilesConnection.h"
#include "remote/RemoteTestSupport.h"
#include "remote/actions/MVCommandAction.h"
#include "remote/actions/MVConnectAction.h"
#include "servers/DavServer.h"
#include "servers/FtpServer.h"
#include "servers/SshServer.h"

#include <QDir>
#include <QFile>
#include <QTcpServer>

#include "servers/FreePorts.h"

#include <gtest/gtest.h>

#include <csignal>

namespace {

// Nothing of a login may stay behind: no child, no descriptor, no thread.
class ConnectTest : public testing::Test
{
protected:
    void SetUp() override
    {
        _descriptors = ProcessCensus::openDescriptors();
        _threads = ProcessCensus::threads();
    }
    void TearDown() override
    {
        EXPECT_TRUE(ProcessCensus::waitForThreads(_threads)) << ProcessCensus::threads() << " threads, were " << _threads;
        EXPECT_EQ(ProcessCensus::zombies(), 0);
        EXPECT_EQ(ProcessCensus::openDescriptors(), _descriptors);
    }

    template<class Server>
    static void startServer(Server &server)
    {
        const QString error = server.start();
        ASSERT_TRUE(error.isEmpty()) << error.toStdString();
    }

    int _descriptors = 0;
    int _threads = 0;
};

} // namespace

TEST_F(ConnectTest, LogsInWithEachClientAndTypesNamesWhole)
{
    FtpServer ftp;
    SshServer ssh;
    DavServer dav;
    startServer(ftp);
    startServer(ssh);
    startServer(dav);
    ASSERT_TRUE(ssh.seedKnownHosts());
    struct Case
    {
        int type;
        QString host;
        int port;
        QString knownHosts;
        QString root;
        QString mkdir;
        int state;
    } cases[] = {
        {MVRemoteFilesConnection::FTP, "127.0.0.1", ftp.port(), {}, ftp.rootDirectory(), "mkdir \"%1\"", 5},
        {MVRemoteFilesConnection::SFTP, "127.0.0.1", ssh.port(), ssh.knownHostsFile(), ssh.rootDirectory(), "mkdir \"%1\"", 5},
        {MVRemoteFilesConnection::WebDAV, dav.davUrl(), 0, {}, dav.rootDirectory(), "mkcol \"%1\"", 3},
    };
    for (const Case &c : cases) {
        Login login(c.type, c.host, c.port, ftp.user(), ftp.password(), c.knownHosts);
        login.start();
        const auto connected = login.finish();
        ASSERT_TRUE(connected) << c.type << login.delegate->log().toStdString();
        EXPECT_TRUE(connected->flag) << c.type << login.delegate->log().toStdString();
        EXPECT_EQ(login.action->state(), c.state) << c.type;
        if (c.type != MVRemoteFilesConnection::FTP) {
            // Settings and prompts are done with; pwd answers.
            const auto pwd = login.run(QStringLiteral("pwd"));
            ASSERT_TRUE(pwd);
            EXPECT_TRUE(pwd->flag) << c.type << login.delegate->log().toStdString();
        }
        const QString name = QStringLiteral("dé-%1").arg(c.type);
        const auto made = login.run(c.mkdir.arg(name));
        ASSERT_TRUE(made);
        EXPECT_TRUE(made->flag) << c.type << login.delegate->log().toStdString();
        EXPECT_TRUE(QDir(c.root).exists(name)) << c.type << " " << login.delegate->log().toStdString();
        EXPECT_FALSE(login.delegate->log().contains(ftp.password()));
        login.end();
    }
}

TEST_F(ConnectTest, FailedLoginsEndInTimeWithTheirStep)
{
    DavServer dav;
    startServer(dav);
    // A port that accepts connections and never says a word.
    QTcpServer silent;
    ASSERT_TRUE(silent.listen(QHostAddress::LocalHost));
    const quint16 closed = FreePorts::pick(1, 20000, 30000);
    const QString closedUrl = QStringLiteral("http://127.0.0.1:%1/dav/").arg(closed);
    const QString silentUrl = QStringLiteral("http://127.0.0.1:%1/dav/").arg(silent.serverPort());
    enum { FTP, SFTP, DAV };
    struct Case
    {
        const char *name;
        int type;
        QString host;
        int port;
        QString executable;
        int status;
        int state;
    } cases[] = {
        {"ftp refused", FTP, "127.0.0.1", closed, {}, 0, 1},
        {"sftp refused", SFTP, "127.0.0.1", closed, {}, 0, 0},
        {"dav refused", DAV, closedUrl, 0, {}, 0, 1},
        {"ftp unknown host", FTP, "nosuch.invalid", 21, {}, 0, 1},
        {"sftp unknown host", SFTP, "nosuch.invalid", 22, {}, 0, 0},
        {"dav unknown host", DAV, "http://nosuch.invalid/dav/", 0, {}, 0, 1},
        {"dav without DAV", DAV, dav.plainUrl(), 0, {}, 405, 3},
        {"ftp silent", FTP, "127.0.0.1", silent.serverPort(), {}, 0, 1},
        {"dav silent", DAV, silentUrl, 0, {}, 0, 1},
        {"ftp client missing", FTP, "127.0.0.1", closed, "/nonexistent/ftp", 0, 0},
        {"sftp client missing", SFTP, "127.0.0.1", closed, "/nonexistent/sftp", 0, 0},
    };
    std::vector<std::unique_ptr<Login>> logins;
    const auto started = std::chrono::steady_clock::now();
    for (const Case &c : cases) {
        auto login = std::make_unique<Login>(c.type, c.host, c.port, dav.user(), dav.password());
        if (!c.executable.isEmpty())
            login->connection->setExecutablePath(c.executable);
        login->start();
        logins.push_back(std::move(login));
    }
    for (size_t i = 0; i < logins.size(); ++i) {
        const Case &c = cases[i];
        Login &login = *logins[i];
        const auto finish = login.finish();
        ASSERT_TRUE(finish) << c.name << ": no answer. " << login.delegate->log().toStdString();
        EXPECT_FALSE(finish->flag) << c.name;
        EXPECT_EQ(finish->status, c.status) << c.name << " " << login.delegate->log().toStdString();
        EXPECT_EQ(login.action->state(), c.state) << c.name << " " << login.delegate->log().toStdString();
        EXPECT_EQ(login.action->errorWithStatusCode(finish->status).localizedDescription(), QStringLiteral("Could Not Connect"));
        login.end();
    }
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(kLoginTimeout + 4000));
}

TEST_F(ConnectTest, WrongPasswordsAreRefusedLoginsAndNeverShown)
{
    FtpServer ftp;
    SshServer ssh;
    DavServer dav;
    startServer(ftp);
    startServer(ssh);
    startServer(dav);
    ASSERT_TRUE(ssh.seedKnownHosts());
    const QString sentinel = QStringLiteral("pw-Sentinel-%1").arg(getpid());
    struct Case
    {
        int type;
        QString host;
        int port;
        QString knownHosts;
        int status;
        QList<int> states;
    } cases[] = {
        {MVRemoteFilesConnection::FTP, "127.0.0.1", ftp.port(), {}, 530, {3}},
        {MVRemoteFilesConnection::SFTP, "127.0.0.1", ssh.port(), ssh.knownHostsFile(), 0, {3}},
        {MVRemoteFilesConnection::WebDAV, dav.davUrl(), 0, {}, 0, {2, 3}},
    };
    // The three wait out their servers' delays together.
    std::vector<std::unique_ptr<Login>> logins;
    for (const Case &c : cases) {
        logins.push_back(std::make_unique<Login>(c.type, c.host, c.port, ftp.user(), sentinel, c.knownHosts));
        logins.back()->delegate->watchDescendants = true;
        logins.back()->start();
    }
    for (size_t i = 0; i < logins.size(); ++i) {
        const Case &c = cases[i];
        Login &login = *logins[i];
        const auto finish = login.finish();
        ASSERT_TRUE(finish) << c.type << login.delegate->log().toStdString();
        EXPECT_FALSE(finish->flag) << c.type;
        EXPECT_EQ(finish->status, c.status) << c.type << login.delegate->log().toStdString();
        EXPECT_TRUE(c.states.contains(login.action->state())) << c.type << " step " << login.action->state();
        EXPECT_FALSE(login.delegate->log().contains(sentinel)) << c.type;
        EXPECT_FALSE(login.delegate->descendants().contains(sentinel.toUtf8())) << c.type;
        EXPECT_FALSE(login.delegate->descendants().isEmpty()) << c.type;
        login.end();
    }
}

TEST_F(ConnectTest, HostKeysAreAskedForAndAChangedKeyIsRefused)
{
    SshServer ssh;
    startServer(ssh);
    const QString knownHosts = ssh.knownHostsFile();
    QFile::remove(knownHosts);
    // Not trusted: no login, and the key is not recorded.
    {
        Login login(MVRemoteFilesConnection::SFTP, QStringLiteral("127.0.0.1"), ssh.port(), ssh.user(), ssh.password(), knownHosts);
        login.start();
        const auto finish = login.finish();
        ASSERT_TRUE(finish) << login.delegate->log().toStdString();
        EXPECT_FALSE(finish->flag);
        EXPECT_EQ(login.delegate->fingerprints(), QStringList{ssh.hostKeyFingerprint()});
        EXPECT_TRUE(login.action->errorWithStatusCode(0).localizedRecoverySuggestion().contains(QLatin1String("not accepted")));
        login.end();
    }
    // Trusted: logged in, and the key is recorded.
    {
        Login login(MVRemoteFilesConnection::SFTP, QStringLiteral("127.0.0.1"), ssh.port(), ssh.user(), ssh.password(), knownHosts);
        login.delegate->trustHostKeys = true;
        login.start();
        const auto finish = login.finish();
        ASSERT_TRUE(finish) << login.delegate->log().toStdString();
        EXPECT_TRUE(finish->flag) << login.delegate->log().toStdString();
        EXPECT_EQ(login.delegate->fingerprints(), QStringList{ssh.hostKeyFingerprint()});
        login.end();
    }
    // Another key on record for this host and port: refused, never asked.
    QFile file(knownHosts);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(QStringLiteral("[127.0.0.1]:%1 ssh-ed25519 AAAAC3NzaC1lZDI1NTE5AAAAIOMqqnkVzrm0SdG6UOoqKLsabgH5C9okWi0dh2l9GKJl\n")
                   .arg(ssh.port())
                   .toUtf8());
    file.close();
    {
        Login login(MVRemoteFilesConnection::SFTP, QStringLiteral("127.0.0.1"), ssh.port(), ssh.user(), ssh.password(), knownHosts);
        login.delegate->trustHostKeys = true;
        login.start();
        const auto finish = login.finish();
        ASSERT_TRUE(finish) << login.delegate->log().toStdString();
        EXPECT_FALSE(finish->flag);
        EXPECT_TRUE(login.delegate->fingerprints().isEmpty());
        const QString suggestion = login.action->errorWithStatusCode(0).localizedRecoverySuggestion();
        EXPECT_TRUE(suggestion.contains(QLatin1String("\"127.0.0.1\""))) << suggestion.toStdString();
        EXPECT_TRUE(suggestion.contains(knownHosts + QLatin1String(":1"))) << suggestion.toStdString();
        login.end();
    }
}

TEST_F(ConnectTest, AServerThatDiesMidSessionFailsTheCommand)
{
    FtpServer ftp;
    SshServer ssh;
    DavServer dav;
    startServer(ftp);
    startServer(ssh);
    startServer(dav);
    ASSERT_TRUE(ssh.seedKnownHosts());
    struct Case
    {
        int type;
        QString host;
        int port;
        QString knownHosts;
        TestServer *server;
        QString command;
    } cases[] = {
        {MVRemoteFilesConnection::FTP, "127.0.0.1", ftp.port(), {}, &ftp, "ls"},
        {MVRemoteFilesConnection::SFTP, "127.0.0.1", ssh.port(), ssh.knownHostsFile(), &ssh, "ls"},
        {MVRemoteFilesConnection::WebDAV, dav.davUrl(), 0, {}, &dav, "ls"},
    };
    for (const Case &c : cases) {
        Login login(c.type, c.host, c.port, ftp.user(), ftp.password(), c.knownHosts);
        login.start();
        const auto connected = login.finish();
        ASSERT_TRUE(connected && connected->flag) << c.type << login.delegate->log().toStdString();
        // The server and the processes it started for this session.
        const QList<int> sessions = ProcessCensus::descendantsOf(c.server->pid());
        c.server->stop();
        for (const int pid : sessions)
            ::kill(pid, SIGKILL);
        const auto started = std::chrono::steady_clock::now();
        const auto listed = login.run(c.command);
        ASSERT_TRUE(listed) << c.type << login.delegate->log().toStdString();
        EXPECT_FALSE(listed->flag) << c.type << login.delegate->log().toStdString();
        EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(30));
        login.end();
    }
}
