#include "remote/actions/MVCommandAction.h"

#include "remote/MVRemoteFilesConnection.h"

std::shared_ptr<MVCommandAction> MVCommandAction::actionWithConnection(const std::shared_ptr<MVRemoteFilesConnection> &connection,
                                                                       const QString &command, bool isFatal)
{
    return std::shared_ptr<MVCommandAction>(new MVCommandAction(connection, command, isFatal));
}

MVCommandAction::MVCommandAction(std::shared_ptr<MVRemoteFilesConnection> connection, QString command, bool isFatal)
    : MVRemoteFileAction(std::move(connection))
    , _command(std::move(command))
    , _isFatal(isFatal)
{
}

std::shared_ptr<MVRemoteFileAction> MVCommandAction::copy() const
{
    auto copied = actionWithConnection(_connection, _command, _isFatal);
    copied->setStartSelector(startSelector());
    copied->setFinishSelector(finishSelector(), finishDelegate());
    return copied;
}

void MVCommandAction::runWithDelegate(const std::shared_ptr<MVRemoteFileActionDelegate> &delegate)
{
    MVRemoteFileAction::runWithDelegate(delegate);
    // A refused command (control character, too long) is never sent cut.
    if (!_connection->writeCommand(_command))
        _finish(false, 0);
}

void MVCommandAction::connectionFinishedCommandWithOutput(MVRemoteFilesConnection *connection, const QStringList &lines)
{
    {
        std::lock_guard lock(_outputLock);
        _output = lines;
    }
    const int code = statusCodeForLines(lines, false);
    // A client that ended instead of coming back to its prompt failed too.
    bool result = !statusCodeIsError(code) && connection->state() == MVRemoteFilesConnection::AtPrompt;
    if (connection->type() == MVRemoteFilesConnection::SFTP && linesIndicateError(lines, _command))
        result = false;
    if (connection->type() == MVRemoteFilesConnection::WebDAV && davLinesIndicateError(lines.mid(1)))
        result = false;
    _finish(result, code);
}

QStringList MVCommandAction::output() const
{
    std::lock_guard lock(_outputLock);
    return _output;
}
