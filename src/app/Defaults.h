#pragma once

#include <QFont>
#include <QString>
#include <QStringList>
#include <QVariant>

// The one place that knows every preference's default, the layout of the
// configuration directory and the search order between the user's copies
// and the application's own resources.
class Defaults
{
public:
    Defaults() = delete;

    // Every key with a registered default, in registration order, and its value.
    static const QList<QPair<QString, QVariant>> &registeredDefaults();
    // Writes each registered default whose key has no value yet. Never
    // overwrites: the argument is ignored.
    static void resetDefaults(bool ignored = true);

    static QFont defaultFont();
    static void setDefaultFont(const QFont &font);
    static bool useSharedProjectLocation();
    static bool promptToSearchLocalCache();
    static bool searchLocalCacheForRemoteProjects();
    // The stored default encoding name if it is a string, else "utf-8".
    static QString textEncoding();

    // The configuration root: $XDG_DATA_HOME/Morvel.
    static QString tildePath();
    // The parent of the configuration root (the XDG data directory).
    static QString appSupportPath();
    static QString appSupportPathForFile(const QString &name = QString());
    static QString appSupportPathForFileInDirectory(const QString &name, const QString &directory);

    // The application's resource directory (installed share/morvel, or the
    // resources beside the executable in a build tree).
    static QString resourcesPath();
    // An application resource: name with the extension (if any) in the
    // directory, else at the top level; empty if none.
    static QString bundleResourcePath(const QString &name, const QString &type, const QString &directory);

    // The user's copy first, then the application's in the directory, then the
    // application's at the top level. Empty if none exists.
    static QString pathForResource(const QString &name, const QString &type, const QString &directory);
    // The user's entries with the extension at any depth, then the application's.
    static QStringList pathsForResourcesOfType(const QString &type, const QString &directory);

    // Serialises and writes atomically; format 200 is binary, 100 XML.
    static bool writePlist(const QVariant &plist, const QString &path, int format);

    // The per-user temporary directory (/tmp/Morvel-<uid>, mode 0700), made on
    // first use; a fresh private directory if that path is not safe to use.
    static QString temporaryDirectory();
    // The directory at the path if it is a real directory of ours (its mode
    // narrowed to 0700), made if missing; else a fresh private one beside it.
    static QString privateDirectoryAt(const QString &preferredPath);

    // For tests: overrides where application resources are looked up.
    static void setResourcesPathForTesting(const QString &path);
};
