#include "intelligence/index/MVPathResolver.h"

#include "files/FileManagerUtilities.h"
#include "intelligence/index/MVPerlPathResolver.h"
#include "intelligence/index/MVRubyPathResolver.h"

#include <QDir>
#include <QFile>
#include <QProcess>

#include <sys/stat.h>

const MVPathResolver &MVPathResolver::resolverNamed(const QString &name)
{
    static const MVPathResolver plain;
    static const MVRubyPathResolver ruby;
    static const MVPerlPathResolver perl;
    if (name == QLatin1String("MVRubyPathResolver"))
        return ruby;
    if (name == QLatin1String("MVPerlPathResolver"))
        return perl;
    return plain;
}

QString MVPathResolver::pathForString(const QString &string, const QString &base, bool *isTag) const
{
    if (isTag)
        *isTag = false;
    if (string.isEmpty())
        return QString();
    if (string.startsWith(QLatin1Char('/')))
        return QDir::cleanPath(string);
    return pathForRelativeString(string, base, isTag);
}

QString MVPathResolver::pathForRelativeString(const QString &string, const QString &base, bool *isTag) const
{
    (void)isTag;
    return _firstExisting(string, base);
}

QString MVPathResolver::_firstExisting(const QString &string, const QString &base) const
{
    QStringList candidates = searchPaths();
    if (!base.isEmpty())
        candidates << base;
    for (const QString &candidate : std::as_const(candidates)) {
        // A candidate without a trailing slash is a file: use its directory.
        const QString directory = candidate.endsWith(QLatin1Char('/'))
                                      ? candidate
                                      : candidate.left(candidate.lastIndexOf(QLatin1Char('/')) + 1);
        const QString path = QDir::cleanPath(directory + string);
        struct stat st;
        if (::stat(QFile::encodeName(path).constData(), &st) == 0 && S_ISREG(st.st_mode))
            return path;
    }
    return QString();
}

QStringList MVPathResolver::pathsFromRunningScript(const QByteArray &script)
{
    const QString path = FileManagerUtilities::pathForTemporaryFile();
    if (path.isEmpty())
        return {};
    QStringList result;
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(script) == script.size()) {
        file.close();
        ::chmod(QFile::encodeName(path).constData(), 0700);
        QProcess process;
        process.setProgram(path);
        process.setStandardInputFile(QProcess::nullDevice());
        process.setStandardErrorFile(QProcess::nullDevice());
        process.start();
        if (process.waitForFinished(10000) && process.exitStatus() == QProcess::NormalExit
            && process.exitCode() == 0) {
            const QStringList lines = QString::fromLocal8Bit(process.readAllStandardOutput()).split(QLatin1Char('\n'));
            for (const QString &line : lines) {
                if (line.isEmpty() || line == QLatin1String("."))
                    continue;
                result << (line.endsWith(QLatin1Char('/')) ? line : line + QLatin1Char('/'));
            }
        } else if (process.state() != QProcess::NotRunning) {
            process.kill();
            process.waitForFinished(1000);
        }
    }
    QFile::remove(path);
    return result;
}
