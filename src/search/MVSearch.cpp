#include "search/MVSearch.h"

#include "search/MVSearchEnumerator.h"
#include "search/MVSearchResult.h"
#include "search/MVSearchTextView.h"

#include "platform/MVMainThread.h"

#include <algorithm>

namespace {

// The multi-line compile word of searches made from a user's expression;
// caseless adds 0x1.
constexpr quint32 ExpressionOptions = MVRegex::MultilineOption;

// A group number read from digits; absurdly long numbers stay absurd
// instead of wrapping round to a real group.
constexpr qint64 NoGroup = -1;

qint64 readNumber(QStringView digits)
{
    qint64 number = 0;
    for (QChar c : digits) {
        number = number * 10 + (c.unicode() - u'0');
        if (number > 0xFFFFFF)
            return NoGroup;
    }
    return number;
}

// A number in parentheses, read as a C library would read an integer:
// blanks first, then an optional sign and digits; anything else reads 0.
qint64 readParenthesisedNumber(QStringView text)
{
    qsizetype i = 0;
    while (i < text.size() && (text[i] == u' ' || text[i] == u'\t' || text[i] == u'\n' || text[i] == u'\r'))
        ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == u'+' || text[i] == u'-'))
        negative = text[i++] == u'-';
    const qsizetype start = i;
    while (i < text.size() && text[i] >= u'0' && text[i] <= u'9')
        ++i;
    const qint64 number = readNumber(text.mid(start, i - start));
    return negative && number > 0 ? NoGroup : number;
}

QStringView groupText(QStringView subject, const MVRegexMatch &match, qint64 group)
{
    if (group < 0)
        return {};
    const MVRange range = match.rangeForCapture(quint32(group));
    if (range.location < 0 || range.location >= subject.size() || range.end() > subject.size())
        return {};
    return subject.mid(range.location, range.length);
}

char16_t folded(char16_t c)
{
    if (c < 0x80)
        return c >= u'A' && c <= u'Z' ? char16_t(c + 32) : c;
    return QChar::toCaseFolded(c);
}

// Case-insensitive search. Qt's own folds the text afresh for every
// candidate position; this looks for the folded first character in a tight
// loop and compares the whole needle only there.
qsizetype caselessIndexOf(QStringView haystack, QStringView needle, bool reverse)
{
    const char16_t first = needle[0].unicode();
    if (QChar::isSurrogate(first))
        return reverse ? haystack.lastIndexOf(needle, haystack.size(), Qt::CaseInsensitive)
                       : haystack.indexOf(needle, 0, Qt::CaseInsensitive);
    const char16_t key = folded(first);
    const char16_t *units = haystack.utf16();
    const qsizetype last = haystack.size() - needle.size();
    auto matchesAt = [&](qsizetype i) {
        return folded(units[i]) == key && haystack.mid(i, needle.size()).compare(needle, Qt::CaseInsensitive) == 0;
    };
    if (reverse) {
        for (qsizetype i = last; i >= 0; --i)
            if (matchesAt(i))
                return i;
    } else {
        for (qsizetype i = 0; i <= last; ++i)
            if (matchesAt(i))
                return i;
    }
    return -1;
}

bool isLineStart(QStringView string, qsizetype index)
{
    return index == 0 || string[index - 1] == u'\n' || string[index - 1] == u'\r';
}

} // namespace

MVSearch::MVSearch() = default;

MVSearch MVSearch::initWithExpression(std::shared_ptr<MVRegex> expression)
{
    MVSearch search;
    search._isRegex = expression != nullptr;
    search._regex = std::move(expression);
    return search;
}

MVSearch MVSearch::initWithExpressionString(const QString &expression, bool caseSensitive)
{
    MVSearch search;
    search._isRegex = true;
    search._caseSensitive = caseSensitive;
    search._regex = MVRegex::initWithPattern(
        expression, caseSensitive ? ExpressionOptions : ExpressionOptions | MVRegex::CaselessOption);
    if (!search._regex)
        search._search = expression; // kept so that the search still shows what was asked
    return search;
}

MVSearch MVSearch::initWithSearchString(const QString &string)
{
    MVSearch search;
    search._search = string;
    return search;
}

void MVSearch::setSearchExpression(const QString &expression)
{
    if (expression.isNull()) {
        _regex.reset();
        _isRegex = false;
        _search = QString();
        return;
    }
    if (_isRegex && searchString() == expression)
        return;
    _isRegex = true;
    _regex = MVRegex::initWithPattern(expression);
    _search = _regex ? QString() : expression;
}

