#include "remote/actions/MVFTPConnectAction.h"

#include "remote/MVRemoteFilesConnection.h"

void MVFTPConnectAction::connectionFinishedCommandWithOutput(MVRemoteFilesConnection *, const QStringList &lines)
{
    const int code = statusCodeForLines(lines, false);
    const bool atPrompt = _atPrompt();
    if (_state == 0 && atPrompt) {
        _state = 1;
        _connection->writeCommand(QStringLiteral("open %1 %2").arg(_host).arg(_port > 0 ? _port : 21));
        return;
    }
    if (_errorCode != 0 && atPrompt) {
        _finishConnect(false, _errorCode);
        return;
    }
    if (code > 399 || (code == 0 && _state < 2)) {
        // An error met at an input request waits for the prompt.
        _errorCode = code;
        if (atPrompt)
            _finishConnect(false, code);
        else if (_connection->state() != MVRemoteFilesConnection::NeedsInput)
            _finishConnect(false, code); // the client has gone
        else
            _connection->writeCommand(QString());
        return;
    }
    if (code == 331) {
        if (_answerSecretPrompt(lines))
            _state = 3;
        return;
    }
    if (code == 230) {
        _state = 4;
        _commandQueue = {_arguments.contains(QStringLiteral("-A")) ? QStringLiteral("passive off")
                                                                    : QStringLiteral("passive auto"),
                         QStringLiteral("epsv4 off"), QStringLiteral("preserve on")};
        _connection->writeCommand(_commandQueue.first());
        return;
    }
    if (code == 220) {
        _state = 2;
        _connection->writeCommand(_user);
        return;
    }
    if (_commandQueue.size() >= 2) {
        _commandQueue.removeFirst();
        _connection->writeCommand(_commandQueue.first());
        return;
    }
    if (_errorCode == 0) {
        _state = 5;
        _finishConnect(atPrompt, code);
    }
}
