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
        } else {
            continue;
        }
        _embedded.push_back(std::move(entry));
    }
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
        const QStringView s = textToParse(storage, r, buffer);
        const char16_t *c = reinterpret_cast<const char16_t *>(s.utf16());
        const qsizetype n = s.size();

        auto add = [&](const MVTextAttributes &attributes, qsizetype from, qsizetype to) {
            if (!attributes.isEmpty() && to > from)
                overlay.add(attributes, MVRange{r.location + from, to - from});
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
            const qsizetype nameStart = c[after] == u'/' ? after + 1 : after;
            const QStringView name = nameStart < nameEnd ? s.mid(nameStart, nameEnd - nameStart) : QStringView();

            const Embedded *region = nullptr;
            for (const Embedded &entry : _embedded) {
                if (entry.parser && !entry.end.isEmpty() && name.compare(entry.tag, Qt::CaseInsensitive) == 0) {
                    region = &entry;
                    break;
                }
            }

            qsizetype continuation;
            if (region) {
                const qsizetype body = after + name.size();
                const bool single = region->parser->usesSingleQuotes();
                qsizetype end = s.indexOf(region->end, body);
                while (end >= 0 && Parsing::locationInQuotes(s, end, body, single))
                    end = s.indexOf(region->end, end + region->end.size());
                if (end < 0)
                    end = n;
                if (end > body)
                    regions.emplace_back(MVRange{r.location + body, end - body}, region->parser.get());
                continuation = end;
            } else if (name.startsWith(u"!--")) {
                const qsizetype close = s.indexOf(u"-->", lt);
                continuation = close < 0 ? n : close + 3;
                add(_commentsAttr, lt, continuation);
                if (continuation >= n)
                    break;
            } else {
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
                    continuation = close;
                } else {
                    const qsizetype close = gt == None ? n - 1 : gt;
                    add(*tagAttr, lt, close + 1);
                    continuation = close;
                }
            }
            lt = find(u'<', std::max(continuation, after));
        }
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
            embedded.insert(entry.tag, QVariantMap{{QStringLiteral("end"), entry.end}, {QStringLiteral("id"), id}});
        }
        plist.insert(QStringLiteral("embedded"), embedded);
    }
    if (!_embeddedElementIdentifiers.isEmpty())
        plist.insert(QStringLiteral("embedded-elements"), _embeddedElementIdentifiers);
    return plist;
}
