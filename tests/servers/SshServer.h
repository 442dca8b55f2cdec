#pragma once

#include "servers/TestServer.h"

// sshd with a host key of its own made per instance, password login for the
// test account only, and that account held to SFTP (internal-sftp, starting
// in rootDirectory()). The client keeps its known hosts in a file of this
// instance: knownHostsFile() starts empty; seedKnownHosts() writes the
// server's key into it, for tests that must not be asked about the key.
class SshServer : public TestServer
{
public:
    SshServer();
    ~SshServer() override;

    const QString &knownHostsFile() const { return _knownHostsFile; }
    // The line a known-hosts file holds for this server on its port:
    // "[127.0.0.1]:PORT ssh-ed25519 AAAA…".
    QString hostKeyLine() const;
    // The key's fingerprint as ssh shows it: "SHA256:…".
    const QString &hostKeyFingerprint() const { return _fingerprint; }
    bool seedKnownHosts() const;
    // Options for ssh and sftp: this port, and this instance's known hosts
    // instead of the user's.
    QStringList clientOptions() const;

protected:
    QString configure(quint16 port) override;
    QStringList arguments() const override;

private:
    QString makeHostKey();

    QString _knownHostsFile;
    QString _publicKey;
    QString _fingerprint;
};
