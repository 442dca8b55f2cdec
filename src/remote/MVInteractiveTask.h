#pragma once

#include "remote/MVCommandQueue.h"
#include "remote/MVTerminalOutput.h"

#include <QMap>
#include <QString>
#include <QStringList>

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>

class MVInteractiveTaskDelegate;

// Runs one command-line program behind a pseudo-terminal and turns its output
// into finished line lists. A command is finished when the unfinished tail
// begins with the prompt, when the tail is an input request the delegate
// accepts, or when the child has gone. One command is outstanding at a time;
// later ones wait in the queue. A task is used once.
//
// The reader thread keeps the task alive until the child has gone and been
// reaped; kill() ends it early.
class MVInteractiveTask : public std::enable_shared_from_this<MVInteractiveTask>
{
public:
    static std::shared_ptr<MVInteractiveTask> initWithExecutablePath(const QString &path);
    virtual ~MVInteractiveTask();

    void setArguments(const QStringList &arguments) { _arguments = arguments; }
    void setPrompt(const QString &prompt) { _prompt = prompt.toUtf8(); }
    void setWorkingDirectory(const QString &directory) { _workingDirectory = directory; }
    // Variables set or replaced in the child's environment (TERM=dumb and
    // LC_ALL=C.UTF-8 are always set).
    void setEnvironment(const QMap<QString, QString> &variables) { _environment = variables; }
    // A child that ends having printed nothing is reported too, with no lines.
    void setReportsSilentExit(bool reports) { _reportsSilentExit = reports; }

    void setDelegate(const std::shared_ptr<MVInteractiveTaskDelegate> &delegate);
    void clearDelegate(const MVInteractiveTaskDelegate *delegate);

    // Starts the reader thread, which starts the child, and returns at once.
    void launch();
    // Queues a command; writes it if nothing else is outstanding. False if the
    // write failed or the command was refused (see MVTerminalText).
    bool writeCommand(const QString &command);
    void cancel();
    void kill();
    // Waits for the reader thread to end (tests and owners that must know).
    void waitUntilExit();

    int pid() const { return _pid; }
    // Raw bytes of the lines of the command being finished (during the delegate call).
    const QList<QByteArray> &rawLines() const { return _output.rawLines(); }

protected:
    explicit MVInteractiveTask(const QString &path);

    // Hooks, on the task's thread.
    virtual bool selectShouldTimeout(int *timeoutMs);
    virtual bool selectDidTimeout() { return false; }
    virtual void willStartLoop() {}
    virtual bool mainLoopShouldContinue() { return true; }
    virtual bool shouldProcessBuffer() { return true; }
    virtual void didReachPrompt(const QString &tail);
    virtual void didReachInputPoint(const QString &tail);
    virtual void childDidExitWithStatus(int pid, int status);

    void _finishedCommand(bool hadError);
    MVTerminalOutput &output() { return _output; }

private:
    void _run();
    void _mainLoop();
    void _processBuffer(QByteArrayView chunk);

    std::atomic<int> _masterFD{-1};
    std::atomic<int> _pid{0};
    QString _executablePath;
    QStringList _arguments;
    QByteArray _prompt;
    QString _workingDirectory;
    QMap<QString, QString> _environment;
    bool _reportsSilentExit = false;
    MVTerminalOutput _output;
    MVCommandQueue _commands{_masterFD};
    std::mutex _delegateLock;
    std::weak_ptr<MVInteractiveTaskDelegate> _delegate;
    std::thread _thread;
};
