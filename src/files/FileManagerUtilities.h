#pragma once

#include "platform/MVError.h"

#include <QByteArray>
#include <QIcon>
#include <QString>
#include <QVariantMap>

#include <sys/types.h>

// File and file-system helpers shared by the tree, the transfer window and
// the remote side.
namespace FileManagerUtilities {

// An error of code 9 ("File Operation Error") from an error record with the
// keys "Path" and "Error".
MVError errorFromDictionary(const QVariantMap &record);
// The same, straight from a path and the reason.
MVError fileOperationError(const QString &path, const QString &reason);

// The icon for a file by its name (and, for a directory, a folder icon).
// With the cache on, files with an extension share one icon per extension.
QIcon iconForFile(const QString &path, int size, bool useCache, bool isDirectory = false);

QString nameForGid(gid_t gid);
QString nameForUid(uid_t uid);

// "1023 B", "1 KB", "1.5 MB" ... "1.0 PB"; a null string from 1024^6 on.
QString formattedStringForSize(double size);
// "drwxr-xr-x": ten characters, set-id and sticky letters included.
QString modeStringForMode(quint32 mode);
// The permission bits as octal digits: 04755 gives "4755".
QString numericModeStringForMode(quint32 mode);
// The mode from the first column of a directory listing; 0 if too short.
quint32 modeFromString(const QString &text);

// A free path for a copy: "name copy.ext", then "name copy 1.ext" and up.
QString pathForCopyOfFile(const QString &path);
// With another suffix; a directory keeps its whole name and gets no extension.
QString pathForCopyOfFile(const QString &path, const QString &initialSuffix, bool asDirectory);

// Creates every missing directory of the path; false at the first failure
// (including a component that exists and is not a directory).
bool ensureDirectoryExists(const QString &path);
// The target of a symbolic link, else the path itself.
QString resolvedPath(const QString &path);
// A new empty file of our own in the per-user temporary directory; empty on failure.
QString pathForTemporaryFile();
// A new private directory in the per-user temporary directory; empty on failure.
QString pathForTemporaryDirectory(const QString &prefix);

// A stored reference to a file: here the plain path.
QByteArray createAliasDataForPath(const QString &path);
QString createPathFromAliasData(const QByteArray &data);

// True if a name from a listing can stand for a file: not empty, not "." or
// "..", no "/" and no NUL.
bool isAcceptableFileName(const QString &name);

} // namespace FileManagerUtilities