void MVSearch::setSearchString(const QString &string)
{
    if (_isRegex)
        setSearchExpression(string);
    else
        _search = string;
}

QString MVSearch::searchString() const
{
    return _regex ? _regex->pattern() : _search;
}

bool MVSearch::validRegexSearch(const QString &pattern)
{
    return MVRegex::validPattern(pattern);
}

bool MVSearch::validRegexReplace(const QString &)
{
    return true;
}

bool MVSearch::matchesString(QStringView string) const
{
    return !firstMatchInString(string).isNotFound();
}

MVRange MVSearch::firstMatchInString(QStringView string) const
{
    if (_isRegex) {
        if (!_regex)
            return MVRange::notFound();
        const auto match = _regex->copyMatchForCharacters(string.utf16(), string.size(), {0, string.size()}, 0);
        return match ? match->rangeForCapture(0) : MVRange::notFound();
    }
    return _plainMatch(string, {0, string.size()}, false);
}

MVRange MVSearch::firstMatchInString(QStringView string, MVRange range) const
{
    return firstMatchInString(string, range, false, nullptr);
}

MVRange MVSearch::firstMatchInString(QStringView string, MVRange range, bool reverse) const
{
    return firstMatchInString(string, range, reverse, nullptr);
}

MVRange MVSearch::firstMatchInString(QStringView string, MVRange range, bool reverse, MVRegexMatch *match) const
{
    if (_isRegex) {
        if (!_regex)
            return MVRange::notFound();
        auto found = _regex->copyMatchForCharacters(string.utf16(), string.size(), range, _options);
        if (!found)
            return MVRange::notFound();
        if (match)
            *match = *found;
        return found->rangeForCapture(0);
    }
    return _plainMatch(string, range, reverse);
}

MVRange MVSearch::_plainMatch(QStringView string, MVRange range, bool reverse) const
{
    if (_search.isEmpty())
        return MVRange::notFound();
    const qsizetype location = std::clamp<qsizetype>(range.location, 0, string.size());
    const qsizetype length = std::clamp<qsizetype>(range.length, 0, string.size() - location);
    const QStringView scope = string.mid(location, length);
    qsizetype found;
    if (!_caseSensitive)
        found = caselessIndexOf(scope, _search, reverse);
    else
        found = reverse ? scope.lastIndexOf(QStringView(_search), scope.size()) : scope.indexOf(QStringView(_search));
    if (found < 0)
        return MVRange::notFound();
    return {location + found, _search.size()};
}

std::vector<MVRange> MVSearch::findAllForString(const QString &string) const
{
    std::vector<MVRange> ranges;
    if (!_isRegex && _search.isEmpty())
        return ranges;
    MVSearchEnumerator enumerator(*this, string);
    while (auto range = enumerator.nextRange())
        ranges.push_back(*range);
    return ranges;
}

std::vector<MVSearchResult> MVSearch::findAllForStringAsResults(const QString &string) const
{
    std::vector<MVSearchResult> results;
    if (!_isRegex && _search.isEmpty())
        return results;
    MVSearchEnumerator enumerator(*this, string);
    while (auto result = enumerator.nextResult())
        results.push_back(std::move(*result));
    return results;
}

static QString fullStringOnMainThread(MVSearchTextView &view)
{
    QString text;
    MVMainThread::sync([&] { text = view.fullString(); });
    return text;
}

std::vector<MVRange> MVSearch::findAllForTextView(MVSearchTextView &view) const
{
    return findAllForString(fullStringOnMainThread(view));
}

std::vector<MVSearchResult> MVSearch::findAllForTextViewAsResults(MVSearchTextView &view) const
{
    return findAllForStringAsResults(fullStringOnMainThread(view));
}

std::vector<MVSearch::Replacement> MVSearch::replacementsInString(const QString &string) const
{
    std::vector<Replacement> replacements;
    if (!_isRegex && _search.isEmpty())
        return replacements;
    MVSearchEnumerator enumerator(*this, string);
    MVRegexMatch match;
    const QString plain = _replace.isNull() ? QStringLiteral("") : _replace;
    while (auto range = enumerator.nextRange(&match)) {
        if (_isRegex) {
            QString text;
            _appendReplacementForMatch(text, string, match, _replace);
            replacements.push_back({*range, std::move(text)});
        } else {
            replacements.push_back({*range, plain});
        }
    }
    return replacements;
}

