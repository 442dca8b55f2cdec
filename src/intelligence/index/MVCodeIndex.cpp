#include "intelligence/index/MVCodeIndex.h"

#include "app/Defaults.h"
#include "intelligence/index/MVCodeIndexer.h"
#include "platform/MVLog.h"
#include "platform/MVNotificationCenter.h"
#include "platform/MVUserDefaults.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A batch of files is committed after this long or this many files, so that
// a large tree costs few transactions and completion sees it soon.
constexpr qint64 BatchMilliseconds = 100;
constexpr qsizetype BatchFiles = 200;

const char *const Schema1[] = {
    "CREATE TABLE files (id integer PRIMARY KEY AUTOINCREMENT, path text, last_update numeric)",
    "CREATE TABLE referencedFiles (src_id integer, dst_id integer)",
    "CREATE TABLE keys (id integer PRIMARY KEY AUTOINCREMENT, file_id integer, parent_id integer DEFAULT 0, key text, "
    "completion text, range text, type integer, class integer)",
    "CREATE TABLE types (id integer PRIMARY KEY AUTOINCREMENT, title text NOT NULL)",
    "CREATE TABLE classes (id integer PRIMARY KEY AUTOINCREMENT, title text NOT NULL)",
};
const char *const Schema2[] = {
    "CREATE TABLE tags (id integer PRIMARY KEY AUTOINCREMENT, file_id integer DEFAULT 0, tag text NOT NULL)",
    "CREATE INDEX tag_index ON tags (tag)",
    "CREATE TABLE referencedTags (file_id integer, tag_id integer)",
    "CREATE TABLE config (version integer)",
    "INSERT INTO config (version) VALUES (2)",
};
// Without these every lookup by file scans a whole table, and a large tree
// indexes in quadratic time.
const char *const Indexes[] = {
    "CREATE INDEX IF NOT EXISTS keys_file_index ON keys (file_id)",
    "CREATE INDEX IF NOT EXISTS keys_class_index ON keys (class)",
    "CREATE INDEX IF NOT EXISTS files_path_index ON files (path)",
    "CREATE INDEX IF NOT EXISTS referenced_files_src_index ON referencedFiles (src_id)",
    "CREATE INDEX IF NOT EXISTS referenced_tags_file_index ON referencedTags (file_id)",
};
const char *const Tables[] = {"files", "referencedFiles", "keys", "types", "classes", "tags", "referencedTags", "config"};

void postInvalidated(const QString &path)
{
    QVariantMap info;
    if (!path.isEmpty())
        info.insert(QStringLiteral("path"), path);
    MVNotificationCenter::defaultCenter().post(MVCodeIndex::invalidatedNotification(), nullptr, info);
}

bool skippedPath(const QString &path)
{
    return path.endsWith(QLatin1String(".svn")) || path.endsWith(QLatin1String("CVS"))
           || QFileInfo(path).fileName().startsWith(QLatin1String(".tmp_Morvel"));
}

void restrictMode(const QString &path)
{
    ::chmod(QFile::encodeName(path).constData(), 0600);
}

} // namespace

MVCodeIndex &MVCodeIndex::sharedIndex()
{
    // Never destroyed: the thread ends with the process, as does the database.
    static MVCodeIndex *instance = [] {
        auto *index = new MVCodeIndex(Defaults::appSupportPathForFile(QStringLiteral("index.db")));
        index->_enabled = MVUserDefaults::standard().boolForKey(QStringLiteral("MVCodeIndexingEnabled"));
        return index;
    }();
    return *instance;
}

MVCodeIndex::MVCodeIndex(const QString &databasePath) : _path(databasePath) {}

MVCodeIndex::~MVCodeIndex()
{
    {
        std::lock_guard lock(_queueLock);
        _stopping = true;
    }
    _poker.notify_all();
    if (_thread.joinable())
        _thread.join();
}

QString MVCodeIndex::pathKey(const QString &path)
{
    return QString::fromLatin1(QCryptographicHash::hash(path.toUtf8(), QCryptographicHash::Md5).toHex());
}

void MVCodeIndex::start()
{
    std::lock_guard lock(_queueLock);
    if (_thread.joinable())
        return;
    _thread = std::thread([this] { _mainLoop(); });
}

