#include "support/TestEnvironment.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QThread>
#include <gtest/gtest.h>

#include <csignal>

namespace {

// Every entry below a directory with its size and modification time.
QStringList snapshot(const QString &root)
{
    QStringList entries;
    QDirIterator it(root, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        if (path.contains(QStringLiteral("/runtime")))
            continue; // sockets and other session files
        if (path.contains(QStringLiteral("/index.db")))
            continue; // the code index fills in the background, across launches
        // Files by size and time; folders by name only, since the index's
        // journals come and go beside it.
        const QFileInfo info(path);
        entries << (info.isDir() ? path.mid(root.size())
                                 : QStringLiteral("%1 %2 %3").arg(path.mid(root.size())).arg(info.size())
                                       .arg(info.lastModified().toMSecsSinceEpoch()));
    }
    entries.sort();
    return entries;
}

class Launch : public ::testing::Test
{
protected:
    // Starts the editor in the private home, waits until the file at
    // waitFor exists (by default the last of its configuration tree), then
    // ends it as the session would.
    int launchAndQuit(const QStringList &arguments = {}, const QString &waitFor = ".local/share/Morvel/Projects")
    {
        QProcess editor;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("HOME", home.path());
        env.insert("XDG_CONFIG_HOME", home.file(".config"));
        env.insert("XDG_DATA_HOME", home.file(".local/share"));
        env.insert("XDG_CACHE_HOME", home.file(".cache"));
        env.insert("XDG_RUNTIME_DIR", home.file("runtime"));
        env.insert("QT_QPA_PLATFORM", "offscreen");
        editor.setProcessEnvironment(env);
        editor.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        editor.start(QCoreApplication::applicationDirPath() + "/morvel", arguments);
        if (!editor.waitForStarted(30000))
            return -1;
        // The instance's socket comes after its signal handling is set up.
        const QString lastMade = home.file(waitFor);
        const QString socket = home.file("runtime/morvel.sock");
        QElapsedTimer timer;
        timer.start();
        while (!(QFileInfo::exists(lastMade) && QFileInfo::exists(socket)) && timer.elapsed() < 60000)
            QThread::msleep(50);
        QThread::msleep(waitFor.endsWith("Projects") ? 200 : 1500);
        ::kill(static_cast<pid_t>(editor.processId()), SIGTERM);
        if (!editor.waitForFinished(60000)) {
            editor.kill();
            editor.waitForFinished();
            return -2;
        }
        return editor.exitStatus() == QProcess::NormalExit ? editor.exitCode() : -3;
    }

    void SetUp() override
    {
        QDir().mkpath(home.file("runtime"));
        QFile::setPermissions(home.file("runtime"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }

    MVScratchDir home;
};

TEST_F(Launch, FirstLaunchBuildsTheConfigurationAndASecondChangesNothing)
{
    ASSERT_EQ(launchAndQuit(), 0);
    const QString root = home.file(".local/share/Morvel");
    for (const char *name : {"data", "highlighting", "backups", "snippets", "codecompletion", "Bundles", "Themes",
                             "Projects", "TidyConfigFiles", "userscripts"})
        EXPECT_TRUE(QFileInfo(root + "/" + name).isDir()) << name;
    EXPECT_FALSE(QDir(root + "/userscripts").isEmpty());
    EXPECT_FALSE(QDir(root + "/TidyConfigFiles").isEmpty());
    ASSERT_TRUE(QFileInfo::exists(home.file(".config/Morvel/preferences.plist")));

    const QStringList first = snapshot(home.path());
    QThread::msleep(20); // so that a rewrite would show in the times
    ASSERT_EQ(launchAndQuit(), 0);
    EXPECT_EQ(snapshot(home.path()), first);
}

TEST_F(Launch, AnUnreadablePreferencesFileGivesTheDefaultsAndIsKept)
{
    home.write(".config/Morvel/preferences.plist", "bplist00 this is not a property list");
    ASSERT_EQ(launchAndQuit(), 0);
    EXPECT_TRUE(QFileInfo::exists(home.file(".config/Morvel/preferences.plist.broken")));
    EXPECT_TRUE(QFileInfo::exists(home.file(".config/Morvel/preferences.plist")));
}

TEST_F(Launch, TheSessionsEndWhileALaunchAlertWaitsStillEndsTheEditor)
{
    // A path that does not exist raises an alert during the launch.
    EXPECT_EQ(launchAndQuit({home.file("no-such-file.html")}, ".config/Morvel/preferences.plist"), 0);
}

} // namespace
