#include "language/MVParser.h"

#include "language/MVDefinitionRegistry.h"
#include "language/parsers/MVKeywordBasedParser.h"
#include "language/parsers/MVTagBasedParser.h"
#include "platform/MVPropertyList.h"
#include "search/MVRegex.h"
#include "search/MVSearch.h"
#include "search/Parsing.h"
#include "text/MVAttributeOverlay.h"
#include "text/MVTextStorage.h"

#include <algorithm>

namespace {

// The two parser formats of "syntax.plist" are known to every bundle that
// can load a parser at all, since bundles link this file.
const bool s_parserFormatsRegistered = [] {
    MVDefinitionRegistry::registerParserFormat(QStringLiteral("keyword"), [](MVBundle *bundle, const QVariantMap &plist) {
        return std::static_pointer_cast<MVParser>(std::make_shared<MVKeywordBasedParser>(bundle, plist));
    });
    MVDefinitionRegistry::registerParserFormat(QStringLiteral("tag"), [](MVBundle *bundle, const QVariantMap &plist) {
        return std::static_pointer_cast<MVParser>(std::make_shared<MVTagBasedParser>(bundle, plist));
    });
    return true;
}();

QStringList stringList(const QVariant &value)
{
    QStringList result;
    for (const QVariant &entry : value.toList()) {
        if (entry.typeId() == QMetaType::QString)
            result.append(entry.toString());
    }
    return result;
}

} // namespace

MVParser::MVParser(MVBundle *bundle, const QVariantMap &plist)
    : _bundle(bundle)
{
    const QVariant id = plist.value(QStringLiteral("format-id"));
    if (id.typeId() == QMetaType::QString)
        _identifier = id.toString();
    const QVariantMap folding = plist.value(QStringLiteral("folding")).toMap();
    setFoldOpener(folding.value(QStringLiteral("open")).toString());
    setFoldCloser(folding.value(QStringLiteral("close")).toString());
    _openers = stringList(plist.value(QStringLiteral("openers")));
    _closers = stringList(plist.value(QStringLiteral("closers")));
}

MVParser::MVParser(MVBundle *bundle, const QString &identifier)
    : _bundle(bundle)
    , _identifier(identifier)
{
}

MVParser::~MVParser() = default;

void MVParser::finishLoad(MVBundleRepository &)
{
}

void MVParser::setTheme(const std::shared_ptr<MVTheme> &theme)
{
    _theme = theme;
}

void MVParser::setFoldOpener(const QString &pattern)
{
    if (pattern.isEmpty())
        return;
    _foldOpenerPattern = pattern;
    _foldOpener = MVRegex::initWithPattern(pattern);
}

void MVParser::setFoldCloser(const QString &pattern)
{
    if (pattern.isEmpty())
        return;
    _foldCloserPattern = pattern;
    _foldCloser = MVRegex::initWithPattern(pattern);
}

MVParser::SubparserRanges MVParser::parseRange(MVRange range, MVTextStorage &storage) const
{
    MVAttributeOverlay overlay;
    SubparserRanges regions = parseRange(range, storage, overlay);
    storage.applyAttributeOverlay(overlay);
    return regions;
}

MVParser::SubparserRanges MVParser::parseRange(MVRange range, const MVTextStorage &, MVAttributeOverlay &overlay) const
{
    overlay.addParser(this, range);
    return {};
}

void MVParser::parseRegion(MVRange range, const MVTextStorage &storage, MVAttributeOverlay &overlay,
                           const std::vector<MVRange> &) const
{
    parseRange(range, storage, overlay);
}

qsizetype MVParser::regionEnd(QStringView text, qsizetype from, QStringView end) const
{
    if (end.isEmpty())
        return -1;
    const bool single = usesSingleQuotes();
    qsizetype found = text.indexOf(end, from);
    while (found >= 0 && Parsing::locationInQuotes(text, found, from, single))
        found = text.indexOf(end, found + end.size());
    return found;
}

QStringView MVParser::textToParse(const MVTextStorage &storage, MVRange range, QString &threadBuffer)
{
    // Keep the buffer while the parses stay long (typing in a long line, a
    // large text coloured piece by piece), but not after a short one.
    const qsizetype capacity = threadBuffer.capacity();
    if (capacity > 65536 && range.length < capacity / 8)
        threadBuffer = QString();
    return storage.view(range, threadBuffer);
}

