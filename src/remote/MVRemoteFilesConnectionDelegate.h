#pragma once

#include <QString>
#include <QStringList>

class MVRemoteFilesConnection;

// The action now running on a connection; called on the connection's thread.
class MVRemoteFilesConnectionDelegate
{
public:
    virtual ~MVRemoteFilesConnectionDelegate() = default;
    // Is a tail that ends in a colon an input request?
    virtual bool connectionWillNeedInput(MVRemoteFilesConnection *) { return false; }
    virtual void connectionFinishedCommandWithOutput(MVRemoteFilesConnection *, const QStringList &) {}
    virtual void connectionTimedOut(MVRemoteFilesConnection *) {}
    // The client met a host key it does not know and asks whether to trust
    // it; true answers yes. The fingerprint is the one the client printed.
    virtual bool connectionShouldTrustHostKey(MVRemoteFilesConnection *, const QString &) { return false; }
};
