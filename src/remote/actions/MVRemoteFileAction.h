#pragma once

#include "platform/MVError.h"
#include "remote/MVRemoteFilesConnectionDelegate.h"

#include <QStringList>

#include <functional>
#include <memory>

class MVRemoteFileActionDelegate;
class MVRemoteFilesConnection;

// The base of every remote operation: writes its command through the
// connection, waits for the finished output and tells its delegate whether
// it succeeded, with the status number it found.
class MVRemoteFileAction : public MVRemoteFilesConnectionDelegate, public std::enable_shared_from_this<MVRemoteFileAction>
{
public:
    using Selector = std::function<void(const std::shared_ptr<MVRemoteFileAction> &)>;

    static std::shared_ptr<MVRemoteFileAction> actionWithConnection(const std::shared_ptr<MVRemoteFilesConnection> &connection);
    ~MVRemoteFileAction() override;

    // A copy keeps the connection, both selectors and the finish delegate.
    virtual std::shared_ptr<MVRemoteFileAction> copy() const;

    // The status number of an FTP or WebDAV reply in these lines: the first
    // found wins, a later 226 replaces it, a continuation line ("230-") ends the walk.
    static int statusCodeForLines(const QStringList &lines, bool reversed);
    static bool statusCodeIsError(int statusCode) { return statusCode > 399; }
    // Whether sftp reported a failure. Lines that are the echo of the
    // command are not judged, so a name such as "not found.html" is no failure.
    static bool linesIndicateError(const QStringList &lines, const QString &command = QString());
    // Whether the WebDAV client reported a failure in words (it often prints
    // no status number for one).
    static bool davLinesIndicateError(const QStringList &lines);

    const Selector &startSelector() const { return _startSelector; }
    void setStartSelector(Selector selector) { _startSelector = std::move(selector); }
    const Selector &finishSelector() const { return _finishSelector; }
    void setFinishSelector(Selector selector) { _finishSelector = std::move(selector); }
    void setFinishSelector(Selector selector, const std::shared_ptr<void> &delegate);
    std::shared_ptr<void> finishDelegate() const { return _finishDelegate.lock(); }
    void clearFinishDelegate(const void *delegate);

    const std::shared_ptr<MVRemoteFilesConnection> &connection() const { return _connection; }

    // Becomes the connection's delegate; subclasses go on to write their command.
    virtual void runWithDelegate(const std::shared_ptr<MVRemoteFileActionDelegate> &delegate);
    virtual bool failureIsFatal() const { return false; }
    virtual MVError errorWithStatusCode(int statusCode) const;

    void connectionTimedOut(MVRemoteFilesConnection *connection) override;

protected:
    explicit MVRemoteFileAction(std::shared_ptr<MVRemoteFilesConnection> connection);
    MVRemoteFileAction(const MVRemoteFileAction &other);
    void _finish(bool result, int statusCode);
    std::shared_ptr<MVRemoteFileActionDelegate> _currentDelegate() const { return _delegate.lock(); }

    std::shared_ptr<MVRemoteFilesConnection> _connection;

private:
    Selector _startSelector;
    Selector _finishSelector;
    std::weak_ptr<void> _finishDelegate;
    std::weak_ptr<MVRemoteFileActionDelegate> _delegate;
};
