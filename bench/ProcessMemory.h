#pragma once

#include <QByteArray>
#include <QFile>

// A memory figure of this process from /proc/self/status, in kilobytes
// ("VmRSS:" resident now, "VmHWM:" the peak); 0 if it cannot be read.
inline qint64 processStatusKilobytes(const char *field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(field))
            return line.mid(qstrlen(field)).trimmed().split(' ').first().toLongLong();
    }
    return 0;
}
