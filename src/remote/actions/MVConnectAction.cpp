#include "remote/actions/MVConnectAction.h"

#include "platform/MVStringTable.h"
#include "remote/MVRemoteFilesConnection.h"
#include "remote/MVTerminalText.h"
#include "remote/actions/MVFTPConnectAction.h"
#include "remote/actions/MVRemoteFileActionDelegate.h"
#include "remote/actions/MVSFTPConnectAction.h"
#include "remote/actions/MVWebDAVConnectAction.h"

namespace {

bool hasControlCharacter(const QString &text)
{
    for (const QChar c : text) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7F)
            return true;
    }
    return false;
}

bool unsafeWord(const QString &text)
{
    for (const QChar c : text) {
        if (c.isSpace())
            return true;
    }
    return text.startsWith(QLatin1Char('-'));
}

} // namespace

std::shared_ptr<MVConnectAction> MVConnectAction::actionWithConnection(
    const std::shared_ptr<MVRemoteFilesConnection> &connection, const QString &host, int port, const QString &user,
    const QString &password, const QStringList &arguments)
{
    const QString u = user.isNull() ? QString(QLatin1String("")) : user;
    const QString p = password.isNull() ? QString(QLatin1String("")) : password;
    switch (connection->type()) {
    case MVRemoteFilesConnection::FTP:
        return std::shared_ptr<MVConnectAction>(new MVFTPConnectAction(connection, host, port, u, p, arguments));
    case MVRemoteFilesConnection::SFTP:
        return std::shared_ptr<MVConnectAction>(new MVSFTPConnectAction(connection, host, port, u, p, arguments));
    default:
        return std::shared_ptr<MVConnectAction>(new MVWebDAVConnectAction(connection, host, port, u, p, arguments));
    }
}

MVConnectAction::MVConnectAction(std::shared_ptr<MVRemoteFilesConnection> connection, QString host, int port, QString user,
                                 QString password, QStringList arguments)
    : MVRemoteFileAction(std::move(connection))
    , _host(std::move(host))
    , _user(std::move(user))
    , _password(std::move(password))
    , _arguments(std::move(arguments))
    , _port(port)
{
}

MVConnectAction::MVConnectAction(const MVConnectAction &other)
    : MVRemoteFileAction(other)
    , _host(other._host)
    , _user(other._user)
    , _password(other._password)
    , _arguments(other._arguments)
    , _port(other._port)
    , _loginTimeoutMs(other._loginTimeoutMs)
    , _knownHostsFile(other._knownHostsFile)
{
}

QString MVConnectAction::refusal() const
{
    if (_host.isEmpty() || unsafeWord(_host))
        return MVLocalizedString(QStringLiteral("The host name \"%1\" is not valid.")).arg(_host);
    if (unsafeWord(_user))
        return MVLocalizedString(QStringLiteral("The user name \"%1\" is not valid.")).arg(_user);
    bool control = hasControlCharacter(_host) || hasControlCharacter(_user) || hasControlCharacter(_password);
    for (const QString &argument : _arguments)
        control = control || hasControlCharacter(argument);
    if (control)
        return MVLocalizedString(QStringLiteral("The connection settings hold a control character."));
    return {};
}

MVError MVConnectAction::errorWithStatusCode(int) const
{
    QString suggestion = MVLocalizedString(
                             QStringLiteral("Morvel could not connect to remote host \"%@\". The host may not exist or may be unreachable."))
                             .replace(QStringLiteral("%@"), _host);
    if (!_detail.isEmpty())
        suggestion = _detail;
    else if (_state == 2 || _state == 3)
        suggestion = MVLocalizedString(QStringLiteral("The remote host \"%1\" did not accept the user name or password.")).arg(_host);
    return MVError::morvel(1, MVLocalizedString(QStringLiteral("Could Not Connect")), suggestion);
}

void MVConnectAction::runWithDelegate(const std::shared_ptr<MVRemoteFileActionDelegate> &delegate)
{
    MVRemoteFileAction::runWithDelegate(delegate);
    _state = 0;
    _errorCode = 0;
    _finished = false;
    _detail.clear();
    _commandQueue.clear();
    const QString refused = refusal();
    if (!refused.isEmpty()) {
        _detail = refused;
        _finishConnect(false, 0);
        return;
    }
    _connection->setSecret(_password);
    _connection->setDeadline(_loginTimeoutMs);
    _connection->launchWithArguments(_launchArguments());
}

void MVConnectAction::connectionTimedOut(MVRemoteFilesConnection *)
{
    _detail = MVLocalizedString(QStringLiteral("Morvel could not connect to remote host \"%1\": it did not answer in time."))
                  .arg(_host);
    _finishConnect(false, 0);
}

bool MVConnectAction::connectionShouldTrustHostKey(MVRemoteFilesConnection *, const QString &fingerprint)
{
    const auto delegate = _currentDelegate();
    return delegate && delegate->actionShouldTrustHostKey(this, _host, fingerprint);
}

void MVConnectAction::_finishConnect(bool result, int statusCode)
{
    if (_finished)
        return;
    _finished = true;
    _connection->setDeadline(0);
    _finish(result, statusCode);
}

bool MVConnectAction::_answerSecretPrompt(const QStringList &lines)
{
    const QString request = lines.isEmpty() ? QString() : lines.last();
    if (request.contains(QLatin1String("password"), Qt::CaseInsensitive)
        && !request.contains(QLatin1String("passphrase"), Qt::CaseInsensitive)) {
        _connection->writeCommand(_password);
        return true;
    }
    _connection->writeCommand(QString());
    return false;
}

bool MVConnectAction::_atPrompt() const
{
    return _connection->state() == MVRemoteFilesConnection::AtPrompt;
}
