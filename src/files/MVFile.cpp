#include "files/MVFile.h"

#include "files/FileManagerUtilities.h"
#include "files/MVFileCategories.h"
#include "files/MVFileFilters.h"
#include "files/MVFileNodeDocument.h"
#include "files/MVFileSCMStatus.h"
#include "files/MVFileTreeDelegate.h"
#include "files/MVFileWatcher.h"
#include "files/MVLocalFileRepresentation.h"
#include "files/MVRemoteFilesQueue.h"
#include "files/PathModification.h"
#include "platform/MVLog.h"
#include "platform/MVMainThread.h"
#include "platform/MVStringTable.h"

#include <QHash>
#include <QUuid>

#include <algorithm>
#include <mutex>

namespace {

std::mutex s_factoryMutex;
MVFile::RepresentationFactory s_remoteFactory;

MVFile::RepresentationFactory remoteFactory()
{
    std::lock_guard lock(s_factoryMutex);
    return s_remoteFactory;
}

// A name a listing may put into the tree.
bool isShownName(const QString &name)
{
    return FileManagerUtilities::isAcceptableFileName(name) && !MVFileFilters::sharedFilters().stringMatchesFilters(name);
}

// The reported entries in the order of the child list, so that adding them
// appends rather than inserts.
MVFile::RepresentationList sortedByName(const MVFile::RepresentationList &list)
{
    MVFile::RepresentationList sorted;
    sorted.reserve(list.size());
    for (const auto &rep : list) {
        if (rep)
            sorted.push_back(rep);
    }
    std::stable_sort(sorted.begin(), sorted.end(), [](const auto &a, const auto &b) {
        return QString::compare(a->name(), b->name(), Qt::CaseInsensitive) < 0;
    });
    return sorted;
}

} // namespace

void MVFile::setRemoteRepresentationFactory(RepresentationFactory factory)
{
    std::lock_guard lock(s_factoryMutex);
    s_remoteFactory = std::move(factory);
}

MVFile::Ptr MVFile::fileWithPath(const QString &path, const Ptr &parent)
{
    auto file = std::make_shared<MVFile>();
    auto rep = MVLocalFileRepresentation::make(path);
    file->_parent = parent;
    if (!parent)
        file->_detachedPath = path;
    file->_localRepresentation = rep;
    rep->setDelegate(file);
    return file;
}

MVFile::Ptr MVFile::fileWithFileRepresentation(const std::shared_ptr<MVFileRepresentation> &rep, const Ptr &parent)
{
    auto file = std::make_shared<MVFile>();
    file->_parent = parent;
    file->mergeWithRepresentation(rep);
    return file;
}

MVFile::MVFile() = default;

MVFile::~MVFile() = default;

// ---------------------------------------------------------------------------
// Identity and attributes

int MVFile::compare(const MVFile &other) const
{
    const int result = QString::compare(name(), other.name(), Qt::CaseInsensitive);
    return result < 0 ? -1 : (result > 0 ? 1 : 0);
}

const std::shared_ptr<MVFileRepresentation> &MVFile::_preferredRepresentation() const
{
    return _localRepresentation ? _localRepresentation : _remoteRepresentation;
}

QString MVFile::name() const
{
    const auto &rep = _preferredRepresentation();
    return rep ? rep->name() : _lastName;
}

QString MVFile::path() const
{
    if (const Ptr parent = _parent.lock())
        return PathModification::stringWithTrailingSlash(parent->path()) + name();
    return _detachedPath.isEmpty() ? name() : _detachedPath;
}

QString MVFile::pathFromRoot() const
{
    const Ptr parent = _parent.lock();
    if (!parent)
        return QString();
    const QString parentPath = parent->pathFromRoot();
    return parentPath.isEmpty() ? name() : parentPath + QLatin1Char('/') + name();
}

QString MVFile::pathFromRootForPath(const QString &path)
{
    Ptr root = _parent.lock();
    if (!root)
        return QString();
    while (Ptr up = root->parent())
        root = up;
    const QString prefix = PathModification::stringWithTrailingSlash(root->path());
    return path.startsWith(prefix) ? path.mid(prefix.size()) : path;
}

QString MVFile::uuid()
{
    if (_uuid.isEmpty())
        _uuid = QUuid::createUuid().toString(QUuid::WithoutBraces);
    return _uuid;
}