QStringView MVParser::maskGaps(QStringView text, qsizetype offset, const std::vector<MVRange> &gaps,
                               QString &threadBuffer)
{
    const MVRange whole{offset, text.size()};
    bool any = false;
    for (const MVRange &gap : gaps)
        any = any || MVIntersectionRange(gap, whole).length > 0;
    if (!any)
        return text;
    threadBuffer.resize(text.size());
    std::copy(text.begin(), text.end(), threadBuffer.begin());
    for (const MVRange &gap : gaps) {
        const MVRange inside = MVIntersectionRange(gap, whole);
        // U+FFFF is a noncharacter: no keyword, quote or delimiter.
        std::fill_n(threadBuffer.begin() + (inside.location - offset), inside.length, QChar(0xFFFF));
    }
    return QStringView(threadBuffer);
}

void MVParser::addOutsideGaps(MVAttributeOverlay &overlay, const MVTextAttributes &attributes, MVRange range,
                              const std::vector<MVRange> &gaps)
{
    qsizetype from = range.location;
    const qsizetype to = range.end();
    auto gap = std::lower_bound(gaps.begin(), gaps.end(), from,
                                [](const MVRange &g, qsizetype location) { return g.end() <= location; });
    for (; gap != gaps.end() && gap->location < to && from < to; ++gap) {
        if (gap->location > from)
            overlay.add(attributes, MVRange{from, gap->location - from});
        from = std::max(from, gap->end());
    }
    if (from < to)
        overlay.add(attributes, MVRange{from, to - from});
}

MVRange MVParser::nextSignificantRangeInString(const QString &string, MVRange range)
{
    const qsizetype from = qBound<qsizetype>(0, range.end(), string.size());
    qsizetype lineEnd = from;
    while (lineEnd < string.size() && !MVTextBuffer::isLineTerminator(string.at(lineEnd).unicode()))
        ++lineEnd;
    const QStringView line = QStringView(string).mid(from, lineEnd - from);

    const qsizetype cursor = line.indexOf(u"[*cur]");
    if (cursor >= 0)
        return MVRange{from + cursor, 6};
    const qsizetype quotes = line.indexOf(u"\"\"");
    if (quotes >= 0)
        return MVRange{from + quotes + 1, 0};
    const qsizetype open = line.indexOf(u"[*");
    if (open >= 0) {
        const qsizetype close = line.indexOf(u"*]", open + 2);
        if (close >= 0)
            return MVRange{from + open, close + 2 - open};
    }
    return MVRange::notFound();
}

MVParser::SubparserRanges MVParser::rangesInString(const QString &string, MVRange range) const
{
    const MVRange clipped = MVIntersectionRange(range, MVRange{0, string.size()});
    const QString substring = string.mid(clipped.location, clipped.length);
    auto allRanges = [&](const QStringList &texts) {
        std::vector<MVRange> found;
        for (const QString &text : texts) {
            if (text.isEmpty())
                continue;
            MVSearch search = MVSearch::initWithSearchString(text);
            for (const MVRange &match : search.findAllForString(substring))
                found.push_back(MVRange{match.location + clipped.location, match.length});
        }
        return found;
    };
    const std::vector<MVRange> openers = allRanges(_openers);
    std::vector<MVRange> closers = allRanges(_closers);
    while (closers.size() < openers.size())
        closers.push_back(MVRange{clipped.end(), 0});

    SubparserRanges result;
    for (size_t i = 0; i < openers.size(); ++i) {
        const qsizetype end = closers[i].end();
        if (end < openers[i].location)
            continue; // a closer before its opener pairs with nothing
        result.emplace_back(MVRange{openers[i].location, end - openers[i].location}, const_cast<MVParser *>(this));
    }
    return result;
}

QVariantMap MVParser::plistRepresentation() const
{
    QVariantMap plist;
    plist.insert(QStringLiteral("format-version"), QStringLiteral("1.0"));
    if (!_identifier.isEmpty())
        plist.insert(QStringLiteral("format-id"), _identifier);
    if (!_foldOpenerPattern.isEmpty() || !_foldCloserPattern.isEmpty()) {
        QVariantMap folding;
        if (!_foldOpenerPattern.isEmpty())
            folding.insert(QStringLiteral("open"), _foldOpenerPattern);
        if (!_foldCloserPattern.isEmpty())
            folding.insert(QStringLiteral("close"), _foldCloserPattern);
        plist.insert(QStringLiteral("folding"), folding);
    }
    if (!_openers.isEmpty())
        plist.insert(QStringLiteral("openers"), _openers);
    if (!_closers.isEmpty())
        plist.insert(QStringLiteral("closers"), _closers);
    return plist;
}

bool MVParser::commitToPath(const QString &contentsPath)
{
    if (_codeNavParser && !_codeNavParser->commitToPath(contentsPath))
        return false;
    return MVPropertyList::writeFile(plistRepresentation(), contentsPath + QStringLiteral("/syntax.plist"),
                                     MVPropertyList::BinaryFormat);
}
