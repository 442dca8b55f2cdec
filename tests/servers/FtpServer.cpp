#include "servers/FtpServer.h"

#include "servers/FreePorts.h"

#include <QDir>
#include <QFile>

namespace {
constexpr int passivePorts = 8;
}

FtpServer::FtpServer()
    : TestServer(QStringLiteral("vsftpd"), QStringLiteral("/usr/sbin/vsftpd"))
{
}

FtpServer::~FtpServer() = default;

QString FtpServer::configure(quint16 port)
{
    if (!QFile::exists(QStringLiteral("/etc/pam.d/") + QLatin1String(pamService)))
        return QStringLiteral("the PAM service %1 is missing; run scripts/install-deps").arg(QLatin1String(pamService));
    _passiveMin = FreePorts::pick(passivePorts, 26000, 32000);
    if (_passiveMin == 0)
        return QStringLiteral("no free passive ports between 26000 and 32000");
    _passiveMax = quint16(_passiveMin + passivePorts - 1);
    // vsftpd's unprivileged helper runs chrooted in an empty directory
    // that its user cannot write.
    const QString empty = statePath(QStringLiteral("empty"));
    QDir().mkpath(empty);

    QFile file(statePath(QStringLiteral("vsftpd.conf")));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return QStringLiteral("cannot write %1").arg(file.fileName());
    file.write(QStringLiteral("listen=YES\n"
                              "listen_ipv6=NO\n"
                              "listen_address=127.0.0.1\n"
                              "listen_port=%1\n"
                              "background=NO\n"
                              "anonymous_enable=NO\n"
                              "local_enable=YES\n"
                              "local_root=%2\n"
                              "write_enable=YES\n"
                              "local_umask=022\n"
                              "chmod_enable=YES\n"
                              "dirmessage_enable=NO\n"
                              "use_localtime=NO\n"
                              "pasv_enable=YES\n"
                              "pasv_address=127.0.0.1\n"
                              "pasv_min_port=%3\n"
                              "pasv_max_port=%4\n"
                              "port_enable=YES\n"
                              "connect_from_port_20=NO\n"
                              "secure_chroot_dir=%5\n"
                              "pam_service_name=%6\n"
                              "delay_failed_login=0\n"
                              "seccomp_sandbox=NO\n"
                              "isolate=NO\n"
                              "isolate_network=NO\n"
                              "xferlog_enable=YES\n"
                              "log_ftp_protocol=YES\n"
                              "vsftpd_log_file=%7\n")
                   .arg(port)
                   .arg(rootDirectory())
                   .arg(_passiveMin)
                   .arg(_passiveMax)
                   .arg(empty, QLatin1String(pamService), statePath(QStringLiteral("vsftpd.log")))
                   .toLocal8Bit());
    return {};
}

QStringList FtpServer::arguments() const
{
    return {statePath(QStringLiteral("vsftpd.conf"))};
}

QStringList FtpServer::logFiles() const
{
    return {statePath(QStringLiteral("vsftpd.log"))};
}
