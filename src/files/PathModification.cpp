#include "files/PathModification.h"

#include "platform/MVStringTable.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QStringList>

#include <sys/stat.h>

namespace PathModification {

namespace {

QString lastComponent(const QString &path)
{
    QString clean = path;
    while (clean.size() > 1 && clean.endsWith(QLatin1Char('/')))
        clean.chop(1);
    return clean.mid(clean.lastIndexOf(QLatin1Char('/')) + 1);
}

QString deletingLastComponent(const QString &path)
{
    QString clean = path;
    while (clean.size() > 1 && clean.endsWith(QLatin1Char('/')))
        clean.chop(1);
    const qsizetype slash = clean.lastIndexOf(QLatin1Char('/'));
    if (slash < 0)
        return QString();
    if (slash == 0)
        return QStringLiteral("/");
    return clean.left(slash);
}

QStringList components(const QString &path)
{
    return path.split(QLatin1Char('/'), Qt::SkipEmptyParts);
}

} // namespace

QString stringWithTrailingSlash(const QString &path)
{
    if (path.isEmpty() || path.endsWith(QLatin1Char('/')))
        return path;
    return path + QLatin1Char('/');
}

QString stringWithoutLeadingSlash(const QString &path)
{
    return path.startsWith(QLatin1Char('/')) ? path.mid(1) : path;
}

QString stringByDeletingLeadingSlash(const QString &path)
{
    return stringWithoutLeadingSlash(path);
}

QString ellipsedPath(const QString &path)
{
    return QStringLiteral("%1 %2 %3/%4")
        .arg(lastComponent(path), QString(QChar(0x2014)), QString(QChar(0x2026)),
             lastComponent(deletingLastComponent(path)));
}

QString relativePathTo(const QString &path, const QString &target)
{
    if (path == MVLocalizedString(QStringLiteral("Untitled")))
        return target;
    const QString directory = stringWithTrailingSlash(deletingLastComponent(path));
    if (!directory.isEmpty() && target.startsWith(directory))
        return target.mid(directory.size());

    const QStringList from = components(directory);
    const QStringList to = components(target);
    qsizetype common = 0;
    while (common < from.size() && common < to.size() - 1 && from[common] == to[common])
        ++common;
    QString result;
    for (qsizetype i = common; i < from.size(); ++i)
        result += QStringLiteral("../");
    result += to.mid(common).join(QLatin1Char('/'));
    return result;
}

QString fullyQualifiedPathTo(const QString &path, const QString &relative)
{
    if (relative.isEmpty() || relative.contains(QLatin1Char(':')) || relative.startsWith(QLatin1Char('/')))
        return relative;
    QString base = deletingLastComponent(path);
    QString rest = relative;
    for (;;) {
        if (rest.startsWith(QLatin1String("../"))) {
            base = deletingLastComponent(base);
            rest = rest.mid(3);
        } else if (rest.startsWith(QLatin1String("./"))) {
            rest = rest.mid(2);
        } else {
            break;
        }
    }
    if (base.isEmpty())
        return rest;
    return stringWithTrailingSlash(base) + rest;
}

QString absolutePathFromFile(const QString &text, const QString &file, const QString &base)
{
    if (text.startsWith(QLatin1Char('/'))) {
        if (base.isEmpty())
            return QDir::cleanPath(text);
        return QDir::cleanPath(stringWithTrailingSlash(base) + text.mid(1));
    }
    return QDir::cleanPath(stringWithTrailingSlash(deletingLastComponent(file)) + text);
}

QString filenameForDuplicateOfFile(const QString &name, const QString &directory)
{
    auto exists = [&directory](const QString &candidate) {
        struct stat st;
        return ::lstat(QFile::encodeName(stringWithTrailingSlash(directory) + candidate).constData(), &st) == 0;
    };
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    const bool hasExtension = dot > 0 && dot < name.size() - 1;
    const QString base = hasExtension ? name.left(dot) : name;
    const QString extension = hasExtension ? name.mid(dot) : QString();

    static const QRegularExpression copyPattern(QStringLiteral("^(.*) copy(?: (\\d+))?$"));
    const QRegularExpressionMatch match = copyPattern.match(base);
    QString stem = base;
    qint64 counter = 1;
    if (match.hasMatch()) {
        stem = match.captured(1);
        if (match.hasCaptured(2))
            counter = match.captured(2).toLongLong() + 1;
    } else {
        const QString first = stem + QStringLiteral(" copy") + extension;
        if (!exists(first))
            return first;
    }
    QString candidate;
    do {
        candidate = stem + QStringLiteral(" copy %1").arg(counter++) + extension;
    } while (exists(candidate));
    return candidate;
}

} // namespace PathModification