int MVSearch::replaceAllInString(QString &string) const
{
    const std::vector<Replacement> replacements = replacementsInString(string);
    if (replacements.empty())
        return 0;
    QString result;
    qsizetype size = string.size();
    for (const Replacement &replacement : replacements)
        size += replacement.text.size() - replacement.range.length;
    result.reserve(size);
    qsizetype copied = 0;
    for (const Replacement &replacement : replacements) {
        result.append(QStringView(string).mid(copied, replacement.range.location - copied));
        result.append(replacement.text);
        copied = replacement.range.end();
    }
    result.append(QStringView(string).mid(copied));
    string = std::move(result);
    return int(replacements.size());
}

std::optional<QString> MVSearch::replacementForRange(QStringView string, MVRange range) const
{
    if (range.location < 0 || range.length < 0 || range.end() > string.size())
        return std::nullopt;
    if (!_isRegex) {
        const Qt::CaseSensitivity sensitivity = _caseSensitive ? Qt::CaseSensitive : Qt::CaseInsensitive;
        if (_search.isEmpty() || string.mid(range.location, range.length).compare(_search, sensitivity) != 0)
            return std::nullopt;
        return _replace;
    }
    return _replacementForMatchedRange(string, range);
}

std::optional<QString> MVSearch::_replacementForMatchedRange(QStringView string, MVRange range) const
{
    if (!_regex)
        return std::nullopt;
    // The match that made the range saw the text after it too, and knew
    // whether its start was a line start: match from the range's start to
    // the end of the text and take a match that covers exactly the range.
    const quint32 options = isLineStart(string, range.location) ? 0 : MVRegex::NotBeginningOfLineOption;
    auto match = _regex->copyMatchForCharacters(string.utf16(), string.size(),
                                                {range.location, string.size() - range.location}, options);
    if (!match || match->rangeForCapture(0) != range) {
        // A match of the range's text alone, which a pattern with look-ahead
        // past a greedy part may still give.
        match = _regex->copyMatchForCharacters(string.utf16(), string.size(), range, options);
        if (!match || match->rangeForCapture(0) != range)
            return std::nullopt;
    }
    return replacementForMatch(string, *match, _replace);
}

int MVSearch::replaceRanges(const std::vector<MVRange> &ranges, QString &string, bool doubleCheck) const
{
    if (ranges.empty())
        return 0;
    QString result;
    qsizetype copied = 0;
    int count = 0;
    for (const MVRange &range : ranges) {
        if (range.location < copied || range.length < 0 || range.end() > string.size())
            break;
        const QStringView text = QStringView(string).mid(range.location, range.length);
        if (doubleCheck && !matchesString(text))
            continue;
        const std::optional<QString> replacement =
            _isRegex ? _replacementForMatchedRange(string, range) : std::optional<QString>(_replace);
        if (!replacement)
            continue;
        if (count == 0)
            result.reserve(string.size() + string.size() / 8);
        result.append(QStringView(string).mid(copied, range.location - copied));
        result.append(*replacement);
        copied = range.end();
        ++count;
    }
    if (count == 0)
        return 0;
    result.append(QStringView(string).mid(copied));
    string = std::move(result);
    return count;
}

std::optional<QString> MVSearch::replacementForString(QStringView matchedText) const
{
    return replacementForString(matchedText, _replace);
}

std::optional<QString> MVSearch::replacementForString(QStringView matchedText, const QString &replacement) const
{
    if (!_isRegex)
        return replacement.isNull() ? QStringLiteral("") : replacement;
    if (!_regex)
        return std::nullopt;
    const auto match = _regex->copyMatchForCharacters(matchedText.utf16(), matchedText.size(),
                                                      {0, matchedText.size()}, 0);
    if (!match)
        return std::nullopt;
    return replacementForMatch(matchedText, *match, replacement);
}

QString MVSearch::replacementForMatch(QStringView subject, const MVRegexMatch &match, QStringView replacement)
{
    QString result;
    result.reserve(replacement.size() + match.rangeForCapture(0).length);
    _appendReplacementForMatch(result, subject, match, replacement);
    return result;
}

