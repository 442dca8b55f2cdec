#include "intelligence/index/MVSQLiteDatabase.h"

#include <sqlite3.h>

#include <QFile>

MVSQLiteDatabase::~MVSQLiteDatabase()
{
    close();
}

bool MVSQLiteDatabase::open(const QString &path, Mode mode)
{
    close();
    const int flags = (mode == Mode::ReadOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE)
                      | SQLITE_OPEN_NOMUTEX;
    const int rc = sqlite3_open_v2(QFile::encodeName(path).constData(), &_db, flags, nullptr);
    if (rc != SQLITE_OK) {
        _lastErrorCode = rc;
        _lastError = _db ? QString::fromUtf8(sqlite3_errmsg(_db)) : QString::fromUtf8(sqlite3_errstr(rc));
        close();
        return false;
    }
    sqlite3_extended_result_codes(_db, 0);
    _alive = std::make_shared<int>(0);
    _lastErrorCode = 0;
    _lastError.clear();
    return true;
}

void MVSQLiteDatabase::close()
{
    for (sqlite3_stmt *statement : std::as_const(_statements))
        sqlite3_finalize(statement);
    _statements.clear();
    _alive.reset();
    if (_db) {
        sqlite3_close_v2(_db);
        _db = nullptr;
    }
}

sqlite3_stmt *MVSQLiteDatabase::_prepare(const QString &sql, bool reuse)
{
    if (!_db)
        return nullptr;
    if (sqlite3_stmt *cached = reuse ? _statements.value(sql) : nullptr)
        return cached;
    sqlite3_stmt *statement = nullptr;
    const QByteArray text = sql.toUtf8();
    if (sqlite3_prepare_v2(_db, text.constData(), int(text.size()), &statement, nullptr) != SQLITE_OK) {
        _noteError();
        sqlite3_finalize(statement);
        return nullptr;
    }
    if (reuse)
        _statements.insert(sql, statement);
    return statement;
}

void MVSQLiteDatabase::_noteError()
{
    _lastErrorCode = sqlite3_errcode(_db) & 0xff;
    _lastError = QString::fromUtf8(sqlite3_errmsg(_db));
}

MVSQLiteStatement MVSQLiteDatabase::query(const QString &sql, const QVariantList &parameters, bool reuse)
{
    sqlite3_stmt *statement = _prepare(sql, reuse);
    if (!statement)
        return MVSQLiteStatement();
    MVSQLiteStatement result(statement, reuse, _alive);
    if (!result.bind(parameters)) {
        _noteError();
        return MVSQLiteStatement();
    }
    return result;
}

bool MVSQLiteDatabase::execute(const QString &sql, const QVariantList &parameters)
{
    MVSQLiteStatement statement = query(sql, parameters);
    if (!statement.isValid())
        return false;
    while (statement.next()) {
    }
    if (statement.resultCode() != SQLITE_DONE) {
        _noteError();
        return false;
    }
    _lastErrorCode = 0;
    return true;
}

bool MVSQLiteDatabase::beginTransaction()
{
    return execute(QStringLiteral("BEGIN"));
}

bool MVSQLiteDatabase::commit()
{
    return execute(QStringLiteral("COMMIT"));
}

bool MVSQLiteDatabase::rollback()
{
    return execute(QStringLiteral("ROLLBACK"));
}

bool MVSQLiteDatabase::inTransaction() const
{
    return _db && !sqlite3_get_autocommit(_db);
}

qint64 MVSQLiteDatabase::lastInsertRowId() const
{
    return _db ? sqlite3_last_insert_rowid(_db) : 0;
}

bool MVSQLiteDatabase::lastErrorIsCorruption() const
{
    return _lastErrorCode == SQLITE_CORRUPT || _lastErrorCode == SQLITE_NOTADB;
}
