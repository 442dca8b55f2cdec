#include "shell/MVTextViewSearchTarget.h"

#include "text/MVTextBuffer.h"
#include "text/MVTextStorage.h"
#include "text/MVTextView.h"
#include "text/MVUndoManager.h"

#include <QApplication>
#include <QPointer>
#include <QScrollBar>

MVTextViewSearchTarget::MVTextViewSearchTarget(MVTextView *view) : _view(view)
{
}

const void *MVTextViewSearchTarget::searchTextViewIdentity() const
{
    return _view.data();
}

QString MVTextViewSearchTarget::string() const
{
    return _view ? _view->string() : QString();
}

QString MVTextViewSearchTarget::fullString() const
{
    if (!_view)
        return QString();
    // Without folds the text is the buffer's: one copy instead of a copy of
    // each piece between folds (Replace All over a large text starts here).
    const MVTextStorage *storage = _view->textStorage();
    return storage->attachmentCount() == 0 ? storage->buffer().string() : storage->fullString();
}

QString MVTextViewSearchTarget::fullStringInRange(MVRange range) const
{
    if (!_view)
        return QString();
    return _view->textStorage()->fullStringInRange(MVIntersectionRange(range, {0, _view->textStorage()->length()}));
}

MVRange MVTextViewSearchTarget::selectedRange() const
{
    return _view ? _view->selectedRange() : MVRange{0, 0};
}

void MVTextViewSearchTarget::showRange(MVRange range)
{
    if (!_view)
        return;
    _view->setSelectedRange(range);
    _view->scrollRangeToVisible(range);
}

void MVTextViewSearchTarget::_replace(MVRange range, const QString &text, const QString &actionName)
{
    if (!_view)
        return;
    // The view's own replacement of the selection, inside a group of ours,
    // so that it is one step under our name and never joins the typing.
    MVUndoManager *undo = _view->undoManager();
    undo->beginUndoGrouping();
    _view->setSelectedRange(range);
    _view->insertText(text);
    undo->setActionName(actionName);
    undo->endUndoGrouping();
    _view->breakUndoCoalescing();
}

void MVTextViewSearchTarget::undoableInsertText(const QString &text, const QString &actionName)
{
    if (_view)
        _replace(_view->selectedRange(), text, actionName);
}

namespace {

// Where the user is in a view: the selection and the scroll position.
struct Place
{
    MVRange selection;
    int top;
    int left;
};

Place placeOf(const MVTextView *view)
{
    return {view->selectedRange(), view->verticalScrollBar()->value(), view->horizontalScrollBar()->value()};
}

void restorePlace(MVTextView *view, const Place &place)
{
    const qsizetype length = view->textStorage()->length();
    const qsizetype start = qMin(place.selection.location, length);
    view->setSelectedRange({start, qMin(place.selection.length, length - start)});
    view->verticalScrollBar()->setValue(place.top);
    view->horizontalScrollBar()->setValue(place.left);
}

// An undo step that puts the view back at the place, and registers itself
// again so that redo and a later undo do the same.
void registerPlace(MVTextView *view, const Place &place)
{
    QPointer<MVTextView> guarded(view);
    view->undoManager()->registerUndo([guarded, place] {
        if (!guarded)
            return;
        registerPlace(guarded, place);
        restorePlace(guarded, place);
    });
}

} // namespace

void MVTextViewSearchTarget::undoableSetString(const QString &text, const QString &actionName)
{
    if (!_view)
        return;
    // Replacing the whole text would leave everything selected after an
    // undo, with the view at its end. Steps on either side of the
    // replacement put the view back where the user was: the one before it
    // runs last on undo, the one after it last on redo.
    const Place before = placeOf(_view);
    MVUndoManager *undo = _view->undoManager();
    undo->beginUndoGrouping();
    registerPlace(_view, before);
    _replace({0, _view->textStorage()->length()}, text, actionName);
    restorePlace(_view, {MVRange{before.selection.location, 0}, before.top, before.left});
    registerPlace(_view, placeOf(_view));
    undo->setActionName(actionName);
    undo->endUndoGrouping();
}

void MVTextViewSearchTarget::beep()
{
    QApplication::beep();
}
