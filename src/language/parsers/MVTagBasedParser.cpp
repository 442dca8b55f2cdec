#include "language/parsers/MVTagBasedParser.h"

#include "language/MVBundle.h"
#include "language/MVBundleRepository.h"
#include "language/MVTheme.h"
#include "search/Parsing.h"
#include "text/MVTextStorage.h"

#include <algorithm>

namespace {

constexpr qsizetype None = MVNotFound;

bool isWhitespace(char16_t c)
{
    return c == u' ' || c == u'\t' || c == u'\n' || c == u'\r' || c == 0x0B || c == 0x0C || c == 0x85 || c == 0xA0
           || c == 0x2028 || c == 0x2029 || (c >= 0x2000 && c <= 0x200A) || c == 0x3000 || c == 0x1680
           || c == 0x202F || c == 0x205F;
}

} // namespace

MVTagBasedParser::MVTagBasedParser(MVBundle *bundle, const QVariantMap &plist)
    : MVParser(bundle, plist)
{
    _tagPrefix = plist.value(QStringLiteral("tag-prefix")).toString();
    _loadEmbedded(plist.value(QStringLiteral("embedded")));
    for (const QVariant &entry : plist.value(QStringLiteral("embedded-elements")).toList()) {
        if (entry.typeId() == QMetaType::QString && !entry.toString().isEmpty())
            _embeddedElementIdentifiers.append(entry.toString());
    }
    _style = plist.value(QStringLiteral("style")).toMap();
}

MVTagBasedParser::~MVTagBasedParser() = default;

void MVTagBasedParser::_loadEmbedded(const QVariant &embedded)
{
    const QVariantMap map = embedded.toMap();
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        Embedded entry;
        entry.tag = it.key().toLower();
        if (entry.tag.isEmpty())
            continue;
        if (it.value().typeId() == QMetaType::QString) {
            entry.identifier = it.value().toString();
            entry.end = entry.tag + QLatin1Char('>');
        } else if (it.value().typeId() == QMetaType::QVariantMap) {
            const QVariantMap value = it.value().toMap();
            entry.identifier = value.value(QStringLiteral("id")).toString();
            entry.end = value.value(QStringLiteral("end")).toString();
            entry.isInline = value.value(QStringLiteral("inline")).toBool();
        } else {
            continue;
        }
        if (entry.isInline) {
            _inlineStarts += entry.tag[0].toLower();
            _inlineStarts += entry.tag[0].toUpper();
        }
        _embedded.push_back(std::move(entry));
    }
}

const MVTagBasedParser::Embedded *MVTagBasedParser::_inlineAt(QStringView text, qsizetype at) const
{
    const Embedded *found = nullptr;
    const QStringView rest = text.mid(at + 1);
    for (const Embedded &entry : _embedded) {
        if (entry.isInline && entry.parser && !entry.end.isEmpty() && rest.startsWith(entry.tag, Qt::CaseInsensitive)
            && (!found || entry.tag.size() > found->tag.size()))
            found = &entry;
    }
    return found;
}

void MVTagBasedParser::finishLoad(MVBundleRepository &repository)
{
    _subparsers.clear();
    for (Embedded &entry : _embedded) {
        entry.parser.reset();
        const auto bundle = repository.bundleForIdentifier(entry.identifier);
        auto parser = bundle ? bundle->parser() : nullptr;
        // A language cannot stand inside itself: its region would never end
        // being parsed by the language that opened it.
        if (!parser || parser.get() == this)
            continue;
        entry.parser = parser;
        if (std::find(_subparsers.begin(), _subparsers.end(), parser.get()) == _subparsers.end())
            _subparsers.push_back(parser.get());
    }
    _embeddedElementParsers.clear();
    _embeddedElements.clear();
    for (const QString &identifier : _embeddedElementIdentifiers) {
        const auto bundle = repository.bundleForIdentifier(identifier);
        auto parser = std::dynamic_pointer_cast<MVTagBasedParser>(bundle ? bundle->parser() : nullptr);
        if (!parser || parser.get() == this)
            continue;
        _embeddedElements.push_back(parser.get());
        _embeddedElementParsers.push_back(std::move(parser));
    }
}

