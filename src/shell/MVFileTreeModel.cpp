#include "shell/MVFileTreeModel.h"

#include "files/MVFile.h"
#include "files/MVRootFile.h"

#include <QIcon>

MVFileTreeModel::MVFileTreeModel(std::shared_ptr<MVRootFile> root, QObject *parent)
    : QAbstractItemModel(parent)
    , _root(std::move(root))
{
    _root->setDelegate(this);
    _root->setExpanded(true);
    _root->children(true);
}

MVFileTreeModel::~MVFileTreeModel()
{
    _root->clearDelegate(this);
}

MVFile *MVFileTreeModel::_nodeFor(const QModelIndex &index) const
{
    return index.isValid() ? static_cast<MVFile *>(index.internalPointer()) : _root.get();
}

MVFile *MVFileTreeModel::fileAt(const QModelIndex &index) const
{
    return index.isValid() ? _nodeFor(index) : nullptr;
}

QModelIndex MVFileTreeModel::index(int row, int column, const QModelIndex &parent) const
{
    MVFile *node = _nodeFor(parent);
    if (row < 0 || column != 0 || row >= node->countOfChildren())
        return {};
    return createIndex(row, column, node->childAtIndex(row).get());
}

QModelIndex MVFileTreeModel::indexForFile(MVFile *file) const
{
    if (!file || file == _root.get())
        return {};
    const MVFile::Ptr parent = file->parent();
    if (!parent)
        return {};
    const qsizetype count = parent->countOfChildren();
    for (qsizetype row = 0; row < count; ++row) {
        if (parent->childAtIndex(row).get() == file)
            return createIndex(static_cast<int>(row), 0, file);
    }
    return {};
}

QModelIndex MVFileTreeModel::parent(const QModelIndex &child) const
{
    if (!child.isValid())
        return {};
    const MVFile::Ptr parent = _nodeFor(child)->parent();
    return parent ? indexForFile(parent.get()) : QModelIndex();
}

int MVFileTreeModel::rowCount(const QModelIndex &parent) const
{
    // A directory shows its rows once it has been expanded (and so loaded).
    MVFile *node = _nodeFor(parent);
    if (node->fileType() != 1 || (node != _root.get() && !node->everExpanded()))
        return 0;
    return static_cast<int>(node->countOfChildren());
}

int MVFileTreeModel::columnCount(const QModelIndex &) const
{
    return 1;
}

bool MVFileTreeModel::hasChildren(const QModelIndex &parent) const
{
    return _nodeFor(parent)->fileType() == 1;
}

bool MVFileTreeModel::canFetchMore(const QModelIndex &parent) const
{
    MVFile *node = _nodeFor(parent);
    return node->fileType() == 1 && !node->everExpanded();
}

void MVFileTreeModel::fetchMore(const QModelIndex &parent)
{
    MVFile *node = _nodeFor(parent);
    if (node->everExpanded())
        return;
    // Load first with resets held back, then announce the rows: they become
    // visible when the node counts as expanded.
    _loading = true;
    const qsizetype count = node->children(true).size();
    _loading = false;
    if (count > 0)
        beginInsertRows(parent, 0, static_cast<int>(count) - 1);
    node->setExpanded(true);
    if (count > 0)
        endInsertRows();
}

QVariant MVFileTreeModel::data(const QModelIndex &index, int role) const
{
    MVFile *node = fileAt(index);
    if (!node)
        return {};
    switch (role) {
    case Qt::DisplayRole:
        return node->name();
    case Qt::DecorationRole:
        return node->icon();
    case Qt::ToolTipRole:
        return node->path();
    default:
        return {};
    }
}

void MVFileTreeModel::fileNeedsRefresh(const std::shared_ptr<MVFile> &)
{
    if (_loading)
        return;
    beginResetModel();
    endResetModel();
}

void MVFileTreeModel::fileRemovedChild(const std::shared_ptr<MVFile> &, const std::shared_ptr<MVFile> &)
{
    beginResetModel();
    endResetModel();
}

void MVFileTreeModel::fileWasDuplicatedToFile(const std::shared_ptr<MVFile> &, const std::shared_ptr<MVFile> &)
{
    beginResetModel();
    endResetModel();
}

void MVFileTreeModel::fileContentBecameAvailable(const std::shared_ptr<MVFile> &)
{
}

bool MVFileTreeModel::fileShouldUpload(const std::shared_ptr<MVFile> &)
{
    return false;
}

void MVFileTreeModel::presentErrorAlert(const MVError &error)
{
    if (_errorHandler)
        _errorHandler(error);
}
