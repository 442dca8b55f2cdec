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

// A text view that colours its text with the parser of its language. The
// whole text is parsed when it is set; after each change only the changed
// lines are, widened back to the start of a string or block comment that
// reaches into them (MVSyntaxColouring::rangeToHighlightForRange). Inside an
// embedded region (a script element of HTML) edits are parsed by the
// region's language, the active parser, which is worked out again only on
// Return, on jumps of the selection and on request. Colouring changes
// attributes only and never enters the undo stack.
//
// The view is its own delegate. A subclass that handles the delegate calls
// itself must call these operations of this class as well.
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
    // inactive view, colouring waits until the view is shown).
    void setString(const QString &string) override;
    // The same for a text decoded piece by piece.
    void setText(MVTextBuffer &&buffer);
    void insertText(const QString &text) override;

    // Colours range (the argument "what" is not looked at; callers pass
    // "all" or "multiple").
    void syntaxHighlight(MVRange range, const QString &what = QStringLiteral("all"));
    MVRange rangeToHighlightForRange(MVRange range) const;
    // Colours the whole text again (on an inactive view: once it is shown).
    void refreshHighlighting();
    // Colours, the parser's theme, and the whole text again.
    void updateHighlighting();
    // The parser at the insertion point, worked out anew when recompute.
    MVParser *activeParser(bool recompute);
    MVParser *checkForOpenSpecialsBefore(qsizetype location);

    std::shared_ptr<MVBundle> bundle() const { return _bundle; }
    // Also sets the bundle's parser.
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
    // current theme, and the attributes of uncoloured text.
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

private:
    void _highlightWholeText();
    void _bundlesUpdated();
    void _fileCatChange(const MVNotification &notification);
    std::shared_ptr<MVTheme> _currentTheme() const;
    bool _isParser(const char *identifier) const;

    QString _path;
    bool _insertingText = false;
    bool _active = true;
    bool _hadEventWhileInactive = false;
    std::shared_ptr<MVBundle> _bundle;
    std::shared_ptr<MVParser> _parser;
    MVParser *_activeParser = nullptr;
    MVTextAttributes _standardAttributes;
    MVRange _changeRange;
    MVObservation _prefsChange;
    MVObservation _bundleCategoriesChange;
    MVObservation _fileCategoriesChange;
};
