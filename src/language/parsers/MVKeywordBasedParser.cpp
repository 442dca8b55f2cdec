#include "language/parsers/MVKeywordBasedParser.h"

#include "language/MVComment.h"
#include "language/MVKeyword.h"
#include "language/MVTheme.h"
#include "search/MVRegex.h"
#include "search/Parsing.h"
#include "text/MVTextBuffer.h"
#include "text/MVTextStorage.h"

#include <QVarLengthArray>

#include <algorithm>
#include <array>
#include <map>

namespace {

constexpr qsizetype None = MVNotFound;

const QString SingleKey = QStringLiteral("single");
const QString DoubleKey = QStringLiteral("double");

std::u16string toU16(const QString &s)
{
    return std::u16string(reinterpret_cast<const char16_t *>(s.utf16()), size_t(s.size()));
}

char16_t lower(char16_t c)
{
    if (c < 0x80)
        return (c >= u'A' && c <= u'Z') ? char16_t(c + 32) : c;
    return QChar(c).toLower().unicode();
}

} // namespace

// Where each comment opener was last found: the first occurrence at or after
// the place of the last search, or None. A search is repeated only once the
// scan has passed the occurrence, so each opener costs one pass over the
// range however many tokens lie between its occurrences.
struct MVKeywordBasedParser::CommentCache
{
    static constexpr qsizetype Unknown = -1;
    QVarLengthArray<qsizetype, 8> next;
};

MVKeywordBasedParser::MVKeywordBasedParser(MVBundle *bundle, const QVariantMap &plist)
    : MVParser(bundle, plist)
    , _keywordCharacters(1024, 0)
{
    _caseSensitive = plist.value(QStringLiteral("case-sensitive")).toBool();
    const QVariant characters = plist.value(QStringLiteral("keyword-characters"));
    if (characters.typeId() == QMetaType::QString)
        setKeywordCharacters(characters.toString());
    _loadKeywordsFromPlist(plist);
    _loadQuotesInformationFromPlist(plist);
    _loadCommentsFromPlist(plist);
}

MVKeywordBasedParser::~MVKeywordBasedParser() = default;

void MVKeywordBasedParser::setKeywordCharacters(const QString &characters)
{
    if (characters == _characterString && !characters.isNull())
        return;
    _characterString = characters;
    std::fill(_keywordCharacters.begin(), _keywordCharacters.end(), 0);
    for (const QChar c : characters)
        _keywordCharacters[c.unicode() >> 6] |= quint64(1) << (c.unicode() & 63);
}

void MVKeywordBasedParser::_addLiteral(const std::shared_ptr<MVKeyword> &keyword)
{
    _keywords.insert_or_assign(toU16(keyword->keyword()), keyword);
}

void MVKeywordBasedParser::_loadKeywordsFromPlist(const QVariantMap &plist)
{
    const QVariantMap keywords = plist.value(QStringLiteral("keywords")).toMap();
    for (auto it = keywords.cbegin(); it != keywords.cend(); ++it) {
        for (const QVariant &word : it.value().toList()) {
            if (word.typeId() == QMetaType::QString && !word.toString().isEmpty())
                _addLiteral(std::make_shared<MVKeyword>(it.key(), word.toString()));
        }
    }
    for (const QVariant &entry : plist.value(QStringLiteral("regex-keywords")).toList()) {
        if (entry.typeId() == QMetaType::QVariantMap)
            _regexKeywords.push_back(MVKeyword::initWithPlist(entry.toMap()));
    }
}

void MVKeywordBasedParser::_loadQuotesInformationFromPlist(const QVariantMap &plist)
{
    const QVariantMap quotes = plist.value(QStringLiteral("quotes")).toMap();
    if (quotes.contains(SingleKey))
        _singleQuoteStyle = quotes.value(SingleKey).toString();
    if (quotes.contains(DoubleKey))
        _doubleQuoteStyle = quotes.value(DoubleKey).toString();
    _loadQuotesAttributes();
}

void MVKeywordBasedParser::_loadCommentsFromPlist(const QVariantMap &plist)
{
    for (const QVariant &entry : plist.value(QStringLiteral("comments")).toList()) {
        if (entry.typeId() == QMetaType::QVariantMap)
            _comments.push_back(std::make_shared<MVComment>(entry.toMap()));
    }
}

void MVKeywordBasedParser::_loadQuotesAttributes()
{
    // Strings in either quote may span lines: their attributes carry the
    // multi-line mark so that an edit inside re-parses from the opening quote.
    auto load = [this](const std::optional<QString> &style) {
        MVTextAttributes attributes;
        if (style && theme())
            attributes = theme()->attributesForIdentifier(*style);
        if (!attributes.isEmpty())
            attributes.setMultiLine();
        return attributes;
    };
    _singleQuoteAttr = load(_singleQuoteStyle);
    _doubleQuoteAttr = load(_doubleQuoteStyle);
}

