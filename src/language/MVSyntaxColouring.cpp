#include "language/MVSyntaxColouring.h"

#include "language/MVParser.h"
#include "text/MVTextStorage.h"

MVRange MVSyntaxColouring::rangeToHighlightForRange(const MVTextStorage &storage, MVRange range)
{
    const MVRange lines = storage.lineRangeForRange(range);
    const qsizetype anchor = lines.location > 0 ? lines.location - 1 : 0;
    if (anchor >= range.location)
        return lines;
    // Every multi-line stretch between the anchor and the change lies after
    // the first one, so that one alone decides how far back to reach: find
    // its first character, then the start of the stretch.
    qsizetype first = MVNotFound;
    storage.forEachRun(MVRange{anchor, range.location - anchor}, [&](MVRange run, const MVTextAttributes &attributes) {
        if (!attributes.isMultiLine())
            return true;
        first = run.location;
        return false;
    });
    if (first == MVNotFound)
        return lines;
    MVRange stretch;
    storage.attribute(MVAttribute::MultiLine, first, &stretch, MVRange{0, range.location});
    const MVRange united = MVUnionRange(range, stretch);
    if (united == range)
        return lines;
    return storage.lineRangeForRange(united);
}

void MVSyntaxColouring::syntaxHighlight(MVRange range, MVTextStorage &storage, const MVTextAttributes &standardAttributes,
                                        const MVParser *parser)
{
    const MVRange r = MVIntersectionRange(range, MVRange{0, storage.length()});
    // One overlay per thread serves every colouring, so that typing allocates
    // nothing; a colouring started while another one is gathering its
    // colours gets an overlay of its own.
    thread_local MVAttributeOverlay shared;
    thread_local bool sharedInUse = false;
    MVAttributeOverlay local;
    const bool useShared = !sharedInUse;
    MVAttributeOverlay &overlay = useShared ? shared : local;
    sharedInUse = true;
    overlay.clear();
    // Dense code has a token every few characters; reserving for that keeps
    // a large parse from growing the list by copies (memory reserved but not
    // written costs nothing).
    overlay.reserve(qMin<qsizetype>(r.length / 3, qsizetype(1) << 21));
    // A style's background does not outlive the style when the standard
    // attributes leave the background to the view.
    if (standardAttributes.has(MVAttribute::BackgroundColor))
        overlay.setBase(r, standardAttributes, {MVAttribute::MultiLine});
    else
        overlay.setBase(r, standardAttributes, {MVAttribute::MultiLine, MVAttribute::BackgroundColor});
    if (parser && r.length > 0) {
        const MVParser::SubparserRanges regions = parser->parseRange(r, storage, overlay);
        std::vector<MVRange> gaps;
        for (size_t i = 0; i < regions.size(); ++i) {
            const auto &[region, subparser] = regions[i];
            if (!subparser || region.length <= 0)
                continue;
            // Entries without a parser that start inside the region are its gaps.
            gaps.clear();
            for (size_t j = i + 1; j < regions.size() && regions[j].first.location < region.end(); ++j) {
                if (!regions[j].second)
                    gaps.push_back(regions[j].first);
            }
            if (gaps.empty())
                subparser->parseRange(region, storage, overlay);
            else
                subparser->parseRegion(region, storage, overlay, gaps);
        }
    }
    storage.beginEditing();
    storage.applyAttributeOverlay(overlay);
    if (useShared) {
        overlay.clear();
        sharedInUse = false;
    }
    storage.endEditing();
}

namespace {

// The last occurrence of what in [from, to) of the storage, ignoring case;
// -1 if none. The search goes backwards a chunk at a time, so that it reads
// only as far back as the occurrence and copies at most a chunk.
qsizetype lastInStorage(const MVTextStorage &storage, const QString &what, qsizetype from, qsizetype to, QString &scratch)
{
    if (what.isEmpty() || to - from < what.size())
        return -1;
    const qsizetype chunk = qMax<qsizetype>(qsizetype(1) << 16, 4 * what.size());
    qsizetype end = to;
    while (end - from >= what.size()) {
        qsizetype chunkStart = qMax(from, end - chunk);
        // Never start a chunk between the two halves of a surrogate pair.
        if (chunkStart > from && storage.characterAt(chunkStart).isLowSurrogate())
            --chunkStart;
        const QStringView view = storage.view(MVRange{chunkStart, end - chunkStart}, scratch);
        const qsizetype found = view.lastIndexOf(what, -1, Qt::CaseInsensitive);
        if (found >= 0)
            return chunkStart + found;
        if (chunkStart == from)
            break;
        // The next chunk overlaps this one by what a match across the cut needs.
        end = chunkStart + what.size() - 1;
    }
    return -1;
}

} // namespace

MVParser *MVSyntaxColouring::checkForOpenSpecialsBefore(MVParser *parser, const MVTextStorage &storage,
                                                       qsizetype location, const std::shared_ptr<MVTheme> &theme)
{
    if (!parser)
        return nullptr;
    location = qBound<qsizetype>(0, location, storage.length());
    const std::vector<MVParser *> subparsers = parser->subparsers();
    if (subparsers.empty() || location == 0)
        return parser;
    QString scratch;
    qsizetype start = 0;
    for (MVParser *subparser : subparsers) {
        const QStringList &openers = subparser->openers();
        const QStringList &closers = subparser->closers();
        for (qsizetype i = 0; i < openers.size(); ++i) {
            const qsizetype opener = lastInStorage(storage, openers[i], start, location, scratch);
            if (opener < 0)
                continue;
            const qsizetype openerEnd = opener + openers[i].size();
            const QString closer = i < closers.size() ? closers[i] : QString();
            // The closer as the language sees it: not inside its strings or
            // comments (where "?>" in a PHP line comment still closes).
            const QStringView between = storage.view(MVRange{openerEnd, location - openerEnd}, scratch);
            const qsizetype found = subparser->regionEnd(between, 0, closer);
            if (found < 0) {
                subparser->setTheme(theme);
                return subparser;
            }
            start = openerEnd + found + closer.size();
        }
    }
    return parser;
}