int MVFile::fileType() const
{
    const auto &rep = _preferredRepresentation();
    return rep ? rep->fileType() : 0;
}

QIcon MVFile::icon()
{
    if (_icon.isNull()) {
        if (const auto rep = _preferredRepresentation())
            _icon = rep->icon();
    }
    return _icon;
}

void MVFile::setExpanded(bool expanded)
{
    if (expanded)
        _expanded = 3;
    else
        _expanded &= ~1;
}

QString MVFile::indicator() const
{
    if (_localRepresentation && _remoteRepresentation)
        return QString(QLatin1String(""));
    if (_remoteRepresentation)
        return MVLocalizedString(QStringLiteral("R"));
    return MVLocalizedString(QStringLiteral("L"));
}

bool MVFile::isTextFile() const
{
    return MVFileCategories::sharedCategories().pathIsType(path(), MVFileCategories::Text);
}

std::shared_ptr<MVFileWatcher> MVFile::fileWatcher() const
{
    const Ptr parent = _parent.lock();
    return parent ? parent->fileWatcher() : nullptr;
}

std::shared_ptr<MVRemoteFilesQueue> MVFile::remoteQueue() const
{
    const Ptr parent = _parent.lock();
    return parent ? parent->remoteQueue() : nullptr;
}

bool MVFile::remoteOnly() const
{
    const Ptr parent = _parent.lock();
    return parent && parent->remoteOnly();
}

void MVFile::_refresh(const Ptr &file)
{
    if (_delegate && file)
        _delegate->fileNeedsRefresh(file);
}

void MVFile::_presentError(const MVError &error)
{
    if (_delegate)
        _delegate->presentErrorAlert(error);
}

// ---------------------------------------------------------------------------
// Version control

QString MVFile::scmStatusLetter() const
{
    return _scmStatus ? _scmStatus->workingCopyStatusLetter() : QString();
}

void MVFile::clearSCMStatus(bool recursive)
{
    for (const Ptr &child : _children) {
        child->_scmStatus.reset();
        if (recursive)
            child->clearSCMStatus(true);
    }
}

void MVFile::setChildrenSCMStatusFromEntries(const std::vector<std::shared_ptr<MVFileSCMStatus>> &entries)
{
    const QString ownPath = path();
    const QString prefix = PathModification::stringWithTrailingSlash(ownPath);
    for (const auto &entry : entries) {
        if (!entry)
            continue;
        QString relative = entry->path();
        if (relative == ownPath)
            relative.clear();
        else if (relative.startsWith(prefix))
            relative = relative.mid(prefix.size());
        const Ptr node = MVFile::childWithPath(relative.split(QLatin1Char('/'), Qt::SkipEmptyParts), false);
        if (node)
            node->setSCMStatus(entry);
    }
}

bool MVFile::hasLocalModifications() const
{
    return _scmStatus && _scmStatus->workingCopyStatus() == MVFileSCMStatus::StatusModified;
}

bool MVFile::isInRepository() const
{
    return (_scmStatus ? _scmStatus->workingCopyStatus() : 0) != MVFileSCMStatus::StatusUnversioned;
}

// ---------------------------------------------------------------------------
// Children

const MVFile::List &MVFile::_childList(bool load)
{
    if (!_childrenMade) {
        _childrenMade = true;
        if (load && fileType() == 1) {
            const Ptr keep = shared_from_this();
            if (const auto local = _localRepresentation; local && !remoteOnly())
                local->loadChildren();
            if (const auto remote = _remoteRepresentation)
                remote->loadChildren();
        }
    }
    return _children;
}

MVFile::List MVFile::children(bool load)
{
    return _childList(load);
}

MVFile::Ptr MVFile::childAtIndex(qsizetype index)
{
    const List &list = _childList(false);
    return index >= 0 && index < qsizetype(list.size()) ? list[index] : nullptr;
}

qsizetype MVFile::countOfChildren()
{
    return qsizetype(_childList(false).size());
}

