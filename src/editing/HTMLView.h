#pragma once

#include "files/FileEncodings.h"
#include "files/GeneralUtility.h"
#include "language/MVSyntaxHighlightingTextView.h"

#include <QTimer>

#include <memory>
#include <optional>

class HTMLView;

// What an editing view tells the document that owns it.
class HTMLViewDelegate
{
public:
    virtual ~HTMLViewDelegate() = default;
    // A load or save problem. A critical one is shown as an alert, any other
    // as a warning in the status bar.
    virtual void htmlViewHadError(HTMLView *view, const MVError &error, bool critical) = 0;
    // Esc switched the typing automation off for the next change, or the
    // change ended that.
    virtual void htmlViewIsEscaped(HTMLView *view, bool escaped)
    {
        Q_UNUSED(view);
        Q_UNUSED(escaped);
    }
};

// The editing view of every text file, coloured by the language of its path.
// It keeps the encoding the text came in (and its byte-order mark) so that a
// save writes the same kind of bytes, and the view's own kind of line break,
// which every text set on it is brought to.
class HTMLView : public MVSyntaxHighlightingTextView
{
    Q_OBJECT

public:
    explicit HTMLView(QWidget *parent = nullptr);
    ~HTMLView() override;

    HTMLViewDelegate *interfaceDelegate() const { return _interfaceDelegate; }
    void setInterfaceDelegate(HTMLViewDelegate *delegate) { _interfaceDelegate = delegate; }

    // The true text, folded regions included: what every reader of a
    // document's text uses.
    QString fullString() const;

    // Replaces the whole text, or the selection, as one undo step under the
    // action name.
    void undoableSetString(const QString &string, const QString &actionName);
    void undoableInsertText(const QString &text, const QString &actionName);

    // Sets the text with its line breaks brought to the view's kind.
    void setString(const QString &string) override;
    // Inserted text takes the view's kind of line break.
    QString textForInsertion(const QString &text) const override;

    // Loading. storedEncoding is the encoding remembered for the file (0 for
    // none); the one really used becomes stringEncoding(). The text keeps
    // its line breaks as they are in the file (a mixed file stays mixed),
    // and the view takes the kind of the first one. With an action
    // name the new text is one undoable step, otherwise it replaces the text
    // and the undo history. False when no text could be read; *error says why.
    bool loadFromPath(const QString &path, MVStringEncoding storedEncoding, const QString &actionName, MVError *error);
    bool loadFromData(const QByteArray &data, const QString &path, MVStringEncoding storedEncoding,
                      const QString &actionName, MVError *error);
    void loadFromString(const QString &string, const QString &actionName);
    // Takes a text read elsewhere (a large file decoded on a worker) as a
    // load without an action name: the buffer is moved in, not copied, its
    // line breaks as they are; the view takes the kind of the first one;
    // the warning (a fallback encoding) goes to the interface delegate.
    void loadFromBuffer(MVTextBuffer &&buffer, MVStringEncoding encoding, FileEncodings::ByteOrderMark mark,
                        std::optional<GeneralUtility::LineBreakKind> lineBreak, const MVError &warning);

    MVStringEncoding stringEncoding() const { return _encoding; }
    void setStringEncoding(MVStringEncoding encoding) { _encoding = encoding; }
    FileEncodings::ByteOrderMark byteOrderMark() const { return _byteOrderMark; }
    void setByteOrderMark(FileEncodings::ByteOrderMark mark) { _byteOrderMark = mark; }

    // The line-break kind of the view (0 Unix, 1 Mac, 2 DOS): the one of the
    // file's first break, or for a new text the preference MVLineBreak. New
    // text is inserted with it. Setting a kind converts every break of the
    // text, as one undo step; a view that is not editable keeps its text.
    int lineBreakType() const { return _lineBreak; }
    void setLineBreakType(int type);
    static QString lineBreakName(int type);

    // The title of the language for the status bar.
    QString languageName() const;

