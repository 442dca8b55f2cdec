#include "files/MVURLAdditions.h"

namespace MVURLAdditions {

QString urlStringByAppendingPathComponent(const QString &url, const QString &component)
{
    if (url.isEmpty())
        return component;
    QString head = url;
    QString tail = component;
    while (head.endsWith(QLatin1Char('/')) && !head.endsWith(QLatin1String("://")))
        head.chop(1);
    while (tail.startsWith(QLatin1Char('/')))
        tail.remove(0, 1);
    if (head.endsWith(QLatin1Char('/')))
        return head + tail;
    return head + QLatin1Char('/') + tail;
}

QString urlStringByDeletingLastPathComponent(const QString &url)
{
    QString text = url;
    const qsizetype scheme = text.indexOf(QLatin1String("://"));
    const qsizetype pathStart = scheme >= 0 ? text.indexOf(QLatin1Char('/'), scheme + 3) : 0;
    if (scheme >= 0 && pathStart < 0)
        return text;
    while (text.size() > pathStart + 1 && text.endsWith(QLatin1Char('/')))
        text.chop(1);
    const qsizetype slash = text.lastIndexOf(QLatin1Char('/'));
    if (slash < 0)
        return QString();
    if (slash <= pathStart)
        return text.left(pathStart + 1);
    return text.left(slash);
}

} // namespace MVURLAdditions
