#include "remote/actions/MVWebDAVConnectAction.h"

#include "remote/MVRemoteFilesConnection.h"

void MVWebDAVConnectAction::connectionFinishedCommandWithOutput(MVRemoteFilesConnection *connection,
                                                                const QStringList &lines)
{
    const int code = statusCodeForLines(lines, false);
    const bool atPrompt = _atPrompt();
    if (_errorCode != 0 && atPrompt) {
        _finishConnect(false, _errorCode);
        return;
    }
    if (code > 399) {
        _errorCode = code;
        if (atPrompt)
            _finishConnect(false, code);
        return;
    }
    if (_state == 0 && atPrompt) {
        _state = 1;
        _connection->writeCommand(QStringLiteral("open %1").arg(_host));
        return;
    }
    if (connection->state() != MVRemoteFilesConnection::NeedsInput) {
        // Back at a prompt that ends in "? " after open: cadaver could not
        // connect or log in, and says so with no status number.
        if (atPrompt && _state >= 1 && connection->promptText().endsWith(QLatin1String("? "))) {
            _finishConnect(false, 0);
            return;
        }
        if (_errorCode == 0)
            _finishConnect(atPrompt, code);
        return;
    }
    const QString request = lines.isEmpty() ? QString() : lines.last();
    if (request.contains(QLatin1String("password"), Qt::CaseInsensitive)) {
        if (_answerSecretPrompt(lines))
            _state = 3;
        return;
    }
    if (_state == 1 || _state == 3 || _state == 2) {
        _state = 2;
        _connection->writeCommand(_user);
        return;
    }
    _connection->writeCommand(QString());
}
