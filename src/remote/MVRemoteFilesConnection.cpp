#include "remote/MVRemoteFilesConnection.h"

#include "app/Defaults.h"
#include "platform/MVLog.h"
#include "remote/MVPseudoTerminal.h"
#include "remote/MVRemoteFilesConnectionDelegate.h"
#include "remote/MVRemoteLogDelegate.h"
#include "remote/MVTerminalText.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QStandardPaths>

#include <csignal>
#include <unistd.h>

namespace {

const QString kMask = QStringLiteral("********");

qint64 steadyNow()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// cadaver's line editor: no bracketed paste (its escapes would hide the
// prompt), and bytes above 0x7F pass as they are, so names in UTF-8 survive.
QString cadaverInputrc()
{
    static const QString path = [] {
        const QString file = QDir(Defaults::temporaryDirectory()).filePath(QStringLiteral("cadaver-inputrc"));
        QFile out(file);
        if (out.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            out.write("set enable-bracketed-paste off\n"
                      "set input-meta on\n"
                      "set output-meta on\n"
                      "set convert-meta off\n"
                      "set horizontal-scroll-mode on\n"
                      "set bell-style none\n");
        }
        return file;
    }();
    return path;
}

} // namespace

std::shared_ptr<MVRemoteFilesConnection> MVRemoteFilesConnection::initWithType(int type)
{
    return std::shared_ptr<MVRemoteFilesConnection>(new MVRemoteFilesConnection(type));
}

MVRemoteFilesConnection::MVRemoteFilesConnection(int type)
    : _type(type)
    , _prompt(promptForType(type).toUtf8())
    , _executablePath(executablePathForType(type))
{
}

MVRemoteFilesConnection::~MVRemoteFilesConnection()
{
    if (_thread.joinable()) {
        if (_thread.get_id() == std::this_thread::get_id())
            _thread.detach();
        else
            _thread.join();
    }
}

QString MVRemoteFilesConnection::executablePathForType(int type)
{
    switch (type) {
    case FTP:
        return QStringLiteral("/usr/bin/ftp");
    case SFTP:
        return QStringLiteral("/usr/bin/sftp");
    default: {
        const QString found = QStandardPaths::findExecutable(QStringLiteral("cadaver"));
        return found.isEmpty() ? QStringLiteral("cadaver") : found;
    }
    }
}

QString MVRemoteFilesConnection::promptForType(int type)
{
    switch (type) {
    case FTP:
        return QStringLiteral("ftp>");
    case SFTP:
        return QStringLiteral("sftp>");
    default:
        return QStringLiteral("dav:");
    }
}

void MVRemoteFilesConnection::setDelegate(const std::shared_ptr<MVRemoteFilesConnectionDelegate> &delegate)
{
    std::lock_guard lock(_lock);
    _delegate = delegate;
}

void MVRemoteFilesConnection::clearDelegate(const MVRemoteFilesConnectionDelegate *delegate)
{
    std::lock_guard lock(_lock);
    const auto current = _delegate.lock();
    if (!current || current.get() == delegate)
        _delegate.reset();
}

void MVRemoteFilesConnection::setLogDelegate(const std::shared_ptr<MVRemoteLogDelegate> &delegate)
{
    std::lock_guard lock(_lock);
    _logDelegate = delegate;
}

std::shared_ptr<MVRemoteFilesConnectionDelegate> MVRemoteFilesConnection::_currentDelegate()
{
    std::lock_guard lock(_lock);
    return _delegate.lock();
}

void MVRemoteFilesConnection::setSecret(const QString &secret)
{
    std::lock_guard lock(_lock);
    _secret = secret;
}

QString MVRemoteFilesConnection::promptText() const
{
    std::lock_guard lock(_lock);
    return _promptText;
}

void MVRemoteFilesConnection::setDeadline(int milliseconds)
{
    // The reader looks at the deadline at least once a second.
    _deadline = milliseconds > 0 ? steadyNow() + qint64(milliseconds) * 1000000 : 0;
}

void MVRemoteFilesConnection::launchWithArguments(const QStringList &arguments)
{
    if (_thread.joinable()) {
        if (_thread.get_id() == std::this_thread::get_id())
            _thread.detach();
        else
            _thread.join();
    }
    std::shared_ptr<MVRemoteFilesConnection> self = shared_from_this();
    std::lock_guard lock(_lock);
    _thread = std::thread([self, arguments] { self->_run(arguments); });
}

