#pragma once

#include "platform/MVError.h"

#include <memory>

class MVFile;

// The owner of a file tree (in practice the project window): told when nodes
// change so it can redraw, and asked the few questions the tree cannot answer.
class MVFileTreeDelegate : public MVErrorPresenter
{
public:
    // Redraw the node; for the root the whole tree, for a directory with its children.
    virtual void fileNeedsRefresh(const std::shared_ptr<MVFile> &file) = 0;
    // The child has left the parent for good (deleted, trashed, gone).
    virtual void fileRemovedChild(const std::shared_ptr<MVFile> &parent, const std::shared_ptr<MVFile> &child) = 0;
    // A duplicate was made; the delegate usually starts renaming it.
    virtual void fileWasDuplicatedToFile(const std::shared_ptr<MVFile> &file, const std::shared_ptr<MVFile> &copy) = 0;
    // A download that an open had to wait for has ended.
    virtual void fileContentBecameAvailable(const std::shared_ptr<MVFile> &file) = 0;
    // True if a save of this file should be uploaded.
    virtual bool fileShouldUpload(const std::shared_ptr<MVFile> &file) = 0;
    // True if a download may overwrite the local file (remote-only projects).
    virtual bool downloadShouldOverwriteLocalFile(const std::shared_ptr<MVFile> &) { return false; }
};
