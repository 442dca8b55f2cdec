#pragma once

#include <QString>

// One entry of the code index: the word, the text that completes it, its
// type word ("function", "class", ...) and its class, the identifier of the
// language bundle the key is written in.
class MVCodeIndexKey
{
public:
    MVCodeIndexKey() = default;
    MVCodeIndexKey(QString key, QString completion, QString type = QString(), QString keyClass = QString())
        : _key(std::move(key)), _completion(std::move(completion)), _type(std::move(type)), _class(std::move(keyClass))
    {
    }

    const QString &key() const { return _key; }
    const QString &completion() const { return _completion; }
    const QString &type() const { return _type; }
    const QString &keyClass() const { return _class; }
    void setType(const QString &type) { _type = type; }
    void setKeyClass(const QString &keyClass) { _class = keyClass; }

    bool hasPrefix(const QString &prefix) const { return _key.startsWith(prefix); }
    qsizetype length() const { return _key.length(); }
    // "type key => completion".
    QString description() const { return QStringLiteral("%1 %2 => %3").arg(_type, _key, _completion); }

    bool operator==(const MVCodeIndexKey &other) const = default;

private:
    QString _key;
    QString _completion;
    QString _type;
    QString _class;
};
