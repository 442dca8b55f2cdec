#pragma once

#include "search/MVSearchController.h"

#include <functional>

class MVSearchTextView;

// The find window of the editing views: find next and previous, replace,
// replace all in the text or the selection, and find all through the
// multi-file search. It works on one text view at a time.
class MVSingleFileSearchController : public MVSearchController
{
    Q_OBJECT
public:
    // Posted by a text view that closes, with the view as object.
    static QString textViewIsClosingNotification() { return QStringLiteral("MVTextViewIsClosing"); }

    explicit MVSingleFileSearchController(QObject *parent = nullptr);
    ~MVSingleFileSearchController() override;

    // The process's find window.
    static MVSingleFileSearchController &sharedFind();

    MVSearchTextView *textView() const { return _textView; }
    void setTextView(MVSearchTextView *textView);
    // Where to go when the text view closes: the view of the frontmost
    // document that has one, other than the closing one, or null.
    void setTextViewProvider(std::function<MVSearchTextView *(const void *closing)> provider);
    // Runs a search over files (the multi-file search's current-file mode).
    void setFindAllHandler(std::function<void(const MVSearch &)> handler);
    bool canFindAll() const { return bool(_findAllHandler); }

    // 0: the whole text; otherwise the selection (Replace All only).
    int scope() const { return _scope; }
    void setScope(int scope);

    // The commands. Each remembers the search first; none runs on input that
    // is not valid. next and previous select and show a match, or beep and
    // say "Not found"; they return whether they found one.
    bool next();
    bool previous();
    void findAll();
    // Replaces the selection when it is exactly one match, then finds the
    // next match either way.
    bool replaceAndFind();
    // Replaces every match in the text or in the selection as one undoable
    // step and says how many; returns that number.
    int replaceAll();
    // Use Selection for Find.
    void findUsingSelection();

protected:
    bool _canRun() const override { return _textView != nullptr; }

private:
    bool _show(MVRange range);

    MVSearchTextView *_textView = nullptr;
    int _scope = 0;
    std::function<MVSearchTextView *(const void *)> _textViewProvider;
    std::function<void(const MVSearch &)> _findAllHandler;
    MVObservation _closingObservation;
};