void MVTagBasedParser::setStyle(const QVariantMap &style)
{
    _style = style;
    _loadAttributes();
}

void MVTagBasedParser::_loadAttributes()
{
    auto load = [this](const char *key) {
        const QString id = _style.value(QLatin1String(key)).toString();
        return theme() && !id.isEmpty() ? theme()->attributesForIdentifier(id) : MVTextAttributes();
    };
    _tagAttr = load("tags");
    _attributeAttr = load("attributes");
    _quotesAttr = load("quotes");
    // Only comments are re-parsed from their start after an edit below them.
    _commentsAttr = load("comments");
    _commentsAttr.setMultiLine();
}

void MVTagBasedParser::setTheme(const std::shared_ptr<MVTheme> &theme)
{
    if (_settingTheme)
        return;
    _settingTheme = true;
    MVParser::setTheme(theme);
    _loadAttributes();
    for (const Embedded &entry : _embedded) {
        if (entry.parser)
            entry.parser->setTheme(theme);
    }
    for (MVTagBasedParser *element : _embeddedElements)
        element->setTheme(theme);
    _settingTheme = false;
}

void MVTagBasedParser::_getAttributesForTag(QStringView name, const MVTextAttributes **tag,
                                            const MVTextAttributes **quote) const
{
    const MVTagBasedParser *owner = nullptr;
    for (const MVTagBasedParser *element : _embeddedElements) {
        if (!element->_tagPrefix.isEmpty() && name.startsWith(element->_tagPrefix, Qt::CaseInsensitive))
            owner = element;
    }
    *tag = owner && !owner->_tagAttr.isEmpty() ? &owner->_tagAttr : &_tagAttr;
    *quote = owner && !owner->_quotesAttr.isEmpty() ? &owner->_quotesAttr : &_quotesAttr;
}

