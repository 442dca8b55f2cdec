#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>

#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

// Preferences: typed values under flat keys, kept as a binary property list
// and written atomically on every change. Safe to use from any thread.
// Numbers of any kind (booleans, integers, doubles) read as numbers.
class MVUserDefaults
{
public:
    using Observer = std::function<void(const QString &key)>;
    using Token = std::uint64_t;

    // The user's store: $XDG_CONFIG_HOME/Morvel/preferences.plist.
    static MVUserDefaults &standard();
    static QString standardPath();

    // A store kept in the given file. An unreadable or malformed file gives
    // an empty store and one log line; a malformed file is moved aside to
    // "<file>.broken" so that nothing the user had is lost.
    explicit MVUserDefaults(QString path);

    QString path() const { return _path; }

    bool hasValue(const QString &key) const;
    QVariant objectForKey(const QString &key) const;
    QString stringForKey(const QString &key) const;      // empty if missing or not a string
    QVariantList arrayForKey(const QString &key) const;  // empty if missing or not a list
    QVariantMap dictionaryForKey(const QString &key) const;
    bool boolForKey(const QString &key) const;           // false if missing or not a number
    qint64 integerForKey(const QString &key) const;      // 0 if missing or not a number
    double doubleForKey(const QString &key) const;       // 0 if missing or not a number
    // True if the stored value is a bool, an integer or a double.
    bool isNumber(const QString &key) const;

    void setObject(const QString &key, const QVariant &value);
    void setBool(const QString &key, bool value) { setObject(key, value); }
    void setInteger(const QString &key, qint64 value) { setObject(key, value); }
    void setDouble(const QString &key, double value) { setObject(key, value); }
    void removeObject(const QString &key);
    // Sets many keys with one write; with onlyMissing, keys that have a value stay.
    void setObjects(const QVariantMap &values, bool onlyMissing);

    QStringList allKeys() const;
    // Writes the store now; false if the write failed (the values stay in memory).
    bool synchronize();

    // Called after a key changed (on the thread that changed it).
    Token addObserver(const QString &key, Observer observer);
    void removeObserver(Token token);

private:
    void _load();
    bool _writeLocked();
    void _notify(const QStringList &keys);

    QString _path;
    mutable std::recursive_mutex _mutex;
    QVariantMap _values;
    struct ObserverEntry
    {
        Token token;
        QString key;
        std::shared_ptr<Observer> observer;
    };
    std::vector<ObserverEntry> _observers;
    Token _nextToken = 1;
};
