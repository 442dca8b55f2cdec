#pragma once

// Real stand-ins for what surrounds a file tree in the program: a remote
// representation that answers later (as one working through a site's queue
// does), a tree delegate, a document, a queue and a watcher that record what
// they are told.

#include "files/MVFile.h"
#include "files/MVFileNodeDocument.h"
#include "files/MVFileTreeDelegate.h"
#include "files/MVFileWatcher.h"
#include "files/MVRemoteFilesQueue.h"
#include "files/MVRootFile.h"

#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

// A remote representation: records each request and reports only when the
// test says so, with success or failure.
class MVTestRepresentation : public MVFileRepresentation
{
public:
    struct Request
    {
        QString operation;
        QString argument;
        // Weak, as the record outlives the request: a representation that
        // keeps a context after answering would keep the sibling node alive.
        std::weak_ptr<MVFile> context;
    };

    static std::shared_ptr<MVTestRepresentation> file(const QString &name) { return make(name, 0x8000 | 0644); }
    static std::shared_ptr<MVTestRepresentation> directory(const QString &name) { return make(name, 0x4000 | 0755); }
    explicit MVTestRepresentation(const QString &path) : MVFileRepresentation(path) {}

    bool isLocal() const override { return false; }
    bool loadChildren() override { return record(QStringLiteral("loadChildren")); }
    bool reloadChildren() override { return record(QStringLiteral("reloadChildren")); }
    void deleteFile() override { record(QStringLiteral("delete")); }
    void duplicate() override { record(QStringLiteral("duplicate")); }
    bool moveToPath(const QString &path, const Context &context) override
    {
        return record(QStringLiteral("move"), path, context);
    }
    void rename(const QString &name, const Context &context) override { record(QStringLiteral("rename"), name, context); }
    void upload() override { record(QStringLiteral("upload"), delegatePath()); }
    void download() override { record(QStringLiteral("download"), delegatePath()); }
    void makeDirectory() override { record(QStringLiteral("makeDirectory"), delegatePath()); }
    QString localPath() const override { return _localPath; }
    void setLocalPath(const QString &path) override { _localPath = path; }
    void setRemoteQueue(const std::shared_ptr<MVRemoteFilesQueue> &queue) override { _queue = queue; }

    // The operations asked for so far, in order.
    QStringList operations() const;
    const Request &lastRequest() const { return _requests.back(); }
    bool hasQueue() const { return static_cast<bool>(_queue); }
    // Every request of every representation that shares the journal, in order,
    // as "operation argument".
    std::shared_ptr<QStringList> journal;

    // Later answers, as the queue would give them on the main thread.
    void finishDelete(bool success);
    void finishRename(bool success);
    void finishMove(bool success);
    void finishLoad(const std::vector<std::shared_ptr<MVFileRepresentation>> &children);
    void finishReload(const std::vector<std::shared_ptr<MVFileRepresentation>> &children);
    void finishUpload();
    void finishDownload();

private:
    static std::shared_ptr<MVTestRepresentation> make(const QString &name, quint16 mode);
    bool record(const QString &operation, const QString &argument = QString(), const Context &context = nullptr);
    const Request *lastOf(const QString &operation) const;

    std::vector<Request> _requests;
    QString _localPath;
    std::shared_ptr<MVRemoteFilesQueue> _queue;
};

class RecordingTreeDelegate : public MVFileTreeDelegate
{
public:
    void fileNeedsRefresh(const std::shared_ptr<MVFile> &file) override { refreshed.push_back(file); }
    void fileRemovedChild(const std::shared_ptr<MVFile> &parent, const std::shared_ptr<MVFile> &child) override
    {
        removed.push_back({parent, child});
    }
    void fileWasDuplicatedToFile(const std::shared_ptr<MVFile> &file, const std::shared_ptr<MVFile> &copy) override
    {
        duplicated.push_back({file, copy});
    }
    void fileContentBecameAvailable(const std::shared_ptr<MVFile> &file) override { available.push_back(file); }
    bool fileShouldUpload(const std::shared_ptr<MVFile> &) override { return shouldUpload; }
    bool downloadShouldOverwriteLocalFile(const std::shared_ptr<MVFile> &) override { return overwriteLocal; }
    void presentErrorAlert(const MVError &error) override { errors.push_back(error); }

    bool wasRemoved(const std::shared_ptr<MVFile> &child) const;

    std::vector<std::shared_ptr<MVFile>> refreshed;
    std::vector<std::pair<std::shared_ptr<MVFile>, std::shared_ptr<MVFile>>> removed;
    std::vector<std::pair<std::shared_ptr<MVFile>, std::shared_ptr<MVFile>>> duplicated;
    std::vector<std::shared_ptr<MVFile>> available;
    std::vector<MVError> errors;
    bool shouldUpload = false;
    bool overwriteLocal = false;
};

// A document that, like the real one, forgets its node when the node tells it
// the file is gone or the node leaves.
class RecordingDocument : public MVFileNodeDocument
{
public:
    void attach(const std::shared_ptr<MVFile> &file);

    void fileContentsDisappeared() override;
    void filePathDidChange() override { ++pathChanges; }
    void fileContentChangeFinished() override { ++changesFinished; }
    void fileContentsChangedExternally() override { ++externalChanges; }
    void fileNodeWillLeaveTree() override;

    std::weak_ptr<MVFile> node;
    int disappeared = 0;
    // Whether the node was still in its parent's list when the document
    // heard of the loss (the document may hold a question open then).
    bool inTreeWhenTold = false;
    int leftTree = 0;
    int pathChanges = 0;
    int changesFinished = 0;
    int externalChanges = 0;
};

class RecordingQueue : public MVRemoteFilesQueue
{
public:
    bool isOnline() const override { return online; }
    void clearActionDelegate(const void *delegate) override { cleared.push_back(delegate); }

    bool online = true;
    std::vector<const void *> cleared;
};

class RecordingWatcher : public MVFileWatcher
{
public:
    struct Call
    {
        QString operation;
        QString path;
        int type;
    };

    bool watchFile(const std::shared_ptr<MVFile> &file, int type) override;
    bool resetForFile(const std::shared_ptr<MVFile> &file, int type) override;
    void stopWatching(const MVFile &file) override;
    void destroy() override { destroyed = true; }

    bool isWatching(const QString &path) const;
    int typeOf(const QString &path) const;

    std::vector<Call> calls;
    std::vector<std::pair<QString, int>> watched;
    bool destroyed = false;
};
