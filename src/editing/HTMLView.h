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

    // Loading. storedEncoding is the encoding remembered for the file (0 for
    // none); the one really used becomes stringEncoding(). With an action
    // name the new text is one undoable step, otherwise it replaces the text
    // and the undo history. False when no text could be read; *error says why.
    bool loadFromPath(const QString &path, MVStringEncoding storedEncoding, const QString &actionName, MVError *error);
    bool loadFromData(const QByteArray &data, const QString &path, MVStringEncoding storedEncoding,
                      const QString &actionName, MVError *error);
    void loadFromString(const QString &string, const QString &actionName);
    // Takes a text read elsewhere (a large file decoded on a worker) as a
    // load without an action name: the buffer is moved in, not copied; the
    // warning (a fallback encoding) goes to the interface delegate.
    void loadFromBuffer(MVTextBuffer &&buffer, MVStringEncoding encoding, FileEncodings::ByteOrderMark mark,
                        const MVError &warning);

    MVStringEncoding stringEncoding() const { return _encoding; }
    void setStringEncoding(MVStringEncoding encoding) { _encoding = encoding; }
    FileEncodings::ByteOrderMark byteOrderMark() const { return _byteOrderMark; }
    void setByteOrderMark(FileEncodings::ByteOrderMark mark) { _byteOrderMark = mark; }

    // The line-break kind of the view (0 Unix, 1 Mac, 2 DOS); changing it
    // converts the text as one undo step.
    int lineBreakType() const { return _lineBreak; }
    void setLineBreakType(int type);
    static QString lineBreakName(int type);

    // The title of the language for the status bar.
    QString languageName() const;

private:
    bool _loadLargeUTF8(const QByteArray &data, const QString &path, MVStringEncoding storedEncoding);
    bool _applyDecoded(const std::optional<QString> &string, const MVError &decodeError, const QString &actionName,
                       MVError *error);

    HTMLViewDelegate *_interfaceDelegate = nullptr;
    MVStringEncoding _encoding = 0;
    FileEncodings::ByteOrderMark _byteOrderMark = FileEncodings::ByteOrderMark::None;
    int _lineBreak = 0;
};
