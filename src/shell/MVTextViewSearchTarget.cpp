#include "shell/MVTextViewSearchTarget.h"

#include "text/MVTextBuffer.h"
#include "text/MVTextStorage.h"
#include "text/MVTextView.h"
#include "text/MVUndoManager.h"

#include <QApplication>

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

void MVTextViewSearchTarget::undoableSetString(const QString &text, const QString &actionName)
{
    if (!_view)
        return;
    _replace({0, _view->textStorage()->length()}, text, actionName);
    _view->setSelectedRange({0, 0});
    _view->scrollRangeToVisible({0, 0});
}

void MVTextViewSearchTarget::undoableReplaceInFullString(const std::vector<MVSearch::Replacement> &replacements,
                                                         const QString &actionName)
{
    if (!_view)
        return;
    if (_view->textStorage()->attachmentCount() > 0) {
        // Folded text counts in the full text's locations, not the view's.
        MVSearchTextView::undoableReplaceInFullString(replacements, actionName);
        return;
    }
    // Without folds the full text is the view's: the ranges are changed in
    // place, in one pass, and the undo step keeps only what they held.
    std::vector<MVTextBuffer::Edit> edits;
    edits.reserve(replacements.size());
    for (const MVSearch::Replacement &replacement : replacements)
        edits.push_back({replacement.range, replacement.text});
    _view->replaceRanges(edits, actionName);
    _view->breakUndoCoalescing();
    _view->scrollRangeToVisible(_view->selectedRange());
}

void MVTextViewSearchTarget::beep()
{
    QApplication::beep();
}