MVParser::SubparserRanges MVTagBasedParser::parseRange(MVRange range, const MVTextStorage &storage,
                                                       MVAttributeOverlay &overlay) const
{
    SubparserRanges regions;
    const MVRange r = MVIntersectionRange(range, MVRange{0, storage.length()});
    if (r.length > 0) {
        thread_local QString buffer;
        thread_local QString maskBuffer;
        const QStringView text = textToParse(storage, r, buffer);
        const qsizetype n = text.size();

        // Inline regions first: they may stand anywhere, so the markup is
        // scanned with them masked out and coloured around them.
        struct Inline
        {
            qsizetype open;
            qsizetype body;
            qsizetype end;
            qsizetype close;
            const Embedded *entry;
        };
        std::vector<Inline> inlines;
        std::vector<MVRange> blocks;
        if (!_inlineStarts.isEmpty()) {
            qsizetype at = text.indexOf(u'<');
            while (at >= 0 && at + 1 < n) {
                const Embedded *entry = _inlineStarts.contains(text[at + 1]) ? _inlineAt(text, at) : nullptr;
                if (!entry) {
                    at = text.indexOf(u'<', at + 1);
                    continue;
                }
                const qsizetype body = at + 1 + entry->tag.size();
                const qsizetype end = entry->parser->regionEnd(text, body, entry->end);
                const Inline block{at, body, end < 0 ? n : end, end < 0 ? n : end + entry->end.size(), entry};
                inlines.push_back(block);
                blocks.push_back(MVRange{r.location + block.open, block.close - block.open});
                at = text.indexOf(u'<', block.close);
            }
        }
        const QStringView s = blocks.empty() ? text : maskGaps(text, r.location, blocks, maskBuffer);
        const char16_t *c = reinterpret_cast<const char16_t *>(s.utf16());

        // Colours go around inline regions. The scan adds in text order, so
        // the first block that can meet an addition only moves forward.
        size_t nextBlock = 0;
        auto add = [&](const MVTextAttributes &attributes, qsizetype from, qsizetype to) {
            if (attributes.isEmpty() || to <= from)
                return;
            from += r.location;
            to += r.location;
            while (nextBlock < blocks.size() && blocks[nextBlock].end() <= from)
                ++nextBlock;
            for (size_t b = nextBlock; b < blocks.size() && blocks[b].location < to; ++b) {
                if (blocks[b].location > from)
                    overlay.add(attributes, MVRange{from, blocks[b].location - from});
                from = std::max(from, blocks[b].end());
            }
            if (from < to)
                overlay.add(attributes, MVRange{from, to - from});
        };
        auto find = [&](char16_t what, qsizetype from) {
            for (qsizetype i = from; i < n; ++i) {
                if (c[i] == what)
                    return i;
            }
            return None;
        };
        // Each search is repeated only when the scan has passed its last
        // result, so a tag-heavy line without blanks costs one pass.
        qsizetype gt = -1;
        qsizetype quote = -1;
        qsizetype ws = -1;
        auto nextGt = [&](qsizetype from) {
            if (gt != None && gt < from)
                gt = find(u'>', from);
            return gt;
        };
        auto nextQuote = [&](qsizetype from) {
            if (quote != None && quote < from)
                quote = find(u'"', from);
            return quote;
        };
        auto nextWs = [&](qsizetype from) {
            if (ws != None && ws < from) {
                ws = None;
                for (qsizetype i = from; i < n; ++i) {
                    if (isWhitespace(c[i])) {
                        ws = i;
                        break;
                    }
                }
            }
            return ws == None ? n : ws;
        };
        // A tag from lt: the tag colour with double-quoted values in the
        // quote colour. Gives the location of its ">" (n - 1 without one).
        auto colourTag = [&](qsizetype lt, QStringView name) {
            const MVTextAttributes *tagAttr = nullptr;
            const MVTextAttributes *quoteAttr = nullptr;
            _getAttributesForTag(name, &tagAttr, &quoteAttr);
            if (quote < gt) {
                qsizetype start = lt;
                qsizetype cq = 0;
                while (quote < gt) {
                    add(*tagAttr, start, quote);
                    cq = find(u'"', quote + 1);
                    if (cq == None)
                        cq = gt != None ? gt : n - 1;
                    add(*quoteAttr, quote, cq + 1);
                    start = cq + 1;
                    nextGt(start);
                    nextQuote(start);
                }
                const qsizetype close = gt == None ? n - 1 : gt;
                add(*tagAttr, cq + 1, close + 1);
                return close;
            }
            const qsizetype close = gt == None ? n - 1 : gt;
            add(*tagAttr, lt, close + 1);
            return close;
        };
        // The region of entry from body to its end text, which with a "<"
        // or "</" right before it is coloured as a tag. Gives where the scan
        // goes on.
        auto region = [&](const Embedded &entry, qsizetype body) {
            const qsizetype end = body < n ? entry.parser->regionEnd(s, body, entry.end) : -1;
            qsizetype bodyEnd = end < 0 ? n : end;
            if (end >= 0 && !entry.end.startsWith(u'<')) {
                if (end - body >= 2 && c[end - 2] == u'<' && c[end - 1] == u'/')
                    bodyEnd = end - 2;
                else if (end > body && c[end - 1] == u'<')
                    bodyEnd = end - 1;
            }
            if (bodyEnd > body) {
                const MVRange inStorage{r.location + body, bodyEnd - body};
                regions.emplace_back(inStorage, entry.parser.get());
                // The inline regions inside are gaps of this one.
                auto gap = std::lower_bound(blocks.begin(), blocks.end(), inStorage.location,
                                            [](const MVRange &b, qsizetype location) { return b.end() <= location; });
                for (; gap != blocks.end() && gap->location < inStorage.end(); ++gap)
                    regions.emplace_back(*gap, nullptr);
            }
            if (end < 0)
                return n;
            const qsizetype close = end + entry.end.size();
            add(_tagAttr, bodyEnd, close);
            return close;
        };

        qsizetype lt = find(u'<', 0);
        while (lt != None && lt < n) {
            const qsizetype after = lt + 1;
            if (after == n) {
                add(_tagAttr, lt, n);
                break;
            }
            nextGt(after);
            nextQuote(after);
            const qsizetype nameEnd = std::min(gt, nextWs(after));
            const bool closing = c[after] == u'/';
            const qsizetype nameStart = closing ? after + 1 : after;
            const QStringView name = nameStart < nameEnd ? s.mid(nameStart, nameEnd - nameStart) : QStringView();

            // A closing tag is a tag, whatever its name.
            const Embedded *embedded = nullptr;
            for (const Embedded &entry : _embedded) {
                if (!closing && !entry.isInline && entry.parser && !entry.end.isEmpty()
                    && name.compare(entry.tag, Qt::CaseInsensitive) == 0) {
                    embedded = &entry;
                    break;
                }
            }

            qsizetype continuation;
            if (embedded && embedded->tag[0].isLetter()) {
                const qsizetype close = colourTag(lt, name);
                continuation = region(*embedded, close < n && c[close] == u'>' ? close + 1 : n);
            } else if (embedded) {
                const qsizetype body = nameStart + name.size();
                add(_tagAttr, lt, body);
                continuation = region(*embedded, body);
            } else if (name.startsWith(u"!--")) {
                const qsizetype close = s.indexOf(u"-->", lt);
                continuation = close < 0 ? n : close + 3;
                add(_commentsAttr, lt, continuation);
            } else {
                continuation = colourTag(lt, name);
            }
            if (continuation >= n)
                break;
            lt = find(u'<', std::max(continuation, after));
        }

        // The delimiters of inline regions are tags; the code between them
        // goes to its language.
        for (const Inline &block : inlines) {
            overlay.add(_tagAttr, MVRange{r.location + block.open, block.body - block.open});
            overlay.add(_tagAttr, MVRange{r.location + block.end, block.close - block.end});
            if (block.end > block.body)
                regions.emplace_back(MVRange{r.location + block.body, block.end - block.body}, block.entry->parser.get());
        }
        if (!inlines.empty())
            std::stable_sort(regions.begin(), regions.end(),
                             [](const auto &a, const auto &b) { return a.first.location < b.first.location; });
    }
    MVParser::parseRange(range, storage, overlay);
    return regions;
}

QVariantMap MVTagBasedParser::plistRepresentation() const
{
    QVariantMap plist = MVParser::plistRepresentation();
    plist.insert(QStringLiteral("format-type"), QStringLiteral("tag"));
    if (!_tagPrefix.isEmpty())
        plist.insert(QStringLiteral("tag-prefix"), _tagPrefix);
    if (!_style.isEmpty())
        plist.insert(QStringLiteral("style"), _style);
    if (!_embedded.empty()) {
        QVariantMap embedded;
        for (const Embedded &entry : _embedded) {
            // The identifier is written even when its language is missing,
            // so that the region comes back once the language is there.
            const QString id = entry.parser && !entry.parser->identifier().isEmpty() ? entry.parser->identifier()
                                                                                    : entry.identifier;
            QVariantMap value{{QStringLiteral("end"), entry.end}, {QStringLiteral("id"), id}};
            if (entry.isInline)
                value.insert(QStringLiteral("inline"), true);
            embedded.insert(entry.tag, value);
        }
        plist.insert(QStringLiteral("embedded"), embedded);
    }
    if (!_embeddedElementIdentifiers.isEmpty())
        plist.insert(QStringLiteral("embedded-elements"), _embeddedElementIdentifiers);
    return plist;
}
