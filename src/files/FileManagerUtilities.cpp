#include "files/FileManagerUtilities.h"

#include "app/Defaults.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QMimeDatabase>

#include <cerrno>
#include <grp.h>
#include <mutex>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace FileManagerUtilities {

namespace {

bool pathExists(const QString &path)
{
    struct stat st;
    return ::lstat(QFile::encodeName(path).constData(), &st) == 0;
}

// The extension as a file name shows it: none for ".htaccess" or "name.".
QString extensionOf(const QString &name)
{
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    if (dot <= 0 || dot == name.size() - 1)
        return QString();
    return name.mid(dot + 1);
}

} // namespace

MVError errorFromDictionary(const QVariantMap &record)
{
    return fileOperationError(record.value(QStringLiteral("Path")).toString(),
                              record.value(QStringLiteral("Error")).toString());
}

MVError fileOperationError(const QString &path, const QString &reason)
{
    return MVError::morvel(9, QStringLiteral("File Operation Error"), QStringLiteral("%1: %2").arg(path, reason));
}

QIcon iconForFile(const QString &path, int size, bool useCache, bool isDirectory)
{
    static std::mutex mutex;
    static QHash<QString, QIcon> cache;
    static QMimeDatabase mimeDatabase;

    if (isDirectory)
        return QIcon::fromTheme(QStringLiteral("folder"));
    const QString extension = extensionOf(QFileInfo(path).fileName());
    const bool cacheable = useCache && !extension.isEmpty();
    std::lock_guard lock(mutex);
    if (cacheable) {
        auto it = cache.constFind(extension);
        if (it != cache.constEnd())
            return *it;
    }
    const QMimeType type = mimeDatabase.mimeTypeForFile(path, cacheable ? QMimeDatabase::MatchExtension
                                                                          : QMimeDatabase::MatchDefault);
    QIcon icon = QIcon::fromTheme(type.iconName(), QIcon::fromTheme(type.genericIconName()));
    if (icon.isNull())
        icon = QIcon::fromTheme(QStringLiteral("text-x-generic"));
    Q_UNUSED(size); // a QIcon serves every size itself
    if (cacheable)
        cache.insert(extension, icon);
    return icon;
}

namespace {

// Names of users and groups change rarely and are asked for once per listed
// file: keep them for the run.
std::mutex s_namesMutex;
QHash<uid_t, QString> s_userNames;
QHash<gid_t, QString> s_groupNames;

} // namespace

QString nameForGid(gid_t gid)
{
    {
        std::lock_guard lock(s_namesMutex);
        if (auto it = s_groupNames.constFind(gid); it != s_groupNames.constEnd())
            return *it;
    }
    std::vector<char> buffer(16384);
    struct group entry;
    struct group *result = nullptr;
    QString name = QString::number(gid);
    if (::getgrgid_r(gid, &entry, buffer.data(), buffer.size(), &result) == 0 && result)
        name = QString::fromLocal8Bit(result->gr_name);
    std::lock_guard lock(s_namesMutex);
    s_groupNames.insert(gid, name);
    return name;
}

QString nameForUid(uid_t uid)
{
    {
        std::lock_guard lock(s_namesMutex);
        if (auto it = s_userNames.constFind(uid); it != s_userNames.constEnd())
            return *it;
    }
    std::vector<char> buffer(16384);
    struct passwd entry;
    struct passwd *result = nullptr;
    QString name = QString::number(uid);
    if (::getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &result) == 0 && result)
        name = QString::fromLocal8Bit(result->pw_name);
    std::lock_guard lock(s_namesMutex);
    s_userNames.insert(uid, name);
    return name;
}

QString formattedStringForSize(double size)
{
    static const char *const units[] = {"MB", "GB", "TB", "PB"};
    if (size < 1024.0)
        return QString::asprintf("%.0f B", size);
    double scaled = size / 1024.0;
    if (scaled < 1024.0)
        return QString::asprintf("%.0f KB", scaled);
    for (const char *unit : units) {
        scaled /= 1024.0;
        if (scaled < 1024.0)
            return QString::asprintf("%.1f %s", scaled, unit);
    }
    return QString();
}

QString modeStringForMode(quint32 mode)
{
    QString text(10, QLatin1Char('-'));
    switch (mode & 0xF000) {
    case 0x4000: text[0] = QLatin1Char('d'); break;
    case 0x2000: text[0] = QLatin1Char('c'); break;
    case 0x6000: text[0] = QLatin1Char('b'); break;
    case 0x8000: text[0] = QLatin1Char('-'); break;
    case 0xA000: text[0] = QLatin1Char('l'); break;
    case 0xC000: text[0] = QLatin1Char('s'); break;
    case 0x1000: text[0] = QLatin1Char('p'); break;
    case 0xE000: text[0] = QLatin1Char('w'); break;
    default: text[0] = QLatin1Char('?'); break;
    }
    const char letters[] = "rwxrwxrwx";
    for (int i = 0; i < 9; ++i) {
        if (mode & (0400u >> i))
            text[i + 1] = QLatin1Char(letters[i]);
    }
    auto special = [&text, mode](int index, quint32 bit, char set, char setWithoutExecute) {
        if (mode & bit)
            text[index] = QLatin1Char(text[index] == QLatin1Char('x') ? set : setWithoutExecute);
    };
    special(3, 04000, 's', 'S');
    special(6, 02000, 's', 'S');
    special(9, 01000, 't', 'T');
    return text;
}