    // Posted when a general editing preference changed; every view then
    // runs updateAttributes.
    static QString editorPrefsChangeNotification() { return QStringLiteral("MorvelEditorPrefsChange"); }
    // Font, tab width, wrapping and invisible characters, read again from
    // the preferences.
    void updateAttributes();

    // ---- typing ----------------------------------------------------------
    // The delegate hook runs the automation of single typed characters: ">"
    // completes the tag before it, "</" closes the open tag (with
    // MVAutoCompleteOnType), "}" lines up with its "{" on a blank line, and
    // a closing bracket flashes its opener. After the change a typed
    // character with an entity becomes the entity, and an edit of a tag's
    // name renames its partner. Undo and redo pass untouched.
    bool textViewShouldChangeTextInRange(MVTextView *view, MVRange range, const QString &replacement) override;
    void textDidChange(MVTextView *view) override;
    bool textViewDoCommandBySelector(MVTextView *view, const QString &command) override;

    // Esc: the next change goes in exactly as typed.
    bool isEscaped() const { return _escaped; }

    // Closes the nearest open tag before the selection (the Edit menu's
    // Close Tag, and "</" typed): a bounded walk back, a beep if none.
    void closeTag();
    // The name of the tag open on the line before location, if any; with
    // autoComplete, nothing when location is inside quotes.
    QString openTagBefore(qsizetype location, bool autoComplete);
    // Property and value of the CSS declaration being typed before location
    // ("notfound" for what cannot be told).
    QStringList openCSSParamBefore(qsizetype location);
    bool isXHTML();
    // The indentation of the first line of range, tabs as tabSpaces().
    QString tabSpacesForRange(MVRange range);
    QString tabIndex() { return tabSpacesForRange(selectedRange()); }
    // One indent unit: a tab, or MVTabSizeKey spaces with MVTabsAreSpaces.
    static QString tabSpaces();
    // The opening bracket before location matching a close there (a bounded
    // walk); notFound range if none.
    MVRange matchingBracketBefore(qsizetype location, QChar open, QChar close);
    MVRange matchingBracketAfter(qsizetype location, QChar open, QChar close);
    // Shows range for a moment (a background mark, never the selection).
    void tempHighlightRange(MVRange range);
    // The line break the view inserts.
    QString lineBreak() const;

    // The code completion hooks: empty until completion exists.
    void showCodeCompletionOptional(bool optional) { Q_UNUSED(optional); }
    bool doCompletions() { return false; }

private:
    struct PendingRename
    {
        MVRange partner;   // the partner's name before the change
        QString newName;
        qsizetype changeAt = 0;
        qsizetype delta = 0;
    };

    bool _inTagParser() const;
    bool _autoComplete(QString tag);
    bool _useWhitespaceFromLineWithRange(MVRange bracket, qsizetype location);
    void _insertPlain(const QString &text);
    void _beep();
    void _insertNewline();
    void _insertTab();
    bool _undoing() const;
    std::optional<PendingRename> _renameFor(MVRange range, const QString &replacement);
    void _replacePartner(MVRange range, const QString &name);
    void _endHighlight();

    bool _loadLargeUTF8(const QByteArray &data, const QString &path, MVStringEncoding storedEncoding);
    bool _applyDecoded(const std::optional<QString> &string, const MVError &decodeError, const QString &actionName,
                       MVError *error, bool fromFile);
    void _registerLineBreakKindUndo(int kind);

    HTMLViewDelegate *_interfaceDelegate = nullptr;
    MVStringEncoding _encoding = 0;
    FileEncodings::ByteOrderMark _byteOrderMark = FileEncodings::ByteOrderMark::None;
    int _lineBreak = 0;

    bool _escaped = false;
    bool _ignore = false;
    MVRange _typedRange;
    std::optional<PendingRename> _pendingRename;
    QTimer _highlightTimer;
    MVRange _highlighted{MVNotFound, 0};
    bool _keepBreaksAsGiven = false;
    MVObservation _editorPrefsChange;
};
