#include "files/MVLocalFileRepresentation.h"

#include "files/FileManagerUtilities.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString errnoText(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

QString parentOf(const QString &path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    if (slash <= 0)
        return slash == 0 ? QStringLiteral("/") : QString();
    return path.left(slash);
}

} // namespace

std::shared_ptr<MVLocalFileRepresentation> MVLocalFileRepresentation::make(const QString &path)
{
    return std::make_shared<MVLocalFileRepresentation>(path);
}

std::shared_ptr<MVLocalFileRepresentation>
MVLocalFileRepresentation::make(const QString &path, const std::shared_ptr<MVFileRepresentationDelegate> &delegate)
{
    auto rep = make(path);
    rep->setDelegate(delegate);
    return rep;
}

MVLocalFileRepresentation::MVLocalFileRepresentation(const QString &path)
    : MVFileRepresentation(path)
    , _initialPath(path)
{
}

QString MVLocalFileRepresentation::path()
{
    const QString path = delegatePath();
    return path.isEmpty() ? _initialPath : path;
}

bool MVLocalFileRepresentation::loadFileAttributes()
{
    struct stat st;
    if (::stat(QFile::encodeName(path()).constData(), &st) != 0)
        return false;
    setGroup(FileManagerUtilities::nameForGid(st.st_gid));
    setOwner(FileManagerUtilities::nameForUid(st.st_uid));
    setMode(static_cast<quint16>(st.st_mode));
    setModificationDate(QDateTime::fromSecsSinceEpoch(st.st_mtime, Qt::UTC));
    setSize(st.st_size);
    return true;
}

std::optional<MVFileRepresentation::List> MVLocalFileRepresentation::_loadChildren()
{
    const QString directory = path();
    DIR *dir = ::opendir(QFile::encodeName(directory).constData());
    if (!dir) {
        _reportError(directory, errnoText(errno));
        return std::nullopt;
    }
    List children;
    const QString prefix = directory.endsWith(QLatin1Char('/')) ? directory : directory + QLatin1Char('/');
    errno = 0;
    while (const dirent *entry = ::readdir(dir)) {
        const QString name = QFile::decodeName(entry->d_name);
        if (FileManagerUtilities::isAcceptableFileName(name))
            children.push_back(make(prefix + name));
        errno = 0;
    }
    const int readError = errno;
    ::closedir(dir);
    if (readError != 0) {
        _reportError(directory, errnoText(readError));
        return std::nullopt;
    }
    return children;
}

bool MVLocalFileRepresentation::loadChildren()
{
    if (_loaded)
        return true;
    std::optional<List> children = _loadChildren();
    if (!children)
        return false;
    _loaded = true;
    report([&](MVFileRepresentationDelegate &d) { d.fileRepresentationDidLoadChildren(this, *children); });
    return true;
}

bool MVLocalFileRepresentation::reloadChildren()
{
    std::optional<List> children = _loadChildren();
    if (!children)
        return false;
    _loaded = true;
    report([&](MVFileRepresentationDelegate &d) { d.fileRepresentationDidReloadChildren(this, *children); });
    return true;
}

void MVLocalFileRepresentation::deleteFile()
{
    const QString target = path();
    const QByteArray encoded = QFile::encodeName(target);
    struct stat st;
    bool ok = false;
    if (::lstat(encoded.constData(), &st) != 0) {
        _reportError(target, errnoText(errno));
    } else if (S_ISDIR(st.st_mode)) {
        // remove_all removes links themselves and never descends through them.
        std::error_code error;
        std::filesystem::remove_all(std::filesystem::path(encoded.toStdString()), error);
        if (error)
            _reportError(target, QString::fromStdString(error.message()));
        else
            ok = true;
    } else if (::unlink(encoded.constData()) != 0) {
        _reportError(target, errnoText(errno));
    } else {
        ok = true;
    }
    report([&](MVFileRepresentationDelegate &d) { d.fileRepresentationDidDelete(this, ok); });
}

