#pragma once

#include "documents/MVMultiFileDocument.h"

#include <memory>

class MVRootFile;

// A project: the tabbed window of files with the tree of a directory beside
// it. Files below the root open here as tabs.
class MVProjectDocument : public MVMultiFileDocument
{
public:
    ~MVProjectDocument() override;

    MVDocumentKind kind() const override { return MVDocumentKind::Project; }
    bool readFromFile(const QString &path, MVError *error) override;
    QString displayName() const override;

    bool canOpenFile(const QString &path) const override;
    bool showsPath(const QString &canonicalPath) const override;
    // A file below the root is the project tree's own node, so the tree and
    // the tab follow the same file; others get a tree of their directory.
    std::shared_ptr<MVFile> fileNodeForPath(const QString &path) override;

    const std::shared_ptr<MVRootFile> &rootFile() const { return _root; }

private:
    std::shared_ptr<MVRootFile> _root;
};