MVFile::Ptr MVFile::childWithName(const QString &name, bool load)
{
    // The list is kept in case-insensitive order: look only among the names
    // that compare equal without case.
    const List &list = _childList(load);
    auto at = std::lower_bound(list.begin(), list.end(), name, [](const Ptr &child, const QString &wanted) {
        return QString::compare(child->name(), wanted, Qt::CaseInsensitive) < 0;
    });
    for (; at != list.end(); ++at) {
        const QString childName = (*at)->name();
        if (childName == name)
            return *at;
        if (QString::compare(childName, name, Qt::CaseInsensitive) != 0)
            break;
    }
    return nullptr;
}

MVFile::Ptr MVFile::childWithPath(const QStringList &components, bool load)
{
    Ptr node = shared_from_this();
    for (const QString &component : components) {
        if (component.isEmpty())
            continue;
        node = node->childWithName(component, load);
        if (!node)
            return nullptr;
    }
    return node;
}

void MVFile::addChild(const Ptr &child)
{
    if (!child)
        return;
    _childList(false);
    // Before the first child that is greater; equal names keep their arrival order.
    auto at = std::upper_bound(_children.begin(), _children.end(), child,
                               [](const Ptr &added, const Ptr &existing) { return added->compare(*existing) < 0; });
    _children.insert(at, child);
    child->_parent = weak_from_this();
    child->_detachedPath.clear();
}

void MVFile::removeChild(const Ptr &child)
{
    auto at = std::find(_children.begin(), _children.end(), child);
    if (at != _children.end())
        _children.erase(at);
}

MVFile::Ptr MVFile::addChildRepresentation(const std::shared_ptr<MVFileRepresentation> &rep)
{
    if (!rep || !FileManagerUtilities::isAcceptableFileName(rep->name()))
        return nullptr;
    if (Ptr child = childWithName(rep->name(), false)) {
        child->mergeWithRepresentation(rep);
        return child;
    }
    Ptr child = fileWithFileRepresentation(rep, shared_from_this());
    child->_delegate = _delegate;
    addChild(child);
    return child;
}

MVFile::Ptr MVFile::addFileAtPath(const QString &path)
{
    const Ptr self = shared_from_this();
    for (const Ptr &child : children(true)) {
        if (child->path() == path) {
            child->contentsDidChange();
            return child;
        }
        if (child->containsPath(path)) {
            if (Ptr found = child->addFileAtPath(path))
                return found;
        }
    }
    const QString prefix = PathModification::stringWithTrailingSlash(this->path());
    if (!path.startsWith(prefix) || path.size() == prefix.size())
        return nullptr;
    const QString relative = path.mid(prefix.size());
    const QString first = relative.section(QLatin1Char('/'), 0, 0);
    if (!FileManagerUtilities::isAcceptableFileName(first))
        return nullptr;
    if (first == relative) {
        // A name that listings hide gets no node from a save either.
        if (!isShownName(first))
            return nullptr;
        Ptr node = fileWithPath(path, self);
        node->_delegate = _delegate;
        addChild(node);
        node->contentsDidChange();
        return node;
    }
    // A directory between here and the file has no node yet: make it, then go on inside it.
    Ptr directory = childWithName(first, false);
    if (!directory) {
        directory = fileWithPath(prefix + first, self);
        if (directory->fileType() != 1)
            return nullptr;
        directory->_delegate = _delegate;
        addChild(directory);
        _refresh(self);
    }
    return directory->addFileAtPath(path);
}

bool MVFile::containsPath(const QString &path) const
{
    return fileType() == 1 && path.startsWith(PathModification::stringWithTrailingSlash(this->path()));
}

// ---------------------------------------------------------------------------
// Representations

void MVFile::_setLocalRepresentation(const std::shared_ptr<MVFileRepresentation> &rep)
{
    _localRepresentation = rep;
    _icon = QIcon();
    _activeRepresentation = 0;
    rep->setDelegate(shared_from_this());
}

void MVFile::_setRemoteRepresentation(const std::shared_ptr<MVFileRepresentation> &rep)
{
    _remoteRepresentation = rep;
    _icon = QIcon();
    if (!_localRepresentation)
        _activeRepresentation = 1;
    rep->setDelegate(shared_from_this());
}

void MVFile::_dropLocalRepresentation()
{
    if (const auto rep = std::exchange(_localRepresentation, nullptr)) {
        _lastName = rep->name();
        rep->setDelegate(nullptr);
    }
    _icon = QIcon();
    if (_remoteRepresentation)
        _activeRepresentation = 1;
}

