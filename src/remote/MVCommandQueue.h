#pragma once

#include <QString>
#include <QStringList>

#include <atomic>
#include <functional>
#include <mutex>

// The commands waiting for a client on a pseudo-terminal. Only the head is
// ever written; it leaves the queue when the client's answer to it has
// ended, and the next goes out then. A command queued while the client sat
// idle at its prompt goes out at once. Safe to use from the caller's thread
// and the reader's.
class MVCommandQueue
{
public:
    explicit MVCommandQueue(const std::atomic<int> &masterFD);

    // Queues a command; writes it when it is the only one. False when that
    // write failed.
    bool append(const QString &command);
    // Whether the head has gone to the client.
    bool headWritten() const;
    // The answer to a command ended: drops the head if it had been written
    // before (headWasWritten, read before the answer was handed on), then
    // writes the next unwritten one.
    void finishHead(bool headWasWritten);
    // Runs spawn under the queue's lock, so that no command is written before
    // the terminal is known; with writePending, a command queued meanwhile
    // goes out once spawn succeeded.
    bool attach(const std::function<bool()> &spawn, bool writePending);

private:
    bool _write(const QString &command);

    const std::atomic<int> &_masterFD;
    mutable std::mutex _lock;
    QStringList _commands;
    bool _headWritten = false;
};
