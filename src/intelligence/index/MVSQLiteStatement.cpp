#include "intelligence/index/MVSQLiteStatement.h"

#include <sqlite3.h>

MVSQLiteStatement::MVSQLiteStatement(sqlite3_stmt *statement, bool kept, std::weak_ptr<void> connection)
    : _statement(statement), _kept(kept), _connection(std::move(connection))
{
}

MVSQLiteStatement::~MVSQLiteStatement()
{
    _release();
}

MVSQLiteStatement::MVSQLiteStatement(MVSQLiteStatement &&other) noexcept
    : _statement(other._statement), _resultCode(other._resultCode), _kept(other._kept),
      _connection(std::move(other._connection))
{
    other._statement = nullptr;
}

MVSQLiteStatement &MVSQLiteStatement::operator=(MVSQLiteStatement &&other) noexcept
{
    if (this != &other) {
        _release();
        _statement = other._statement;
        _resultCode = other._resultCode;
        _kept = other._kept;
        _connection = std::move(other._connection);
        other._statement = nullptr;
    }
    return *this;
}

void MVSQLiteStatement::_release()
{
    if (!_statement)
        return;
    if (_connection.expired()) {
        // Closed under us: the connection finalised every statement.
        _statement = nullptr;
        return;
    }
    if (_kept) {
        sqlite3_reset(_statement);
        sqlite3_clear_bindings(_statement);
    } else {
        sqlite3_finalize(_statement);
    }
    _statement = nullptr;
}

bool MVSQLiteStatement::bind(const QVariantList &parameters)
{
    if (!_statement)
        return false;
    for (int i = 0; i < parameters.size(); ++i) {
        const QVariant &value = parameters.at(i);
        int rc;
        switch (value.typeId()) {
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::Long:
        case QMetaType::LongLong:
        case QMetaType::ULongLong:
        case QMetaType::Bool:
            rc = sqlite3_bind_int64(_statement, i + 1, value.toLongLong());
            break;
        case QMetaType::Double:
        case QMetaType::Float:
            rc = sqlite3_bind_double(_statement, i + 1, value.toDouble());
            break;
        default:
            if (value.isNull()) {
                rc = sqlite3_bind_null(_statement, i + 1);
            } else {
                const QByteArray text = value.toString().toUtf8();
                rc = sqlite3_bind_text(_statement, i + 1, text.constData(), int(text.size()), SQLITE_TRANSIENT);
            }
        }
        if (rc != SQLITE_OK)
            return false;
    }
    return true;
}

bool MVSQLiteStatement::next()
{
    if (!_statement)
        return false;
    _resultCode = sqlite3_step(_statement);
    return _resultCode == SQLITE_ROW;
}

qint64 MVSQLiteStatement::intForColumn(int index) const
{
    return _statement ? sqlite3_column_int64(_statement, index) : 0;
}

double MVSQLiteStatement::doubleForColumn(int index) const
{
    return _statement ? sqlite3_column_double(_statement, index) : 0.0;
}

QString MVSQLiteStatement::stringForColumn(int index) const
{
    if (!_statement || sqlite3_column_type(_statement, index) == SQLITE_NULL)
        return QString();
    const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(_statement, index));
    return QString::fromUtf8(text, sqlite3_column_bytes(_statement, index));
}

bool MVSQLiteStatement::columnIsNull(int index) const
{
    return !_statement || sqlite3_column_type(_statement, index) == SQLITE_NULL;
}

int MVSQLiteStatement::columnIndexForName(const QString &name) const
{
    if (!_statement)
        return -1;
    const QByteArray wanted = name.toUtf8();
    const int count = sqlite3_column_count(_statement);
    for (int i = 0; i < count; ++i) {
        if (qstricmp(sqlite3_column_name(_statement, i), wanted.constData()) == 0)
            return i;
    }
    return -1;
}

qint64 MVSQLiteStatement::intForColumn(const QString &name) const
{
    const int index = columnIndexForName(name);
    return index < 0 ? 0 : intForColumn(index);
}

double MVSQLiteStatement::doubleForColumn(const QString &name) const
{
    const int index = columnIndexForName(name);
    return index < 0 ? 0.0 : doubleForColumn(index);
}

QString MVSQLiteStatement::stringForColumn(const QString &name) const
{
    const int index = columnIndexForName(name);
    return index < 0 ? QString() : stringForColumn(index);
}