void MVFile::_dropRemoteRepresentation()
{
    if (const auto rep = std::exchange(_remoteRepresentation, nullptr)) {
        _lastName = rep->name();
        rep->setDelegate(nullptr);
    }
    _icon = QIcon();
    _activeRepresentation = 0;
}

void MVFile::mergeWithRepresentation(const std::shared_ptr<MVFileRepresentation> &rep)
{
    if (!rep)
        return;
    const Ptr self = shared_from_this();
    if (rep->isLocal()) {
        if (_localRepresentation)
            return;
        _setLocalRepresentation(rep);
        if (fileType() == 1 && expanded())
            startWatching();
    } else {
        if (_remoteRepresentation)
            return;
        _setRemoteRepresentation(rep);
    }
    _refresh(self);
}

MVFile::Ptr MVFile::_complementarySibling(const Ptr &directory, const QString &name, bool *refuse)
{
    *refuse = false;
    if (!directory)
        return nullptr;
    Ptr sibling = directory->childWithName(name, false);
    if (!sibling || sibling.get() == this)
        return nullptr;
    if ((sibling->_localRepresentation && _localRepresentation)
        || (sibling->_remoteRepresentation && _remoteRepresentation)) {
        *refuse = true;
        return nullptr;
    }
    return sibling;
}

void MVFile::_leaveParent(bool detachDocument)
{
    const Ptr self = shared_from_this();
    if (detachDocument && _document) {
        MVFileNodeDocument *document = std::exchange(_document, nullptr);
        document->fileNodeWillLeaveTree();
    }
    const Ptr parent = _parent.lock();
    if (!parent)
        return;
    parent->removeChild(self);
    clearParent(parent);
    if (_delegate)
        _delegate->fileRemovedChild(parent, self);
}

void MVFile::localRepresentationDisappeared()
{
    const Ptr self = shared_from_this();
    for (const Ptr &child : List(_children))
        child->localRepresentationDisappeared();
    MVFileNodeDocument *document = nullptr;
    if (_localRepresentation) {
        document = std::exchange(_document, nullptr);
        _dropLocalRepresentation();
    }
    if (!_remoteRepresentation) {
        _leaveParent(true);
    } else {
        setActiveRepresentation(1);
        stopWatching();
    }
    // The tree is brought up to date first: the document may ask the user
    // what to do, and the question must not hold the file in the tree.
    if (document)
        document->fileContentsDisappeared();
}

void MVFile::remoteRepresentationDisappeared()
{
    const Ptr self = shared_from_this();
    for (const Ptr &child : List(_children))
        child->remoteRepresentationDisappeared();
    _dropRemoteRepresentation();
    if (_localRepresentation)
        setActiveRepresentation(0);
    _leaveParent(true);
}

// ---------------------------------------------------------------------------
// Delete, trash, duplicate

void MVFile::deleteFile()
{
    const auto rep = _remoteRepresentation ? _remoteRepresentation : _localRepresentation;
    if (!rep)
        return;
    const Ptr self = shared_from_this();
    _setPending(true);
    rep->deleteFile();
}

void MVFile::fileRepresentationDidDelete(MVFileRepresentation *rep, bool success)
{
    if (!_isOurs(rep))
        return;
    const Ptr self = shared_from_this();
    if (success) {
        if (rep == _remoteRepresentation.get() && _localRepresentation) {
            const auto local = _localRepresentation;
            local->deleteFile();
            return;
        }
        _dropLocalRepresentation();
        _dropRemoteRepresentation();
        _leaveParent(false);
    } else if (rep == _localRepresentation.get() && _remoteRepresentation) {
        _dropRemoteRepresentation();
        _refresh(self);
    }
    _setPending(false);
}

void MVFile::moveToTrash()
{
    if (const auto local = _localRepresentation)
        local->moveToTrash();
}

void MVFile::fileRepresentationDidMoveToTrash(MVFileRepresentation *rep, bool success)
{
    if (!_isOurs(rep))
        return;
    if (!success) {
        MVLog::line(QStringLiteral("MOVE TO TRASH ERROR"));
        return;
    }
    const Ptr self = shared_from_this();
    _dropLocalRepresentation();
    if (!_remoteRepresentation)
        _leaveParent(false);
    else
        _refresh(parent());
}

