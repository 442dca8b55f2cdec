#pragma once

#include <QByteArray>
#include <QIcon>
#include <QString>

class MVLocalFile;

// One entry of a remote directory as a client listed it. The name is kept
// twice: as text for display and as the exact bytes the server holds, which
// are what commands must send back. An entry whose bytes the client cannot
// type back exactly is still shown, but canRoundTrip() is false, so that
// nothing destructive is done to it under a name that might hit another file.
class MVRemoteFile
{
public:
    MVRemoteFile() = default;
    // The entry called name in directory; the bytes are the name's UTF-8.
    MVRemoteFile(const QString &directory, const QString &name);
    // What an upload of a local file made: name, owner, group, date, mode,
    // directory flag and size are copied.
    static MVRemoteFile fromLocalPrototype(const QString &directory, const MVLocalFile &prototype);

    // The directory with the name appended as a path component.
    static QString pathInDirectory(const QString &directory, const QString &name);

    const QString &path() const { return _path; }
    const QString &name() const { return _name; }
    const QByteArray &nameBytes() const { return _nameBytes; }
    // Sets name, bytes and path together.
    void setName(const QString &directory, const QString &name, const QByteArray &nameBytes);

    const QString &user() const { return _user; }
    void setUser(const QString &user) { _user = user; }
    const QString &group() const { return _group; }
    void setGroup(const QString &group) { _group = group; }
    const QString &dateString() const { return _dateString; }
    void setDateString(const QString &date) { _dateString = date; }

    // The ten-character mode; without one, "d---------" for a directory,
    // "l---------" for a link and an empty string otherwise.
    QString modeString() const;
    // A mode beginning with "d" marks a directory, one beginning with "l" a
    // link (so a link to a directory is a link, not a directory).
    void setModeString(const QString &mode);

    qint64 size() const { return _size; }
    void setSize(qint64 size) { _size = size; }
    bool isDirectory() const { return _isDirectory; }
    void setDirectory(bool directory) { _isDirectory = directory; }
    bool isSymlink() const { return _isSymlink; }
    void setSymlink(bool symlink) { _isSymlink = symlink; }
    // Where a link points, when the listing said so.
    const QString &linkTarget() const { return _linkTarget; }
    void setLinkTarget(const QString &target) { _linkTarget = target; }

    bool canRoundTrip() const { return _canRoundTrip; }
    void setCanRoundTrip(bool canRoundTrip) { _canRoundTrip = canRoundTrip; }

    // "--" for a directory, otherwise the size in readable units.
    QString sizeString() const;
    // The folder icon or the icon of the name's extension, 16 by 16; made on
    // first use, on the main thread.
    const QIcon &icon() const;
    // "name: path".
    QString description() const;

    // Equal in every listed field (the icon is not compared).
    bool operator==(const MVRemoteFile &other) const;

private:
    QString _path;
    QString _name;
    QByteArray _nameBytes;
    QString _user;
    QString _group;
    QString _modeString;
    QString _dateString;
    QString _linkTarget;
    mutable QIcon _icon;
    qint64 _size = 0;
    bool _isDirectory = false;
    bool _isSymlink = false;
    bool _canRoundTrip = true;
};
