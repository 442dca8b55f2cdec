#include "files/MVLocalFile.h"

#include "files/FileManagerUtilities.h"
#include "files/MVFileFilters.h"

#include <QFile>

#include <dirent.h>
#include <sys/stat.h>

MVLocalFile::Ptr MVLocalFile::fileWithPath(const QString &path)
{
    struct stat st;
    if (::stat(QFile::encodeName(path).constData(), &st) != 0)
        return nullptr;
    auto file = std::make_shared<MVLocalFile>();
    QString clean = path;
    while (clean.size() > 1 && clean.endsWith(QLatin1Char('/')))
        clean.chop(1);
    file->_name = clean.mid(clean.lastIndexOf(QLatin1Char('/')) + 1);
    file->_isDirectory = S_ISDIR(st.st_mode);
    file->_icon = FileManagerUtilities::iconForFile(path, 16, true, file->_isDirectory);
    file->_date = QDateTime::fromSecsSinceEpoch(st.st_mtime, Qt::UTC);
    file->_mode = FileManagerUtilities::modeStringForMode(st.st_mode);
    file->_owner = FileManagerUtilities::nameForUid(st.st_uid);
    file->_group = FileManagerUtilities::nameForGid(st.st_gid);
    file->_size = st.st_size;
    return file;
}

std::vector<MVLocalFile::Ptr> MVLocalFile::filesForPath(const QString &directory)
{
    std::vector<Ptr> files;
    DIR *dir = ::opendir(QFile::encodeName(directory).constData());
    if (!dir)
        return files;
    const QString prefix = directory.endsWith(QLatin1Char('/')) ? directory : directory + QLatin1Char('/');
    while (const dirent *entry = ::readdir(dir)) {
        const QString name = QFile::decodeName(entry->d_name);
        if (!FileManagerUtilities::isAcceptableFileName(name) || MVFileFilters::sharedFilters().stringMatchesFilters(name))
            continue;
        if (Ptr file = fileWithPath(prefix + name))
            files.push_back(std::move(file));
    }
    ::closedir(dir);
    return files;
}

QString MVLocalFile::sizeString() const
{
    if (_isDirectory)
        return QStringLiteral("--");
    return FileManagerUtilities::formattedStringForSize(double(_size));
}

void MVLocalFile::rename(const QString &newName)
{
    _name = newName;
    if (_observer)
        _observer(*this, QStringLiteral("name"));
}
