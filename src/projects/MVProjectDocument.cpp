#include "projects/MVProjectDocument.h"

#include "documents/MVFileIndexing.h"
#include "files/MVRootFile.h"
#include "platform/MVCanonicalPath.h"

#include <QFileInfo>

MVProjectDocument::~MVProjectDocument()
{
    if (_root)
        _root->clearReferences();
}

bool MVProjectDocument::readFromFile(const QString &path, MVError *error)
{
    const QFileInfo info(path);
    if (!info.isDir()) {
        if (error)
            *error = MVError::morvel(0, QObject::tr("The project “%1” could not be opened.").arg(info.fileName()),
                                     QObject::tr("Only folders can be opened as projects so far."));
        return false;
    }
    const QString root = MVCanonicalPath(path);
    setFileName(root);
    _root = MVRootFile::rootWithPath(root, true);
    if (!_root) {
        if (error)
            *error = MVError::morvel(0, QObject::tr("The folder “%1” could not be opened.").arg(info.fileName()));
        return false;
    }
    if (MVFileIndexing *indexing = MVFileIndexing::shared())
        indexing->indexDirectory(root);
    return true;
}

QString MVProjectDocument::displayName() const
{
    return QFileInfo(fileName()).fileName();
}

bool MVProjectDocument::canOpenFile(const QString &path) const
{
    return _root && _root->containsPath(MVCanonicalPath(path));
}

bool MVProjectDocument::showsPath(const QString &canonicalPath) const
{
    return canonicalPath == fileName() || MVMultiFileDocument::showsPath(canonicalPath);
}

std::shared_ptr<MVFile> MVProjectDocument::fileNodeForPath(const QString &path)
{
    const QString canonical = MVCanonicalPath(path);
    if (_root && _root->containsPath(canonical)) {
        if (auto node = _root->childWithPath(QStringList{canonical}, true))
            return node;
        return _root->addFileAtPath(canonical);
    }
    return MVMultiFileDocument::fileNodeForPath(path);
}
