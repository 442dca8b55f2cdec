#pragma once

#include "platform/MVRange.h"

#include <QRect>
#include <QString>

#include <memory>

class MVTextAttachment;
class MVTextView;

// What a text view asks and tells about its changes. Every operation is
// optional. Per change the order is: textViewShouldChangeTextInRange before
// it (false cancels it: the delegate made the change its own way), then the
// selection calls as the selection moves, then textDidChange.
class MVTextViewDelegate
{
public:
    virtual ~MVTextViewDelegate() = default;

    virtual bool textViewShouldChangeTextInRange(MVTextView *view, MVRange range, const QString &replacement)
    {
        Q_UNUSED(view);
        Q_UNUSED(range);
        Q_UNUSED(replacement);
        return true;
    }
    // Many ranges replaced in one step (Replace All): covering runs from the
    // first replaced range to the end of the last in the text before, and
    // holds newLength characters after. It cannot be refused.
    virtual void textViewWillReplaceRanges(MVTextView *view, MVRange covering, qsizetype newLength)
    {
        Q_UNUSED(view);
        Q_UNUSED(covering);
        Q_UNUSED(newLength);
    }
    virtual void textDidChange(MVTextView *view) { Q_UNUSED(view); }
    // Gives the selection to use instead of proposed.
    virtual MVRange textViewWillChangeSelectionFromCharacterRange(MVTextView *view, MVRange oldRange, MVRange proposed)
    {
        Q_UNUSED(view);
        Q_UNUSED(oldRange);
        return proposed;
    }
    virtual void textViewDidChangeSelection(MVTextView *view, MVRange oldRange)
    {
        Q_UNUSED(view);
        Q_UNUSED(oldRange);
    }
    // A double click on the character of an attachment (a fold), with the
    // character's rectangle in the viewport. True means it was handled and
    // the view selects no word.
    virtual bool textViewDoubleClickedOnCell(MVTextView *view, const std::shared_ptr<MVTextAttachment> &cell,
                                             const QRect &rect, qsizetype index)
    {
        Q_UNUSED(view);
        Q_UNUSED(cell);
        Q_UNUSED(rect);
        Q_UNUSED(index);
        return false;
    }
    // A key command by name ("insertNewline:", "moveRight:", ...). True means
    // the delegate handled it and the view does nothing more.
    virtual bool textViewDoCommandBySelector(MVTextView *view, const QString &command)
    {
        Q_UNUSED(view);
        Q_UNUSED(command);
        return false;
    }
};
