#include "remote/MVRemoteFile.h"

#include "files/FileManagerUtilities.h"
#include "files/MVLocalFile.h"

MVRemoteFile::MVRemoteFile(const QString &directory, const QString &name)
{
    setName(directory, name, name.toUtf8());
}

MVRemoteFile MVRemoteFile::fromLocalPrototype(const QString &directory, const MVLocalFile &prototype)
{
    MVRemoteFile file(directory, prototype.name());
    file._user = prototype.owner();
    file._group = prototype.group();
    // The form the remote representation reads back as a date.
    if (prototype.date().isValid())
        file._dateString = prototype.date().toUTC().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss +0000"));
    file.setModeString(prototype.mode());
    file._isDirectory = prototype.isDirectory();
    file._size = prototype.size();
    file._icon = prototype.icon();
    return file;
}

QString MVRemoteFile::pathInDirectory(const QString &directory, const QString &name)
{
    if (directory.isEmpty())
        return name;
    if (directory.endsWith(QLatin1Char('/')))
        return directory + name;
    return directory + QLatin1Char('/') + name;
}

void MVRemoteFile::setName(const QString &directory, const QString &name, const QByteArray &nameBytes)
{
    _name = name;
    _nameBytes = nameBytes;
    _path = pathInDirectory(directory, name);
}

QString MVRemoteFile::modeString() const
{
    if (!_modeString.isEmpty())
        return _modeString;
    if (_isDirectory)
        return QStringLiteral("d---------");
    if (_isSymlink)
        return QStringLiteral("l---------");
    return QString();
}

void MVRemoteFile::setModeString(const QString &mode)
{
    if (mode == _modeString)
        return;
    _modeString = mode;
    if (mode.startsWith(QLatin1Char('d')))
        _isDirectory = true;
    else if (mode.startsWith(QLatin1Char('l')))
        _isSymlink = true;
}

QString MVRemoteFile::sizeString() const
{
    if (_isDirectory)
        return QStringLiteral("--");
    return FileManagerUtilities::formattedStringForSize(double(_size));
}

const QIcon &MVRemoteFile::icon() const
{
    if (_icon.isNull())
        _icon = FileManagerUtilities::iconForFile(_name, 16, true, _isDirectory);
    return _icon;
}

QString MVRemoteFile::description() const
{
    return QStringLiteral("%1: %2").arg(_name, _path);
}

bool MVRemoteFile::operator==(const MVRemoteFile &other) const
{
    return _path == other._path && _name == other._name && _nameBytes == other._nameBytes && _user == other._user
        && _group == other._group && _modeString == other._modeString && _dateString == other._dateString
        && _linkTarget == other._linkTarget && _size == other._size && _isDirectory == other._isDirectory
        && _isSymlink == other._isSymlink && _canRoundTrip == other._canRoundTrip;
}
