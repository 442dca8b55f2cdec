#include "search/Parsing.h"

#include <algorithm>

namespace {

// The number of escape characters directly before index, down to 0.
qsizetype escapesBefore(const char16_t *units, qsizetype index, char16_t escape)
{
    qsizetype i = index;
    while (i > 0 && units[i - 1] == escape)
        --i;
    return index - i;
}

// countOfInstancesOf for one character, the common case (quotes).
qsizetype countCharacter(const char16_t *units, qsizetype start, qsizetype end, char16_t what, char16_t escape,
                         bool anchored)
{
    qsizetype count = 0;
    qsizetype i = end;
    while (i > start) {
        if (units[i - 1] != what) {
            if (anchored)
                break;
            --i;
            continue;
        }
        const qsizetype at = i - 1;
        const qsizetype escapes = escapesBefore(units, at, escape);
        if ((escapes & 1) == 0)
            ++count;
        i = at - escapes;
    }
    return count;
}

} // namespace

namespace Parsing {

bool characterIsEscapedAtIndex(QStringView string, qsizetype index, QChar escapeCharacter)
{
    index = std::min(index, string.size());
    if (index <= 0)
        return false;
    return escapesBefore(string.utf16(), index, escapeCharacter.unicode()) & 1;
}

qsizetype countOfInstancesOf(QStringView string, QStringView what, MVRange range, QChar escapeCharacter,
                             bool anchored)
{
    if (what.isEmpty() || string.isEmpty() || range.location < 0 || range.length <= 0)
        return 0;
    const qsizetype start = std::min(range.location, string.size());
    const qsizetype end = std::min(range.end(), string.size());
    const char16_t *units = string.utf16();
    const char16_t escape = escapeCharacter.unicode();
    if (what.size() == 1)
        return countCharacter(units, start, end, what[0].unicode(), escape, anchored);

    qsizetype count = 0;
    qsizetype limit = end; // occurrences must end at or before this
    while (limit - start >= what.size()) {
        qsizetype at;
        if (anchored) {
            at = limit - what.size();
            if (string.mid(at, what.size()) != what)
                break;
        } else {
            at = string.mid(start, limit - start).lastIndexOf(what);
            if (at < 0)
                break;
            at += start;
        }
        const qsizetype escapes = escapesBefore(units, at, escape);
        if ((escapes & 1) == 0)
            ++count;
        limit = at - escapes;
    }
    return count;
}

bool locationInQuotes(QStringView string, qsizetype location, qsizetype relativeTo, bool checkSingle)
{
    const MVRange range{relativeTo, location - relativeTo};
    if (countOfInstancesOf(string, u"\"", range, u'\\', false) & 1)
        return true;
    return checkSingle && (countOfInstancesOf(string, u"'", range, u'\\', false) & 1);
}

bool locationInQuotes(QStringView string, qsizetype location, bool checkSingle)
{
    return locationInQuotes(string, location, 0, checkSingle);
}

bool locationInQuotes(QStringView string, qsizetype location)
{
    return locationInQuotes(string, location, 0, false);
}

QString stripImproperFormatting(QStringView string)
{
    QString result;
    result.reserve(string.size());
    bool inQuotes = false;
    const qsizetype size = string.size();
    for (qsizetype i = 0; i < size; ++i) {
        const QChar c = string[i];
        if (c == u'"' && !characterIsEscapedAtIndex(string, i, u'\\'))
            inQuotes = !inQuotes;
        if (c == u' ' && !inQuotes) {
            qsizetype next = i;
            while (next < size && string[next] == u' ')
                ++next;
            if (next < size && (string[next] == u'=' || string[next] == u'"')) {
                i = next - 1; // drop the run of blanks
                continue;
            }
        }
        result.append(c);
    }
    return result;
}

} // namespace Parsing