void MVFile::duplicate()
{
    const auto local = _localRepresentation;
    if (!local)
        return;
    const Ptr self = shared_from_this();
    _setPending(true);
    local->duplicate();
}

void MVFile::fileRepresentationDidDuplicate(MVFileRepresentation *rep, const std::shared_ptr<MVFileRepresentation> &copy)
{
    if (!_isOurs(rep))
        return;
    const Ptr self = shared_from_this();
    if (!copy) {
        MVLog::line(QStringLiteral("DUPLICATION ERROR"));
    } else if (const Ptr parent = this->parent()) {
        const Ptr node = parent->addChildRepresentation(copy);
        _refresh(parent);
        if (_delegate && node)
            _delegate->fileWasDuplicatedToFile(self, node);
    }
    _setPending(false);
}

// ---------------------------------------------------------------------------
// Rename and move

void MVFile::rename(const QString &newName)
{
    if (newName == name())
        return;
    const Ptr self = shared_from_this();
    if (!FileManagerUtilities::isAcceptableFileName(newName)) {
        _presentError(FileManagerUtilities::fileOperationError(
            path(), MVLocalizedString(QStringLiteral("\"%1\" is not a valid file name")).arg(newName)));
        return;
    }
    bool refuse = false;
    const Ptr context = _complementarySibling(parent(), newName, &refuse);
    if (refuse) {
        _presentError(FileManagerUtilities::fileOperationError(
            path(), MVLocalizedString(QStringLiteral("\"%1\" already exists")).arg(newName)));
        return;
    }
    const auto rep = _remoteRepresentation ? _remoteRepresentation : _localRepresentation;
    if (!rep)
        return;
    _setPending(true);
    rep->rename(newName, context);
}

void MVFile::fileRepresentationDidRename(MVFileRepresentation *rep, bool success, const Ptr &context)
{
    if (!_isOurs(rep))
        return;
    const Ptr self = shared_from_this();
    const Ptr parent = this->parent();
    if (success) {
        if (rep == _remoteRepresentation.get() && _localRepresentation) {
            const auto local = _localRepresentation;
            local->rename(_remoteRepresentation->name(), nullptr);
            return;
        }
        if (parent) {
            // The name changed: keep the parent's list in order.
            parent->removeChild(self);
            parent->addChild(self);
        }
        _pathDidChange();
        if (context)
            _mergeWithSiblingFile(context, rep);
        else
            _refresh(self);
    } else if (rep == _localRepresentation.get() && _remoteRepresentation && parent) {
        _splitRepresentations(parent);
        _refresh(parent);
    }
    _setPending(false);
}

bool MVFile::moveToFile(const Ptr &target)
{
    if (_newParent.lock() || !target || target->fileType() != 1)
        return false;
    const Ptr self = shared_from_this();
    if (target == self || target == parent()
        || target->path().startsWith(PathModification::stringWithTrailingSlash(path())))
        return false;
    bool refuse = false;
    const Ptr context = _complementarySibling(target, name(), &refuse);
    if (refuse) {
        _presentError(FileManagerUtilities::fileOperationError(
            path(), MVLocalizedString(QStringLiteral("\"%1\" already exists in \"%2\"")).arg(name(), target->name())));
        return false;
    }
    const auto rep = _localRepresentation ? _localRepresentation : _remoteRepresentation;
    if (!rep)
        return false;
    _newParent = target;
    _setPending(true);
    return rep->moveToPath(PathModification::stringWithTrailingSlash(target->path()) + name(), context);
}

void MVFile::fileRepresentationDidMove(MVFileRepresentation *rep, bool success, const Ptr &context)
{
    if (!_isOurs(rep))
        return;
    const Ptr self = shared_from_this();
    const Ptr newParent = _newParent.lock();
    if (success && newParent) {
        if (rep == _localRepresentation.get() && _remoteRepresentation) {
            _setPending(true);
            const auto remote = _remoteRepresentation;
            remote->moveToPath(PathModification::stringWithTrailingSlash(newParent->path()) + name(), nullptr);
            return;
        }
        _swapInNewParent();
        if (context)
            _mergeWithSiblingFile(context, rep);
        _setPending(false);
        return;
    }
    const Ptr oldParent = parent();
    if (rep == _remoteRepresentation.get() && _localRepresentation && newParent) {
        // The local file has moved already: follow it, and leave the remote
        // side where it still is.
        _swapInNewParent();
        if (oldParent)
            _splitRepresentations(oldParent);
    }
    _newParent.reset();
    _refresh(oldParent);
    _setPending(false);
}

