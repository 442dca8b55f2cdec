#include "search/MVSearchEnumerator.h"

MVSearchEnumerator::MVSearchEnumerator(MVSearch search, QString string)
    : _search(std::move(search)), _string(std::move(string))
{
}

MVSearchEnumerator::MVSearchEnumerator(MVSearch search, QByteArray utf8Data)
    : _search(std::move(search)), _data(std::move(utf8Data))
{
}

std::optional<MVRange> MVSearchEnumerator::nextRange(MVRegexMatch *match)
{
    qsizetype start = _range.end();
    if (_started && _range.length == 0) {
        // Step over the empty match, keeping pairs of units together.
        const char16_t here = start < _string.size() ? _string[start].unicode() : 0;
        const char16_t next = start + 1 < _string.size() ? _string[start + 1].unicode() : 0;
        const bool pair = (QChar::isHighSurrogate(here) && QChar::isLowSurrogate(next)) || (here == u'\r' && next == u'\n');
        start += pair ? 2 : 1;
    }
    // The length of the string subject decides, also for a byte subject.
    const qsizetype length = _string.size();
    if (length <= start)
        return std::nullopt;
    const MVRange found = _search.firstMatchInString(_string, {start, length - start}, false, match);
    if (found.isNotFound())
        return std::nullopt;
    _range = found;
    _started = true;
    return found;
}

std::optional<MVSearchResult> MVSearchEnumerator::nextResult()
{
    const std::optional<MVRange> range = nextRange();
    if (!range)
        return std::nullopt;
    return MVSearchResult(*range, _string);
}