void MVRemoteFilesConnection::waitUntilExit()
{
    std::thread thread;
    {
        std::lock_guard lock(_lock);
        if (!_thread.joinable() || _thread.get_id() == std::this_thread::get_id())
            return;
        thread = std::move(_thread);
    }
    thread.join();
}

bool MVRemoteFilesConnection::writeCommand(const QString &command)
{
    if (_state == Killed)
        return false;
    if (!MVTerminalText::refusalForCommand(command).isEmpty())
        return false;
    return _commands.append(command);
}

void MVRemoteFilesConnection::close()
{
    if (_state < Closing) {
        _state = Closing;
        // An empty command: its newline wakes the reader, which then ends.
        writeCommand(QString());
    }
}

void MVRemoteFilesConnection::cancel()
{
    const int pid = _pid;
    if (pid > 0)
        ::kill(pid, SIGINT);
}

void MVRemoteFilesConnection::kill()
{
    _state = Killed;
    const int pid = _pid;
    if (pid > 0)
        ::kill(pid, SIGKILL);
}

bool MVRemoteFilesConnection::hasTimedOut(int statusCode) const
{
    switch (_type) {
    case FTP:
        return _hasTimedOut || statusCode == 421;
    case SFTP:
        return _hasTimedOut;
    default:
        return _hasTimedOut || statusCode == 408 || statusCode == 504;
    }
}

