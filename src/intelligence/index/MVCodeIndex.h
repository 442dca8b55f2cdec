#pragma once

#include "documents/MVFileIndexing.h"
#include "intelligence/index/MVCodeIndexKey.h"
#include "intelligence/index/MVSQLiteDatabase.h"

#include <QElapsedTimer>
#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>

struct stat;

// The store of what the program knows about the user's code: for each file
// its keys, the files it includes and the tags it defines and refers to, in
// "index.db" (SQLite, schema version 2). Paths are queued from any thread and
// indexed by one thread of the lowest priority, which writes through its own
// connection; queries use a second, read-only connection, so they never wait
// for a pass and never write.
class MVCodeIndex : public MVFileIndexing
{
public:
    // The process's index, in the configuration root. It lives until the
    // process ends, and its thread with it.
    static MVCodeIndex &sharedIndex();
    static QString invalidatedNotification() { return QStringLiteral("MVFileIndexInvalidated"); }

    // An index kept in the database at the path (made if missing).
    explicit MVCodeIndex(const QString &databasePath);
    // Stops the thread after the file in hand and closes the database.
    ~MVCodeIndex() override;
    MVCodeIndex(const MVCodeIndex &) = delete;
    MVCodeIndex &operator=(const MVCodeIndex &) = delete;

    // Starts the index thread (once).
    void start();
    void end() {}

    // Queues the path (a file, or a directory whose children are walked) and
    // wakes the thread. An empty path is ignored.
    void indexFile(const QString &path) override;
    // Queues the directory's direct children.
    void indexDirectory(const QString &path) override;

    // The keys of the type and class (either may be empty: any) visible from
    // the file (empty: every file): those of the file and of all it reaches
    // through includes and tags. Null when the index is off or has no
    // database; empty for a type or class never seen.
    std::optional<QList<MVCodeIndexKey>> keysForType(const QString &type, const QString &keyClass,
                                                     const QString &file);

    bool enabled() const;
    // Turning the index on wakes the thread and posts the invalidation with
    // no path; off leaves the queue waiting.
    void setEnabled(bool enabled);

    // Work since the queue was last empty, for the status bar.
    struct Progress
    {
        qint64 done = 0;
        qint64 waiting = 0;
    };
    Progress progress() const;
    // Empties the queue; the file in hand is finished.
    void cancel();
    // Waits until the queue is empty and its work committed; false on time-out.
    bool waitUntilIdle(int milliseconds);
    // False when the database could not be opened (the thread tried).
    bool isOpen() const;
    QString databasePath() const { return _path; }

    // The lower-case hexadecimal MD5 of the path's UTF-8 text: the key of a
    // file's row.
    static QString pathKey(const QString &path);

private:
    struct FileInfo
    {
        qint64 id = 0;
        std::optional<double> lastUpdate;
    };

    void _mainLoop();
    bool _initDB();
    bool _openWriter(bool *broken);
    void _setAside(const QString &reason);
    void _loadMaps();
    void _processFile(const QString &path);
    void _addDirectoryFilesToQueue(const QString &path);
    void _forgetPath(const QString &path);
    bool _beginBatch();
    void _finishBatch();
    void _checkCorruption();
    std::optional<FileInfo> _fileInfoForPath(const QString &path, bool create);
    qint64 _typeIDForString(const QString &type);
    qint64 _classIDForString(const QString &keyClass);
    void _tagFileID(qint64 fileID, const QStringList &tags);
    void _makeFileIDReferenceFiles(qint64 fileID, const QStringList &paths);
    void _makeFileIDReferenceTags(qint64 fileID, const QStringList &tags);
    void _deleteRowsOfFile(qint64 fileID);

    // Reader side, under _readerMutex.
    bool _openReader();
    QList<qint64> _fileIDsForPath(const QString &path);
    QString _typeStringForID(qint64 id);

    const QString _path;
    std::thread _thread;

    mutable std::mutex _queueLock;
    std::condition_variable _poker;
    std::condition_variable _idle;
    std::deque<QString> _queue;
    QSet<QString> _queued;
    bool _enabled = true;
    bool _stopping = false;
    bool _busy = false;
    bool _opened = false;
    bool _tried = false;
    qint64 _done = 0;
    quint64 _generation = 0;

    // Index thread only.
    MVSQLiteDatabase _writer;
    QElapsedTimer _batchTimer;
    QStringList _batchPaths;
    bool _batchOpen = false;
    bool _corrupt = false;

    std::mutex _readerMutex;
    MVSQLiteDatabase _reader;
    quint64 _readerGeneration = 0;

    // Mirrors of "types" and "classes", shared by both threads.
    mutable std::mutex _mapMutex;
    QHash<QString, qint64> _typeToID;
    QHash<qint64, QString> _idToType;
    QHash<QString, qint64> _classes;
};
