#include "remote/actions/MVRemoteFileAction.h"

#include "platform/MVStringTable.h"
#include "remote/MVRemoteFilesConnection.h"
#include "remote/actions/MVRemoteFileActionDelegate.h"
#include "search/MVRegex.h"

#include <QRegularExpression>

std::shared_ptr<MVRemoteFileAction> MVRemoteFileAction::actionWithConnection(
    const std::shared_ptr<MVRemoteFilesConnection> &connection)
{
    return std::shared_ptr<MVRemoteFileAction>(new MVRemoteFileAction(connection));
}

MVRemoteFileAction::MVRemoteFileAction(std::shared_ptr<MVRemoteFilesConnection> connection)
    : _connection(std::move(connection))
{
}

MVRemoteFileAction::MVRemoteFileAction(const MVRemoteFileAction &other)
    : MVRemoteFilesConnectionDelegate()
    , std::enable_shared_from_this<MVRemoteFileAction>()
    , _connection(other._connection)
    , _startSelector(other._startSelector)
    , _finishSelector(other._finishSelector)
    , _finishDelegate(other._finishDelegate)
{
}

MVRemoteFileAction::~MVRemoteFileAction()
{
    if (_connection)
        _connection->clearDelegate(this);
}

std::shared_ptr<MVRemoteFileAction> MVRemoteFileAction::copy() const
{
    return std::shared_ptr<MVRemoteFileAction>(new MVRemoteFileAction(*this));
}

int MVRemoteFileAction::statusCodeForLines(const QStringList &lines, bool reversed)
{
    static const std::shared_ptr<MVRegex> pattern = MVRegex::initWithPattern(QStringLiteral("^([1-5][0-5][0-9])[^0-9a-zA-Z]"));
    int code = 0;
    for (qsizetype n = 0; n < lines.size(); ++n) {
        const QString &line = lines.at(reversed ? lines.size() - 1 - n : n);
        const auto match = pattern->copyMatchForString(line);
        if (!match)
            continue;
        const int value = line.left(3).toInt();
        if (line.size() > 3 && line.at(3) == QLatin1Char('-'))
            return value;
        if (value == 226)
            code = 226;
        else if (code == 0)
            code = value;
    }
    return code;
}

bool MVRemoteFileAction::linesIndicateError(const QStringList &lines, const QString &command)
{
    // What OpenSSH's sftp prints when a command fails; the words "Couldn't"
    // and "not found" anywhere, plus the prefixes and endings of its other
    // failure messages. All of them go to its standard error, so none is
    // ever part of a listing.
    static const QRegularExpression failure(QStringLiteral(
        "^Couldn't|not found\\.?$"
        "|^(Can't |remote [a-z]+ |stat remote|stat local|dest open|open local|download \"|upload \"|read remote|write remote"
        "|Invalid command|Connection closed|Cannot download|Cannot upload|Not a directory|Only one of)"
        "|: (Failure|No such file or directory|Permission denied|Bad message|Operation unsupported|No connection"
        "|Connection lost|File exists|Is a directory)\\.?$"));
    const QString echo = command.trimmed();
    for (qsizetype i = 0; i < lines.size(); ++i) {
        // Messages sftp writes to its standard error may end in a stray CR.
        const QString line = lines.at(i).trimmed();
        // The terminal's echo of the command, once or twice at the start.
        if (!echo.isEmpty() && i < 2 && line.endsWith(echo))
            continue;
        if (failure.match(line).hasMatch())
            return true;
    }
    return false;
}

// cadaver reports a failed command in words, often with no status number:
// "Listing collection `/dav/': could not connect to server.",
// "Could not create collection: ...", "... failed:".
bool MVRemoteFileAction::davLinesIndicateError(const QStringList &lines)
{
    static const QRegularExpression failure(
        QStringLiteral("^Could not |: could not |failed[.:]?$|^Connection to .* closed|^Not connected"),
        QRegularExpression::CaseInsensitiveOption);
    for (const QString &line : lines) {
        if (failure.match(line.trimmed()).hasMatch())
            return true;
    }
    return false;
}

void MVRemoteFileAction::setFinishSelector(Selector selector, const std::shared_ptr<void> &delegate)
{
    _finishSelector = std::move(selector);
    _finishDelegate = delegate;
}

void MVRemoteFileAction::clearFinishDelegate(const void *delegate)
{
    if (_finishDelegate.lock().get() == delegate)
        _finishDelegate.reset();
}

void MVRemoteFileAction::runWithDelegate(const std::shared_ptr<MVRemoteFileActionDelegate> &delegate)
{
    _delegate = delegate;
    _connection->setDelegate(shared_from_this());
}

MVError MVRemoteFileAction::errorWithStatusCode(int statusCode) const
{
    const QString suggestion = statusCode == 0
        ? MVLocalizedString(QStringLiteral("Morvel experienced an unknown error. Please try your operation again"))
        : MVLocalizedString(QStringLiteral("Morvel received error code %d. Please try your operation again."))
              .replace(QStringLiteral("%d"), QString::number(statusCode));
    return MVError::morvel(1, MVLocalizedString(QStringLiteral("Remote Connection Error")), suggestion);
}

void MVRemoteFileAction::connectionTimedOut(MVRemoteFilesConnection *)
{
    _finish(false, 0);
}

void MVRemoteFileAction::_finish(bool result, int statusCode)
{
    if (const auto delegate = _currentDelegate())
        delegate->actionFinishedWithResult(this, result, statusCode);
}
