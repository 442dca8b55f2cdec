#include "servers/SshServer.h"

#include <QDir>
#include <QFile>
#include <QProcess>

SshServer::SshServer()
    : TestServer(QStringLiteral("sshd"), QStringLiteral("/usr/sbin/sshd"))
{
}

SshServer::~SshServer() = default;

QString SshServer::hostKeyLine() const
{
    return QStringLiteral("[127.0.0.1]:%1 %2").arg(port()).arg(_publicKey);
}

bool SshServer::seedKnownHosts() const
{
    QFile file(_knownHostsFile);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(hostKeyLine().toLatin1() + '\n') > 0;
}

QStringList SshServer::clientOptions() const
{
    return {QStringLiteral("-oPort=%1").arg(port()), QStringLiteral("-oUserKnownHostsFile=") + _knownHostsFile,
            QStringLiteral("-oGlobalKnownHostsFile=/dev/null")};
}

QString SshServer::makeHostKey()
{
    const QString key = statePath(QStringLiteral("ssh_host_ed25519_key"));
    QProcess keygen;
    keygen.setProcessChannelMode(QProcess::MergedChannels);
    keygen.start(QStringLiteral("/usr/bin/ssh-keygen"),
                 {QStringLiteral("-q"), QStringLiteral("-t"), QStringLiteral("ed25519"), QStringLiteral("-N"), QString(),
                  QStringLiteral("-C"), QStringLiteral("morvel-test-server"), QStringLiteral("-f"), key});
    if (!keygen.waitForFinished(10000) || keygen.exitStatus() != QProcess::NormalExit || keygen.exitCode() != 0)
        return QStringLiteral("ssh-keygen failed: %1%2").arg(keygen.errorString(), QString::fromLocal8Bit(keygen.readAll()));
    QFile publicKey(key + QStringLiteral(".pub"));
    if (!publicKey.open(QIODevice::ReadOnly))
        return QStringLiteral("cannot read %1").arg(publicKey.fileName());
    // "ssh-ed25519 AAAA… comment": the known-hosts line has no comment.
    const QStringList parts = QString::fromLatin1(publicKey.readAll()).simplified().split(QLatin1Char(' '));
    if (parts.size() < 2)
        return QStringLiteral("unexpected public key in %1").arg(publicKey.fileName());
    _publicKey = parts[0] + QLatin1Char(' ') + parts[1];

    keygen.start(QStringLiteral("/usr/bin/ssh-keygen"), {QStringLiteral("-l"), QStringLiteral("-f"), publicKey.fileName()});
    keygen.waitForFinished(10000);
    // "256 SHA256:… comment (ED25519)"
    _fingerprint = QString::fromLatin1(keygen.readAll()).simplified().section(QLatin1Char(' '), 1, 1);
    if (!_fingerprint.startsWith(QLatin1String("SHA256:")))
        return QStringLiteral("ssh-keygen -l gave no fingerprint");
    return {};
}

QString SshServer::configure(quint16 port)
{
    if (_publicKey.isEmpty()) {
        if (const QString error = makeHostKey(); !error.isEmpty())
            return error;
        _knownHostsFile = statePath(QStringLiteral("known_hosts"));
        QFile(_knownHostsFile).open(QIODevice::WriteOnly);
    }
    // sshd's unprivileged child chroots here.
    if (!QDir(QStringLiteral("/run/sshd")).exists() && !QDir().mkpath(QStringLiteral("/run/sshd")))
        return QStringLiteral("cannot make /run/sshd");

    QFile file(statePath(QStringLiteral("sshd_config")));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return QStringLiteral("cannot write %1").arg(file.fileName());
    file.write(QStringLiteral("Port %1\n"
                              "ListenAddress 127.0.0.1\n"
                              "HostKey %2\n"
                              "PidFile %3\n"
                              "PasswordAuthentication yes\n"
                              "KbdInteractiveAuthentication no\n"
                              "PubkeyAuthentication no\n"
                              "AuthorizedKeysFile none\n"
                              "PermitRootLogin no\n"
                              "AllowUsers %4\n"
                              "UsePAM no\n"
                              "PrintMotd no\n"
                              "Subsystem sftp internal-sftp\n"
                              "Match User %4\n"
                              "    ForceCommand internal-sftp -d %5\n"
                              "    AllowTcpForwarding no\n"
                              "    X11Forwarding no\n")
                   .arg(port)
                   .arg(statePath(QStringLiteral("ssh_host_ed25519_key")), statePath(QStringLiteral("sshd.pid")),
                        user(), rootDirectory())
                   .toLocal8Bit());
    return {};
}

QStringList SshServer::arguments() const
{
    return {QStringLiteral("-D"), QStringLiteral("-e"), QStringLiteral("-f"), statePath(QStringLiteral("sshd_config"))};
}
