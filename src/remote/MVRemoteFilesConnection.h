#pragma once

#include "remote/MVCommandQueue.h"
#include "remote/MVTerminalOutput.h"
#include "remote/MVTerminalText.h"

#include <QString>
#include <QStringList>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <thread>

class MVRemoteFilesConnectionDelegate;
class MVRemoteLogDelegate;

// One FTP, SFTP or WebDAV client on a pseudo-terminal. The reader thread
// reads what the client prints, tells the prompt (the unfinished tail that
// begins with the client's prompt) and input requests (a tail ending in a
// colon that the running action expects) from the rest, and hands each
// finished output to the delegate, the action now running. Commands queue;
// one is outstanding at a time. A connection can be launched again after its
// client has gone.
class MVRemoteFilesConnection : public std::enable_shared_from_this<MVRemoteFilesConnection>
{
public:
    enum Type { FTP = 0, SFTP = 1, WebDAV = 2 };
    enum State { New = 0, Launched = 1, Busy = 2, AtPrompt = 3, NeedsInput = 4, Closing = 5, Killed = 6 };

    static std::shared_ptr<MVRemoteFilesConnection> initWithType(int type);
    ~MVRemoteFilesConnection();

    // The client program of a protocol: ftp and sftp in /usr/bin, cadaver from PATH.
    static QString executablePathForType(int type);
    static QString promptForType(int type);

    void setDelegate(const std::shared_ptr<MVRemoteFilesConnectionDelegate> &delegate);
    void clearDelegate(const MVRemoteFilesConnectionDelegate *delegate);
    void setLogDelegate(const std::shared_ptr<MVRemoteLogDelegate> &delegate);

    int state() const { return _state; }
    int type() const { return _type; }
    int pid() const { return _pid; }

    // Starts a reader thread that starts the client with these arguments.
    void launchWithArguments(const QStringList &arguments);
    // False if killed, if the command was refused (control character, too
    // long; see MVTerminalText) or if the write failed.
    bool writeCommand(const QString &command);
    void close();
    void cancel();
    void kill();
    bool hasTimedOut(int statusCode) const;

    // The text of the last prompt the client showed ("dav:/dav/? ").
    QString promptText() const;
    // Raw bytes of the lines being handed to the delegate (during its call).
    const QList<QByteArray> &rawLines() const { return _output.rawLines(); }

    // Replaces the client program (tests, and a client that is missing).
    void setExecutablePath(const QString &path) { _executablePath = path; }
    // Read timeout of the busy SFTP client; 30 s.
    void setReadTimeout(int milliseconds) { _readTimeoutMs = milliseconds; }
    // From now on, the client must reach the prompt within this time or is
    // killed and the delegate hears connectionTimedOut; 0 lifts the deadline.
    void setDeadline(int milliseconds);
    // A text that never reaches the log as it is: the password.
    void setSecret(const QString &secret);
    // Waits for the reader thread of the last launch to end.
    void waitUntilExit();

private:
    explicit MVRemoteFilesConnection(int type);
    void _run(QStringList arguments);
    void _mainLoop();
    void _processBuffer(QByteArrayView chunk);
    bool _answerHostKeyQuestion();
    void _finishedCommand();
    void _log(const QString &text, bool flush);
    std::shared_ptr<MVRemoteFilesConnectionDelegate> _currentDelegate();
    int _pollTimeout() const;
    bool _deadlinePassed() const;

    std::atomic<int> _masterFD{-1};
    std::atomic<int> _pid{0};
    std::atomic<int> _state{New};
    const int _type;
    MVTerminalOutput _output;
    MVTerminalDecoder _logDecoder;
    MVCommandQueue _commands{_masterFD};
    std::atomic<bool> _hasTimedOut{false};
    QByteArray _prompt;
    QString _executablePath;

    mutable std::mutex _lock; // delegates, secret, prompt text, thread
    std::weak_ptr<MVRemoteFilesConnectionDelegate> _delegate;
    std::weak_ptr<MVRemoteLogDelegate> _logDelegate;
    QString _secret;
    QString _logPending;
    QString _promptText;
    std::thread _thread;

    std::atomic<int> _readTimeoutMs{30000};
    std::atomic<qint64> _deadline{0}; // steady clock, nanoseconds; 0 none
};