void MVLocalFileRepresentation::duplicate()
{
    const QString source = path();
    const QByteArray encodedSource = QFile::encodeName(source);
    struct stat st;
    std::shared_ptr<MVFileRepresentation> copy;
    if (::lstat(encodedSource.constData(), &st) != 0) {
        _reportError(source, errnoText(errno));
    } else {
        const QString destination = FileManagerUtilities::pathForCopyOfFile(source, QStringLiteral(" copy"),
                                                                            S_ISDIR(st.st_mode));
        const std::filesystem::path from(encodedSource.toStdString());
        const std::filesystem::path to(QFile::encodeName(destination).toStdString());
        std::error_code error;
        if (S_ISLNK(st.st_mode)) {
            std::filesystem::copy_symlink(from, to, error);
        } else if (S_ISDIR(st.st_mode)) {
            std::filesystem::copy(from, to,
                                  std::filesystem::copy_options::recursive | std::filesystem::copy_options::copy_symlinks,
                                  error);
        } else {
            std::filesystem::copy_file(from, to, std::filesystem::copy_options::none, error);
        }
        if (error) {
            std::error_code ignored;
            if (std::filesystem::symlink_status(to, ignored).type() != std::filesystem::file_type::not_found)
                std::filesystem::remove_all(to, ignored);
            _reportError(source, QString::fromStdString(error.message()));
        } else {
            copy = make(destination);
        }
    }
    report([&](MVFileRepresentationDelegate &d) { d.fileRepresentationDidDuplicate(this, copy); });
}

bool MVLocalFileRepresentation::_moveWithoutReplacing(const QString &from, const QString &to)
{
    const QByteArray source = QFile::encodeName(from);
    const QByteArray target = QFile::encodeName(to);
    if (::renameat2(AT_FDCWD, source.constData(), AT_FDCWD, target.constData(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return false;
    // The file system cannot refuse by itself: look first (a small race, but
    // never a silent replacement of a file that is there now).
    struct stat st;
    if (::lstat(target.constData(), &st) == 0) {
        errno = EEXIST;
        return false;
    }
    return ::rename(source.constData(), target.constData()) == 0;
}

bool MVLocalFileRepresentation::moveToPath(const QString &destination, const Context &context)
{
    const QString source = path();
    const bool ok = _moveWithoutReplacing(source, destination);
    if (ok)
        setName(destination.mid(destination.lastIndexOf(QLatin1Char('/')) + 1));
    else
        _reportError(source, errnoText(errno));
    report([&](MVFileRepresentationDelegate &d) { d.fileRepresentationDidMove(this, ok, context); });
    return ok;
}

void MVLocalFileRepresentation::rename(const QString &newName, const Context &context)
{
    const QString source = path();
    bool ok = false;
    if (!FileManagerUtilities::isAcceptableFileName(newName)) {
        _reportError(source, QStringLiteral("\"%1\" is not a valid file name").arg(newName));
    } else {
        const QString parent = parentOf(source);
        const QString destination = (parent == QLatin1String("/") ? parent : parent + QLatin1Char('/')) + newName;
        ok = _moveWithoutReplacing(source, destination);
        if (ok)
            setName(newName);
        else
            _reportError(source, errnoText(errno));
    }
    report([&](MVFileRepresentationDelegate &d) { d.fileRepresentationDidRename(this, ok, context); });
}

void MVLocalFileRepresentation::moveToTrash()
{
    // Without the data directory Qt would make a "trash" in the current directory.
    const QString dataDirectory = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    bool ok = false;
    const QString target = path();
    if (dataDirectory.isEmpty() || !QDir().mkpath(dataDirectory)) {
        _reportError(target, QStringLiteral("no data directory for the trash"));
    } else {
        QFile file(target);
        ok = file.moveToTrash();
        if (!ok)
            _reportError(target, file.errorString());
    }
    report([&](MVFileRepresentationDelegate &d) { d.fileRepresentationDidMoveToTrash(this, ok); });
}

void MVLocalFileRepresentation::_reportError(const QString &path, const QString &reason)
{
    const MVError error = FileManagerUtilities::fileOperationError(path, reason);
    report([&](MVFileRepresentationDelegate &d) { d.fileRepresentationHadError(this, error); });
}
