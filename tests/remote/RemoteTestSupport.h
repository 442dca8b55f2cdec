#pragma once

#include "remote/MVInteractiveTaskDelegate.h"
#include "remote/MVRemoteLogDelegate.h"
#include "remote/actions/MVRemoteFileActionDelegate.h"
#include "remote/actions/MVRemoteFileAction.h"

#include "support/QtPrinters.h"

#include <QStringList>

#include <chrono>
#include <memory>
#include <condition_variable>
#include <mutex>
#include <optional>

// Records what a task, an action or a log hears on their threads, and lets
// the test wait for it.
class RecordingDelegate : public MVInteractiveTaskDelegate, public MVRemoteFileActionDelegate, public MVRemoteLogDelegate
{
public:
    struct Finish
    {
        QStringList lines;
        bool flag = false; // hadError for tasks, result for actions
        int status = 0;
    };

    void taskFinishedCommandWithOutput(MVInteractiveTask *, const QStringList &lines, bool hadError) override;
    bool taskShouldExpectInput(MVInteractiveTask *) override { return expectInput; }
    void actionFinishedWithResult(MVRemoteFileAction *, bool result, int statusCode) override;
    bool actionShouldTrustHostKey(MVRemoteFileAction *, const QString &host, const QString &fingerprint) override;
    void appendStringToLog(const QString &text) override;

    // Waits for the next finish not yet taken.
    std::optional<Finish> next(std::chrono::milliseconds timeout = std::chrono::seconds(20));
    QString log() const;
    QStringList fingerprints() const;

    bool expectInput = false;
    bool trustHostKeys = false;
    // Keeps the command lines and environments of this process's
    // descendants at each piece of log, while the client is alive.
    bool watchDescendants = false;
    QByteArray descendants() const;

private:
    mutable std::mutex _lock;
    std::condition_variable _changed;
    QList<Finish> _finishes;
    qsizetype _taken = 0;
    QString _log;
    QStringList _fingerprints;
    QByteArray _descendants;
};

class MVConnectAction;
class MVRemoteFilesConnection;

constexpr int kLoginTimeout = 8000;

// One login on its own connection, with what it heard.
struct Login
{
    std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
    std::shared_ptr<MVRemoteFilesConnection> connection;
    std::shared_ptr<MVConnectAction> action;

    Login(int type, const QString &host, int port, const QString &user, const QString &password,
          const QString &knownHosts = QString());
    void start();
    std::optional<RecordingDelegate::Finish> finish() { return delegate->next(std::chrono::milliseconds(kLoginTimeout + 5000)); }
    // Runs one command; its result and status.
    std::optional<RecordingDelegate::Finish> run(const QString &command);
    // Runs an action with this login's delegate; its result and status.
    std::optional<RecordingDelegate::Finish> run(const std::shared_ptr<MVRemoteFileAction> &action);
    void end();
};

// What the process holds, to see that nothing is left behind.
namespace ProcessCensus {
int openDescriptors();
int threads();
// Children of this process that have ended and not been reaped.
int zombies();
// Waits up to a few seconds for the thread count to fall to at most count.
bool waitForThreads(int count);
// The processes started by pid, and theirs, and so on.
QList<int> descendantsOf(int pid);
// The command lines and environments of all descendants of this process.
QByteArray descendantsCommandLinesAndEnvironments();
}
