#pragma once

#include "servers/TestServer.h"

// vsftpd for the test account: local login through the PAM service that
// scripts/install-deps makes, writing allowed, the client starting in
// rootDirectory() (no chroot: the paths it sees are the real ones), and
// passive mode on a small range of ports of its own.
class FtpServer : public TestServer
{
public:
    FtpServer();
    ~FtpServer() override;

    quint16 passivePortMin() const { return _passiveMin; }
    quint16 passivePortMax() const { return _passiveMax; }

    static constexpr const char *pamService = "morvel-test-ftp";

protected:
    QString configure(quint16 port) override;
    QStringList arguments() const override;
    QStringList logFiles() const override;

private:
    quint16 _passiveMin = 0;
    quint16 _passiveMax = 0;
};
