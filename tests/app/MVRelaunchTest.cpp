#include "app/MVRelaunch.h"
#include "support/TestEnvironment.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QThread>
#include <gtest/gtest.h>

namespace {

TEST(MVRelaunch, StartsTheApplicationOnlyAfterTheOldProcessEnded)
{
    MVScratchDir dir;
    const QString marker = dir.file("started");
    const QString app = dir.write("app.sh", "#!/bin/sh\ntouch '" + marker.toUtf8() + "'\n");
    QFile::setPermissions(app, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    ASSERT_TRUE(QFileInfo(MVRelaunch::relauncherPath()).isExecutable()) << MVRelaunch::relauncherPath().toStdString();

    QProcess old;
    old.start("sleep", {"1"});
    ASSERT_TRUE(old.waitForStarted());
    QProcess relauncher;
    relauncher.start(MVRelaunch::relauncherPath(), {app, QString::number(old.processId())});
    ASSERT_TRUE(relauncher.waitForStarted());
    QThread::msleep(300);
    EXPECT_FALSE(QFileInfo::exists(marker)) << "started while the old process still ran";
    ASSERT_TRUE(old.waitForFinished(30000));
    ASSERT_TRUE(relauncher.waitForFinished(30000));
    EXPECT_EQ(relauncher.exitCode(), 0);
    EXPECT_TRUE(QFileInfo::exists(marker));

    QProcess bad;
    bad.start(MVRelaunch::relauncherPath(), {app, "12x"});
    ASSERT_TRUE(bad.waitForFinished(30000));
    EXPECT_EQ(bad.exitCode(), 2);
}

} // namespace
