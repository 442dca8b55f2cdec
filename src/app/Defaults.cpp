#include "app/Defaults.h"

#include "platform/MVLog.h"
#include "platform/MVPropertyList.h"
#include "platform/MVUserDefaults.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QFontDatabase>
#include <QStandardPaths>

#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString FontKey = QStringLiteral("MVDefaultFontKey");

std::mutex s_pathMutex;
QString s_resourcesOverride;
QString s_temporaryDirectory;

bool numberAt(const QString &key, bool fallback)
{
    MVUserDefaults &store = MVUserDefaults::standard();
    return store.isNumber(key) ? store.boolForKey(key) : fallback;
}

// A directory owned by us that nobody else can enter: fix our own mode if it
// is too open; anything else (a link, a file, someone else's) is unsafe.
bool isPrivateDirectory(const QByteArray &path)
{
    struct stat st;
    if (::lstat(path.constData(), &st) != 0 || !S_ISDIR(st.st_mode) || st.st_uid != ::geteuid())
        return false;
    if ((st.st_mode & 077) != 0 && ::chmod(path.constData(), 0700) != 0)
        return false;
    return true;
}

} // namespace

QString Defaults::privateDirectoryAt(const QString &preferredPath)
{
    const QByteArray preferred = QFile::encodeName(preferredPath);
    if (::mkdir(preferred.constData(), 0700) == 0 || errno == EEXIST) {
        if (isPrivateDirectory(preferred))
            return QFile::decodeName(preferred);
    }
    QByteArray tmpl = preferred + "-XXXXXX";
    if (::mkdtemp(tmpl.data())) {
        MVLog::line(QStringLiteral("TEMPORARY DIRECTORY %1 IS NOT SAFE, USING %2")
                        .arg(QFile::decodeName(preferred), QFile::decodeName(tmpl)));
        return QFile::decodeName(tmpl);
    }
    return QString();
}

const QList<QPair<QString, QVariant>> &Defaults::registeredDefaults()
{
    static const QList<QPair<QString, QVariant>> table = {
        {"MVAutoComplete", true},
        {"MVAutoSave", 0},
        {"MVAutoCompleteOnType", false},
        {"MVAutoSpecChars", true},
        {"MVAutoTabKey", true},
        {"MVCloseSiteManager", true},
        {"MVDoGrepKey", false},
        {"MVDoMatchCaseKey", false},
        {"MVCurrentThemeID", QStringLiteral("com.morvelworks.morvel.themes.light")},
        {"MVHighlightKey", true},
        {"MVHowToOpenFiles", 0},
        {"MVLineBreak", 0},
        {"MVLineNums", true},
        {"MVShowFilePropertiesSheet", true},
        {"MVShowSiteManager", true},
        {"MVTabsAreSpaces", false},
        {"MVTabSizeKey", 4},
        {"MVTextEncoding", QStringLiteral("utf-8")},
        {"MVWrapText", false},
        {"MVXHTMLTags", false},
        {"MVShowInvisibles", false},
        {"MVSFTPGratuitousLogging", false},
        {"MVSFTPShowLog", true},
        {"MVSFTPLogWidth", 270.0},
        {"MVSFTPTimeout", QStringLiteral("90")},
        {"MVUseTabs", true},
        {"MVFTPExecPath", QStringLiteral("/usr/bin/ftp")},
        {"MVSFTPExecPath", QStringLiteral("/usr/bin/sftp")},
        // Debian installs the WebDAV client in /usr/bin.
        {"MVWebDAVExecPath", QStringLiteral("/usr/bin/cadaver")},
        {"MVWebDAVExecType", 0},
        {"MVRemoteFilesSortOrder", 0},
        {"MVSuggestElementsAutomatically", true},
        {"MVSuggestKeywordsAutomatically", false},
        {"MVCodeIndexingEnabled", true},
        {"MVCodeFoldingEnabled", true},
        {"MVDoubleClickToOpenFiles", false},
        {"MVRenamePairedTags", true},
    };
    return table;
}

void Defaults::resetDefaults(bool)
{
    // Numbers above 1 are stored as numbers; 0 and 1 (flags and small
    // integers alike) as booleans, which every reader takes as numbers.
    QVariantMap values;
    for (const auto &[key, value] : registeredDefaults()) {
        const bool isNumber = value.typeId() == QMetaType::Int || value.typeId() == QMetaType::Double
            || value.typeId() == QMetaType::Bool;
        if (isNumber && static_cast<qint32>(value.toDouble()) <= 1)
            values.insert(key, value.toDouble() != 0.0);
        else if (value.typeId() == QMetaType::Int)
            values.insert(key, qint64(value.toInt()));
        else
            values.insert(key, value);
    }
    MVUserDefaults::standard().setObjects(values, true);
}

