#include "search/MVSearchTextView.h"

#include "platform/MVStringTable.h"
#include "search/MVSearch.h"

#include <algorithm>

MVSearchTextView::~MVSearchTextView() = default;

void MVSearchTextView::undoableReplaceInFullString(const std::vector<MVSearch::Replacement> &replacements,
                                                   const QString &actionName)
{
    const QString text = fullString();
    QString result;
    qsizetype copied = 0;
    for (const MVSearch::Replacement &replacement : replacements) {
        if (replacement.range.location < copied || replacement.range.end() > text.size())
            break;
        result.append(QStringView(text).mid(copied, replacement.range.location - copied));
        result.append(replacement.text);
        copied = replacement.range.end();
    }
    result.append(QStringView(text).mid(copied));
    undoableSetString(result, actionName);
}

MVRange MVSearchTextView::nextFoldedBlock(qsizetype, QString *) const
{
    return MVRange::notFound();
}

MVRange MVSearchTextView::previousFoldedBlock(qsizetype, QString *) const
{
    return MVRange::notFound();
}

void MVSearchTextView::expandFoldedBlock(qsizetype)
{
}

MVRange MVSearchTextView::nextRangeForSearch(const MVSearch &search)
{
    const QString text = string();
    const qsizetype length = text.size();
    const MVRange selection = selectedRange();
    const qsizetype after = std::clamp<qsizetype>(selection.end(), 0, length);

    // The rest of the text after the selection; folded text is not looked
    // at on this path.
    const MVRange found = search.firstMatchInString(text, {after, length - after});
    if (!found.isNotFound())
        return found;
    if (length == 0)
        return MVRange::notFound();

    // Wrapped round: the text before the selection.
    const qsizetype before = std::clamp<qsizetype>(selection.location, 0, length);
    const MVRange wrapped = search.firstMatchInString(text, {0, before});

    // A folded block before that match hides text that comes first: its
    // match wins, and without one there is none.
    QString hidden;
    const MVRange block = nextFoldedBlock(0, &hidden);
    if (block.isNotFound() || block.location >= wrapped.location)
        return wrapped;
    const MVRange inside = search.firstMatchInString(hidden, {0, hidden.size()});
    if (inside.isNotFound())
        return MVRange::notFound();
    expandFoldedBlock(block.location);
    return {block.location + inside.location, inside.length};
}

MVRange MVSearchTextView::previousRangeForSearch(const MVSearch &search)
{
    const QString text = string();
    const qsizetype length = text.size();
    const MVRange selection = selectedRange();
    const qsizetype before = std::clamp<qsizetype>(selection.location, 0, length);
    const qsizetype after = std::clamp<qsizetype>(selection.end(), 0, length);

    QString hidden;
    MVRange found = search.firstMatchInString(text, {0, before}, true);
    MVRange block = previousFoldedBlock(std::max<qsizetype>(before - 1, 0), &hidden);
    if (found.isNotFound()) {
        // Wrapped round: the text after the selection.
        found = search.firstMatchInString(text, {after, length - after}, true);
        block = previousFoldedBlock(std::max<qsizetype>(length - 1, 0), &hidden);
    }
    if (found.isNotFound() || block.isNotFound() || found.location >= block.location)
        return found;
    const MVRange inside = search.firstMatchInString(hidden, {0, hidden.size()}, true);
    if (inside.isNotFound())
        return MVRange::notFound();
    expandFoldedBlock(block.location);
    return {block.location + inside.location, inside.length};
}

std::optional<MVError> MVSearchTextView::quickSearch(const QString &text, bool backwards)
{
    return _quickSearch(text, backwards, true);
}

std::optional<MVError> MVSearchTextView::quickSearchAgain(const QString &text, bool backwards)
{
    return _quickSearch(text, backwards, false);
}

std::optional<MVError> MVSearchTextView::_quickSearch(const QString &text, bool backwards, bool fromStart)
{
    if (text.isEmpty())
        return std::nullopt;
    const MVRange entry = selectedRange();
    if (fromStart)
        showRange({entry.location, 0});
    const MVSearch search = MVSearch::initWithSearchString(text);
    const MVRange found = backwards ? previousRangeForSearch(search) : nextRangeForSearch(search);
    if (!found.isNotFound()) {
        showRange(found);
        return std::nullopt;
    }
    beep();
    showRange(entry);
    return MVError::morvel(8, MVLocalizedString(entry.length == 0 ? QStringLiteral("No match")
                                                                  : QStringLiteral("No more matches")));
}
