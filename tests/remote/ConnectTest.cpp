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

#include <gtest/gtest.h>

namespace {

constexpr int kLoginTimeout = 8000;

// One login on its own connection, with what it heard.
struct Login
{
    std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
    std::shared_ptr<MVRemoteFilesConnection> connection;
    std::shared_ptr<MVConnectAction> action;

    Login(int type, const QString &host, int port, const QString &user, const QString &password,
          const QString &knownHosts = QString())
    {
        connection = MVRemoteFilesConnection::initWithType(type);
        connection->setLogDelegate(delegate);
        action = MVConnectAction::actionWithConnection(connection, host, port, user, password, {});
        action->setLoginTimeout(kLoginTimeout);
        if (!knownHosts.isEmpty())
            action->setKnownHostsFile(knownHosts);
    }
    void start() { action->runWithDelegate(delegate); }
    std::optional<RecordingDelegate::Finish> finish() { return delegate->next(std::chrono::milliseconds(kLoginTimeout + 5000)); }
    // Runs one command; its result and status.
    std::optional<RecordingDelegate::Finish> run(const QString &command)
    {
        const auto action = MVCommandAction::actionWithConnection(connection, command, false);
        action->runWithDelegate(delegate);
        return delegate->next();
    }
    void end()
    {
        connection->close();
        connection->kill();
        connection->waitUntilExit();
    }
};

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
