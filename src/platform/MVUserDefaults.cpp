#include "platform/MVUserDefaults.h"

#include "platform/MVLog.h"
#include "platform/MVPropertyList.h"
#include "platform/MVUserNotices.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QObject>
#include <QStandardPaths>

#include <memory>

namespace {
bool isNumberType(const QVariant &v)
{
    switch (v.typeId()) {
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::Float:
        return true;
    default:
        return false;
    }
}
}

MVUserDefaults &MVUserDefaults::standard()
{
    // Never destroyed, for the same reason as the notification centre: other
    // process-wide objects may still remove their observers during exit.
    static MVUserDefaults *defaults = new MVUserDefaults(standardPath());
    return *defaults;
}

QString MVUserDefaults::standardPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
        + QStringLiteral("/Morvel/preferences.plist");
}

MVUserDefaults::MVUserDefaults(QString path)
    : _path(std::move(path))
{
    _load();
}

void MVUserDefaults::_load()
{
    if (!QFileInfo::exists(_path))
        return;
    QString error;
    auto values = MVPropertyList::readDictionary(_path, &error);
    if (values) {
        _values = *values;
        return;
    }
    // Keep the user's file: move it aside before the next write replaces it.
    const QString aside = _path + QStringLiteral(".broken");
    QFile::remove(aside);
    const bool moved = QFile::rename(_path, aside);
    MVLog::line(QStringLiteral("PREFERENCES UNREADABLE: %1; using defaults%2")
                    .arg(error, moved ? QStringLiteral(", the file was kept as ") + aside : QString()));
    MVUserNotices::post(QObject::tr("Your preferences could not be read; the defaults are used."),
                        moved ? QObject::tr("%1: %2. The file was set aside as %3.").arg(_path, error, aside)
                              : QObject::tr("%1: %2.").arg(_path, error));
}

bool MVUserDefaults::hasValue(const QString &key) const
{
    std::lock_guard lock(_mutex);
    return _values.contains(key);
}

QVariant MVUserDefaults::objectForKey(const QString &key) const
{
    std::lock_guard lock(_mutex);
    return _values.value(key);
}

QString MVUserDefaults::stringForKey(const QString &key) const
{
    const QVariant v = objectForKey(key);
    return v.typeId() == QMetaType::QString ? v.toString() : QString();
}

QVariantList MVUserDefaults::arrayForKey(const QString &key) const
{
    const QVariant v = objectForKey(key);
    return v.typeId() == QMetaType::QVariantList ? v.toList() : QVariantList();
}

QVariantMap MVUserDefaults::dictionaryForKey(const QString &key) const
{
    const QVariant v = objectForKey(key);
    return v.typeId() == QMetaType::QVariantMap ? v.toMap() : QVariantMap();
}

bool MVUserDefaults::isNumber(const QString &key) const
{
    return isNumberType(objectForKey(key));
}

bool MVUserDefaults::boolForKey(const QString &key) const
{
    const QVariant v = objectForKey(key);
    return isNumberType(v) && v.toDouble() != 0.0;
}

qint64 MVUserDefaults::integerForKey(const QString &key) const
{
    const QVariant v = objectForKey(key);
    return isNumberType(v) ? v.toLongLong() : 0;
}

double MVUserDefaults::doubleForKey(const QString &key) const
{
    const QVariant v = objectForKey(key);
    return isNumberType(v) ? v.toDouble() : 0.0;
}

void MVUserDefaults::setObject(const QString &key, const QVariant &value)
{
    if (!value.isValid()) {
        removeObject(key);
        return;
    }
    {
        std::lock_guard lock(_mutex);
        if (_values.value(key) == value && _values.contains(key))
            return;
        _values.insert(key, value);
        _writeLocked();
    }
    _notify({key});
}

void MVUserDefaults::removeObject(const QString &key)
{
    {
        std::lock_guard lock(_mutex);
        if (_values.remove(key) == 0)
            return;
        _writeLocked();
    }
    _notify({key});
}

void MVUserDefaults::setObjects(const QVariantMap &values, bool onlyMissing)
{
    QStringList changed;
    {
        std::lock_guard lock(_mutex);
        for (auto it = values.cbegin(); it != values.cend(); ++it) {
            if (onlyMissing && _values.contains(it.key()))
                continue;
            if (_values.contains(it.key()) && _values.value(it.key()) == it.value())
                continue;
            _values.insert(it.key(), it.value());
            changed.append(it.key());
        }
        if (!changed.isEmpty())
            _writeLocked();
    }
    _notify(changed);
}

QStringList MVUserDefaults::allKeys() const
{
    std::lock_guard lock(_mutex);
    return _values.keys();
}

bool MVUserDefaults::synchronize()
{
    std::lock_guard lock(_mutex);
    return _writeLocked();
}

bool MVUserDefaults::_writeLocked()
{
    QString error;
    if (MVPropertyList::writeFile(_values, _path, MVPropertyList::BinaryFormat, &error))
        return true;
    MVLog::line(QStringLiteral("PREFERENCES NOT SAVED: %1").arg(error));
    return false;
}

MVUserDefaults::Token MVUserDefaults::addObserver(const QString &key, Observer observer)
{
    std::lock_guard lock(_mutex);
    const Token token = _nextToken++;
    _observers.push_back(ObserverEntry{token, key, std::make_shared<Observer>(std::move(observer))});
    return token;
}

void MVUserDefaults::removeObserver(Token token)
{
    std::lock_guard lock(_mutex);
    std::erase_if(_observers, [token](const ObserverEntry &e) { return e.token == token; });
}

void MVUserDefaults::_notify(const QStringList &keys)
{
    if (keys.isEmpty())
        return;
    std::vector<std::pair<QString, std::shared_ptr<Observer>>> targets;
    {
        std::lock_guard lock(_mutex);
        for (const ObserverEntry &e : _observers) {
            if (keys.contains(e.key))
                targets.emplace_back(e.key, e.observer);
        }
    }
    for (const auto &[key, observer] : targets)
        (*observer)(key);
}