void MVFile::_swapInNewParent()
{
    const Ptr self = shared_from_this();
    const Ptr oldParent = parent();
    const Ptr newParent = _newParent.lock();
    if (!newParent)
        return;
    if (oldParent)
        oldParent->removeChild(self);
    newParent->addChild(self);
    _refresh(oldParent);
    _refresh(newParent);
    _newParent.reset();
    _pathDidChange();
}

void MVFile::_pathDidChange()
{
    if (_document)
        _document->filePathDidChange();
    for (const Ptr &child : List(_children))
        child->_pathDidChange();
}

void MVFile::_splitRepresentations(const Ptr &parent)
{
    const Ptr self = shared_from_this();
    Ptr made;
    if (_remoteRepresentation && parent) {
        const auto remote = _remoteRepresentation;
        _dropRemoteRepresentation();
        made = parent->addChildRepresentation(remote);
        if (!_localRepresentation)
            _leaveParent(true);
    }
    if (!made)
        return;
    for (const Ptr &child : List(_children))
        child->_splitRepresentations(made);
}

void MVFile::_mergeWithSiblingFile(const Ptr &sibling, MVFileRepresentation *moved)
{
    const Ptr self = shared_from_this();
    const Ptr parent = this->parent();
    if (moved == _remoteRepresentation.get()) {
        const auto remote = _remoteRepresentation;
        _dropRemoteRepresentation();
        sibling->mergeWithRepresentation(remote);
        _leaveParent(true);
    } else if (const auto remote = sibling->_remoteRepresentation) {
        sibling->_dropRemoteRepresentation();
        mergeWithRepresentation(remote);
        sibling->_leaveParent(true);
    }
    _refresh(parent);
}

// ---------------------------------------------------------------------------
// Content, uploads and downloads

std::shared_ptr<MVFileRepresentation> MVFile::_remoteRepresentationMaking()
{
    if (_remoteRepresentation)
        return _remoteRepresentation;
    const auto queue = remoteQueue();
    const RepresentationFactory factory = remoteFactory();
    if (!queue || !factory)
        return nullptr;
    auto rep = factory(path());
    if (!rep)
        return nullptr;
    rep->setRemoteQueue(queue);
    _setRemoteRepresentation(rep);
    return rep;
}

bool MVFile::contentAvailable(bool start)
{
    if (_localRepresentation || (_remoteRepresentation && !_remoteRepresentation->localPath().isEmpty()))
        return true;
    if (start && _remoteRepresentation)
        download();
    return false;
}

void MVFile::download()
{
    const Ptr self = shared_from_this();
    const auto rep = _remoteRepresentationMaking();
    if (!rep)
        return;
    _setPending(true);
    rep->download();
}

void MVFile::upload()
{
    const Ptr self = shared_from_this();
    if (const Ptr parent = this->parent())
        parent->childWillUpload();
    const auto rep = _remoteRepresentationMaking();
    if (!rep)
        return;
    _setPending(true);
    rep->upload();
}

void MVFile::childWillUpload()
{
    if (_remoteRepresentation || !remoteQueue())
        return;
    const Ptr self = shared_from_this();
    if (const Ptr parent = this->parent())
        parent->childWillUpload();
    const auto rep = _remoteRepresentationMaking();
    if (!rep)
        return;
    _setPending(true);
    rep->makeDirectory();
}

void MVFile::fileRepresentationContentBecameAvailable(MVFileRepresentation *rep)
{
    if (!_isOurs(rep))
        return;
    const Ptr self = shared_from_this();
    if (rep == _remoteRepresentation.get() && !_localRepresentation)
        mergeWithRepresentation(MVLocalFileRepresentation::make(path()));
    if (_delegate)
        _delegate->fileContentBecameAvailable(self);
    _setPending(false);
}

