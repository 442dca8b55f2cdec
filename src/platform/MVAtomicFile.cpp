#include "platform/MVAtomicFile.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>

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
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return fail(file.errorString());
    if (file.write(bytes) != bytes.size()) {
        file.cancelWriting();
        return fail(file.errorString());
    }
    if (!file.commit())
        return fail(file.errorString());
    return true;
}
