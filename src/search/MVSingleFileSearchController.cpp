#include "search/MVSingleFileSearchController.h"

#include "platform/MVStringTable.h"
#include "search/MVSearchTextView.h"

#include <QCoreApplication>

MVSingleFileSearchController::MVSingleFileSearchController(QObject *parent) : MVSearchController(parent)
{
    _closingObservation = MVObservation(textViewIsClosingNotification(), nullptr,
                                        [this](const MVNotification &notification) {
        if (!_textView || notification.object != _textView->searchTextViewIdentity())
            return;
        setTextView(_textViewProvider ? _textViewProvider(notification.object) : nullptr);
    });
    validate();
}

MVSingleFileSearchController::~MVSingleFileSearchController() = default;

MVSingleFileSearchController &MVSingleFileSearchController::sharedFind()
{
    // Owned by the application object, so that it goes before Qt does.
    static MVSingleFileSearchController *const shared = new MVSingleFileSearchController(QCoreApplication::instance());
    return *shared;
}

void MVSingleFileSearchController::setTextView(MVSearchTextView *textView)
{
    if (textView == _textView)
        return;
    _textView = textView;
    validate();
}

void MVSingleFileSearchController::setTextViewProvider(std::function<MVSearchTextView *(const void *)> provider)
{
    _textViewProvider = std::move(provider);
}

void MVSingleFileSearchController::setFindAllHandler(std::function<void(const MVSearch &)> handler)
{
    _findAllHandler = std::move(handler);
    _changed();
}

void MVSingleFileSearchController::setScope(int scope)
{
    if (scope == _scope)
        return;
    _scope = scope;
    _changed();
}

bool MVSingleFileSearchController::_show(MVRange range)
{
    if (range.isNotFound()) {
        _textView->beep();
        setStatus(MVLocalizedString(QStringLiteral("Not found")));
        return false;
    }
    _textView->showRange(range);
    setStatus(QString());
    return true;
}

bool MVSingleFileSearchController::next()
{
    rememberSearch();
    if (!isValid())
        return false;
    return _show(_textView->nextRangeForSearch(search()));
}

bool MVSingleFileSearchController::previous()
{
    rememberSearch();
    if (!isValid())
        return false;
    return _show(_textView->previousRangeForSearch(search()));
}

void MVSingleFileSearchController::findAll()
{
    rememberSearch();
    if (!isValid() || !_findAllHandler)
        return;
    _findAllHandler(search());
}

bool MVSingleFileSearchController::replaceAndFind()
{
    rememberSearch();
    if (!isValid())
        return false;
    const MVSearch current = search();
    // Only a selection that is exactly one match is replaced: a selection
    // that merely contains a match (a whole paragraph, say) stays.
    const MVRange selection = _textView->selectedRange();
    if (selection.length > 0) {
        if (const auto replacement = current.replacementForRange(_textView->string(), selection))
            _textView->undoableInsertText(*replacement, MVLocalizedString(QStringLiteral("Replace")));
    }
    return _show(_textView->nextRangeForSearch(current));
}

int MVSingleFileSearchController::replaceAll()
{
    rememberSearch();
    if (!isValid())
        return 0;
    const MVSearch current = search();
    int count = 0;
    if (_scope == 0) {
        // The matches and their replacements only: the view changes those
        // ranges in place, and the copy of the text goes before it does.
        std::vector<MVSearch::Replacement> replacements = current.replacementsInString(_textView->fullString());
        count = int(replacements.size());
        if (count > 0)
            _textView->undoableReplaceInFullString(replacements, MVLocalizedString(QStringLiteral("Replace All")));
    } else {
        const MVRange selection = _textView->selectedRange();
        QString text = _textView->fullStringInRange(selection);
        count = current.replaceAllInString(text);
        if (count > 0) {
            _textView->undoableInsertText(text, MVLocalizedString(QStringLiteral("Replace All in Selection")));
            _textView->showRange({selection.location, text.size()});
        }
    }
    setStatus(MVLocalizedString(QStringLiteral("Replaced %d")).replace(QStringLiteral("%d"), QString::number(count)));
    return count;
}

void MVSingleFileSearchController::findUsingSelection()
{
    if (!_textView)
        return;
    const QString text = _textView->fullStringInRange(_textView->selectedRange());
    if (!text.isEmpty())
        findUsingSelectionText(text);
}
