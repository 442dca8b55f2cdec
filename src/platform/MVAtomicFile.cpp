#include "platform/MVAtomicFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

bool MVAtomicFile::write(const QString &path, const QByteArray &bytes, QString *error)
{
    auto fail = [error, &path](const QString &why) {
        if (error)
            *error = QStringLiteral("%1: %2").arg(path, why);
        return false;
    };
    if (path.isEmpty())
        return fail(QStringLiteral("empty path"));
    const QFileInfo info(path);
    const QString parent = info.isSymLink() ? QFileInfo(info.symLinkTarget()).absolutePath() : info.absolutePath();
    if (!QDir().mkpath(parent))
        return fail(QStringLiteral("cannot create directory %1").arg(parent));
    // stat follows a link: the group is the one of the file really written.
    struct stat before {};
    const bool existed = ::stat(QFile::encodeName(path).constData(), &before) == 0;
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return fail(file.errorString());
    if (file.write(bytes) != bytes.size() || !file.flush()) {
        const QString why = file.errorString();
        file.cancelWriting();
        return fail(why);
    }
    if (existed) {
        struct stat now {};
        // Only a group we belong to can be given; otherwise the file is ours.
        if (::fstat(file.handle(), &now) == 0 && now.st_gid != before.st_gid
            && ::fchown(file.handle(), static_cast<uid_t>(-1), before.st_gid) != 0) {
        }
    }
    if (::fsync(file.handle()) != 0) {
        const QString why = QString::fromLocal8Bit(std::strerror(errno));
        file.cancelWriting();
        return fail(why);
    }
    if (!file.commit())
        return fail(file.errorString());
    return true;
}
