#pragma once

#include <QString>
#include <QVariant>

#include <memory>

struct sqlite3_stmt;

// One prepared statement of an MVSQLiteDatabase, bound and ready to step.
// Statements the database keeps for reuse are reset when this object goes
// away; one-off statements are finalised. Move-only.
class MVSQLiteStatement
{
public:
    MVSQLiteStatement() = default;
    // A kept statement is reset when this object goes; another is finalised.
    // The statement is left alone once its connection is gone (closed).
    MVSQLiteStatement(sqlite3_stmt *statement, bool kept, std::weak_ptr<void> connection);
    ~MVSQLiteStatement();
    MVSQLiteStatement(MVSQLiteStatement &&other) noexcept;
    MVSQLiteStatement &operator=(MVSQLiteStatement &&other) noexcept;
    MVSQLiteStatement(const MVSQLiteStatement &) = delete;
    MVSQLiteStatement &operator=(const MVSQLiteStatement &) = delete;

    bool isValid() const { return _statement != nullptr; }
    // Binds positional parameters from the first: strings as text, integral
    // numbers as integers, other numbers as doubles, null as NULL.
    bool bind(const QVariantList &parameters);
    // Advances to the next row: true while there is one. The result code of
    // the last step is kept (SQLITE_DONE at the end, an error code else).
    bool next();
    int resultCode() const { return _resultCode; }

    qint64 intForColumn(int index) const;
    double doubleForColumn(int index) const;
    QString stringForColumn(int index) const;
    bool columnIsNull(int index) const;
    // By column name; -1 and a null value when there is no such column.
    int columnIndexForName(const QString &name) const;
    qint64 intForColumn(const QString &name) const;
    double doubleForColumn(const QString &name) const;
    QString stringForColumn(const QString &name) const;

private:
    void _release();

    sqlite3_stmt *_statement = nullptr;
    int _resultCode = 0;
    bool _kept = true;
    std::weak_ptr<void> _connection;
};
