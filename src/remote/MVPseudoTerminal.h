#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

#include <sys/types.h>

// The plumbing shared by the interactive task and the remote connection:
// one child on a new pseudo-terminal, its master read in raw chunks and
// written in whole commands, and the child reaped at the end.
class MVPseudoTerminal
{
public:
    // Size of one raw read.
    static constexpr int ChunkSize = 1023;

    // The parent's environment with the given variables set or replaced.
    // Built before the fork: the child of a threaded process may not allocate.
    static QList<QByteArray> environmentWith(const QMap<QString, QString> &variables);

    // Starts the program on a new terminal as the leader of a new session,
    // with default signal handling, an empty signal mask, umask 077 and no
    // descriptor but the terminal. The master is non-blocking and closed on
    // exec, so no other child inherits it. False with the reason in *error.
    static bool spawn(const QString &path, const QStringList &arguments, const QList<QByteArray> &environment,
                      const QString &workingDirectory, int *masterFD, pid_t *pid, QString *error);

    // Waits until the master is readable or timeoutMs (-1: for ever) passed.
    // 1 readable or hung up, 0 timed out, -1 failed.
    static int waitForInput(int masterFD, int timeoutMs);
    // Reads one chunk; the count, 0 if nothing is there yet, -1 once the
    // child and everything it started have closed the terminal.
    static qsizetype readChunk(int masterFD, char *buffer);
    // Writes every byte, through partial writes and a full terminal buffer.
    static bool writeAll(int masterFD, QByteArrayView bytes);

    // Reaps the child; if it has not ended after graceMs it is killed first.
    // The raw wait status, or -1 if it could not be had.
    static int reap(pid_t pid, int graceMs);
};