void MVCodeIndex::indexFile(const QString &path)
{
    if (path.isEmpty())
        return;
    {
        std::lock_guard lock(_queueLock);
        if (_queued.contains(path))
            return;
        _queued.insert(path);
        _queue.push_back(path);
    }
    _poker.notify_one();
}

void MVCodeIndex::indexDirectory(const QString &path)
{
    if (path.isEmpty())
        return;
    // The walk reads the directory on the index thread; its children follow.
    indexFile(path);
}

bool MVCodeIndex::enabled() const
{
    std::lock_guard lock(_queueLock);
    return _enabled;
}

void MVCodeIndex::setEnabled(bool enabled)
{
    {
        std::lock_guard lock(_queueLock);
        if (_enabled == enabled)
            return;
        _enabled = enabled;
    }
    if (enabled) {
        _poker.notify_one();
        postInvalidated(QString());
    }
}

MVCodeIndex::Progress MVCodeIndex::progress() const
{
    std::lock_guard lock(_queueLock);
    return Progress{_done, qint64(_queue.size())};
}

void MVCodeIndex::cancel()
{
    std::lock_guard lock(_queueLock);
    _queue.clear();
    _queued.clear();
}

bool MVCodeIndex::waitUntilIdle(int milliseconds)
{
    std::unique_lock lock(_queueLock);
    return _idle.wait_for(lock, std::chrono::milliseconds(milliseconds),
                          [this] { return _tried && !_busy && (_queue.empty() || !_enabled); });
}

bool MVCodeIndex::isOpen() const
{
    std::lock_guard lock(_queueLock);
    return _opened;
}

// The thread --------------------------------------------------------------

void MVCodeIndex::_mainLoop()
{
    // The lowest priority there is: indexing never competes with typing.
    sched_param param{};
    pthread_setschedparam(pthread_self(), SCHED_IDLE, &param);

    const bool opened = _initDB();
    {
        std::lock_guard lock(_queueLock);
        _opened = opened;
        _tried = true;
        ++_generation;
    }
    _idle.notify_all();

    std::unique_lock lock(_queueLock);
    for (;;) {
        _poker.wait(lock, [this] { return _stopping || (_enabled && !_queue.empty()); });
        if (_stopping)
            break;
        const QString path = _queue.front();
        _queue.pop_front();
        _queued.remove(path);
        _busy = true;
        lock.unlock();

        if (_writer.isOpen() && _beginBatch())
            _processFile(path);
        if (_corrupt) {
            _corrupt = false;
            _setAside(_writer.lastError());
            const bool reopened = _initDB();
            std::lock_guard relock(_queueLock);
            _opened = reopened;
            ++_generation;
        }

        lock.lock();
        ++_done;
        const bool drained = _queue.empty() || !_enabled;
        if (drained || _batchTimer.elapsed() >= BatchMilliseconds || _batchPaths.size() >= BatchFiles) {
            lock.unlock();
            _finishBatch();
            lock.lock();
        }
        _busy = false;
        if (_queue.empty() || !_enabled) {
            _done = 0;
            _idle.notify_all();
        }
    }
    lock.unlock();
    _finishBatch();
    _writer.close();
}

bool MVCodeIndex::_initDB()
{
    _writer.close();
    const QString directory = QFileInfo(_path).path();
    if (!QDir().mkpath(directory) || ::access(QFile::encodeName(directory).constData(), W_OK) != 0) {
        MVLog::line(QStringLiteral("CODE INDEX NOT WRITABLE: %1").arg(directory));
        return false;
    }
    bool broken = false;
    if (_openWriter(&broken))
        return true;
    if (!broken)
        return false;
    _setAside(_writer.lastError());
    return _openWriter(&broken);
}

