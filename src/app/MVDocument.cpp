#include "app/MVDocument.h"

#include "platform/MVStringTable.h"

#include <QFileInfo>

QString MVDocument::displayName() const
{
    return _fileName.isEmpty() ? MVLocalizedString(QStringLiteral("Untitled")) : QFileInfo(_fileName).fileName();
}

bool MVDocument::canOpenFile(const QString &) const
{
    return false;
}

MVDocument *MVDocument::openFileAtPath(const QString &)
{
    return nullptr;
}

bool MVDocument::showsPath(const QString &canonicalPath) const
{
    if (_fileName.isEmpty())
        return false;
    const QFileInfo info(_fileName);
    const QString mine = info.exists() ? info.canonicalFilePath() : QFileInfo(_fileName).absoluteFilePath();
    return mine == canonicalPath;
}

bool MVDocument::save(MVError *)
{
    return true;
}