QFont Defaults::defaultFont()
{
    const QVariant stored = MVUserDefaults::standard().objectForKey(FontKey);
    QFont font;
    if (stored.typeId() == QMetaType::QByteArray && font.fromString(QString::fromUtf8(stored.toByteArray())))
        return font;
    return QFontDatabase::systemFont(QFontDatabase::FixedFont);
}

void Defaults::setDefaultFont(const QFont &font)
{
    MVUserDefaults::standard().setObject(FontKey, font.toString().toUtf8());
}

bool Defaults::useSharedProjectLocation()
{
    return numberAt(QStringLiteral("MVUseSharedProjectLocation"), true);
}

bool Defaults::promptToSearchLocalCache()
{
    return !numberAt(QStringLiteral("MVDontPromptToSearchLocalCache"), false);
}

bool Defaults::searchLocalCacheForRemoteProjects()
{
    return numberAt(QStringLiteral("MVSearchLocalCacheForRemoteProjects"), false);
}

QString Defaults::textEncoding()
{
    const QVariant v = MVUserDefaults::standard().objectForKey(QStringLiteral("MVTextEncoding"));
    return v.typeId() == QMetaType::QString ? v.toString() : QStringLiteral("utf-8");
}

QString Defaults::appSupportPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
}

QString Defaults::tildePath()
{
    return appSupportPath() + QStringLiteral("/Morvel");
}

QString Defaults::appSupportPathForFile(const QString &name)
{
    return name.isEmpty() ? tildePath() : tildePath() + QLatin1Char('/') + name;
}

QString Defaults::appSupportPathForFileInDirectory(const QString &name, const QString &directory)
{
    return QDir::cleanPath(tildePath() + QLatin1Char('/') + directory + QLatin1Char('/') + name);
}

QString Defaults::resourcesPath()
{
    {
        std::lock_guard lock(s_pathMutex);
        if (!s_resourcesOverride.isEmpty())
            return s_resourcesOverride;
    }
    const QString exeDir = QCoreApplication::instance() ? QCoreApplication::applicationDirPath()
                                                        : QFileInfo(QStringLiteral("/proc/self/exe")).canonicalPath();
    const QString beside = exeDir + QStringLiteral("/resources");
    if (QFileInfo(beside).isDir())
        return QFileInfo(beside).canonicalFilePath();
    return QDir::cleanPath(exeDir + QStringLiteral("/../share/morvel"));
}

void Defaults::setResourcesPathForTesting(const QString &path)
{
    std::lock_guard lock(s_pathMutex);
    s_resourcesOverride = path;
}

static QString fileName(const QString &name, const QString &type)
{
    return type.isEmpty() ? name : name + QLatin1Char('.') + type;
}

QString Defaults::bundleResourcePath(const QString &name, const QString &type, const QString &directory)
{
    const QString root = resourcesPath();
    const QString file = fileName(name, type);
    if (!directory.isEmpty()) {
        const QString inDirectory = root + QLatin1Char('/') + directory + QLatin1Char('/') + file;
        if (QFileInfo::exists(inDirectory))
            return inDirectory;
    }
    const QString topLevel = root + QLatin1Char('/') + file;
    return QFileInfo::exists(topLevel) ? topLevel : QString();
}

QString Defaults::pathForResource(const QString &name, const QString &type, const QString &directory)
{
    const QString user = appSupportPathForFileInDirectory(fileName(name, type), directory);
    if (QFileInfo::exists(user))
        return user;
    return bundleResourcePath(name, type, directory);
}

QStringList Defaults::pathsForResourcesOfType(const QString &type, const QString &directory)
{
    const QString suffix = QLatin1Char('.') + type;
    auto collect = [&suffix](const QString &root, bool recursive) {
        QStringList found;
        QDirIterator it(root, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden,
                        recursive ? QDirIterator::Subdirectories : QDirIterator::NoIteratorFlags);
        while (it.hasNext()) {
            const QString path = it.next();
            if (path.endsWith(suffix))
                found.append(path);
        }
        // Sorted so that loading does not depend on the order of the directory.
        found.sort();
        return found;
    };
    QStringList paths = collect(appSupportPathForFileInDirectory(QString(), directory), true);
    paths += collect(resourcesPath() + QLatin1Char('/') + directory, false);
    return paths;
}

bool Defaults::writePlist(const QVariant &plist, const QString &path, int format)
{
    const auto kind = format == MVPropertyList::XMLFormat ? MVPropertyList::XMLFormat : MVPropertyList::BinaryFormat;
    return MVPropertyList::writeFile(plist, path, kind);
}

QString Defaults::temporaryDirectory()
{
    std::lock_guard lock(s_pathMutex);
    // Check again each time: the directory may have been cleaned away.
    if (s_temporaryDirectory.isEmpty() || !isPrivateDirectory(QFile::encodeName(s_temporaryDirectory)))
        s_temporaryDirectory = privateDirectoryAt(QStringLiteral("/tmp/Morvel-%1").arg(::geteuid()));
    return s_temporaryDirectory;
}
