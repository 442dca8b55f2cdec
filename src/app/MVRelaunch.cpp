#include "app/MVRelaunch.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QProcess>

QString MVRelaunch::relauncherPath()
{
    const QString dir = QCoreApplication::applicationDirPath();
    const QString beside = dir + QStringLiteral("/relauncher");
    if (QFileInfo(beside).isExecutable())
        return beside;
    return QFileInfo(dir + QStringLiteral("/../libexec/morvel/relauncher")).absoluteFilePath();
}

bool MVRelaunch::startRelauncher()
{
    return QProcess::startDetached(relauncherPath(),
                                   {QCoreApplication::applicationFilePath(), QString::number(QCoreApplication::applicationPid())});
}
