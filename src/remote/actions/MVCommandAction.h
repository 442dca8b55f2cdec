#pragma once

#include "remote/actions/MVRemoteFileAction.h"

// One command typed to the client. It succeeded when the client came back
// to its prompt with no error status (and, on SFTP, no failure line).
class MVCommandAction : public MVRemoteFileAction
{
public:
    static std::shared_ptr<MVCommandAction> actionWithConnection(const std::shared_ptr<MVRemoteFilesConnection> &connection,
                                                                 const QString &command, bool isFatal);

    const QString &command() const { return _command; }
    std::shared_ptr<MVRemoteFileAction> copy() const override;
    bool failureIsFatal() const override { return _isFatal; }
    void runWithDelegate(const std::shared_ptr<MVRemoteFileActionDelegate> &delegate) override;
    void connectionFinishedCommandWithOutput(MVRemoteFilesConnection *connection, const QStringList &lines) override;
    // The lines of the last finished output (for a caller that shows them).
    QStringList output() const;

private:
    MVCommandAction(std::shared_ptr<MVRemoteFilesConnection> connection, QString command, bool isFatal);

    QString _command;
    bool _isFatal;
    mutable std::mutex _outputLock;
    QStringList _output;
};
