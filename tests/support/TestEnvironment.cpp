#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdlib>
#include <filesystem>
#include <unistd.h>

namespace {
QString s_home;

void setEnv(const char *name, const QString &value)
{
    ::setenv(name, QFile::encodeName(value).constData(), 1);
}
}

void MVTestEnvironment::setUpProcess()
{
    QByteArray tmpl = QDir::tempPath().toLocal8Bit() + "/morvel-test-home-XXXXXX";
    if (!::mkdtemp(tmpl.data()))
        std::abort();
    s_home = QString::fromLocal8Bit(tmpl);
    setEnv("HOME", s_home);
    setEnv("XDG_CONFIG_HOME", s_home + "/.config");
    setEnv("XDG_DATA_HOME", s_home + "/.local/share");
    setEnv("XDG_CACHE_HOME", s_home + "/.cache");
    setEnv("XDG_RUNTIME_DIR", s_home + "/runtime");
    QDir().mkpath(s_home + "/runtime");
    QFile::setPermissions(s_home + "/runtime", QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        setEnv("QT_QPA_PLATFORM", QStringLiteral("offscreen"));
}

void MVTestEnvironment::tearDownProcess()
{
    std::error_code ec;
    std::filesystem::remove_all(QFile::encodeName(s_home).constData(), ec);
}

QString MVTestEnvironment::homePath()
{
    return s_home;
}

QString MVTestEnvironment::fixturePath(const QString &relative)
{
    return QStringLiteral(MORVEL_SOURCE_DIR "/tests/fixtures/") + relative;
}

MVScratchDir::MVScratchDir()
{
    QByteArray tmpl = QDir::tempPath().toLocal8Bit() + "/morvel-test-XXXXXX";
    if (!::mkdtemp(tmpl.data()))
        std::abort();
    _path = QString::fromLocal8Bit(tmpl);
}

MVScratchDir::~MVScratchDir()
{
    // Restore permissions that a test may have taken away, then remove.
    std::error_code ec;
    const std::filesystem::path root(QFile::encodeName(_path).constData());
    for (auto it = std::filesystem::recursive_directory_iterator(root, std::filesystem::directory_options::skip_permission_denied, ec);
         it != std::filesystem::recursive_directory_iterator(); it.increment(ec)) {
        if (!it->is_symlink(ec))
            std::filesystem::permissions(it->path(), std::filesystem::perms::owner_all, std::filesystem::perm_options::add, ec);
    }
    std::filesystem::permissions(root, std::filesystem::perms::owner_all, std::filesystem::perm_options::add, ec);
    std::filesystem::remove_all(root, ec);
}

QString MVScratchDir::write(const QString &name, const QByteArray &bytes) const
{
    const QString path = file(name);
    QDir().mkpath(QFileInfo(path).path());
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly) || f.write(bytes) != bytes.size())
        std::abort();
    return path;
}