void MVKeywordBasedParser::setTheme(const std::shared_ptr<MVTheme> &theme)
{
    MVParser::setTheme(theme);
    for (auto &entry : _keywords)
        entry.second->setTheme(theme);
    for (auto &keyword : _regexKeywords)
        keyword->setTheme(theme);
    for (auto &comment : _comments)
        comment->setTheme(theme);
    _loadQuotesAttributes();
}

const MVKeyword *MVKeywordBasedParser::keywordForWord(QStringView word) const
{
    const std::u16string_view view(reinterpret_cast<const char16_t *>(word.utf16()), size_t(word.size()));
    const auto it = _keywords.find(view);
    if (it != _keywords.end())
        return it->second.get();
    for (const auto &keyword : _regexKeywords) {
        if (!keyword->regex())
            continue;
        const auto match = keyword->regex()->copyMatchForCharacters(view.data(), qsizetype(view.size()),
                                                                    MVRange{0, qsizetype(view.size())});
        if (match && match->rangeForCapture(0).length == qsizetype(view.size()))
            return keyword.get();
    }
    return nullptr;
}

std::optional<MVKeywordBasedParser::CommentMatch>
MVKeywordBasedParser::_rangeOfComment(QStringView s, qsizetype from, qsizetype offset, const MVTextStorage &storage,
                                      CommentCache &cache) const
{
    const qsizetype n = s.size();
    if (_comments.empty() || from >= n)
        return std::nullopt;
    // The first in the list wins a tie; a later one only wins when its
    // opener lies completely before the best so far.
    qsizetype limit = n - from;
    qsizetype best = None;
    const MVComment *comment = nullptr;
    for (qsizetype i = 0; i < qsizetype(_comments.size()); ++i) {
        const QString &begin = _comments[size_t(i)]->begin();
        if (begin.isEmpty())
            continue;
        qsizetype &next = cache.next[i];
        if (next == CommentCache::Unknown || (next != None && next < from)) {
            const qsizetype found = s.indexOf(begin, from);
            next = found < 0 ? None : found;
        }
        if (next != None && next - from + begin.size() <= limit) {
            best = next;
            limit = next - from;
            comment = _comments[size_t(i)].get();
        }
    }
    if (!comment)
        return std::nullopt;

    const qsizetype openerEnd = best + comment->begin().size();
    qsizetype end = n;
    if (comment->end().isEmpty()) {
        // To the end of the line in the whole text, whatever the range; the
        // last character of the line break stays outside (a CR of CR LF is in).
        const MVRange line = storage.lineRangeForRange(MVRange{offset + best, 0});
        end = line.end() - offset;
        if (line.end() != storage.length())
            end -= 1;
        // Never past the range: the range of an embedded region ends where
        // the region does, and what follows is another language's.
        end = std::clamp(end, openerEnd, n);
    } else {
        const qsizetype found = s.indexOf(comment->end(), openerEnd);
        end = found < 0 ? n : found + comment->end().size();
    }
    return CommentMatch{best, end, comment};
}

MVParser::SubparserRanges MVKeywordBasedParser::parseRange(MVRange range, const MVTextStorage &storage,
                                                           MVAttributeOverlay &overlay) const
{
    static const std::vector<MVRange> noGaps;
    _parse(range, storage, overlay, noGaps);
    return {};
}

void MVKeywordBasedParser::parseRegion(MVRange range, const MVTextStorage &storage, MVAttributeOverlay &overlay,
                                       const std::vector<MVRange> &gaps) const
{
    _parse(range, storage, overlay, gaps);
}

qsizetype MVKeywordBasedParser::regionEnd(QStringView text, qsizetype from, QStringView end) const
{
    if (end.isEmpty())
        return -1;
    const char16_t *c = reinterpret_cast<const char16_t *>(text.utf16());
    const qsizetype n = text.size();
    const char16_t first = end[0].unicode();
    const bool single = _singleQuoteStyle.has_value();
    const bool dbl = _doubleQuoteStyle.has_value();
    auto endAt = [&](qsizetype i) { return c[i] == first && text.mid(i).startsWith(end); };
    qsizetype i = std::max<qsizetype>(from, 0);
    while (i < n) {
        const char16_t ch = c[i];
        if (endAt(i))
            return i;
        // What the scan takes for a word can hide neither a string nor a comment.
        if (isKeywordCharacter(ch)) {
            ++i;
            continue;
        }
        if ((dbl && ch == u'"') || (single && ch == u'\'')) {
            qsizetype f = i + 1;
            while (f < n && (c[f] != ch || (f + 1 < n && Parsing::characterIsEscapedAtIndex(text, f, QLatin1Char('\\')))))
                ++f;
            if (f >= n)
                return -1;
            i = f + 1;
            continue;
        }
        const MVComment *comment = nullptr;
        for (const auto &candidate : _comments) {
            const QString &begin = candidate->begin();
            if (!begin.isEmpty() && begin[0] == ch && text.mid(i).startsWith(begin)) {
                comment = candidate.get();
                break;
            }
        }
        if (!comment) {
            ++i;
            continue;
        }
        i += comment->begin().size();
        if (comment->end().isEmpty()) {
            while (i < n && !MVTextBuffer::isLineTerminator(c[i])) {
                if (endAt(i))
                    return i;
                ++i;
            }
        } else {
            const qsizetype close = text.indexOf(comment->end(), i);
            if (close < 0)
                return -1;
            i = close + comment->end().size();
        }
    }
    return -1;
}