bool MVCodeIndex::_openWriter(bool *broken)
{
    *broken = false;
    const QByteArray native = QFile::encodeName(_path);
    const bool exists = QFileInfo::exists(_path);
    if (!exists) {
        // Made by us first, so that the database and its journals are 0600.
        const int fd = ::open(native.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd >= 0)
            ::close(fd);
    }
    restrictMode(_path);
    if (!_writer.open(_path, MVSQLiteDatabase::Mode::ReadWrite)) {
        MVLog::line(QStringLiteral("CODE INDEX NOT OPENED: %1: %2").arg(_path, _writer.lastError()));
        *broken = exists;
        return false;
    }
    auto fail = [this, broken] {
        *broken = true;
        _writer.close();
        return false;
    };
    if (!_writer.execute(QStringLiteral("PRAGMA journal_mode=WAL"))
        || !_writer.execute(QStringLiteral("PRAGMA synchronous=NORMAL")))
        return fail();
    bool fresh = true;
    if (exists) {
        MVSQLiteStatement check = _writer.query(QStringLiteral("PRAGMA quick_check(1)"));
        if (!check.next() || check.stringForColumn(0) != QLatin1String("ok"))
            return fail();
        check = MVSQLiteStatement();
        int tables = 0;
        MVSQLiteStatement schema = _writer.query(QStringLiteral("SELECT name FROM sqlite_master WHERE type='table'"));
        while (schema.next()) {
            const QString name = schema.stringForColumn(0);
            if (name.startsWith(QLatin1String("sqlite_")))
                continue;
            if (std::find_if(std::begin(Tables), std::end(Tables),
                             [&name](const char *table) { return name == QLatin1String(table); })
                == std::end(Tables))
                return fail();
            ++tables;
        }
        schema = MVSQLiteStatement();
        if (tables != 0 && tables != int(std::size(Tables)))
            return fail();
        fresh = tables == 0;
    }
    if (fresh) {
        if (!_writer.beginTransaction())
            return fail();
        for (const char *statement : Schema1)
            if (!_writer.execute(QLatin1String(statement)))
                return fail();
        for (const char *statement : Schema2)
            if (!_writer.execute(QLatin1String(statement)))
                return fail();
        if (!_writer.commit())
            return fail();
    }
    for (const char *statement : Indexes)
        _writer.execute(QLatin1String(statement));
    for (const char *suffix : {"-wal", "-shm"})
        if (QFileInfo::exists(_path + QLatin1String(suffix)))
            restrictMode(_path + QLatin1String(suffix));
    _loadMaps();
    return true;
}

void MVCodeIndex::_setAside(const QString &reason)
{
    _writer.close();
    {
        std::lock_guard lock(_readerMutex);
        _reader.close();
    }
    const QString aside = _path + QStringLiteral(".broken");
    QFile::remove(aside);
    QFile::rename(_path, aside);
    QFile::remove(_path + QStringLiteral("-wal"));
    QFile::remove(_path + QStringLiteral("-shm"));
    MVLog::line(QStringLiteral("CODE INDEX BROKEN, SET ASIDE AS %1: %2").arg(aside, reason));
}

void MVCodeIndex::_loadMaps()
{
    QHash<QString, qint64> classes;
    QHash<QString, qint64> typeToID;
    QHash<qint64, QString> idToType;
    MVSQLiteStatement rows = _writer.query(QStringLiteral("SELECT id, title FROM classes"));
    while (rows.next())
        classes.insert(rows.stringForColumn(QStringLiteral("title")), rows.intForColumn(QStringLiteral("id")));
    rows = _writer.query(QStringLiteral("SELECT id, title FROM types"));
    while (rows.next()) {
        const qint64 id = rows.intForColumn(QStringLiteral("id"));
        const QString title = rows.stringForColumn(QStringLiteral("title"));
        typeToID.insert(title, id);
        idToType.insert(id, title);
    }
    std::lock_guard lock(_mapMutex);
    _classes = std::move(classes);
    _typeToID = std::move(typeToID);
    _idToType = std::move(idToType);
}

bool MVCodeIndex::_beginBatch()
{
    if (_batchOpen)
        return true;
    if (!_writer.beginTransaction()) {
        _checkCorruption();
        return false;
    }
    _batchOpen = true;
    _batchTimer.start();
    return true;
}

void MVCodeIndex::_finishBatch()
{
    if (!_batchOpen)
        return;
    _batchOpen = false;
    const QStringList paths = std::exchange(_batchPaths, {});
    if (!_writer.commit()) {
        // A full disk or a lost lock: nothing of the batch is kept, and the
        // ids remembered for it are read again. Its files are indexed when
        // their paths come up again.
        _checkCorruption();
        _writer.rollback();
        if (!_corrupt)
            _loadMaps();
        return;
    }
    for (const QString &path : paths)
        postInvalidated(path);
}

