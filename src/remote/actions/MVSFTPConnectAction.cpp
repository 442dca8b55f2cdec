#include "remote/actions/MVSFTPConnectAction.h"

#include "platform/MVStringTable.h"
#include "remote/MVRemoteFilesConnection.h"

#include <QRegularExpression>

QStringList MVSFTPConnectAction::_launchArguments() const
{
    QStringList arguments = _arguments;
    // A changed host key is never accepted, whatever the user's ssh settings say.
    arguments.append(QStringLiteral("-oStrictHostKeyChecking=ask"));
    if (!_knownHostsFile.isEmpty())
        arguments.append(QStringLiteral("-oUserKnownHostsFile=") + _knownHostsFile);
    arguments.append(QStringLiteral("-oPort=%1").arg(_port > 0 ? _port : 22));
    arguments.append(QStringLiteral("--"));
    // sftp rejects "@host": an account without a user name gives the bare host.
    arguments.append(_user.isEmpty() ? _host : _user + QLatin1Char('@') + _host);
    return arguments;
}

void MVSFTPConnectAction::connectionFinishedCommandWithOutput(MVRemoteFilesConnection *connection,
                                                              const QStringList &lines)
{
    if (connection->state() == MVRemoteFilesConnection::NeedsInput) {
        const QString request = lines.isEmpty() ? QString() : lines.last();
        const bool asksPassword = request.contains(QLatin1String("password"), Qt::CaseInsensitive)
                                  && !request.contains(QLatin1String("passphrase"), Qt::CaseInsensitive);
        if (asksPassword && _state == 3) {
            // Asked again: the password was refused.
            _connection->kill();
            _finishConnect(false, 0);
            return;
        }
        if (_answerSecretPrompt(lines))
            _state = 3;
        return;
    }
    if (_atPrompt()) {
        _state = 5;
        _finishConnect(true, 0);
        return;
    }
    // The client ended. Say why when it was the host key.
    static const QRegularExpression offending(QStringLiteral("^Offending .* key in (.+:[0-9]+)"));
    QString knownHostsLine;
    bool changed = false;
    bool refusedKey = false;
    for (const QString &line : lines) {
        changed = changed || line.contains(QLatin1String("REMOTE HOST IDENTIFICATION HAS CHANGED"));
        refusedKey = refusedKey || line.contains(QLatin1String("Host key verification failed"));
        const auto match = offending.match(line);
        if (match.hasMatch())
            knownHostsLine = match.captured(1);
    }
    if (changed) {
        _detail = MVLocalizedString(QStringLiteral("The host key of \"%1\" has changed since it was recorded in %2. "
                                                   "Morvel did not connect: check the key with the site's administrator "
                                                   "and remove that line if the change is genuine."))
                      .arg(_host, knownHostsLine.isEmpty() ? QStringLiteral("the known hosts") : knownHostsLine);
    } else if (refusedKey) {
        _detail = MVLocalizedString(QStringLiteral("The host key of \"%1\" was not accepted, so Morvel did not connect."))
                      .arg(_host);
    }
    _finishConnect(false, 0);
}
