#include "files/MVFileRepresentation.h"

#include "files/FileManagerUtilities.h"

MVFileRepresentation::MVFileRepresentation(const QString &path)
{
    QString clean = path;
    while (clean.size() > 1 && clean.endsWith(QLatin1Char('/')))
        clean.chop(1);
    _name = clean.mid(clean.lastIndexOf(QLatin1Char('/')) + 1);
}

MVFileRepresentation::~MVFileRepresentation() = default;

bool MVFileRepresentation::loadChildren()
{
    _loaded = true;
    return true;
}

bool MVFileRepresentation::moveToPath(const QString &, const Context &)
{
    return false;
}

void MVFileRepresentation::rename(const QString &, const Context &)
{
}

void MVFileRepresentation::setDelegate(const std::shared_ptr<MVFileRepresentationDelegate> &delegate)
{
    _delegate = delegate;
    if (delegate)
        loadFileAttributes();
}

QString MVFileRepresentation::delegatePath()
{
    const auto delegate = _delegate.lock();
    return delegate ? delegate->pathForFileRepresentation(this) : QString();
}

QIcon MVFileRepresentation::icon()
{
    const QString path = delegatePath();
    return FileManagerUtilities::iconForFile(path.isEmpty() ? _name : path, 16, true, fileType() == 1);
}

int MVFileRepresentation::fileTypeForMode(quint32 mode)
{
    if (mode & 0x8000)
        return 0;
    if (mode & 0x1000)
        return 3;
    if (mode & 0x2000)
        return 4;
    if (mode & 0x4000)
        return 1;
    return 0;
}
