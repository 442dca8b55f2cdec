#pragma once

#include "remote/actions/MVConnectAction.h"

// The tnftp dialogue: "open host port" at the first prompt, the user at
// status 220, the password at 331, then the transfer settings after 230.
class MVFTPConnectAction : public MVConnectAction
{
public:
    MVFTPConnectAction(std::shared_ptr<MVRemoteFilesConnection> connection, QString host, int port, QString user,
                    QString password, QStringList arguments)
        : MVConnectAction(std::move(connection), std::move(host), port, std::move(user), std::move(password),
                          std::move(arguments))
    {
    }

    std::shared_ptr<MVRemoteFileAction> copy() const override
    {
        return std::shared_ptr<MVRemoteFileAction>(new MVFTPConnectAction(*this));
    }
    void connectionFinishedCommandWithOutput(MVRemoteFilesConnection *connection, const QStringList &lines) override;
};