QString numericModeStringForMode(quint32 mode)
{
    return QString::number(mode & 07777, 8);
}

quint32 modeFromString(const QString &text)
{
    if (text.size() < 10)
        return 0;
    quint32 mode = 0;
    switch (text[0].unicode()) {
    case 'b': mode = 0x6000; break;
    case 'c': mode = 0x2000; break;
    case 'd': mode = 0x4000; break;
    case 'l': mode = 0xA000; break;
    case 'p': mode = 0x1000; break;
    case 's': mode = 0xC000; break;
    case 'w': mode = 0xE000; break;
    default: mode = 0x8000; break;
    }
    auto is = [&text](int index, char a, char b = 0) {
        const QChar c = text[index];
        return c == QLatin1Char(a) || (b && c == QLatin1Char(b));
    };
    const quint32 read[] = {0400, 040, 04};
    const quint32 write[] = {0200, 020, 02};
    const quint32 execute[] = {0100, 010, 01};
    for (int group = 0; group < 3; ++group) {
        const int at = 1 + group * 3;
        if (is(at, 'r'))
            mode |= read[group];
        if (is(at + 1, 'w'))
            mode |= write[group];
        if (is(at + 2, 'x', group == 2 ? 't' : 's'))
            mode |= execute[group];
    }
    if (is(3, 'S', 's'))
        mode |= 0x800;
    if (is(6, 'S', 's'))
        mode |= 0x400;
    if (is(9, 'T', 't'))
        mode |= 0x200;
    return mode;
}

QString pathForCopyOfFile(const QString &path)
{
    struct stat st;
    const bool isDirectory = ::stat(QFile::encodeName(path).constData(), &st) == 0 && S_ISDIR(st.st_mode);
    return pathForCopyOfFile(path, QStringLiteral(" copy"), isDirectory);
}

QString pathForCopyOfFile(const QString &path, const QString &initialSuffix, bool asDirectory)
{
    QString clean = path;
    while (clean.size() > 1 && clean.endsWith(QLatin1Char('/')))
        clean.chop(1);
    const qsizetype slash = clean.lastIndexOf(QLatin1Char('/'));
    const QString directory = slash >= 0 ? clean.left(slash + 1) : QString();
    const QString name = clean.mid(slash + 1);
    const QString extension = asDirectory ? QString() : extensionOf(name);
    const QString base = extension.isEmpty() ? name : name.left(name.size() - extension.size() - 1);
    const QString dottedExtension = extension.isEmpty() ? QString() : QLatin1Char('.') + extension;

    QString candidate = directory + base + initialSuffix + dottedExtension;
    for (int counter = 1; pathExists(candidate); ++counter)
        candidate = directory + base + initialSuffix + QStringLiteral(" %1").arg(counter) + dottedExtension;
    return candidate;
}

bool ensureDirectoryExists(const QString &path)
{
    const QString clean = QDir::cleanPath(path);
    const QStringList parts = clean.split(QLatin1Char('/'));
    QString current = clean.startsWith(QLatin1Char('/')) ? QStringLiteral("/") : QString();
    for (const QString &part : parts) {
        if (part.isEmpty())
            continue;
        if (!current.isEmpty() && !current.endsWith(QLatin1Char('/')))
            current += QLatin1Char('/');
        current += part;
        const QByteArray encoded = QFile::encodeName(current);
        struct stat st;
        if (::stat(encoded.constData(), &st) == 0) {
            if (!S_ISDIR(st.st_mode))
                return false;
            continue;
        }
        if (::mkdir(encoded.constData(), 0777) != 0 && errno != EEXIST)
            return false;
    }
    return true;
}

QString resolvedPath(const QString &path)
{
    const QFileInfo info(path);
    if (info.isSymLink())
        return info.symLinkTarget();
    return path;
}

QString pathForTemporaryFile()
{
    const QString directory = Defaults::temporaryDirectory();
    if (directory.isEmpty())
        return QString();
    QByteArray templ = QFile::encodeName(directory + QStringLiteral("/Morvel.tmp.XXXXXX"));
    const int fd = ::mkstemp(templ.data());
    if (fd < 0)
        return QString();
    ::close(fd);
    return QFile::decodeName(templ);
}

QString pathForTemporaryDirectory(const QString &prefix)
{
    const QString directory = Defaults::temporaryDirectory();
    if (directory.isEmpty())
        return QString();
    QByteArray templ = QFile::encodeName(directory + QLatin1Char('/') + prefix + QStringLiteral("XXXXXX"));
    if (!::mkdtemp(templ.data()))
        return QString();
    return QFile::decodeName(templ);
}

QByteArray createAliasDataForPath(const QString &path)
{
    return path.toUtf8();
}

QString createPathFromAliasData(const QByteArray &data)
{
    return QString::fromUtf8(data);
}

bool isAcceptableFileName(const QString &name)
{
    return !name.isEmpty() && name != QLatin1String(".") && name != QLatin1String("..")
        && !name.contains(QLatin1Char('/')) && !name.contains(QChar(0));
}

} // namespace FileManagerUtilities
