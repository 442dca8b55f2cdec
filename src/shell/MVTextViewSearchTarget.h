#pragma once

#include "search/MVSearchTextView.h"

#include <QPointer>

class MVTextView;

// The find window's view of an editing view: its text, selection and undo.
// Folded blocks are not offered yet; folded text is found by Replace All,
// which works on the full text.
class MVTextViewSearchTarget : public MVSearchTextView
{
public:
    explicit MVTextViewSearchTarget(MVTextView *view);

    MVTextView *view() const { return _view; }

    const void *searchTextViewIdentity() const override;
    QString string() const override;
    QString fullString() const override;
    QString fullStringInRange(MVRange range) const override;
    MVRange selectedRange() const override;
    void showRange(MVRange range) override;
    void undoableInsertText(const QString &text, const QString &actionName) override;
    void undoableSetString(const QString &text, const QString &actionName) override;
    void undoableReplaceInFullString(const std::vector<MVSearch::Replacement> &replacements,
                                     const QString &actionName) override;
    void beep() override;

private:
    // Replaces range as one undo step named actionName.
    void _replace(MVRange range, const QString &text, const QString &actionName);

    QPointer<MVTextView> _view;
};
