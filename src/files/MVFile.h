#pragma once

#include "files/MVFileRepresentation.h"
#include "files/MVFileRepresentationDelegate.h"

#include <QIcon>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <vector>

class MVFileNodeDocument;
class MVFileSCMStatus;
class MVFileTreeDelegate;
class MVFileWatcher;
class MVRemoteFilesQueue;

// One name under a project's root, which may exist in two places: on the
// local disk and on the remote site, each an MVFileRepresentation. User
// operations are asked of the node, which orders the two representations'
// steps and keeps itself consistent when one of them fails.
//
// Nodes live in std::shared_ptr; a parent owns its children, a child's
// parent link is weak. The tree belongs to the main thread.
class MVFile : public MVFileRepresentationDelegate, public std::enable_shared_from_this<MVFile>
{
public:
    using Ptr = std::shared_ptr<MVFile>;
    using List = std::vector<Ptr>;
    // Makes a remote representation for a node's path; the node then gives it the queue.
    using RepresentationFactory = std::function<std::shared_ptr<MVFileRepresentation>(const QString &path)>;

    // A node with a local representation for the path.
    static Ptr fileWithPath(const QString &path, const Ptr &parent);
    // A node under parent that takes the representation.
    static Ptr fileWithFileRepresentation(const std::shared_ptr<MVFileRepresentation> &rep, const Ptr &parent);

    // How remote representations are made (set by the remote side). Without
    // one, no remote representation is ever made by the tree itself.
    static void setRemoteRepresentationFactory(RepresentationFactory factory);

    MVFile();
    ~MVFile() override;
    MVFile(const MVFile &) = delete;
    MVFile &operator=(const MVFile &) = delete;

    // Case-insensitive order of the names.
    int compare(const MVFile &other) const;
    virtual QString name() const;
    virtual QString path() const;
    virtual QString pathFromRoot() const;
    QString pathFromRootForPath(const QString &path) override;
    Ptr parent() const { return _parent.lock(); }
    QString uuid();
    virtual int fileType() const;
    QIcon icon();
    const std::shared_ptr<MVFileRepresentation> &localRepresentation() const { return _localRepresentation; }
    const std::shared_ptr<MVFileRepresentation> &remoteRepresentation() const { return _remoteRepresentation; }
    int activeRepresentation() const { return _activeRepresentation; }
    void setActiveRepresentation(int which) { _activeRepresentation = which; }
    bool hasPendingOperation() const { return _hasPendingOperation; }
    bool expanded() const { return _expanded & 1; }
    bool everExpanded() const { return _expanded & 2; }
    // True sets both bits; false clears only "expanded now".
    void setExpanded(bool expanded);
    // "" with both representations, "R" with only the remote one, else "L".
    QString indicator() const;
    // Whether the file at the node's path is text, by its extension's
    // category or else by its contents.
    bool isTextFile() const;

    MVFileTreeDelegate *delegate() const { return _delegate; }
    void setDelegate(MVFileTreeDelegate *delegate) { _delegate = delegate; }
    MVFileNodeDocument *document() const { return _document; }
    // Starts watching for a document, stops without one.
    void setDocument(MVFileNodeDocument *document);

    // Answered by the root, passed up by every other node.
    virtual std::shared_ptr<MVFileWatcher> fileWatcher() const;
    virtual std::shared_ptr<MVRemoteFilesQueue> remoteQueue() const;
    virtual bool remoteOnly() const;

    // Version-control status.
    QString scmStatusLetter() const;
    const std::shared_ptr<MVFileSCMStatus> &scmStatus() const { return _scmStatus; }
    void setSCMStatus(const std::shared_ptr<MVFileSCMStatus> &status) { _scmStatus = status; }
    // Clears the direct children's status, and with recursive their subtrees'.
    void clearSCMStatus(bool recursive);
    // Gives each entry to the node its path names, without loading.
    void setChildrenSCMStatusFromEntries(const std::vector<std::shared_ptr<MVFileSCMStatus>> &entries);
    bool hasLocalModifications() const;
    bool isInRepository() const;

    // Children: made at the first call; only that call can load them.
    List children(bool load);
    Ptr childAtIndex(qsizetype index);
    qsizetype countOfChildren();
    Ptr childWithName(const QString &name, bool load);
    // Components relative to this node; empty components give this node.
    virtual Ptr childWithPath(const QStringList &components, bool load);
    void addChild(const Ptr &child);
    void removeChild(const Ptr &child);
    Ptr addChildRepresentation(const std::shared_ptr<MVFileRepresentation> &rep);
    // The node for an absolute path below this one (made if new), after a save.
    Ptr addFileAtPath(const QString &path);
    bool containsPath(const QString &path) const;

