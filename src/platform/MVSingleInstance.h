#pragma once

#include <QObject>
#include <QStringList>

#include <functional>

class QLocalServer;

// One running editor per user and display session. The first start listens
// on a local socket in the user's runtime directory; a later start hands its
// paths and links to it and exits.
class MVSingleInstance : public QObject
{
public:
    using Receiver = std::function<void(const QStringList &arguments)>;

    explicit MVSingleInstance(QString name = defaultName(), QObject *parent = nullptr);
    ~MVSingleInstance() override;

    static QString defaultName();

    // Sends the arguments to a running instance; true if one took them.
    bool sendToRunningInstance(const QStringList &arguments, int timeoutMs = 3000);
    // Starts listening (removing a stale socket left by a crash); arguments
    // from later starts go to the receiver on the main thread.
    bool listen(Receiver receiver);

private:
    QString _name;
    QLocalServer *_server = nullptr;
    Receiver _receiver;
};
