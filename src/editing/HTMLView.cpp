#include "editing/HTMLView.h"

#include "files/GeneralUtility.h"
#include "files/MVTextFileReader.h"
#include "language/MVBundle.h"
#include "platform/MVUserDefaults.h"
#include "text/MVTextBuffer.h"
#include "text/MVTextStorage.h"
#include "text/MVUndoManager.h"

#include <QFile>
#include <QFileInfo>

namespace {
// Files from this size on are decoded a piece at a time when they are UTF-8.
constexpr qsizetype LargeFileSize = 8 * 1024 * 1024;
} // namespace

HTMLView::HTMLView(QWidget *parent)
    : MVSyntaxHighlightingTextView(parent)
{
    const qint64 kind = MVUserDefaults::standard().integerForKey(QStringLiteral("MVLineBreak"));
    _lineBreak = kind >= 0 && kind <= 2 ? int(kind) : 0;
}

HTMLView::~HTMLView() = default;

QString HTMLView::fullString() const
{
    return textStorage()->fullString();
}

void HTMLView::setString(const QString &string)
{
    MVSyntaxHighlightingTextView::setString(GeneralUtility::switchLineBreaks(string, GeneralUtility::LineBreakKind(_lineBreak)));
}

void HTMLView::undoableInsertText(const QString &text, const QString &actionName)
{
    // The view's own replacement of the selection inside a group of ours, so
    // that it is one step under our name and never joins the typing.
    MVUndoManager *undo = undoManager();
    breakUndoCoalescing();
    undo->beginUndoGrouping();
    insertText(text);
    undo->setActionName(actionName);
    undo->endUndoGrouping();
    breakUndoCoalescing();
}

void HTMLView::undoableSetString(const QString &string, const QString &actionName)
{
    const MVRange old = selectedRange();
    setSelectedRange(MVRange{0, textStorage()->length()});
    undoableInsertText(GeneralUtility::switchLineBreaks(string, GeneralUtility::LineBreakKind(_lineBreak)), actionName);
    const qsizetype length = textStorage()->length();
    setSelectedRange(MVRange{qMin(old.location, length), 0});
}

bool HTMLView::_applyDecoded(const std::optional<QString> &string, const MVError &decodeError,
                             const QString &actionName, MVError *error)
{
    if (!string) {
        if (error)
            *error = decodeError;
        return false;
    }
    if (actionName.isEmpty()) {
        setString(*string);
        // Old steps name places in the old text: they cannot be undone now.
        undoManager()->removeAllActions();
    } else {
        undoableSetString(*string, actionName);
    }
    // A fallback decoding is a warning, not a failure.
    if (!decodeError.isNull() && decodeError.code() == 16 && _interfaceDelegate)
        _interfaceDelegate->htmlViewHadError(this, decodeError, false);
    return true;
}

// A large UTF-8 file goes straight from its bytes into the text buffer, a
// piece at a time with its line breaks converted on the way, so that only
// the bytes and one copy of the text are ever in memory together. False
// (and nothing changed) when the bytes are not all valid UTF-8: the whole
// decoding with its fallback takes over.
bool HTMLView::_loadLargeUTF8(const QByteArray &data, const QString &path, MVStringEncoding storedEncoding)
{
    if (data.size() < LargeFileSize || data.startsWith("\xEF\xBB\xBF"))
        return false;
    const MVStringEncoding encoding = storedEncoding ? storedEncoding : FileEncodings::_encodingForPath(path, data);
    if (encoding != FileEncodings::UTF8Encoding)
        return false;
    MVTextBuffer buffer;
    MVTextFileReader::UTF8Appender appender(buffer, GeneralUtility::LineBreakKind(_lineBreak));
    for (qsizetype at = 0; at < data.size(); at += MVTextFileReader::PieceSize) {
        if (!appender.append(QByteArrayView(data).sliced(at, qMin(MVTextFileReader::PieceSize, data.size() - at))))
            return false;
    }
    if (!appender.finish())
        return false;
    setText(std::move(buffer));
    undoManager()->removeAllActions();
    _encoding = FileEncodings::UTF8Encoding;
    _byteOrderMark = FileEncodings::ByteOrderMark::None;
    return true;
}

