#pragma once

#include <QByteArray>
#include <QString>

// Writes a whole file atomically: the bytes go to a temporary file in the same
// directory, are flushed to disk and renamed over the target, so a reader
// sees either the old or the new content and a failure leaves the old file.
// Missing parent directories are created first. An existing file keeps its
// permissions, and a symbolic link is written through to its target.
class MVAtomicFile
{
public:
    static bool write(const QString &path, const QByteArray &bytes, QString *error = nullptr);
};
