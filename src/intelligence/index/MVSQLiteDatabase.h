#pragma once

#include "intelligence/index/MVSQLiteStatement.h"

#include <QHash>
#include <QString>
#include <QVariant>

#include <memory>

struct sqlite3;
struct sqlite3_stmt;

// A thin owner of one SQLite connection. Statements are prepared once per
// text and reused; the connection and every statement close with the object.
// One object belongs to one thread at a time.
class MVSQLiteDatabase
{
public:
    enum class Mode { ReadWrite, ReadOnly };

    MVSQLiteDatabase() = default;
    ~MVSQLiteDatabase();
    MVSQLiteDatabase(const MVSQLiteDatabase &) = delete;
    MVSQLiteDatabase &operator=(const MVSQLiteDatabase &) = delete;

    // Opens (read-write creates the file). False, with lastError set, when the
    // file cannot be opened; the object is then closed.
    bool open(const QString &path, Mode mode);
    void close();
    bool isOpen() const { return _db != nullptr; }

    // A statement with its parameters bound; invalid when it does not prepare.
    // A statement whose text changes from call to call (a list of ids written
    // into it) is made with reuse false, so that it is not kept.
    MVSQLiteStatement query(const QString &sql, const QVariantList &parameters = {}, bool reuse = true);
    // Runs a statement to its end: true when it completed.
    bool execute(const QString &sql, const QVariantList &parameters = {});

    bool beginTransaction();
    bool commit();
    bool rollback();
    bool inTransaction() const;
    qint64 lastInsertRowId() const;

    // The primary result code of the last failure (SQLITE_CORRUPT and its
    // like), 0 after success; and its message.
    int lastErrorCode() const { return _lastErrorCode; }
    QString lastError() const { return _lastError; }
    bool lastErrorIsCorruption() const;

private:
    sqlite3_stmt *_prepare(const QString &sql, bool reuse);
    void _noteError();

    sqlite3 *_db = nullptr;
    // Lives as long as the connection: statements check it before resetting.
    std::shared_ptr<int> _alive;
    QHash<QString, sqlite3_stmt *> _statements;
    int _lastErrorCode = 0;
    QString _lastError;
};
