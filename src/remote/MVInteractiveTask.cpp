#include "remote/MVInteractiveTask.h"

#include "platform/MVLog.h"
#include "remote/MVInteractiveTaskDelegate.h"
#include "remote/MVPseudoTerminal.h"
#include "remote/MVTerminalText.h"

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

std::shared_ptr<MVInteractiveTask> MVInteractiveTask::initWithExecutablePath(const QString &path)
{
    return std::shared_ptr<MVInteractiveTask>(new MVInteractiveTask(path));
}

MVInteractiveTask::MVInteractiveTask(const QString &path)
    : _executablePath(path)
{
}

MVInteractiveTask::~MVInteractiveTask()
{
    if (_thread.joinable()) {
        if (_thread.get_id() == std::this_thread::get_id())
            _thread.detach();
        else
            _thread.join();
    }
}

void MVInteractiveTask::setDelegate(const std::shared_ptr<MVInteractiveTaskDelegate> &delegate)
{
    std::lock_guard lock(_delegateLock);
    _delegate = delegate;
}

void MVInteractiveTask::clearDelegate(const MVInteractiveTaskDelegate *delegate)
{
    std::lock_guard lock(_delegateLock);
    if (_delegate.lock().get() == delegate)
        _delegate.reset();
}

void MVInteractiveTask::launch()
{
    std::shared_ptr<MVInteractiveTask> self = shared_from_this();
    _thread = std::thread([self] { self->_run(); });
}

void MVInteractiveTask::waitUntilExit()
{
    if (_thread.joinable() && _thread.get_id() != std::this_thread::get_id())
        _thread.join();
}

bool MVInteractiveTask::writeCommand(const QString &command)
{
    if (!MVTerminalText::refusalForCommand(command).isEmpty())
        return false;
    return _commands.append(command);
}

void MVInteractiveTask::cancel()
{
    const int pid = _pid;
    if (pid > 0)
        ::kill(pid, SIGINT);
}

void MVInteractiveTask::kill()
{
    const int pid = _pid;
    if (pid > 0)
        ::kill(pid, SIGKILL);
}

void MVInteractiveTask::_run()
{
    QMap<QString, QString> variables = _environment;
    variables.insert(QStringLiteral("TERM"), QStringLiteral("dumb"));
    variables.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    int master = -1;
    pid_t pid = 0;
    QString error;
    // A command queued before the child existed goes out once it does.
    const bool spawned = _commands.attach(
        [&] {
            if (!MVPseudoTerminal::spawn(_executablePath, _arguments, MVPseudoTerminal::environmentWith(variables),
                                         _workingDirectory, &master, &pid, &error))
                return false;
            _masterFD = master;
            _pid = pid;
            return true;
        },
        true);
    if (!spawned)
        MVLog::line(error);
    if (master < 0) {
        if (_reportsSilentExit)
            childDidExitWithStatus(0, 1);
        return;
    }
    _mainLoop();
    _masterFD = -1;
    close(master);
    const int status = MVPseudoTerminal::reap(pid, 2000);
    // A child ended by a signal counts as a clean exit.
    const int exitStatus = status == -1 ? 1 : (WIFEXITED(status) ? WEXITSTATUS(status) : 0);
    childDidExitWithStatus(pid, exitStatus);
    _pid = 0;
}

bool MVInteractiveTask::selectShouldTimeout(int *timeoutMs)
{
    *timeoutMs = 0;
    return false;
}

void MVInteractiveTask::_mainLoop()
{
    int timeoutMs = 0;
    const bool timesOut = selectShouldTimeout(&timeoutMs);
    willStartLoop();
    char buffer[MVPseudoTerminal::ChunkSize];
    while (mainLoopShouldContinue()) {
        const int ready = MVPseudoTerminal::waitForInput(_masterFD, timesOut ? timeoutMs : -1);
        if (ready < 0)
            break;
        if (ready == 0 && selectDidTimeout())
            continue;
        if (!shouldProcessBuffer())
            break;
        if (ready > 0) {
            const qsizetype count = MVPseudoTerminal::readChunk(_masterFD, buffer);
            if (count < 0)
                break;
            if (count > 0)
                _processBuffer(QByteArrayView(buffer, count));
        }
    }
}

void MVInteractiveTask::_processBuffer(QByteArrayView chunk)
{
    _output.append(chunk);
    if (!_prompt.isEmpty() && _output.tailBeginsWith(_prompt)) {
        const QString tail = _output.tail();
        _output.clearTail();
        didReachPrompt(tail);
        return;
    }
    if (_output.tailEndsWithColon()) {
        std::shared_ptr<MVInteractiveTaskDelegate> delegate;
        {
            std::lock_guard lock(_delegateLock);
            delegate = _delegate.lock();
        }
        if (delegate && delegate->taskShouldExpectInput(this)) {
            const QString tail = _output.tail();
            didReachInputPoint(tail);
        }
    }
}

void MVInteractiveTask::didReachPrompt(const QString &)
{
    _finishedCommand(false);
}

void MVInteractiveTask::didReachInputPoint(const QString &)
{
    _output.moveTailToLines();
    _finishedCommand(false);
}

void MVInteractiveTask::childDidExitWithStatus(int, int status)
{
    if (!_output.hasLines() && !_output.hasTail() && !_reportsSilentExit)
        return;
    _output.moveTailToLines();
    _finishedCommand(status != 0);
}

void MVInteractiveTask::_finishedCommand(bool hadError)
{
    // Only a command written before this output ends with it; one written
    // while the client was idle (its first prompt) still waits for its answer.
    const bool headWasWritten = _commands.headWritten();
    std::shared_ptr<MVInteractiveTaskDelegate> delegate;
    {
        std::lock_guard lock(_delegateLock);
        delegate = _delegate.lock();
    }
    if (delegate)
        delegate->taskFinishedCommandWithOutput(this, _output.lines(), hadError);
    _output.clearLines();
    _commands.finishHead(headWasWritten);
}
