#include "app/MVSetupConfigurationDirectories.h"

#include "app/Defaults.h"
#include "platform/MVLog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <filesystem>

namespace {

// Copies a directory tree without following links, keeping file modes.
bool copyTree(const QString &from, const QString &to)
{
    namespace fs = std::filesystem;
    std::error_code ec;
    fs::copy(QFile::encodeName(from).constData(), QFile::encodeName(to).constData(),
             fs::copy_options::recursive | fs::copy_options::copy_symlinks, ec);
    return !ec;
}

void removeTree(const QString &path)
{
    std::error_code ec;
    std::filesystem::remove_all(QFile::encodeName(path).constData(), ec);
}

}

bool MVSetupConfigurationDirectories::createAppSupportDirectory(const QString &target, const QString &bundleDirectory)
{
    const QString path = Defaults::appSupportPathForFile(target);
    if (QFileInfo::exists(path) || QFileInfo(path).isSymLink())
        return true;
    if (bundleDirectory.isEmpty())
        return QDir().mkpath(path);
    const QString source = Defaults::resourcesPath() + QLatin1Char('/') + bundleDirectory;
    if (!QFileInfo(source).isDir())
        return QDir().mkpath(path);
    // Copy beside the target and rename into place, so an interrupted copy
    // never looks like the user's complete directory.
    const QString partial = Defaults::tildePath() + QStringLiteral("/.") + target + QStringLiteral(".partial");
    removeTree(partial);
    if (!copyTree(source, partial) || !QDir().rename(partial, path)) {
        removeTree(partial);
        MVLog::line(QStringLiteral("COULD NOT CREATE %1").arg(path));
        return false;
    }
    return true;
}

void MVSetupConfigurationDirectories::run()
{
    Defaults::temporaryDirectory();
    QDir().mkpath(Defaults::appSupportPath());
    QDir().mkpath(Defaults::tildePath());
    createAppSupportDirectory(QStringLiteral("TidyConfigFiles"), QStringLiteral("Tidy"));
    createAppSupportDirectory(QStringLiteral("userscripts"), QStringLiteral("User Scripts"));
    for (const char *name : {"data", "highlighting", "backups", "snippets", "codecompletion", "Bundles", "Themes", "Projects"})
        createAppSupportDirectory(QString::fromLatin1(name));
}
