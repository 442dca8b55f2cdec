#include "platform/MVCanonicalPath.h"

#include <QDir>
#include <QFileInfo>

QString MVCanonicalPath(const QString &path)
{
    const QFileInfo info(path);
    const QString canonical = info.canonicalFilePath();
    return canonical.isEmpty() ? QDir::cleanPath(info.absoluteFilePath()) : canonical;
}