void MVCodeIndex::_checkCorruption()
{
    if (_writer.lastErrorIsCorruption())
        _corrupt = true;
}

void MVCodeIndex::_processFile(const QString &path)
{
    if (skippedPath(path))
        return;
    const QByteArray native = QFile::encodeName(path);
    struct stat st;
    if (::lstat(native.constData(), &st) != 0) {
        if (errno == ENOENT || errno == ENOTDIR)
            _forgetPath(path);
        return;
    }
    if (S_ISLNK(st.st_mode)) {
        // A link to a file is indexed as that file; a link to a directory is
        // never followed (no loops), a dangling one is skipped.
        if (::stat(native.constData(), &st) != 0 || !S_ISREG(st.st_mode))
            return;
    }
    if (S_ISDIR(st.st_mode)) {
        _addDirectoryFilesToQueue(path);
        return;
    }
    if (!S_ISREG(st.st_mode))
        return;
    const auto indexer = MVCodeIndexer::indexerForPath(path);
    if (!indexer)
        return;
    const auto info = _fileInfoForPath(path, true);
    if (!info)
        return;
    const double modified = double(st.st_mtim.tv_sec);
    if (info->lastUpdate && *info->lastUpdate >= modified)
        return;
    const auto result = indexer->indexFile(path);
    if (!result)
        return;
    _deleteRowsOfFile(info->id);
    for (const MVCodeIndexKey &key : result->keys) {
        const qint64 type = _typeIDForString(key.type());
        const qint64 keyClass = _classIDForString(key.keyClass());
        _writer.execute(QStringLiteral("INSERT INTO keys (file_id, key, completion, type, class) VALUES (?, ?, ?, ?, ?)"),
                        {info->id, key.key(), key.completion(), type ? QVariant(type) : QVariant(),
                         keyClass ? QVariant(keyClass) : QVariant()});
    }
    _tagFileID(info->id, result->tags);
    _makeFileIDReferenceFiles(info->id, result->referencedFiles);
    _makeFileIDReferenceTags(info->id, result->referencedTags);
    _writer.execute(QStringLiteral("UPDATE files SET last_update=? WHERE id=?"), {modified, info->id});
    _checkCorruption();
    _batchPaths << path;
    // What a file includes is what its completion offers: those files are
    // indexed too (cheaply skipped when they have not changed).
    std::lock_guard lock(_queueLock);
    for (const QString &included : result->referencedFiles) {
        if (!_queued.contains(included)) {
            _queued.insert(included);
            _queue.push_back(included);
        }
    }
}

void MVCodeIndex::_deleteRowsOfFile(qint64 fileID)
{
    _writer.execute(QStringLiteral("DELETE FROM keys WHERE file_id=?"), {fileID});
    _writer.execute(QStringLiteral("DELETE FROM referencedFiles WHERE src_id=?"), {fileID});
    _writer.execute(QStringLiteral("DELETE FROM referencedTags WHERE file_id=?"), {fileID});
    _writer.execute(QStringLiteral("DELETE FROM tags WHERE file_id=?"), {fileID});
}

void MVCodeIndex::_forgetPath(const QString &path)
{
    const auto info = _fileInfoForPath(path, false);
    if (!info || !info->lastUpdate)
        return;
    // The row stays, so that files including this one find it again when it
    // comes back; its keys go, so completion offers nothing from it.
    _deleteRowsOfFile(info->id);
    _writer.execute(QStringLiteral("UPDATE files SET last_update=NULL WHERE id=?"), {info->id});
    _batchPaths << path;
}

void MVCodeIndex::_addDirectoryFilesToQueue(const QString &path)
{
    DIR *directory = ::opendir(QFile::encodeName(path).constData());
    if (!directory)
        return;
    QStringList children;
    const QString prefix = path.endsWith(QLatin1Char('/')) ? path : path + QLatin1Char('/');
    while (const dirent *entry = ::readdir(directory)) {
        const char *name = entry->d_name;
        if ((name[0] == '.' && name[1] == 0) || (name[0] == '.' && name[1] == '.' && name[2] == 0))
            continue;
        children << prefix + QFile::decodeName(name);
    }
    ::closedir(directory);
    {
        std::lock_guard lock(_queueLock);
        for (const QString &child : std::as_const(children)) {
            if (_queued.contains(child))
                continue;
            _queued.insert(child);
            _queue.push_back(child);
        }
    }
}

