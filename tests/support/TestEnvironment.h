#pragma once

#include <QString>

#include "support/QtPrinters.h"

// Process-wide test set-up: a temporary HOME with its XDG directories.
namespace MVTestEnvironment {
void setUpProcess();
void tearDownProcess();
// The temporary home made for this process.
QString homePath();
// Path of a file under tests/fixtures in the source tree.
QString fixturePath(const QString &relative);
}

// A fresh directory removed again at the end of its scope.
class MVScratchDir
{
public:
    MVScratchDir();
    ~MVScratchDir();
    MVScratchDir(const MVScratchDir &) = delete;
    MVScratchDir &operator=(const MVScratchDir &) = delete;

    const QString &path() const { return _path; }
    QString file(const QString &name) const { return _path + QLatin1Char('/') + name; }
    // Writes bytes to a file below the directory, creating parent directories.
    QString write(const QString &name, const QByteArray &bytes) const;

private:
    QString _path;
};