void MVFile::fileRepresentationContentChangeFinished(MVFileRepresentation *rep)
{
    if (!_isOurs(rep))
        return;
    const Ptr self = shared_from_this();
    if (fileType() == 1)
        _refresh(self);
    else if (_document)
        _document->fileContentChangeFinished();
    _setPending(false);
}

QString MVFile::pathForRemoteFileRepresentation(MVFileRepresentation *)
{
    const Ptr self = shared_from_this();
    if (!_localRepresentation || (_delegate && _delegate->downloadShouldOverwriteLocalFile(self)))
        return path();
    // Never over the local file: each download gets a private directory.
    const QString directory = FileManagerUtilities::pathForTemporaryDirectory(QStringLiteral("download-"));
    if (directory.isEmpty())
        return QString();
    return directory + QLatin1Char('/') + name();
}

void MVFile::contentsDidChange()
{
    const Ptr self = shared_from_this();
    const int type = fileType();
    const auto queue = remoteQueue();
    if (queue && _delegate && _delegate->fileShouldUpload(self)) {
        upload();
        if (!remoteOnly() && !queue->isOnline()) {
            const MVError error = MVError::morvel(18, MVLocalizedString(QStringLiteral("UPLOAD_WHILE_OFFLINE_TITLE")),
                                                  MVLocalizedString(QStringLiteral("UPLOAD_WHILE_OFFLINE_BODY")));
            if (_document)
                _document->fileContentChangeFinished();
            _presentError(error);
        }
    } else if (type != 1 && _document) {
        _document->fileContentChangeFinished();
    }
    if (type == 1)
        return;
    if (const auto watcher = fileWatcher())
        watcher->resetForFile(self, MVFileWatcher::File);
}

// ---------------------------------------------------------------------------
// Documents and watching

void MVFile::setDocument(MVFileNodeDocument *document)
{
    _document = document;
    if (document) {
        startWatching();
        return;
    }
    stopWatching();
    if (remoteOnly() && _remoteRepresentation) {
        // The cached copy is fetched afresh next time; the file on disk stays.
        _remoteRepresentation->setLocalPath(QString());
        _dropLocalRepresentation();
    }
}

void MVFile::startWatching()
{
    const auto watcher = fileWatcher();
    if (!watcher || !_localRepresentation)
        return;
    const Ptr self = shared_from_this();
    if (fileType() != 1) {
        watcher->watchFile(self, MVFileWatcher::File);
        return;
    }
    if (!everExpanded())
        return;
    watcher->watchFile(self, MVFileWatcher::Directory);
    for (const Ptr &child : List(_children)) {
        if (child->fileType() == 1 && child->expanded())
            child->startWatching();
    }
}

void MVFile::stopWatching()
{
    if (const auto watcher = fileWatcher())
        watcher->stopWatching(*this);
    if (fileType() != 1)
        return;
    for (const Ptr &child : List(_children)) {
        if (child->fileType() == 1)
            child->stopWatching();
    }
}

void MVFile::_stopWatchingSubtree()
{
    const auto watcher = fileWatcher();
    if (!watcher)
        return;
    watcher->stopWatching(*this);
    for (const Ptr &child : List(_children))
        child->_stopWatchingSubtree();
}

void MVFile::watcherNoticedChange(quint32 events)
{
    std::weak_ptr<MVFile> weak = weak_from_this();
    MVMainThread::async([weak, events] {
        if (const Ptr file = weak.lock())
            file->_mainThreadWatcherNoticedChange(events);
    });
}

void MVFile::_mainThreadWatcherNoticedChange(quint32)
{
    const Ptr self = shared_from_this();
    if (fileType() == 1) {
        if (const auto local = _localRepresentation)
            local->reloadChildren();
    } else if (_document) {
        _document->fileContentsChangedExternally();
    }
}

void MVFile::refresh(bool localOnly)
{
    if (fileType() != 1)
        return;
    const Ptr self = shared_from_this();
    // Only directories that were listed are listed again, so a refresh never
    // walks into parts of the tree nobody has opened.
    if (_childrenMade) {
        if (const auto local = _localRepresentation; local && !remoteOnly())
            local->reloadChildren();
        if (const auto remote = _remoteRepresentation; remote && !localOnly)
            remote->reloadChildren();
    }
    for (const Ptr &child : List(_children))
        child->refresh(localOnly);
}

