#pragma once

#include "search/MVSearchTextView.h"
#include "text/MVTextAttachment.h"
#include "text/MVTextStorage.h"
#include "text/MVUndoManager.h"

#include <memory>

// A text view for the find window's logic made of the real text storage and
// undo manager, without widgets: what a view does for the find window.
class StorageSearchTextView : public MVSearchTextView
{
public:
    explicit StorageSearchTextView(const QString &text = QString()) : storage(text) { undo.setGroupsByEvent(false); }

    MVTextStorage storage;
    MVUndoManager undo;
    MVRange selection{0, 0};
    int beeps = 0;

    QString string() const override { return storage.string(); }
    QString fullString() const override { return storage.fullString(); }
    QString fullStringInRange(MVRange range) const override { return storage.fullStringInRange(range); }
    MVRange selectedRange() const override { return selection; }
    void showRange(MVRange range) override { selection = range; }
    void beep() override { ++beeps; }

    void undoableInsertText(const QString &text, const QString &actionName) override
    {
        _replace(selection, text, actionName);
        selection = {selection.location + text.size(), 0};
    }
    void undoableSetString(const QString &text, const QString &actionName) override
    {
        _replace({0, storage.length()}, text, actionName);
        selection = {0, 0};
    }

    MVRange nextFoldedBlock(qsizetype index, QString *hiddenText) const override
    {
        MVRange range;
        const auto attachment = storage.nextAttachmentAfterIndex(index, &range);
        if (attachment && hiddenText)
            *hiddenText = attachment->string();
        return attachment ? range : MVRange::notFound();
    }
    MVRange previousFoldedBlock(qsizetype index, QString *hiddenText) const override
    {
        MVRange range;
        const auto attachment = storage.previousAttachmentBeforeIndex(index, &range);
        if (attachment && hiddenText)
            *hiddenText = attachment->string();
        return attachment ? range : MVRange::notFound();
    }
    void expandFoldedBlock(qsizetype location) override
    {
        if (const auto attachment = storage.attachmentAtIndex(location))
            storage.replaceCharacters({location, 1}, attachment->string());
    }

    // Folds a range into one character.
    void fold(MVRange range)
    {
        storage.replaceCharactersWithAttachment(range, std::make_shared<MVTextAttachment>(storage.substring(range)));
    }

private:
    // One undoable replacement; undoing puts the old text back (a fold
    // inside it comes back expanded).
    void _replace(MVRange range, const QString &text, const QString &actionName)
    {
        undo.beginUndoGrouping();
        undo.setActionName(actionName);
        _replaceRegistering(range, text);
        undo.endUndoGrouping();
    }
    void _replaceRegistering(MVRange range, const QString &text)
    {
        const QString old = storage.fullStringInRange(range);
        storage.replaceCharacters(range, text);
        const MVRange inserted{range.location, text.size()};
        undo.registerUndo([this, inserted, old] { _replaceRegistering(inserted, old); });
    }
};
