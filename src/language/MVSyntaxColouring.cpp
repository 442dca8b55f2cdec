#include "language/MVSyntaxColouring.h"

#include "language/MVParser.h"
#include "search/Parsing.h"
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
    // nothing; a colouring started from inside another (an observer of the
    // storage) gets its own.
    thread_local MVAttributeOverlay shared;
    thread_local bool sharedInUse = false;
    MVAttributeOverlay local;
    const bool useShared = !sharedInUse;
    MVAttributeOverlay &overlay = useShared ? shared : local;
    sharedInUse = true;
    overlay.clear();
    // A style's background does not outlive the style when the standard
    // attributes leave the background to the view.
    if (standardAttributes.has(MVAttribute::BackgroundColor))
        overlay.setBase(r, standardAttributes, {MVAttribute::MultiLine});
    else
        overlay.setBase(r, standardAttributes, {MVAttribute::MultiLine, MVAttribute::BackgroundColor});
    if (parser && r.length > 0) {
        const MVParser::SubparserRanges regions = parser->parseRange(r, storage, overlay);
        for (const auto &[region, subparser] : regions) {
            if (subparser && region.length > 0)
                subparser->parseRange(region, storage, overlay);
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

MVParser *MVSyntaxColouring::checkForOpenSpecialsBefore(MVParser *parser, const MVTextStorage &storage,
                                                       qsizetype location, const std::shared_ptr<MVTheme> &theme)
{
    if (!parser)
        return nullptr;
    location = qBound<qsizetype>(0, location, storage.length());
    const std::vector<MVParser *> subparsers = parser->subparsers();
    if (subparsers.empty() || location == 0)
        return parser;
    const QString text = storage.substring(MVRange{0, location});
    const QStringView s(text);
    qsizetype start = 0;
    // The last occurrence of what in [from, to), ignoring case; -1 if none.
    auto lastIn = [&](const QString &what, qsizetype from, qsizetype to) -> qsizetype {
        if (what.isEmpty() || to - from < what.size())
            return -1;
        const qsizetype found = s.first(to).lastIndexOf(what, -1, Qt::CaseInsensitive);
        return found >= from ? found : -1;
    };
    for (MVParser *subparser : subparsers) {
        const QStringList &openers = subparser->openers();
        const QStringList &closers = subparser->closers();
        for (qsizetype i = 0; i < openers.size(); ++i) {
            const qsizetype opener = lastIn(openers[i], start, location);
            if (opener < 0)
                continue;
            const qsizetype openerEnd = opener + openers[i].size();
            const QString closer = i < closers.size() ? closers[i] : QString();
            qsizetype found = lastIn(closer, openerEnd, location);
            while (found >= 0 && Parsing::locationInQuotes(s, found, opener, subparser->usesSingleQuotes()))
                found = lastIn(closer, openerEnd, found);
            if (found < 0) {
                subparser->setTheme(theme);
                return subparser;
            }
            start = found + closer.size();
        }
    }
    return parser;
}
