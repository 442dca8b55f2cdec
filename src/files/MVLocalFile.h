#pragma once

#include <QDateTime>
#include <QIcon>
#include <QString>

#include <functional>
#include <memory>
#include <vector>

// One entry of a local directory as the transfer window lists it: a plain
// record read once from the file system.
class MVLocalFile
{
public:
    using Ptr = std::shared_ptr<MVLocalFile>;
    // Told which key changed ("name").
    using Observer = std::function<void(MVLocalFile &file, const QString &key)>;

    // Null if the path cannot be read (stat follows links).
    static Ptr fileWithPath(const QString &path);
    // The entries of a directory, without the names the filters hide.
    static std::vector<Ptr> filesForPath(const QString &directory);

    const QString &name() const { return _name; }
    const QIcon &icon() const { return _icon; }
    const QDateTime &date() const { return _date; }
    const QString &mode() const { return _mode; }
    const QString &owner() const { return _owner; }
    const QString &group() const { return _group; }
    qint64 size() const { return _size; }
    bool isDirectory() const { return _isDirectory; }
    // "--" for a directory, otherwise the size as text.
    QString sizeString() const;

    // Changes the field only (the file is renamed elsewhere) and tells the observer.
    void rename(const QString &newName);
    // Names are changed through rename only.
    void setName(const QString &) {}
    void setObserver(Observer observer) { _observer = std::move(observer); }

private:
    QString _name;
    QIcon _icon;
    QDateTime _date;
    QString _mode;
    QString _owner;
    QString _group;
    qint64 _size = 0;
    bool _isDirectory = false;
    Observer _observer;
};