void MVKeywordBasedParser::_parse(MVRange range, const MVTextStorage &storage, MVAttributeOverlay &overlay,
                                  const std::vector<MVRange> &gaps) const
{
    const MVRange r = MVIntersectionRange(range, MVRange{0, storage.length()});
    if (r.length > 0) {
        thread_local QString buffer;
        thread_local QString maskBuffer;
        QStringView s = textToParse(storage, r, buffer);
        if (!gaps.empty())
            s = maskGaps(s, r.location, gaps, maskBuffer);
        const char16_t *c = reinterpret_cast<const char16_t *>(s.utf16());
        const qsizetype e = s.size();
        const bool single = _singleQuoteStyle.has_value();
        const bool dbl = _doubleQuoteStyle.has_value();

        auto nextQuote = [&](qsizetype from) {
            if (!single && !dbl)
                return None;
            for (qsizetype i = from; i < e; ++i) {
                if ((dbl && c[i] == u'"') || (single && c[i] == u'\''))
                    return i;
            }
            return None;
        };
        auto nextWord = [&](qsizetype from) {
            for (qsizetype i = from; i < e; ++i) {
                if (isKeywordCharacter(c[i]))
                    return i;
            }
            return None;
        };
        auto add = [&](const MVTextAttributes &attributes, qsizetype from, qsizetype to) {
            if (attributes.isEmpty() || to <= from)
                return;
            if (gaps.empty())
                overlay.add(attributes, MVRange{r.location + from, to - from});
            else
                addOutsideGaps(overlay, attributes, MVRange{r.location + from, to - from}, gaps);
        };

        // Each distinct word of the parse is looked up once (the patterns
        // are costly); the same identifiers come back on every line.
        // A small table of recent words in front of the map answers most
        // lookups with one comparison.
        std::unordered_map<std::u16string, const MVKeyword *, Hash, Equal> seen;
        struct Recent
        {
            const std::u16string *word = nullptr;
            const MVKeyword *keyword = nullptr;
        };
        std::array<Recent, 512> recent{};
        auto keywordForWordCached = [&](const std::u16string &candidate) -> const MVKeyword * {
            Recent &slot = recent[Hash()(candidate) % recent.size()];
            if (slot.word && *slot.word == candidate)
                return slot.keyword;
            auto known = seen.find(candidate);
            if (known == seen.end()) {
                const MVKeyword *found = keywordForWord(QStringView(candidate.data(), qsizetype(candidate.size())));
                known = seen.emplace(candidate, found).first;
            }
            slot = Recent{&known->first, known->second};
            return known->second;
        };

        CommentCache cache;
        cache.next.resize(qsizetype(_comments.size()));
        std::fill(cache.next.begin(), cache.next.end(), CommentCache::Unknown);
        std::u16string word;

        qsizetype q = nextQuote(0);
        qsizetype w = nextWord(0);
        std::optional<CommentMatch> comment = _rangeOfComment(s, 0, r.location, storage, cache);
        auto commentAt = [&] { return comment ? comment->location : None; };

        while (commentAt() != None || q != None || w != None) {
            qsizetype p;
            if (commentAt() < w && commentAt() < q) {
                add(comment->comment->attributes(), comment->location, comment->end);
                p = comment->end;
            } else if (q < w) {
                const char16_t quote = c[q];
                qsizetype taken = e - 1;
                for (qsizetype f = q + 1; f < e; ++f) {
                    if (c[f] != quote)
                        continue;
                    if (f + 1 >= e || !Parsing::characterIsEscapedAtIndex(s, f, QLatin1Char('\\'))) {
                        taken = f;
                        break;
                    }
                }
                add(quote == u'"' ? _doubleQuoteAttr : _singleQuoteAttr, q, taken + 1);
                p = taken + 1;
            } else {
                p = w + 1;
                while (p < e && isKeywordCharacter(c[p]))
                    ++p;
                word.assign(c + w, size_t(p - w));
                if (!_caseSensitive)
                    std::transform(word.begin(), word.end(), word.begin(), lower);
                if (const MVKeyword *keyword = keywordForWordCached(word))
                    add(keyword->attributes(), w, p);
            }
            if (p > e)
                p = e;
            if (q < p)
                q = nextQuote(p);
            if (comment && comment->location < p) {
                if (p >= e)
                    comment.reset();
                else
                    comment = _rangeOfComment(s, p, r.location, storage, cache);
            }
            w = p < e ? nextWord(p) : None;
        }
    }
    if (gaps.empty()) {
        MVParser::parseRange(range, storage, overlay);
        return;
    }
    // The gaps keep the mark of the page around this region.
    qsizetype from = range.location;
    for (const MVRange &gap : gaps) {
        if (gap.location > from)
            overlay.addParser(this, MVRange{from, gap.location - from});
        from = std::max(from, gap.end());
    }
    if (from < range.end())
        overlay.addParser(this, MVRange{from, range.end() - from});
}

