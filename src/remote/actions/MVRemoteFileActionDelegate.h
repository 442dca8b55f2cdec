#pragma once

#include <QString>

class MVRemoteFileAction;

// Hears how an action ended; called on the connection's thread.
class MVRemoteFileActionDelegate
{
public:
    virtual ~MVRemoteFileActionDelegate() = default;
    virtual void actionFinishedWithResult(MVRemoteFileAction *action, bool result, int statusCode) = 0;
    // The SFTP client meets a host key it does not know: trust it? The
    // answer may take as long as the user needs.
    virtual bool actionShouldTrustHostKey(MVRemoteFileAction *, const QString & /*host*/, const QString & /*fingerprint*/)
    {
        return false;
    }
};
