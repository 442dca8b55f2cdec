#pragma once

#include "files/MVFileRepresentationDelegate.h"

#include <QDateTime>
#include <QIcon>
#include <QString>

#include <memory>
#include <vector>

class MVRemoteFilesQueue;

// One place where a file of the tree exists: on the local disk or on the
// remote site. Every operation reports its result to the delegate (the node),
// at once or later. Always held by std::shared_ptr; the delegate is a weak
// reference, so a late report after the node has gone reaches nobody.
class MVFileRepresentation : public std::enable_shared_from_this<MVFileRepresentation>
{
public:
    using Ptr = std::shared_ptr<MVFileRepresentation>;
    using List = std::vector<Ptr>;
    using Context = std::shared_ptr<MVFile>;

    // The name is the last component of the path.
    explicit MVFileRepresentation(const QString &path);
    virtual ~MVFileRepresentation();
    MVFileRepresentation(const MVFileRepresentation &) = delete;
    MVFileRepresentation &operator=(const MVFileRepresentation &) = delete;

    virtual bool isLocal() const { return true; }
    virtual bool loadChildren();
    virtual bool loadFileAttributes() { return true; }
    virtual bool reloadChildren() { return true; }
    virtual void deleteFile() {}
    virtual void duplicate() {}
    virtual bool moveToPath(const QString &path, const Context &context);
    virtual void rename(const QString &newName, const Context &context);
    virtual void moveToTrash() {}

    // The remote side's operations; nothing here.
    virtual void upload() {}
    virtual void download() {}
    virtual void makeDirectory() {}
    virtual QString localPath() const { return QString(); }
    virtual void setLocalPath(const QString &) {}
    virtual void setRemoteQueue(const std::shared_ptr<MVRemoteFilesQueue> &) {}

    // Stores the delegate; a real one also loads the attributes, so that a
    // representation that is merely listed costs nothing until adopted.
    void setDelegate(const std::shared_ptr<MVFileRepresentationDelegate> &delegate);
    std::shared_ptr<MVFileRepresentationDelegate> delegate() const { return _delegate.lock(); }

    const QString &name() const { return _name; }
    const QString &owner() const { return _owner; }
    const QString &group() const { return _group; }
    quint16 mode() const { return _mode; }
    const QDateTime &modificationDate() const { return _modificationDate; }
    qint64 size() const { return _size; }
    void setName(const QString &name) { _name = name; }
    void setOwner(const QString &owner) { _owner = owner; }
    void setGroup(const QString &group) { _group = group; }
    void setMode(quint16 mode) { _mode = mode; }
    void setModificationDate(const QDateTime &date) { _modificationDate = date; }
    void setSize(qint64 size) { _size = size; }
    bool isLoaded() const { return _loaded; }

    QIcon icon();
    int fileType() const { return fileTypeForMode(_mode); }
    // 0 file, 1 directory, 3 FIFO, 4 character device; tested bit by bit, so
    // links and sockets count as files.
    static int fileTypeForMode(quint32 mode);

protected:
    // Calls the delegate, if there still is one, while keeping this object
    // alive: the node may drop it during the call.
    template <typename Call>
    void report(Call &&call)
    {
        const Ptr keep = shared_from_this();
        if (const auto delegate = _delegate.lock())
            call(*delegate);
    }
    QString delegatePath();

    bool _loaded = false;

private:
    std::weak_ptr<MVFileRepresentationDelegate> _delegate;
    QString _name;
    QString _owner;
    QString _group;
    quint16 _mode = 0;
    QDateTime _modificationDate;
    qint64 _size = 0;
};
