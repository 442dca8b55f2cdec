#pragma once

#include <QByteArray>
#include <QString>

// Writes a whole file atomically: the bytes go to a temporary file in the same
// directory, are flushed to the disk (a failing fsync is an error, not a
// warning) and renamed over the target, so a reader sees either the old or
// the new content and a failure leaves the old file as it was. Missing parent
// directories are created first. A symbolic link is written through to its
// target; an existing file keeps its permissions and, where the user may set
// it, its group.
class MVAtomicFile
{
public:
    // False on failure, with "path: reason" in *error.
    static bool write(const QString &path, const QByteArray &bytes, QString *error = nullptr);
};