    // User operations; results arrive through the representations.
    void deleteFile();
    void duplicate();
    void moveToTrash();
    // False if a move is under way, the target is not a directory or already
    // holds a node of this name in the same place; the result of the first step.
    bool moveToFile(const Ptr &target);
    void rename(const QString &newName);
    void refresh(bool localOnly);
    void upload();
    void download();
    void childWillUpload();
    // True if the content can be read now; with start, a download begins if needed.
    bool contentAvailable(bool start);
    void contentsDidChange();
    void startWatching();
    void stopWatching();
    // Called on the watcher's thread; goes to the main thread without waiting.
    void watcherNoticedChange(quint32 events);
    void loadRemoteRepresentation();
    void mergeWithRepresentation(const std::shared_ptr<MVFileRepresentation> &rep);
    void localRepresentationDisappeared();
    void remoteRepresentationDisappeared();

    // Breaks the delegate and parent links of the whole subtree.
    void clearReferences();
    // Clears the tree delegate in the whole subtree where it is this one.
    void clearDelegate(MVFileTreeDelegate *delegate);
    // Stops watching and forgets the parent if it is this one.
    void clearParent(const Ptr &parent);

    // MVFileRepresentationDelegate
    int typeForFileRepresentation(MVFileRepresentation *rep) override;
    QString pathForFileRepresentation(MVFileRepresentation *rep) override;
    QString pathFromRootForFileRepresentation(MVFileRepresentation *rep) override;
    QString pathForRemoteFileRepresentation(MVFileRepresentation *rep) override;
    void fileRepresentationContentBecameAvailable(MVFileRepresentation *rep) override;
    void fileRepresentationContentChangeFinished(MVFileRepresentation *rep) override;
    void fileRepresentationHadError(MVFileRepresentation *rep, const MVError &error) override;
    void fileRepresentationDidDelete(MVFileRepresentation *rep, bool success) override;
    void fileRepresentationDidDuplicate(MVFileRepresentation *rep,
                                        const std::shared_ptr<MVFileRepresentation> &copy) override;
    void fileRepresentationDidMove(MVFileRepresentation *rep, bool success, const Ptr &context) override;
    void fileRepresentationDidMoveToTrash(MVFileRepresentation *rep, bool success) override;
    void fileRepresentationDidRename(MVFileRepresentation *rep, bool success, const Ptr &context) override;
    void fileRepresentationDidLoadChildren(MVFileRepresentation *rep, const RepresentationList &children) override;
    void fileRepresentationDidReloadChildren(MVFileRepresentation *rep, const RepresentationList &children) override;

protected:
    const std::shared_ptr<MVFileRepresentation> &_preferredRepresentation() const;
    const List &_childList(bool load);
    // The remote representation, made for path when a queue exists and none is there.
    std::shared_ptr<MVFileRepresentation> _remoteRepresentationMaking();
    void _setLocalRepresentation(const std::shared_ptr<MVFileRepresentation> &rep);
    void _setRemoteRepresentation(const std::shared_ptr<MVFileRepresentation> &rep);
    void _dropLocalRepresentation();
    void _dropRemoteRepresentation();
    void _setPending(bool pending) { _hasPendingOperation = pending; }
    void _refresh(const Ptr &file);
    void _presentError(const MVError &error);
    // Leaves the parent for good; an open document is detached first.
    void _leaveParent(bool detachDocument);
    void _swapInNewParent();
    void _pathDidChange();
    void _splitRepresentations(const Ptr &parent);
    void _mergeWithSiblingFile(const Ptr &sibling, MVFileRepresentation *moved);
    // The sibling that holds name in directory as a merge context; sets refuse
    // when a node of that name holds a representation of a kind this one has.
    Ptr _complementarySibling(const Ptr &directory, const QString &name, bool *refuse);
    void _mainThreadWatcherNoticedChange(quint32 events);
    void _stopWatchingSubtree();
    bool _isOurs(const MVFileRepresentation *rep) const
    {
        return rep && (rep == _localRepresentation.get() || rep == _remoteRepresentation.get());
    }

    std::weak_ptr<MVFile> _parent;
    std::weak_ptr<MVFile> _newParent;
    QString _detachedPath;
    // The name once no representation is left to give it.
    QString _lastName;
    List _children;
    bool _childrenMade = false;
    MVFileNodeDocument *_document = nullptr;
    MVFileTreeDelegate *_delegate = nullptr;
    bool _hasPendingOperation = false;
    quint8 _expanded = 0;
    QIcon _icon;
    QString _uuid;
    std::shared_ptr<MVFileSCMStatus> _scmStatus;
    int _activeRepresentation = 0;
    std::shared_ptr<MVFileRepresentation> _localRepresentation;
    std::shared_ptr<MVFileRepresentation> _remoteRepresentation;
};
