#pragma once

#include "platform/MVError.h"
#include "platform/MVRange.h"
#include "search/MVSearch.h"

#include <QString>

#include <optional>
#include <vector>


// What the find window needs of the text view it searches. Locations are
// those of the view: a folded block stands in its text as one character
// whose hidden text the view can give and expand.
class MVSearchTextView
{
public:
    virtual ~MVSearchTextView();

    // The name under which the view posts MVTextViewIsClosing (its address
    // as the notification object).
    virtual const void *searchTextViewIdentity() const { return this; }

    // The text as the view holds it (a folded block is one character).
    virtual QString string() const = 0;
    // The text with every folded block replaced by its hidden text.
    virtual QString fullString() const = 0;
    virtual QString fullStringInRange(MVRange range) const = 0;

    virtual MVRange selectedRange() const = 0;
    // Selects and scrolls the range into view.
    virtual void showRange(MVRange range) = 0;
    // Replaces the selection, as one undoable step with the given name; the
    // selection then follows the new text.
    virtual void undoableInsertText(const QString &text, const QString &actionName) = 0;
    // Replaces the whole text as one undoable step with the given name.
    virtual void undoableSetString(const QString &text, const QString &actionName) = 0;
    // Replaces ranges of fullString() (ascending, not overlapping) as one
    // undoable step with the given name. This one builds the new text and
    // sets it whole; a view that can change ranges in place does that.
    virtual void undoableReplaceInFullString(const std::vector<MVSearch::Replacement> &replacements,
                                             const QString &actionName);
    // Tells the user that nothing was found.
    virtual void beep() {}

    // Folded blocks: the one at index or the nearest after it, the one at
    // index or the nearest before it (not found when there is none), with
    // its hidden text; and expanding the block at a location.
    virtual MVRange nextFoldedBlock(qsizetype index, QString *hiddenText) const;
    virtual MVRange previousFoldedBlock(qsizetype index, QString *hiddenText) const;
    virtual void expandFoldedBlock(qsizetype location);

    // Find Next: forward from the end of the selection, then from the start
    // of the text; the hidden text of the first folded block is searched
    // when it comes before the match (or there is none), and a match there
    // expands the block. Not found is MVRange::notFound().
    virtual MVRange nextRangeForSearch(const MVSearch &search);
    // Find Previous: backwards before the selection, then after it; the last
    // folded block before the range searched is consulted when a match lies
    // before it.
    virtual MVRange previousRangeForSearch(const MVSearch &search);

    // Quick search, always plain and case-insensitive: quickSearch starts
    // over from the start of the selection (typing more of the word keeps
    // the match), quickSearchAgain goes on from the selection; backwards
    // (Shift held) searches towards the start. A match is selected and
    // shown. Without one the view beeps, keeps the selection it had, and the
    // answer is the error to show: code 8, "No match" when nothing was
    // selected, "No more matches" otherwise. An empty text does nothing.
    std::optional<MVError> quickSearch(const QString &text, bool backwards);
    std::optional<MVError> quickSearchAgain(const QString &text, bool backwards);

private:
    std::optional<MVError> _quickSearch(const QString &text, bool backwards, bool fromStart);
};
