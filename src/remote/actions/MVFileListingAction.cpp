#include "remote/actions/MVFileListingAction.h"

#include "platform/MVStringTable.h"
#include "remote/MVListingParser.h"
#include "remote/MVRemoteFilesConnection.h"
#include "remote/MVTerminalText.h"

#include <QFileInfo>

std::shared_ptr<MVFileListingAction> MVFileListingAction::actionWithConnection(const std::shared_ptr<MVRemoteFilesConnection> &connection,
                                                                               const QString &path)
{
    return std::shared_ptr<MVFileListingAction>(new MVFileListingAction(connection, path));
}

MVFileListingAction::MVFileListingAction(std::shared_ptr<MVRemoteFilesConnection> connection, QString path)
    : MVRemoteFileAction(std::move(connection))
    , _remotePath(std::move(path))
{
}

QString MVFileListingAction::commandForPath(int type, const QString &path)
{
    if (!MVTerminalText::refusalForCommand(path).isEmpty())
        return QString();
    QString quoted;
    switch (type) {
    case MVRemoteFilesConnection::SFTP:
        // sftp reads \" and \\ inside double quotes as the characters.
        for (const QChar c : path.isEmpty() ? QStringLiteral(".") : path) {
            if (c == QLatin1Char('"') || c == QLatin1Char('\\'))
                quoted += QLatin1Char('\\');
            quoted += c;
        }
        return QStringLiteral("ls -la \"%1\"").arg(quoted);
    case MVRemoteFilesConnection::FTP:
        // ftp takes everything up to the next double quote as it is, so a
        // quote in the path closes the quoting, stands escaped, and reopens it.
        // The server reads "-a" as showing dot files (.htaccess); a path
        // ending in "/" is opened as a directory, so a missing one is
        // reported instead of being read as a pattern that matched nothing.
        quoted = path;
        if (!quoted.isEmpty() && !quoted.endsWith(QLatin1Char('/')))
            quoted += QLatin1Char('/');
        quoted.replace(QLatin1Char('"'), QStringLiteral("\"\\\"\""));
        return QStringLiteral("ls \"-a %1\"").arg(quoted);
    default:
        // The WebDAV client unescapes \" and \\ inside double quotes too.
        for (const QChar c : path) {
            if (c == QLatin1Char('"') || c == QLatin1Char('\\'))
                quoted += QLatin1Char('\\');
            quoted += c;
        }
        return QStringLiteral("ls \"%1\"").arg(quoted);
    }
}

bool MVFileListingAction::isHiddenName(const QString &name)
{
    return name.endsWith(QLatin1String(".mvpart"));
}

QList<MVRemoteFile> MVFileListingAction::files() const
{
    std::lock_guard lock(_filesLock);
    return _files;
}

std::shared_ptr<MVRemoteFileAction> MVFileListingAction::copy() const
{
    auto copied = actionWithConnection(_connection, _remotePath);
    copied->setStartSelector(startSelector());
    copied->setFinishSelector(finishSelector(), finishDelegate());
    return copied;
}

void MVFileListingAction::runWithDelegate(const std::shared_ptr<MVRemoteFileActionDelegate> &delegate)
{
    MVRemoteFileAction::runWithDelegate(delegate);
    _command = commandForPath(_connection->type(), _remotePath);
    // A path that cannot be typed is never sent cut or changed.
    if (_command.isEmpty() || !_connection->writeCommand(_command))
        _finish(false, 0);
}

bool MVFileListingAction::_listingSucceeded(MVRemoteFilesConnection *connection, const QStringList &lines, int *statusCode) const
{
    // A client that ended instead of coming back to its prompt printed no
    // whole listing.
    if (connection->state() != MVRemoteFilesConnection::AtPrompt)
        return false;
    *statusCode = 0;
    switch (connection->type()) {
    case MVRemoteFilesConnection::SFTP:
        return !linesIndicateError(lines, _command);
    case MVRemoteFilesConnection::FTP: {
        *statusCode = statusCodeForLines(lines, true);
        if (*statusCode != 226)
            return false;
        // vsftpd closes the listing of a missing directory with a 226 too.
        for (const QString &line : lines) {
            if (line.startsWith(QLatin1String("226")) && line.contains(QLatin1String("failed to open directory")))
                return false;
        }
        return true;
    }
    default:
        *statusCode = statusCodeForLines(lines, true);
        return !statusCodeIsError(*statusCode) && !davLinesIndicateError(lines.mid(1));
    }
}

void MVFileListingAction::connectionFinishedCommandWithOutput(MVRemoteFilesConnection *connection, const QStringList &lines)
{
    int statusCode = 0;
    if (!_listingSucceeded(connection, lines, &statusCode)) {
        _finish(false, statusCode);
        return;
    }
    QList<MVRemoteFile> files = MVListingParser::parse(lines, connection->rawLines(), connection->type(), _remotePath);
    files.removeIf([](const MVRemoteFile &file) { return isHiddenName(file.name()); });
    {
        std::lock_guard lock(_filesLock);
        _files = std::move(files);
    }
    _finish(true, statusCode);
}

MVError MVFileListingAction::errorWithStatusCode(int statusCode) const
{
    const MVError base = MVRemoteFileAction::errorWithStatusCode(statusCode);
    const QString suggestion = MVLocalizedString(
        QStringLiteral("Morvel could not retrieve the file listing for directory \"%@\". The directory may not exist, you may not "
                       "have permission to access it, or Morvel failed to parse the listing."))
                                   .replace(QStringLiteral("%@"), QFileInfo(_remotePath).fileName());
    return MVError::morvel(base.code(), MVLocalizedString(QStringLiteral("Could Not Retrieve File Listing")), suggestion);
}
