// Listing a folder through each real client against its real server.
#include "remote/MVRemoteFilesConnection.h"
#include "remote/RemoteTestSupport.h"
#include "remote/actions/MVFileListingAction.h"
#include "servers/DavServer.h"
#include "servers/FtpServer.h"
#include "servers/SshServer.h"

#include <QDir>
#include <QFileInfo>
#include <QMap>

#include <gtest/gtest.h>

namespace {


// name -> "d" for a directory, else the size.
using Entries = QMap<QString, QString>;

Entries entriesOnDisk(const QString &directory)
{
    Entries entries;
    const QFileInfoList infos = QDir(directory).entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    for (const QFileInfo &info : infos) {
        if (!MVFileListingAction::isHiddenName(info.fileName()))
            entries.insert(info.fileName(), info.isDir() ? QStringLiteral("d") : QString::number(info.size()));
    }
    return entries;
}

Entries entriesListed(const QList<MVRemoteFile> &files)
{
    Entries entries;
    for (const MVRemoteFile &file : files)
        entries.insert(file.name(), file.isDirectory() ? QStringLiteral("d") : QString::number(file.size()));
    return entries;
}

} // namespace

TEST(Listing, EachClientListsTheSameFolder)
{
    FtpServer ftp;
    SshServer ssh;
    DavServer dav;
    for (TestServer *server : std::initializer_list<TestServer *>{&ftp, &ssh, &dav}) {
        const QString error = server->start();
        ASSERT_TRUE(error.isEmpty()) << error.toStdString();
    }
    ASSERT_TRUE(ssh.seedKnownHosts());
    // The listed folder's own name needs quoting on every client.
    const QString folder = QStringLiteral("li st \"q\" \\ é");
    struct Case
    {
        int type;
        QString host;
        int port;
        QString knownHosts;
        TestServer *server;
    } cases[] = {
        {MVRemoteFilesConnection::FTP, "127.0.0.1", ftp.port(), {}, &ftp},
        {MVRemoteFilesConnection::SFTP, "127.0.0.1", ssh.port(), ssh.knownHostsFile(), &ssh},
        {MVRemoteFilesConnection::WebDAV, dav.davUrl(), 0, {}, &dav},
    };
    for (const Case &c : cases) {
        const TestServer &server = *c.server;
        for (const QString name : {"plain.txt", "sp ace", "it's", "q\"uote", "é.txt", ".x.mvpart", "sub/inner.txt", ".htaccess"})
            ASSERT_FALSE(server.addFile(folder + QLatin1Char('/') + name, "some text\n").isEmpty()) << name.toStdString();
        ASSERT_FALSE(server.addFile(folder + QStringLiteral("/five"), "12345").isEmpty());
        ASSERT_FALSE(server.addFile(folder + QStringLiteral("/big.bin"), QByteArray(3'000'000, 'x')).isEmpty());
        ASSERT_FALSE(server.addDirectory(folder + QStringLiteral("/empty dir")).isEmpty());
        const Entries expected = entriesOnDisk(server.rootDirectory() + QLatin1Char('/') + folder);
        ASSERT_EQ(expected.size(), 10);

        Login login(c.type, c.host, c.port, server.user(), server.password(), c.knownHosts);
        login.start();
        const auto connected = login.finish();
        ASSERT_TRUE(connected && connected->flag) << c.type << login.delegate->log().toStdString();

        const auto listing = MVFileListingAction::actionWithConnection(login.connection, folder);
        const auto listed = login.run(listing);
        ASSERT_TRUE(listed) << c.type << login.delegate->log().toStdString();
        EXPECT_TRUE(listed->flag) << c.type << login.delegate->log().toStdString();
        EXPECT_EQ(entriesListed(listing->files()), expected) << c.type << login.delegate->log().toStdString();
        for (const MVRemoteFile &file : listing->files()) {
            EXPECT_TRUE(file.canRoundTrip()) << c.type << file.name().toStdString();
            EXPECT_EQ(file.nameBytes(), file.name().toUtf8()) << c.type;
        }

        // A missing folder is a failed listing, not an empty one; the last
        // good listing stays.
        const auto missing = MVFileListingAction::actionWithConnection(login.connection, folder + QStringLiteral("/nosuch"));
        const auto failed = login.run(missing);
        ASSERT_TRUE(failed) << c.type << login.delegate->log().toStdString();
        EXPECT_FALSE(failed->flag) << c.type << login.delegate->log().toStdString();
        EXPECT_TRUE(missing->files().isEmpty());
        EXPECT_EQ(missing->errorWithStatusCode(failed->status).localizedDescription(), QStringLiteral("Could Not Retrieve File Listing"));

        // A path with a line break is never typed.
        const auto refused = login.run(MVFileListingAction::actionWithConnection(login.connection, QStringLiteral("a\nb")));
        ASSERT_TRUE(refused);
        EXPECT_FALSE(refused->flag) << c.type;
        login.end();
    }
}