QVariantList MVKeywordBasedParser::identifiers() const
{
    std::map<QString, QStringList> groups;
    for (const auto &entry : _keywords) {
        if (!entry.second->identifier().isEmpty())
            groups[entry.second->identifier()].append(entry.second->stringValue());
    }
    for (const auto &keyword : _regexKeywords) {
        if (!keyword->identifier().isEmpty())
            groups[keyword->identifier()].append(keyword->stringValue());
    }
    QVariantList result;
    for (auto &[title, words] : groups) {
        std::sort(words.begin(), words.end());
        QVariantList keywords;
        for (const QString &word : words)
            keywords.append(QVariantMap{{QStringLiteral("title"), word}});
        result.append(QVariantMap{{QStringLiteral("title"), title}, {QStringLiteral("keywords"), keywords}});
    }
    return result;
}

void MVKeywordBasedParser::setIdentifiers(const QVariantList &identifiers)
{
    _keywords.clear();
    _regexKeywords.clear();
    for (const QVariant &group : identifiers) {
        const QVariantMap map = group.toMap();
        const QString style = map.value(QStringLiteral("title")).toString();
        if (style.isEmpty())
            continue;
        for (const QVariant &entry : map.value(QStringLiteral("keywords")).toList()) {
            const QString word = entry.toMap().value(QStringLiteral("title")).toString();
            if (word.isEmpty())
                continue;
            const bool literal = std::all_of(word.cbegin(), word.cend(),
                                             [this](QChar ch) { return isKeywordCharacter(ch.unicode()); });
            std::shared_ptr<MVKeyword> keyword = literal ? std::make_shared<MVKeyword>(style, word)
                                                         : MVKeyword::initWithIdentifierPattern(style, word);
            keyword->setTheme(theme());
            if (literal)
                _addLiteral(keyword);
            else
                _regexKeywords.push_back(keyword);
        }
    }
}

QVariantMap MVKeywordBasedParser::plistRepresentation() const
{
    QVariantMap plist = MVParser::plistRepresentation();
    plist.insert(QStringLiteral("format-type"), QStringLiteral("keyword"));
    if (!_characterString.isEmpty())
        plist.insert(QStringLiteral("keyword-characters"), _characterString);
    // Written when true, so that a language written back keeps its case rule.
    if (_caseSensitive)
        plist.insert(QStringLiteral("case-sensitive"), true);
    QVariantMap quotes;
    if (_singleQuoteStyle)
        quotes.insert(SingleKey, *_singleQuoteStyle);
    if (_doubleQuoteStyle)
        quotes.insert(DoubleKey, *_doubleQuoteStyle);
    plist.insert(QStringLiteral("quotes"), quotes);
    QVariantList comments;
    for (const auto &comment : _comments)
        comments.append(comment->plistRepresentation());
    plist.insert(QStringLiteral("comments"), comments);

    std::map<QString, QStringList> groups;
    for (const auto &entry : _keywords) {
        if (!entry.second->identifier().isEmpty())
            groups[entry.second->identifier()].append(entry.second->keyword());
    }
    if (!groups.empty()) {
        QVariantMap keywords;
        for (auto &[style, words] : groups) {
            std::sort(words.begin(), words.end());
            keywords.insert(style, words);
        }
        plist.insert(QStringLiteral("keywords"), keywords);
    }
    if (!_regexKeywords.empty()) {
        QVariantList patterns;
        for (const auto &keyword : _regexKeywords)
            patterns.append(keyword->plistRepresentation());
        plist.insert(QStringLiteral("regex-keywords"), patterns);
    }
    return plist;
}
