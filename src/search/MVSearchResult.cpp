#include "search/MVSearchResult.h"

#include <QFont>
#include <QTextCharFormat>

#include <algorithm>

MVSearchResult::MVSearchResult(MVRange range, QStringView string) : _range(range)
{
    const qsizetype length = string.size();
    const qsizetype location = std::clamp<qsizetype>(range.location, 0, length);
    const qsizetype end = std::clamp<qsizetype>(range.end(), location, length);

    qsizetype start = std::max<qsizetype>(0, location - ContextLength);
    for (qsizetype i = location - 1; i >= start; --i) {
        if (string[i] == u'\n' || string[i] == u'\r') {
            start = i + 1;
            break;
        }
    }
    qsizetype stop = std::min(length, end + ContextLength);
    // Never cut a surrogate pair in two at either edge.
    if (start > 0 && start < length && string[start].isLowSurrogate() && string[start - 1].isHighSurrogate())
        ++start;
    if (stop < length && stop > 0 && string[stop].isLowSurrogate() && string[stop - 1].isHighSurrogate())
        ++stop;
    start = std::min(start, location);

    _preview.string = string.mid(start, stop - start).toString();
    _preview.match = {location - start, end - location};
}

QList<QTextLayout::FormatRange> MVSearchPreview::formats() const
{
    QTextCharFormat context;
    context.setForeground(QColor::fromRgbF(0.4f, 0.4f, 0.4f, 1.0f));
    QTextCharFormat matched;
    matched.setForeground(Qt::black);
    QFont bold;
    bold.setPointSize(12);
    bold.setBold(true);
    matched.setFont(bold);

    QList<QTextLayout::FormatRange> formats;
    formats.append({0, int(string.size()), context});
    if (match.length > 0)
        formats.append({int(match.location), int(match.length), matched});
    return formats;
}
