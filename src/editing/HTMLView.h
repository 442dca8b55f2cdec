#pragma once

#include "files/FileEncodings.h"
#include "language/MVSyntaxHighlightingTextView.h"

#include <memory>

class HTMLView;

// What an editing view tells the document that owns it.
class HTMLViewDelegate
{
public:
    virtual ~HTMLViewDelegate() = default;
    // A load or save problem. A critical one is shown as an alert, any other
    // as a warning in the status bar.
    virtual void htmlViewHadError(HTMLView *view, const MVError &error, bool critical) = 0;
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

private:
    bool _loadLargeUTF8(const QByteArray &data, const QString &path, MVStringEncoding storedEncoding);
    bool _applyDecoded(const std::optional<QString> &string, const MVError &decodeError, const QString &actionName,
                       MVError *error, bool fromFile);
    void _registerLineBreakKindUndo(int kind);

    HTMLViewDelegate *_interfaceDelegate = nullptr;
    MVStringEncoding _encoding = 0;
    FileEncodings::ByteOrderMark _byteOrderMark = FileEncodings::ByteOrderMark::None;
    int _lineBreak = 0;
    bool _keepBreaksAsGiven = false;
    MVObservation _editorPrefsChange;
};