void MVRemoteFilesConnection::_run(QStringList arguments)
{
    QMap<QString, QString> variables{{QStringLiteral("TERM"), QStringLiteral("dumb")},
                                     {QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8")}};
    if (_type == FTP)
        variables.insert(QStringLiteral("NETRC"), QStringLiteral("/dev/null"));
    if (_type == WebDAV)
        variables.insert(QStringLiteral("INPUTRC"), cadaverInputrc());
    int master = -1;
    pid_t pid = 0;
    QString error;
    _commands.attach(
        [&] {
            if (!MVPseudoTerminal::spawn(_executablePath, arguments, MVPseudoTerminal::environmentWith(variables),
                                         QString(), &master, &pid, &error))
                return false;
            _masterFD = master;
            _pid = pid;
            return true;
        },
        false);
    if (master < 0) {
        // No terminal or no process: told to the action as a client that
        // ended at once, with the reason as its output.
        MVLog::line(error);
        _state = Busy;
        _output.lines().append(error);
        _finishedCommand();
        return;
    }
    _mainLoop();
    _masterFD = -1;
    ::close(master);
    // Closing the master hangs the client up; one that stays is killed.
    MVPseudoTerminal::reap(pid, 1000);
    _pid = 0;
    _log(QString(), true);
    // A client that ends during a login is told to the action even when it
    // printed nothing, so that the login does not wait for ever.
    if (!_hasTimedOut && (_output.hasLines() || _output.hasTail() || _deadline != 0)) {
        _output.moveTailToLines();
        _finishedCommand();
    }
}

bool MVRemoteFilesConnection::_deadlinePassed() const
{
    const qint64 deadline = _deadline;
    return deadline != 0 && steadyNow() >= deadline;
}

int MVRemoteFilesConnection::_pollTimeout() const
{
    int timeout = -1;
    if (_type == SFTP)
        timeout = _readTimeoutMs;
    const qint64 deadline = _deadline;
    if (deadline != 0) {
        const qint64 remaining = std::max<qint64>(0, (deadline - steadyNow()) / 1000000 + 1);
        // Look again at least every second: the deadline may be moved.
        const int wait = int(std::min<qint64>(remaining, 1000));
        timeout = timeout < 0 ? wait : std::min(timeout, wait);
    }
    return timeout;
}

void MVRemoteFilesConnection::_mainLoop()
{
    _hasTimedOut = false;
    _state = Launched;
    char buffer[MVPseudoTerminal::ChunkSize];
    qint64 lastWake = steadyNow();
    while (!_hasTimedOut) {
        const int ready = MVPseudoTerminal::waitForInput(_masterFD, _pollTimeout());
        if (ready < 0)
            break;
        if (ready == 0) {
            const bool readTimeout = _type == SFTP && _state == Busy
                                     && steadyNow() - lastWake >= qint64(_readTimeoutMs) * 1000000;
            if (_deadlinePassed() || readTimeout) {
                _hasTimedOut = true;
                const int pid = _pid;
                if (pid > 0)
                    ::kill(pid, SIGKILL);
                if (const auto delegate = _currentDelegate())
                    delegate->connectionTimedOut(this);
            }
        } else {
            lastWake = steadyNow();
            if (_state == Closing)
                break;
            _state = Busy;
            const qsizetype count = MVPseudoTerminal::readChunk(_masterFD, buffer);
            if (count < 0)
                break;
            if (count > 0)
                _processBuffer(QByteArrayView(buffer, count));
        }
        if (_state == Closing || _state == Killed)
            break;
    }
}

void MVRemoteFilesConnection::_log(const QString &text, bool flush)
{
    std::shared_ptr<MVRemoteLogDelegate> delegate;
    QString out;
    {
        std::lock_guard lock(_lock);
        delegate = _logDelegate.lock();
        if (!delegate) {
            _logPending.clear();
            return;
        }
        out = _logPending + text;
        _logPending.clear();
        if (!_secret.isEmpty()) {
            out.replace(_secret, kMask);
            // Hold back an end that may be the start of the secret, split between chunks.
            if (!flush) {
                for (qsizetype keep = std::min(out.size(), _secret.size() - 1); keep > 0; --keep) {
                    if (_secret.startsWith(QStringView(out).right(keep))) {
                        _logPending = out.right(keep);
                        out.chop(keep);
                        break;
                    }
                }
            }
        }
    }
    if (!out.isEmpty())
        delegate->appendStringToLog(out);
}

void MVRemoteFilesConnection::_processBuffer(QByteArrayView chunk)
{
    _output.append(chunk);
    bool logging;
    {
        std::lock_guard lock(_lock);
        logging = !_logDelegate.expired();
    }
    if (logging)
        _log(_logDecoder.decode(chunk), false);
    if (_output.tailBeginsWith(_prompt)) {
        {
            std::lock_guard lock(_lock);
            _promptText = _output.tail();
        }
        _output.clearTail();
        if (_state == Busy)
            _state = AtPrompt;
        _finishedCommand();
        return;
    }
    if (_type == SFTP && (_output.tailEndsWith("(yes/no/[fingerprint])? ") || _output.tailEndsWith("(yes/no)? "))) {
        _answerHostKeyQuestion();
        return;
    }
    if (_output.tailEndsWithColon()) {
        const auto delegate = _currentDelegate();
        if (delegate && delegate->connectionWillNeedInput(this)) {
            _output.moveTailToLines();
            if (_state == Busy)
                _state = NeedsInput;
            _finishedCommand();
        }
    }
}

bool MVRemoteFilesConnection::_answerHostKeyQuestion()
{
    static const QRegularExpression fingerprintPattern(QStringLiteral("fingerprint is (\\S+?)\\.?$"));
    QString fingerprint;
    const QStringList &lines = _output.lines();
    for (qsizetype i = lines.size() - 1; i >= 0 && fingerprint.isEmpty(); --i) {
        const auto match = fingerprintPattern.match(lines.at(i));
        if (match.hasMatch())
            fingerprint = match.captured(1);
    }
    // The question waits for the user, not for the login deadline.
    const qint64 deadline = _deadline;
    const qint64 asked = steadyNow();
    const auto delegate = _currentDelegate();
    const bool trust = delegate && !fingerprint.isEmpty() && delegate->connectionShouldTrustHostKey(this, fingerprint);
    if (deadline != 0 && _deadline == deadline)
        _deadline = deadline + (steadyNow() - asked);
    _output.clearTail();
    const int master = _masterFD;
    return master >= 0 && MVPseudoTerminal::writeAll(master, trust ? "yes\n" : "no\n");
}

void MVRemoteFilesConnection::_finishedCommand()
{
    // Only a command written before this output ends with it; one written
    // while the client was idle (its first prompt) still waits for its answer.
    const bool headWasWritten = _commands.headWritten();
    if (const auto delegate = _currentDelegate())
        delegate->connectionFinishedCommandWithOutput(this, _output.lines());
    _output.clearLines();
    _commands.finishHead(headWasWritten);
}