std::optional<MVCodeIndex::FileInfo> MVCodeIndex::_fileInfoForPath(const QString &path, bool create)
{
    const QString key = pathKey(path);
    {
        MVSQLiteStatement row = _writer.query(QStringLiteral("SELECT id, last_update FROM files WHERE path=?"), {key});
        if (row.next()) {
            FileInfo info;
            info.id = row.intForColumn(0);
            if (!row.columnIsNull(1))
                info.lastUpdate = row.doubleForColumn(1);
            return info;
        }
    }
    if (!create || !_writer.execute(QStringLiteral("INSERT INTO files (path) VALUES (?)"), {key}))
        return std::nullopt;
    return FileInfo{_writer.lastInsertRowId(), std::nullopt};
}

qint64 MVCodeIndex::_typeIDForString(const QString &type)
{
    if (type.isEmpty())
        return 0;
    {
        std::lock_guard lock(_mapMutex);
        if (const auto it = _typeToID.constFind(type); it != _typeToID.cend())
            return *it;
    }
    if (!_writer.execute(QStringLiteral("INSERT INTO types (title) VALUES (?)"), {type}))
        return 0;
    const qint64 id = _writer.lastInsertRowId();
    std::lock_guard lock(_mapMutex);
    _typeToID.insert(type, id);
    _idToType.insert(id, type);
    return id;
}

qint64 MVCodeIndex::_classIDForString(const QString &keyClass)
{
    if (keyClass.isEmpty())
        return 0;
    {
        std::lock_guard lock(_mapMutex);
        if (const auto it = _classes.constFind(keyClass); it != _classes.cend())
            return *it;
    }
    if (!_writer.execute(QStringLiteral("INSERT INTO classes (title) VALUES (?)"), {keyClass}))
        return 0;
    const qint64 id = _writer.lastInsertRowId();
    std::lock_guard lock(_mapMutex);
    _classes.insert(keyClass, id);
    return id;
}

void MVCodeIndex::_tagFileID(qint64 fileID, const QStringList &tags)
{
    for (const QString &tag : tags) {
        qint64 undefined = 0;
        {
            MVSQLiteStatement row = _writer.query(QStringLiteral("SELECT id FROM tags WHERE file_id=0 AND tag=?"), {tag});
            if (row.next())
                undefined = row.intForColumn(0);
        }
        if (undefined)
            _writer.execute(QStringLiteral("UPDATE tags SET file_id=? WHERE id=?"), {fileID, undefined});
        else
            _writer.execute(QStringLiteral("INSERT INTO tags (tag, file_id) VALUES (?, ?)"), {tag, fileID});
    }
}

void MVCodeIndex::_makeFileIDReferenceFiles(qint64 fileID, const QStringList &paths)
{
    for (const QString &path : paths) {
        const auto info = _fileInfoForPath(path, true);
        if (info)
            _writer.execute(QStringLiteral("INSERT INTO referencedFiles (src_id, dst_id) VALUES (?, ?)"),
                            {fileID, info->id});
    }
}

void MVCodeIndex::_makeFileIDReferenceTags(qint64 fileID, const QStringList &tags)
{
    for (const QString &tag : tags) {
        qint64 tagID = 0;
        {
            MVSQLiteStatement row = _writer.query(QStringLiteral("SELECT id, tag, file_id FROM tags WHERE tag=?"), {tag});
            if (row.next())
                tagID = row.intForColumn(QStringLiteral("id"));
        }
        if (!tagID) {
            if (!_writer.execute(QStringLiteral("INSERT INTO tags (tag) VALUES (?)"), {tag}))
                continue;
            tagID = _writer.lastInsertRowId();
        }
        _writer.execute(QStringLiteral("INSERT INTO referencedTags (file_id, tag_id) VALUES (?, ?)"), {fileID, tagID});
    }
}

// Queries -----------------------------------------------------------------

