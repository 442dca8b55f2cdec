#include "remote/MVRemoteFilesConnection.h"
#include "remote/actions/MVConnectAction.h"
#include "remote/actions/MVRemoteFileAction.h"

#include <gtest/gtest.h>

TEST(RemoteActionTest, StatusCodeOfReplies)
{
    struct Case
    {
        QStringList lines;
        bool reversed;
        int code;
    } cases[] = {
        {{"150 Opening BINARY mode", "226 Transfer complete."}, false, 226},
        {{"331 Please specify the password.", "530 Login incorrect."}, false, 331},
        {{"230-Welcome", "230 Login successful."}, false, 230},
        {{"530 Login incorrect.", "230-Welcome"}, false, 230},
        {{"331 Password.", "530 Login incorrect."}, true, 530},
        {{"Connected to host.", "Remote system type is UNIX."}, false, 0},
        {{"600 no", "260 no"}, false, 0},
        {{"226"}, false, 0},
        {{"2266 no", "4501 no"}, false, 0},
        {{"550 Failed.", "226 Done"}, false, 226},
        {{"421 Timeout.", "550 Failed."}, false, 421},
        {{"550 Failed.", "421 Timeout."}, true, 421},
        {{}, false, 0},
    };
    for (const Case &c : cases)
        EXPECT_EQ(MVRemoteFileAction::statusCodeForLines(c.lines, c.reversed), c.code) << c.lines.join('|').toStdString();
    EXPECT_FALSE(MVRemoteFileAction::statusCodeIsError(399));
    EXPECT_TRUE(MVRemoteFileAction::statusCodeIsError(400));
}

// Lines OpenSSH 9.2's sftp printed for failed and successful commands.
TEST(RemoteActionTest, SftpFailureLines)
{
    struct Case
    {
        const char *command;
        QStringList lines;
        bool failed;
    } cases[] = {
        {"mkdir \"a\"", {"mkdir \"a\"", "remote mkdir \"/home/u/a\": Failure"}, true},
        {"rename \"a\" \"b\"", {"rename \"a\" \"b\"", "rename \"/home/u/a\" \"/home/u/b\": No such file or directory"}, true},
        {"chmod 644 \"x\"", {"chmod 644 \"x\"", "Changing mode on /home/u/x", "remote setstat \"/home/u/x\": No such file or directory"}, true},
        {"rm \"x\"", {"rm \"x\"", "Removing /home/u/x", "remote delete /home/u/x: No such file or directory"}, true},
        {"rmdir \"d\"", {"rmdir \"d\"", "remote rmdir \"/home/u/d\": Failure"}, true},
        {"cd \"nowhere\"", {"cd \"nowhere\"", "stat remote: No such file or directory"}, true},
        {"cd \"f\"", {"cd \"f\"", "Can't change directory: \"/home/u/f\" is not a directory"}, true},
        {"put \"a\" \"/root/a\"", {"put \"a\" \"/root/a\"", "Uploading a to /root/a", "dest open \"/root/a\": Permission denied"}, true},
        {"put \"missing\"", {"put \"missing\"", "stat local \"missing\": No such file or directory"}, true},
        {"get \"x\"", {"get \"x\"", "File \"/home/u/x\" not found.\r"}, true},
        {"get \"a\" \"/root/none/a\"", {"get \"a\" \"/root/none/a\"", "Couldn't open local file \"/root/none/a\" for writing: No such file or directory"}, true},
        {"ls \"q\"", {"ls \"q\"", "Can't ls: \"/home/u/q\" not found"}, true},
        {"pwd", {"pwd", "Connection closed"}, true},
        // Echoed once or twice, a name that reads like a failure is no failure.
        {"get \"not found.html\"", {"get \"not found.html\"", "get \"not found.html\"", "Fetching /home/u/not found.html to not found.html"}, false},
        {"rm \"Couldn't.txt\"", {"rm \"Couldn't.txt\"", "Removing /home/u/Couldn't.txt"}, false},
        {"pwd", {"pwd", "Remote working directory: /home/u"}, false},
        {"mkdir \"b\"", {"mkdir \"b\""}, false},
    };
    for (const Case &c : cases)
        EXPECT_EQ(MVRemoteFileAction::linesIndicateError(c.lines, QString::fromUtf8(c.command)), c.failed) << c.command;
}

TEST(RemoteActionTest, ConnectSettingsThatWouldBeReadAsOptionsAreRefused)
{
    struct Case
    {
        QString host;
        QString user;
        QString password;
        bool refused;
    } cases[] = {
        {"example.org", "ann", "secret word", false},
        {"http://127.0.0.1:8080/dav/", "", "", false},
        {"-oProxyCommand=sh", "ann", "pw", true},
        {"example.org", "-oProxyCommand=sh", "pw", true},
        {"exa mple.org", "ann", "pw", true},
        {"example.org", "an n", "pw", true},
        {"example.org", "ann", "pw\nrm -rf x", true},
        {"example.org\r", "ann", "pw", true},
        {"", "ann", "pw", true},
    };
    const auto connection = MVRemoteFilesConnection::initWithType(MVRemoteFilesConnection::SFTP);
    for (const Case &c : cases) {
        const auto action = MVConnectAction::actionWithConnection(connection, c.host, 0, c.user, c.password, {});
        EXPECT_EQ(!action->refusal().isEmpty(), c.refused) << c.host.toStdString() << " " << c.user.toStdString();
    }
    const auto action = MVConnectAction::actionWithConnection(connection, QStringLiteral("h"), 0, {}, {}, {QStringLiteral("-o\x01")});
    EXPECT_FALSE(action->refusal().isEmpty());
}
