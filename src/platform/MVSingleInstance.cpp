#include "platform/MVSingleInstance.h"

#include <QDataStream>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStandardPaths>

#include <unistd.h>

namespace {
// Limits what a connection may send, so a stray client cannot exhaust memory.
constexpr qint64 MaxMessage = 4 * 1024 * 1024;
}

MVSingleInstance::MVSingleInstance(QString name, QObject *parent)
    : QObject(parent)
    , _name(std::move(name))
{
}

MVSingleInstance::~MVSingleInstance() = default;

QString MVSingleInstance::defaultName()
{
    // The runtime directory is the user's own (mode 0700): nobody else can
    // reach or replace the socket there.
    const QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (!runtime.isEmpty())
        return runtime + QStringLiteral("/morvel.sock");
    return QStringLiteral("morvel-%1").arg(::getuid());
}

bool MVSingleInstance::sendToRunningInstance(const QStringList &arguments, int timeoutMs)
{
    QLocalSocket socket;
    socket.connectToServer(_name);
    if (!socket.waitForConnected(timeoutMs))
        return false;
    QByteArray message;
    QDataStream out(&message, QIODevice::WriteOnly);
    out << arguments;
    QByteArray framed;
    QDataStream frame(&framed, QIODevice::WriteOnly);
    frame << static_cast<quint32>(message.size());
    framed += message;
    socket.write(framed);
    if (!socket.waitForBytesWritten(timeoutMs))
        return false;
    // The running instance answers with one byte once it has the message.
    return socket.waitForReadyRead(timeoutMs) && socket.read(1) == "1";
}

bool MVSingleInstance::listen(Receiver receiver)
{
    _receiver = std::move(receiver);
    _server = new QLocalServer(this);
    _server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!_server->listen(_name)) {
        // Someone listens already: that instance is alive.
        QLocalSocket probe;
        probe.connectToServer(_name);
        if (probe.waitForConnected(500))
            return false;
        // A socket file left by an instance that crashed: nobody answers on it.
        QLocalServer::removeServer(_name);
        if (!_server->listen(_name))
            return false;
    }
    connect(_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket *socket = _server->nextPendingConnection()) {
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
                if (socket->bytesAvailable() < 4)
                    return;
                quint32 size = 0;
                {
                    QDataStream peek(socket->peek(4));
                    peek >> size;
                }
                if (size > MaxMessage) {
                    socket->abort();
                    return;
                }
                if (socket->bytesAvailable() < 4 + static_cast<qint64>(size))
                    return;
                socket->read(4);
                QDataStream in(socket->read(size));
                QStringList arguments;
                in >> arguments;
                socket->write("1");
                socket->flush();
                if (in.status() == QDataStream::Ok && _receiver)
                    _receiver(arguments);
            });
        }
    });
    return true;
}
