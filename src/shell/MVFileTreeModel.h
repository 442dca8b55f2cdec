#pragma once

#include "files/MVFileTreeDelegate.h"

#include <QAbstractItemModel>

#include <functional>
#include <memory>

class MVFile;
class MVRootFile;

// The project tree as an item model: one row per node, children loaded when
// a directory is first expanded. The model is the tree's delegate, so nodes
// tell it when they change.
class MVFileTreeModel : public QAbstractItemModel, public MVFileTreeDelegate
{
public:
    explicit MVFileTreeModel(std::shared_ptr<MVRootFile> root, QObject *parent = nullptr);
    ~MVFileTreeModel() override;

    QModelIndex index(int row, int column, const QModelIndex &parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex &child) const override;
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    bool hasChildren(const QModelIndex &parent = QModelIndex()) const override;
    bool canFetchMore(const QModelIndex &parent) const override;
    void fetchMore(const QModelIndex &parent) override;

    MVFile *fileAt(const QModelIndex &index) const;
    QModelIndex indexForFile(MVFile *file) const;

    // Errors the tree reports go here (the window shows them).
    void setErrorHandler(std::function<void(const MVError &)> handler) { _errorHandler = std::move(handler); }

    void fileNeedsRefresh(const std::shared_ptr<MVFile> &file) override;
    void fileRemovedChild(const std::shared_ptr<MVFile> &parent, const std::shared_ptr<MVFile> &child) override;
    void fileWasDuplicatedToFile(const std::shared_ptr<MVFile> &file, const std::shared_ptr<MVFile> &copy) override;
    void fileContentBecameAvailable(const std::shared_ptr<MVFile> &file) override;
    bool fileShouldUpload(const std::shared_ptr<MVFile> &file) override;
    void presentErrorAlert(const MVError &error) override;

private:
    MVFile *_nodeFor(const QModelIndex &index) const;

    std::shared_ptr<MVRootFile> _root;
    std::function<void(const MVError &)> _errorHandler;
    bool _loading = false;
};
