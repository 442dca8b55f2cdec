#pragma once

#include "remote/actions/MVConnectAction.h"

// The cadaver dialogue: "open URL" at the first prompt, then user and
// password at their prompts. cadaver prints no status when it cannot
// connect or log in; it comes back to a prompt ending in "? " instead.
class MVWebDAVConnectAction : public MVConnectAction
{
public:
    MVWebDAVConnectAction(std::shared_ptr<MVRemoteFilesConnection> connection, QString host, int port, QString user,
                    QString password, QStringList arguments)
        : MVConnectAction(std::move(connection), std::move(host), port, std::move(user), std::move(password),
                          std::move(arguments))
    {
    }

    std::shared_ptr<MVRemoteFileAction> copy() const override
    {
        return std::shared_ptr<MVRemoteFileAction>(new MVWebDAVConnectAction(*this));
    }
    void connectionFinishedCommandWithOutput(MVRemoteFilesConnection *connection, const QStringList &lines) override;
};