bool MVCodeIndex::_openReader()
{
    quint64 generation;
    {
        std::lock_guard lock(_queueLock);
        if (!_opened)
            return false;
        generation = _generation;
    }
    if (_reader.isOpen() && _readerGeneration == generation)
        return true;
    _reader.close();
    if (!_reader.open(_path, MVSQLiteDatabase::Mode::ReadOnly))
        return false;
    _readerGeneration = generation;
    return true;
}

std::optional<QList<MVCodeIndexKey>> MVCodeIndex::keysForType(const QString &type, const QString &keyClass,
                                                              const QString &file)
{
    if (!enabled())
        return std::nullopt;
    std::lock_guard readerLock(_readerMutex);
    if (!_openReader())
        return std::nullopt;
    qint64 typeID = 0;
    qint64 classID = 0;
    {
        // Only ids that exist: a question never adds a row.
        std::lock_guard lock(_mapMutex);
        if (!type.isEmpty() && !(typeID = _typeToID.value(type)))
            return QList<MVCodeIndexKey>();
        if (!keyClass.isEmpty() && !(classID = _classes.value(keyClass)))
            return QList<MVCodeIndexKey>();
    }
    QStringList conditions;
    if (typeID)
        conditions << QStringLiteral("type=%1").arg(typeID);
    // With a file the few rows of its reach are found by file; "+" keeps the
    // planner from walking every key of the class instead (14 times slower
    // on a large tree).
    if (classID)
        conditions << QString::fromLatin1(file.isNull() ? "class=%1" : "+class=%1").arg(classID);
    if (!file.isNull()) {
        QStringList ids;
        for (const qint64 id : _fileIDsForPath(file))
            ids << QString::number(id);
        conditions << QStringLiteral("file_id IN (%1)").arg(ids.join(QLatin1Char(',')));
    }
    QString sql = QStringLiteral("SELECT DISTINCT key, completion");
    if (!typeID)
        sql += QStringLiteral(", type");
    sql += QStringLiteral(" FROM keys");
    if (!conditions.isEmpty())
        sql += QStringLiteral(" WHERE ") + conditions.join(QStringLiteral(" AND "));
    QList<MVCodeIndexKey> keys;
    QList<qint64> typeIDs;
    {
        MVSQLiteStatement rows = _reader.query(sql, {}, false);
        while (rows.next()) {
            keys << MVCodeIndexKey(rows.stringForColumn(0), rows.stringForColumn(1), typeID ? type : QString());
            typeIDs << (typeID ? 0 : rows.intForColumn(2));
        }
    }
    for (qsizetype i = 0; i < keys.size(); ++i) {
        if (typeIDs[i])
            keys[i].setType(_typeStringForID(typeIDs[i]));
    }
    return keys;
}

QList<qint64> MVCodeIndex::_fileIDsForPath(const QString &path)
{
    qint64 start = 0;
    {
        MVSQLiteStatement row = _reader.query(QStringLiteral("SELECT id FROM files WHERE path=?"), {pathKey(path)});
        if (!row.next())
            return {};
        start = row.intForColumn(0);
    }
    QList<qint64> seen{start};
    QSet<qint64> seenSet{start};
    for (qsizetype next = 0; next < seen.size(); ++next) {
        const qint64 id = seen.at(next);
        for (const char *sql : {"SELECT dst_id FROM referencedFiles WHERE src_id=?",
                                "SELECT tags.file_id FROM tags INNER JOIN referencedTags ON tags.id=referencedTags.tag_id "
                                "WHERE referencedTags.file_id=?"}) {
            MVSQLiteStatement rows = _reader.query(QLatin1String(sql), {id});
            while (rows.next()) {
                const qint64 found = rows.intForColumn(0);
                if (!seenSet.contains(found)) {
                    seenSet.insert(found);
                    seen << found;
                }
            }
        }
    }
    return seen;
}

QString MVCodeIndex::_typeStringForID(qint64 id)
{
    {
        std::lock_guard lock(_mapMutex);
        if (const auto it = _idToType.constFind(id); it != _idToType.cend())
            return *it;
    }
    MVSQLiteStatement row = _reader.query(QStringLiteral("SELECT title FROM types WHERE id=?"), {id});
    return row.next() ? row.stringForColumn(0) : QString();
}
