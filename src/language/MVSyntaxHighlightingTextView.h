#pragma once

#include "platform/MVNotificationCenter.h"
#include "platform/MVRange.h"
#include "text/MVTextAttributes.h"
#include "text/MVTextView.h"
#include "text/MVTextViewDelegate.h"

#include <QString>

#include <memory>

class MVBundle;
class MVParser;
class MVTextBuffer;
class MVTheme;
class QTimer;

// A text view that colours its text with the parser of its language. The
// whole text is parsed when it is set; after each change only the changed
// lines are, widened back to the start of a string or block comment that
// reaches into them (MVSyntaxColouring::rangeToHighlightForRange). Inside an
// embedded region (a script element of HTML) edits are parsed by the
// region's language, the active parser, which is worked out again only on
// Return, on jumps of the selection and on request. Colouring changes
// attributes only and never enters the undo stack.
//
// A large text is coloured from its start a piece at a time: the first
// piece at once, the rest in short steps of the event loop, so that a large
// file is shown and editable before all of it is coloured. Each piece ends
// at a line end outside any string, comment or embedded region, so the next
// one starts where a whole-text parse would be in its plain state.
//
// The view is its own delegate. Whoever else wants the delegate calls (the
// document that owns the view) sets itself as the outer delegate: it gets
// every call after the view has done its own work, and its answers are the
// ones that count.
class MVSyntaxHighlightingTextView : public MVTextView, public MVTextViewDelegate
{
    Q_OBJECT

public:
    explicit MVSyntaxHighlightingTextView(QWidget *parent = nullptr);
    ~MVSyntaxHighlightingTextView() override;

    static QString highlightingPrefsChangeNotification() { return QStringLiteral("MorvelHighlightingPrefsChange"); }
    static QString bundleFileCategoriesChangedNotification() { return QStringLiteral("MVBundleFileCategoriesChanged"); }
    // Its user info carries the extension under "extension".
    static QString fileCategoriesChangedNotification() { return QStringLiteral("MVFileCatsChanged"); }

    // Sets the text and colours all of it with the language's parser (on an
    // inactive view, colouring waits until the view is shown). setString
    // arrives here too.
    void setText(MVTextBuffer &&buffer) override;
    void insertText(const QString &text) override;

    // Colours range (the argument "what" is not looked at; callers pass
    // "all" or "multiple").
    void syntaxHighlight(MVRange range, const QString &what = QStringLiteral("all"));
    MVRange rangeToHighlightForRange(MVRange range) const;
    // Colours the whole text again (on an inactive view: once it is shown).
    void refreshHighlighting();
    // Colours at once whatever of a large text is still waiting.
    void finishHighlighting();
    bool isHighlightingPending() const { return _colouredUpTo >= 0; }
    // Colours, the parser's theme, and the whole text again.
    void updateHighlighting();
    // The parser at the insertion point, worked out anew when recompute.
    MVParser *activeParser(bool recompute);
    MVParser *checkForOpenSpecialsBefore(qsizetype location);

    std::shared_ptr<MVBundle> bundle() const { return _bundle; }
    MVTextViewDelegate *outerDelegate() const { return _outerDelegate; }
    void setOuterDelegate(MVTextViewDelegate *delegate) { _outerDelegate = delegate; }

    // Also sets the bundle's parser and colours the text anew with it.
    void setBundle(const std::shared_ptr<MVBundle> &bundle);
    std::shared_ptr<MVParser> parser() const { return _parser; }
    // Also gives the parser the current theme.
    void setParser(const std::shared_ptr<MVParser> &parser);
    QString path() const { return _path; }
    // Takes the language of the path's extension; text.html when there is
    // none and the view has no language yet.
    void setPath(const QString &path);
    bool active() const { return _active; }
    void setActive(bool active);
    // The text, background, caret, selection and invisibles colours of the
    // current theme, the caret line's band made from them, and the
    // attributes of uncoloured text.
    void loadColors();
    const MVTextAttributes &standardAttributes() const { return _standardAttributes; }

    bool isPerl() const;
    bool isPython() const;
    bool isCSS() const;
    bool isJS() const;

    // Delegate operations: record the change, colour after it, follow the
    // active parser on jumps of the selection.
    bool textViewShouldChangeTextInRange(MVTextView *view, MVRange range, const QString &replacement) override;
    void textDidChange(MVTextView *view) override;
    MVRange textViewWillChangeSelectionFromCharacterRange(MVTextView *view, MVRange oldRange, MVRange proposed) override;
    void textViewDidChangeSelection(MVTextView *view, MVRange oldRange) override;
    bool textViewDoubleClickedOnCell(MVTextView *view, const std::shared_ptr<MVTextAttachment> &cell, const QRect &rect,
                                     qsizetype index) override;
    bool textViewDoCommandBySelector(MVTextView *view, const QString &command) override;

private:
    void _highlightWholeText();
    void _colourNextPiece(qsizetype size);
    bool _parsesNow() const;
    void _bundlesUpdated();
    void _fileCatChange(const MVNotification &notification);
    std::shared_ptr<MVTheme> _currentTheme() const;
    bool _isParser(const char *identifier) const;

    MVTextViewDelegate *_outerDelegate = nullptr;
    QString _path;
    bool _insertingText = false;
    bool _active = true;
    bool _hadEventWhileInactive = false;
    std::shared_ptr<MVBundle> _bundle;
    std::shared_ptr<MVParser> _parser;
    MVParser *_activeParser = nullptr;
    MVTextAttributes _standardAttributes;
    MVRange _changeRange;
    // Where the colouring of a large text goes on; -1 when nothing waits.
    qsizetype _colouredUpTo = -1;
    QTimer *_colouringTimer = nullptr;
    MVObservation _prefsChange;
    MVObservation _bundleCategoriesChange;
    MVObservation _fileCategoriesChange;
};
