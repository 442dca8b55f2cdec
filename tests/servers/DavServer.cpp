#include "servers/DavServer.h"

#include <QDir>
#include <QFile>
#include <QProcess>

#include <unistd.h>

namespace {
const QString modules = QStringLiteral("/usr/lib/apache2/modules");
}

DavServer::DavServer()
    : TestServer(QStringLiteral("apache2"), QStringLiteral("/usr/sbin/apache2"))
{
}

DavServer::~DavServer() = default;

QString DavServer::davUrl() const
{
    return QStringLiteral("http://127.0.0.1:%1%2").arg(port()).arg(QLatin1String(davPath));
}

QString DavServer::plainUrl() const
{
    return QStringLiteral("http://127.0.0.1:%1%2").arg(port()).arg(QLatin1String(plainPath));
}

QString DavServer::makeDirectories()
{
    const QString dav = makeUserDirectory(QStringLiteral("dav"));
    _plainDirectory = makeUserDirectory(QStringLiteral("plain"));
    _lockDirectory = makeUserDirectory(QStringLiteral("lock"));
    if (dav.isEmpty() || _plainDirectory.isEmpty() || _lockDirectory.isEmpty())
        return QStringLiteral("cannot make the served directories");
    setRootDirectory(dav);
    QDir().mkpath(statePath(QStringLiteral("run")));

    // The password goes to htpasswd on its standard input, never in argv.
    const QString passwords = statePath(QStringLiteral("htpasswd"));
    QProcess htpasswd;
    htpasswd.setProcessChannelMode(QProcess::MergedChannels);
    htpasswd.start(QStringLiteral("/usr/bin/htpasswd"),
                   {QStringLiteral("-i"), QStringLiteral("-B"), QStringLiteral("-c"), passwords, user()});
    if (!htpasswd.waitForStarted(10000))
        return QStringLiteral("htpasswd cannot run (%1); run scripts/install-deps").arg(htpasswd.errorString());
    htpasswd.write(password().toUtf8() + '\n');
    htpasswd.closeWriteChannel();
    if (!htpasswd.waitForFinished(10000) || htpasswd.exitCode() != 0)
        return QStringLiteral("htpasswd failed: %1").arg(QString::fromLocal8Bit(htpasswd.readAll()));
    // Read by the workers, which run as the test account.
    if (::chown(QFile::encodeName(passwords).constData(), 0, account().gid()) != 0)
        return QStringLiteral("cannot give %1 to the test account's group").arg(passwords);
    QFile::setPermissions(passwords, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup);
    return {};
}

QString DavServer::configure(quint16 port)
{
    if (_lockDirectory.isEmpty()) {
        if (const QString error = makeDirectories(); !error.isEmpty())
            return error;
    }
    QString loads;
    for (const char *module : {"mpm_event", "authz_core", "authn_core", "authn_file", "authz_user", "auth_basic", "mime",
                               "alias", "dav", "dav_fs"})
        loads += QStringLiteral("LoadModule %1_module %2/mod_%1.so\n").arg(QLatin1String(module), modules);

    QFile file(statePath(QStringLiteral("httpd.conf")));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return QStringLiteral("cannot write %1").arg(file.fileName());
    const QString location = QStringLiteral("    AuthType Basic\n"
                                            "    AuthName \"Morvel test\"\n"
                                            "    AuthUserFile %1\n"
                                            "    Require valid-user\n"
                                            "    Options None\n"
                                            "    AllowOverride None\n")
                                 .arg(statePath(QStringLiteral("htpasswd")));
    file.write(QStringLiteral("ServerRoot \"%1\"\n"
                              "ServerName 127.0.0.1\n"
                              "Listen 127.0.0.1:%2\n"
                              "PidFile %1/httpd.pid\n"
                              "DefaultRuntimeDir %1/run\n"
                              "ErrorLog %1/error.log\n"
                              "LogLevel warn\n"
                              "%3"
                              "User %4\n"
                              "Group %5\n"
                              "StartServers 1\n"
                              "ServerLimit 2\n"
                              "ThreadsPerChild 8\n"
                              "MaxRequestWorkers 16\n"
                              "MinSpareThreads 1\n"
                              "MaxSpareThreads 16\n"
                              "TypesConfig /etc/mime.types\n"
                              "LogFormat \"%h %u \\\"%r\\\" %>s %b\" dav\n"
                              "CustomLog %1/access.log dav\n"
                              "DavLockDB %6/DavLock\n"
                              "DocumentRoot \"%7\"\n"
                              "<Directory />\n"
                              "    AllowOverride None\n"
                              "    Require all denied\n"
                              "</Directory>\n"
                              "Alias /dav %7\n"
                              "<Directory \"%7\">\n"
                              "    Dav On\n"
                              "%8"
                              "</Directory>\n"
                              "Alias /plain %9\n"
                              "<Directory \"%9\">\n"
                              "%8"
                              "</Directory>\n")
                   .arg(stateDirectory())
                   .arg(port)
                   .arg(loads, user(), QStringLiteral("#%1").arg(account().gid()), _lockDirectory, rootDirectory(), location, _plainDirectory)
                   .toLocal8Bit());
    return {};
}

QStringList DavServer::arguments() const
{
    return {QStringLiteral("-f"), statePath(QStringLiteral("httpd.conf")), QStringLiteral("-DFOREGROUND")};
}

QStringList DavServer::logFiles() const
{
    return {statePath(QStringLiteral("error.log"))};
}
