#pragma once

// What a tree node asks of the document that is open for it. The node keeps
// a plain pointer to its document; the document clears it with
// MVFile::setDocument(nullptr) before it goes away.
class MVFileNodeDocument
{
public:
    virtual ~MVFileNodeDocument() = default;

    // The local file is gone: keep the text, forget the node.
    virtual void fileContentsDisappeared() = 0;
    // The node was renamed or moved; its path has changed.
    virtual void filePathDidChange() = 0;
    // A save has been fully handled (written, and uploaded if asked for).
    virtual void fileContentChangeFinished() = 0;
    // The watcher saw the file change on disk.
    virtual void fileContentsChangedExternally() = 0;
    // The node leaves the tree while its file may still exist (the remote side
    // went away, or the node merged into another): keep the tab and the text
    // and forget the node, without claiming the file was deleted.
    virtual void fileNodeWillLeaveTree() { fileContentsDisappeared(); }
};