bool HTMLView::loadFromPath(const QString &path, MVStringEncoding storedEncoding, const QString &actionName,
                            MVError *error)
{
    if (actionName.isEmpty() && QFileInfo(path).size() >= LargeFileSize) {
        // Read a piece at a time, never holding all the bytes beside the text.
        const MVTextFileReader::Request request{path, storedEncoding, FileEncodings::defaultEncoding(),
                                                GeneralUtility::LineBreakKind(_lineBreak)};
        const std::atomic<bool> never{false};
        MVTextFileReader::Result result = MVTextFileReader::read(request, never);
        if (!result.ok) {
            if (error)
                *error = result.error;
            return false;
        }
        loadFromBuffer(std::move(result.buffer), result.encoding, result.mark, result.error);
        return true;
    }
    MVStringEncoding encoding = storedEncoding;
    MVError decodeError;
    FileEncodings::ByteOrderMark mark = FileEncodings::ByteOrderMark::None;
    const auto string = FileEncodings::createWithContentsOfFile(path, &encoding, &decodeError, &mark);
    if (string) {
        _encoding = encoding;
        _byteOrderMark = mark;
    }
    return _applyDecoded(string, decodeError, actionName, error);
}

bool HTMLView::loadFromData(const QByteArray &data, const QString &path, MVStringEncoding storedEncoding,
                            const QString &actionName, MVError *error)
{
    if (actionName.isEmpty() && _loadLargeUTF8(data, path, storedEncoding))
        return true;
    MVStringEncoding encoding = storedEncoding;
    MVError decodeError;
    FileEncodings::ByteOrderMark mark = FileEncodings::ByteOrderMark::None;
    const auto string = FileEncodings::createWithData(data, path, &encoding, &decodeError, &mark);
    if (string) {
        _encoding = encoding;
        _byteOrderMark = mark;
    }
    return _applyDecoded(string, decodeError, actionName, error);
}

void HTMLView::loadFromBuffer(MVTextBuffer &&buffer, MVStringEncoding encoding, FileEncodings::ByteOrderMark mark,
                              const MVError &warning)
{
    setText(std::move(buffer));
    undoManager()->removeAllActions();
    _encoding = encoding;
    _byteOrderMark = mark;
    if (!warning.isNull() && warning.code() == 16 && _interfaceDelegate)
        _interfaceDelegate->htmlViewHadError(this, warning, false);
}

void HTMLView::loadFromString(const QString &string, const QString &actionName)
{
    _applyDecoded(string, MVError(), actionName, nullptr);
}

QString HTMLView::lineBreakName(int type)
{
    switch (type) {
    case 1:
        return QStringLiteral("Mac");
    case 2:
        return QStringLiteral("DOS");
    default:
        return QStringLiteral("Unix");
    }
}

void HTMLView::setLineBreakType(int type)
{
    if (type < 0 || type > 2 || type == _lineBreak)
        return;
    const int old = _lineBreak;
    _lineBreak = type;
    const QString converted = GeneralUtility::switchLineBreaks(fullString(), GeneralUtility::LineBreakKind(type));
    MVUndoManager *undo = undoManager();
    undo->beginUndoGrouping();
    // Undoing restores the old kind as well as the old text.
    QPointer<HTMLView> self(this);
    undo->registerUndo([self, old] {
        if (self)
            self->setLineBreakType(old);
    });
    if (converted != fullString())
        undoableSetString(converted, QStringLiteral("Set Line Break Type"));
    undo->setActionName(QStringLiteral("Set Line Break Type"));
    undo->endUndoGrouping();
}

QString HTMLView::languageName() const
{
    return bundle() ? bundle()->title() : tr("Plain Text");
}
