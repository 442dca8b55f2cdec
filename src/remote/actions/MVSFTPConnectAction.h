#pragma once

#include "remote/actions/MVConnectAction.h"

// The sftp dialogue: host and user on the command line, the password at its
// prompt, new host keys to the delegate, a changed host key refused.
class MVSFTPConnectAction : public MVConnectAction
{
public:
    MVSFTPConnectAction(std::shared_ptr<MVRemoteFilesConnection> connection, QString host, int port, QString user,
                    QString password, QStringList arguments)
        : MVConnectAction(std::move(connection), std::move(host), port, std::move(user), std::move(password),
                          std::move(arguments))
    {
    }

    std::shared_ptr<MVRemoteFileAction> copy() const override
    {
        return std::shared_ptr<MVRemoteFileAction>(new MVSFTPConnectAction(*this));
    }
    void connectionFinishedCommandWithOutput(MVRemoteFilesConnection *connection, const QStringList &lines) override;

protected:
    QStringList _launchArguments() const override;
};
