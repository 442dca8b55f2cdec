#pragma once

#include "remote/MVRemoteFile.h"
#include "remote/actions/MVRemoteFileAction.h"

#include <QList>

#include <mutex>

// Lists one remote directory: writes the client's listing command, judges
// the output and parses its lines, bytes and all, into entries. A listing
// that failed is reported as a failure and never as an empty directory.
// Partial uploads ("*.mvpart") are not listed.
class MVFileListingAction : public MVRemoteFileAction
{
public:
    static std::shared_ptr<MVFileListingAction> actionWithConnection(const std::shared_ptr<MVRemoteFilesConnection> &connection,
                                                                     const QString &path);

    // The listing command of a client for a path, or an empty string when
    // the path cannot be typed to that client (control characters).
    static QString commandForPath(int type, const QString &path);
    // Whether a listed name is left out of every listing.
    static bool isHiddenName(const QString &name);

    const QString &path() const { return _remotePath; }
    // The entries of the last successful listing, in the listing's order.
    QList<MVRemoteFile> files() const;

    std::shared_ptr<MVRemoteFileAction> copy() const override;
    void runWithDelegate(const std::shared_ptr<MVRemoteFileActionDelegate> &delegate) override;
    void connectionFinishedCommandWithOutput(MVRemoteFilesConnection *connection, const QStringList &lines) override;
    MVError errorWithStatusCode(int statusCode) const override;

private:
    MVFileListingAction(std::shared_ptr<MVRemoteFilesConnection> connection, QString path);
    bool _listingSucceeded(MVRemoteFilesConnection *connection, const QStringList &lines, int *statusCode) const;

    QString _remotePath;
    QString _command;
    mutable std::mutex _filesLock;
    QList<MVRemoteFile> _files;
};