void MVFile::loadRemoteRepresentation()
{
    if (!_childrenMade)
        return;
    const Ptr self = shared_from_this();
    _dropRemoteRepresentation();
    const auto queue = remoteQueue();
    const RepresentationFactory factory = remoteFactory();
    if (queue && factory) {
        if (auto rep = factory(path())) {
            rep->setRemoteQueue(queue);
            _setRemoteRepresentation(rep);
            rep->loadChildren();
        }
    }
    if (!_localRepresentation && !_remoteRepresentation) {
        _leaveParent(true);
        return;
    }
    for (const Ptr &child : List(_children))
        child->loadRemoteRepresentation();
}

// ---------------------------------------------------------------------------
// Listings

void MVFile::fileRepresentationDidLoadChildren(MVFileRepresentation *rep, const RepresentationList &list)
{
    if (!_isOurs(rep))
        return;
    const Ptr self = shared_from_this();
    bool added = false;
    for (const auto &child : sortedByName(list)) {
        if (!isShownName(child->name()))
            continue;
        addChildRepresentation(child);
        added = true;
    }
    if (added && rep == _remoteRepresentation.get())
        _refresh(self);
}

void MVFile::fileRepresentationDidReloadChildren(MVFileRepresentation *rep, const RepresentationList &list)
{
    if (!_isOurs(rep))
        return;
    const Ptr self = shared_from_this();
    const bool fromLocal = rep->isLocal();
    const bool remoteOnlyTree = remoteOnly();

    QHash<QString, std::shared_ptr<MVFileRepresentation>> reported;
    QStringList reportedOrder;
    for (const auto &child : list) {
        if (!child || !FileManagerUtilities::isAcceptableFileName(child->name()))
            continue;
        if (!reported.contains(child->name()))
            reportedOrder.append(child->name());
        reported.insert(child->name(), child);
    }
    QHash<QString, Ptr> current;
    const List existing = _childList(false);
    for (const Ptr &child : existing)
        current.insert(child->name(), child);

    bool changed = false;
    for (const Ptr &child : existing) {
        const auto found = reported.constFind(child->name());
        if (found == reported.constEnd())
            continue;
        if (!(remoteOnlyTree && (*found)->isLocal()))
            child->mergeWithRepresentation(*found);
        changed = true;
    }
    RepresentationList added;
    for (const QString &name : reportedOrder) {
        if (!current.contains(name) && !MVFileFilters::sharedFilters().stringMatchesFilters(name))
            added.push_back(reported.value(name));
    }
    for (const auto &child : sortedByName(added)) {
        addChildRepresentation(child);
        changed = true;
    }
    for (const Ptr &child : existing) {
        if (reported.contains(child->name()))
            continue;
        if (fromLocal && child->_localRepresentation) {
            child->localRepresentationDisappeared();
            changed = true;
        } else if (!fromLocal && child->_remoteRepresentation) {
            child->remoteRepresentationDisappeared();
            changed = true;
        }
    }
    if (changed)
        _refresh(self);
}

// ---------------------------------------------------------------------------
// Delegate questions and errors

int MVFile::typeForFileRepresentation(MVFileRepresentation *)
{
    return fileType();
}

QString MVFile::pathForFileRepresentation(MVFileRepresentation *)
{
    return path();
}

QString MVFile::pathFromRootForFileRepresentation(MVFileRepresentation *)
{
    return pathFromRoot();
}

void MVFile::fileRepresentationHadError(MVFileRepresentation *, const MVError &error)
{
    _presentError(error);
}

// ---------------------------------------------------------------------------
// Breaking links

void MVFile::clearReferences()
{
    _delegate = nullptr;
    _newParent.reset();
    for (const Ptr &child : _children)
        child->clearReferences();
    _parent.reset();
}

void MVFile::clearDelegate(MVFileTreeDelegate *delegate)
{
    if (_delegate != delegate)
        return;
    _delegate = nullptr;
    for (const Ptr &child : _children)
        child->clearDelegate(delegate);
}

void MVFile::clearParent(const Ptr &parent)
{
    if (!parent || _parent.lock() != parent)
        return;
    _stopWatchingSubtree();
    _detachedPath = path();
    _parent.reset();
}