void MVSearch::_appendReplacementForMatch(QString &result, QStringView subject, const MVRegexMatch &match,
                                          QStringView replacement)
{
    const qsizetype size = replacement.size();
    qsizetype i = 0;
    while (i < size) {
        const char16_t c = replacement[i].unicode();
        if (c == u'$') {
            qsizetype end = i + 1;
            while (end < size && replacement[end] >= u'0' && replacement[end] <= u'9')
                ++end;
            result.append(groupText(subject, match, readNumber(replacement.mid(i + 1, end - i - 1))));
            i = end;
        } else if (c == u'(') {
            const qsizetype close = replacement.indexOf(u')', i + 1);
            if (close < 0) {
                result.append(replacement.mid(i));
                break;
            }
            result.append(groupText(subject, match, readParenthesisedNumber(replacement.mid(i + 1, close - i - 1))));
            i = close + 1;
        } else if (c == u'\\') {
            if (i + 1 < size)
                result.append(replacement[i + 1]);
            i += 2;
        } else {
            // Copy the run of plain text up to the next marker at once.
            qsizetype end = i + 1;
            while (end < size && replacement[end] != u'$' && replacement[end] != u'(' && replacement[end] != u'\\')
                ++end;
            result.append(replacement.mid(i, end - i));
            i = end;
        }
    }
}

MVRange MVSearch::firstMatchInUTF8Data(const QByteArray &data, MVRange range) const
{
    if (!_regex)
        return MVRange::notFound();
    const auto match = _regex->copyMatchForUTF8Data(data, range);
    return match ? match->rangeForCapture(0) : MVRange::notFound();
}

std::vector<MVRange> MVSearch::findAllForUTF8Data(const QByteArray &data) const
{
    std::vector<MVRange> ranges;
    if (!_regex)
        return ranges;
    MVSearchEnumerator enumerator(*this, data);
    while (auto range = enumerator.nextRange())
        ranges.push_back(*range);
    return ranges;
}

int MVSearch::replaceAllInUTF8Data(QByteArray &data) const
{
    return replaceRangesInUTF8Data(findAllForUTF8Data(data), data);
}

int MVSearch::replaceRangesInUTF8Data(const std::vector<MVRange> &ranges, QByteArray &data) const
{
    qsizetype offset = 0;
    int count = 0;
    for (const MVRange &range : ranges) {
        const qsizetype start = range.location + offset;
        if (start < 0 || range.length < 0 || start + range.length > data.size())
            break;
        const QByteArray replacement = replacementForUTF8Bytes(data.constData() + start, range.length);
        data.replace(start, range.length, replacement);
        if (!replacement.isNull())
            ++count;
        offset += replacement.size() - range.length;
    }
    return count;
}

int MVSearch::_replacementParseStep(qsizetype index, qint16 character, qsizetype *context)
{
    switch (character) {
    case '$':
        *context = index + 1;
        return 1;
    case '(':
        *context = index + 1;
        return 0;
    case ')':
        return 2;
    case '\\':
        return 0;
    default:
        if (*context == MVNotFound)
            return 1;
        return character >= '0' && character <= '9' ? 1 : 2;
    }
}

QByteArray MVSearch::replacementForUTF8Bytes(const char *bytes, qsizetype length) const
{
    const QByteArrayView view(bytes, length);
    const auto match = _regex ? _regex->copyMatchForUTF8Data(view, {0, length}) : std::nullopt;
    if (!match)
        return _replace.isNull() ? QByteArray() : _replace.toUtf8();
    QByteArray result;
    qsizetype context = MVNotFound;
    for (qsizetype index = 0; index < length; ++index) {
        const qint16 character = qint16(qint8(bytes[index]));
        switch (_replacementParseStep(index, character, &context)) {
        case 1:
            result.append(bytes[index]);
            break;
        case 2: {
            qint64 group = 0;
            for (qsizetype i = context; i < index && i < length; ++i)
                if (bytes[i] >= '0' && bytes[i] <= '9')
                    group = std::min<qint64>(group * 10 + (bytes[i] - '0'), 0xFFFFFF);
            const MVRange range = match->rangeForCapture(quint32(group));
            // A group that took no part has no bytes: never read outside
            // the given ones.
            if (range.location >= 0 && range.end() <= length && range.location < length)
                result.append(bytes + range.location, range.length);
            context = MVNotFound;
            break;
        }
        default:
            break;
        }
    }
    return result;
}
