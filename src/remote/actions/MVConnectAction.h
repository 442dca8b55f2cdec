#pragma once

#include "remote/actions/MVRemoteFileAction.h"

// Logs in: starts the client and answers its dialogue until the prompt after
// login. `state()` is the dialogue step: 0 launched, 1 open sent, 2 user
// sent, 3 password sent, 4 sending settings, 5 connected; 2 and 3 tell a
// refused login from a host that never answered.
//
// The password is typed only at a prompt that asks for a password, never
// at a key passphrase prompt, and is masked in the log. The whole login has
// a deadline (30 s): a client that has not reached its prompt by then is
// killed and the login fails.
class MVConnectAction : public MVRemoteFileAction
{
public:
    static std::shared_ptr<MVConnectAction> actionWithConnection(const std::shared_ptr<MVRemoteFilesConnection> &connection,
                                                                 const QString &host, int port, const QString &user,
                                                                 const QString &password, const QStringList &arguments);

    const QString &host() const { return _host; }
    int state() const { return _state; }
    void setUser(const QString &user) { _user = user; }
    void setPassword(const QString &password) { _password = password; }
    // Time from launch to the prompt after login.
    void setLoginTimeout(int milliseconds) { _loginTimeoutMs = milliseconds; }
    // Known-hosts file of the SFTP client, in place of the user's own.
    void setKnownHostsFile(const QString &path) { _knownHostsFile = path; }

    // Why these settings cannot be used, or an empty string: a host or user
    // with blanks or a leading "-" (the client would read it as an option),
    // or any field with a control character.
    QString refusal() const;

    bool failureIsFatal() const override { return true; }
    MVError errorWithStatusCode(int statusCode) const override;
    bool connectionWillNeedInput(MVRemoteFilesConnection *) override { return true; }
    void connectionTimedOut(MVRemoteFilesConnection *connection) override;
    bool connectionShouldTrustHostKey(MVRemoteFilesConnection *connection, const QString &fingerprint) override;
    void runWithDelegate(const std::shared_ptr<MVRemoteFileActionDelegate> &delegate) override;

protected:
    MVConnectAction(std::shared_ptr<MVRemoteFilesConnection> connection, QString host, int port, QString user,
                    QString password, QStringList arguments);
    MVConnectAction(const MVConnectAction &other);

    // The arguments of this launch.
    virtual QStringList _launchArguments() const { return _arguments; }
    void _finishConnect(bool result, int statusCode);
    // Answers the input request that ends the lines: the password at a
    // password prompt (true), an empty line at any other (a key passphrase).
    bool _answerSecretPrompt(const QStringList &lines);
    bool _atPrompt() const;

    int _state = 0;
    QString _host;
    QString _user;
    QString _password;
    QStringList _arguments;
    QStringList _commandQueue;
    int _port = 0;
    int _errorCode = 0;
    int _loginTimeoutMs = 30000;
    QString _knownHostsFile;
    // What the user should read besides "Could Not Connect".
    QString _detail;
    bool _finished = false;
};
