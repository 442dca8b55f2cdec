// Each test server comes up and serves the test account through a real
// client or protocol exchange, so a failing remote-files test points at
// the client, not at the fixture.
#include "servers/DavServer.h"
#include "servers/FtpServer.h"
#include "servers/SshServer.h"
#include "support/TestEnvironment.h"

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTcpSocket>

#include <gtest/gtest.h>

#include <pwd.h>

namespace {
// One FTP control connection: sends a command, returns the whole reply.
class FtpControl
{
public:
    bool open(quint16 port)
    {
        _socket.connectToHost(QStringLiteral("127.0.0.1"), port);
        return _socket.waitForConnected(5000);
    }
    QByteArray command(const QByteArray &line)
    {
        if (!line.isEmpty())
            _socket.write(line + "\r\n");
        return reply();
    }
    QByteArray reply()
    {
        static const QRegularExpression last(QStringLiteral("^\\d{3} "));
        QByteArray text;
        while (true) {
            while (!_socket.canReadLine())
                if (!_socket.waitForReadyRead(10000))
                    return text + "(no reply)";
            const QByteArray line = _socket.readLine();
            text += line;
            if (last.match(QString::fromLatin1(line)).hasMatch())
                return text.trimmed();
        }
    }

private:
    QTcpSocket _socket;
};

QByteArray fileContents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}
}

TEST(ServersTest, FtpLogsTheAccountInAndStoresAFileThroughPassiveMode)
{
    FtpServer ftp;
    ASSERT_EQ(ftp.start(), QString());
    FtpControl control;
    ASSERT_TRUE(control.open(ftp.port()));
    EXPECT_TRUE(control.reply().startsWith("220"));
    EXPECT_TRUE(control.command("USER " + ftp.user().toUtf8()).startsWith("331"));
    EXPECT_TRUE(control.command("PASS wrong").startsWith("530"));
    EXPECT_TRUE(control.command("USER " + ftp.user().toUtf8()).startsWith("331"));
    ASSERT_TRUE(control.command("PASS " + ftp.password().toUtf8()).startsWith("230")) << ftp.log().toStdString();
    EXPECT_EQ(control.command("PWD"), "257 \"" + ftp.rootDirectory().toUtf8() + "\" is the current directory");
    EXPECT_TRUE(control.command("TYPE I").startsWith("200"));

    const QByteArray passive = control.command("PASV");
    const QRegularExpressionMatch address =
        QRegularExpression(QStringLiteral("\\(127,0,0,1,(\\d+),(\\d+)\\)")).match(QString::fromLatin1(passive));
    ASSERT_TRUE(address.hasMatch()) << passive.constData();
    const int dataPort = address.captured(1).toInt() * 256 + address.captured(2).toInt();
    EXPECT_GE(dataPort, ftp.passivePortMin());
    EXPECT_LE(dataPort, ftp.passivePortMax());
    QTcpSocket data;
    data.connectToHost(QStringLiteral("127.0.0.1"), quint16(dataPort));
    ASSERT_TRUE(data.waitForConnected(5000));
    EXPECT_TRUE(control.command("STOR hello.txt").startsWith("150"));
    data.write("over FTP\n");
    data.disconnectFromHost();
    if (data.state() != QAbstractSocket::UnconnectedState)
        data.waitForDisconnected(5000);
    EXPECT_TRUE(control.reply().startsWith("226"));
    EXPECT_EQ(fileContents(ftp.rootDirectory() + "/hello.txt"), "over FTP\n");
    EXPECT_EQ(QFileInfo(ftp.rootDirectory() + "/hello.txt").ownerId(), uint(::getpwnam("morvel-test")->pw_uid));
}

TEST(ServersTest, SftpLogsTheAccountInWithItsPasswordAndPutsAFile)
{
    SshServer ssh;
    ASSERT_EQ(ssh.start(), QString());
    ASSERT_TRUE(ssh.seedKnownHosts());
    EXPECT_TRUE(ssh.hostKeyFingerprint().startsWith("SHA256:"));

    // sftp asks this program for the password, so it is in no argv.
    MVScratchDir scratch;
    const QString askpass = scratch.write("askpass", "#!/bin/sh\nexec cat " + QByteArray(TestAccount::passwordFile) + "\n");
    QFile::setPermissions(askpass, QFile::ReadOwner | QFile::ExeOwner);
    const QString local = scratch.write("local.txt", "over SFTP\n");

    QProcess sftp;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("SSH_ASKPASS", askpass);
    environment.insert("SSH_ASKPASS_REQUIRE", "force");
    sftp.setProcessEnvironment(environment);
    sftp.setProcessChannelMode(QProcess::MergedChannels);
    sftp.start("/usr/bin/sftp", ssh.clientOptions() << "-oStrictHostKeyChecking=yes" << ssh.user() + "@127.0.0.1");
    sftp.write("pwd\nput " + local.toUtf8() + " put.txt\n");
    sftp.closeWriteChannel();
    ASSERT_TRUE(sftp.waitForFinished(20000));
    const QString output = QString::fromLocal8Bit(sftp.readAll());
    EXPECT_EQ(sftp.exitCode(), 0) << output.toStdString() << ssh.log().toStdString();
    EXPECT_TRUE(output.contains("Remote working directory: " + ssh.rootDirectory())) << output.toStdString();
    EXPECT_EQ(fileContents(ssh.rootDirectory() + "/put.txt"), "over SFTP\n");
}

TEST(ServersTest, DavServesWebDavOnOneLocationAndPlainHttpOnTheOther)
{
    DavServer dav;
    ASSERT_EQ(dav.start(), QString());
    dav.addFile("folder/index.html", "<p>hello</p>\n");
    MVScratchDir scratch;
    const QString upload = scratch.write("upload.txt", "over WebDAV\n");

    struct Case {
        const char *what;
        QString method;
        QString url;
        QString password;
        int status;
    };
    const Case cases[] = {
        {"listing a folder", "PROPFIND", dav.davUrl() + "folder/", dav.password(), 207},
        {"uploading", "PUT", dav.davUrl() + "upload.txt", dav.password(), 201},
        {"a wrong password", "PROPFIND", dav.davUrl(), "wrong", 401},
        {"no WebDAV", "PROPFIND", dav.plainUrl(), dav.password(), 405},
    };
    for (const Case &c : cases) {
        QProcess curl;
        QStringList arguments{"-s", "-o", "/dev/null", "-w", "%{http_code}", "-K", "-", "-X", c.method, c.url};
        if (c.method == "PUT")
            arguments << "-T" << upload;
        else
            arguments << "-H" << "Depth: 1";
        curl.start("/usr/bin/curl", arguments);
        // The password reaches curl on its standard input, not in argv.
        curl.write(QStringLiteral("user = \"%1:%2\"\n").arg(dav.user(), c.password).toUtf8());
        curl.closeWriteChannel();
        ASSERT_TRUE(curl.waitForFinished(10000)) << c.what;
        EXPECT_EQ(curl.readAll().toInt(), c.status) << c.what << "\n" << dav.log().toStdString();
    }
    EXPECT_EQ(fileContents(dav.rootDirectory() + "/upload.txt"), "over WebDAV\n");
}
