#include "editing/HTMLView.h"

#include "app/Defaults.h"
#include "files/GeneralUtility.h"
#include "language/MVBundle.h"
#include "platform/MVUserDefaults.h"
#include "text/MVTextBuffer.h"
#include "text/MVTextStorage.h"
#include "text/MVUndoManager.h"

#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>

namespace {
// Files from this size on are decoded a piece at a time when they are UTF-8.
constexpr qsizetype LargeFileSize = 8 * 1024 * 1024;
constexpr qsizetype DecodePieceSize = 4 * 1024 * 1024;
} // namespace

HTMLView::HTMLView(QWidget *parent)
    : MVSyntaxHighlightingTextView(parent)
{
    const qint64 kind = MVUserDefaults::standard().integerForKey(QStringLiteral("MVLineBreak"));
    _lineBreak = kind >= 0 && kind <= 2 ? int(kind) : 0;
    updateAttributes();
    _editorPrefsChange = MVObservation(editorPrefsChangeNotification(), nullptr,
                                       [this](const MVNotification &) { updateAttributes(); });
}

void HTMLView::updateAttributes()
{
    const MVUserDefaults &defaults = MVUserDefaults::standard();
    setFont(Defaults::defaultFont());
    const qint64 tabSize = defaults.integerForKey(QStringLiteral("MVTabSizeKey"));
    setTabWidth(tabSize > 0 ? int(tabSize) : 4);
    setWrapsText(defaults.boolForKey(QStringLiteral("MVWrapText")));
    setShowsInvisibleCharacters(defaults.boolForKey(QStringLiteral("MVShowInvisibles")));
    viewport()->update();
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

QString HTMLView::textForInsertion(const QString &text) const
{
    // Typed, pasted and dropped text takes the document's kind of break, so
    // that a CR LF file stays CR LF on every line.
    if (_keepBreaksAsGiven)
        return text;
    return GeneralUtility::switchLineBreaks(text, GeneralUtility::LineBreakKind(_lineBreak));
}

void HTMLView::undoableSetString(const QString &string, const QString &actionName)
{
    const MVRange old = selectedRange();
    setSelectedRange(MVRange{0, textStorage()->length()});
    undoableInsertText(string, actionName);
    const qsizetype length = textStorage()->length();
    setSelectedRange(MVRange{qMin(old.location, length), 0});
}

bool HTMLView::_applyDecoded(const std::optional<QString> &string, const MVError &decodeError,
                             const QString &actionName, MVError *error, bool fromFile)
{
    if (!string) {
        if (error)
            *error = decodeError;
        return false;
    }
    // A file's text keeps its line breaks as they are, and the view takes
    // the kind of its first one; other text is brought to the view's kind.
    if (fromFile) {
        if (const auto kind = GeneralUtility::firstLineBreakKind(*string))
            _lineBreak = *kind;
    }
    const bool keeping = _keepBreaksAsGiven;
    _keepBreaksAsGiven = fromFile;
    if (actionName.isEmpty()) {
        if (fromFile)
            MVSyntaxHighlightingTextView::setString(*string);
        else
            setString(*string);
        // Old steps name places in the old text: they cannot be undone now.
        undoManager()->removeAllActions();
    } else {
        undoableSetString(*string, actionName);
    }
    _keepBreaksAsGiven = keeping;
    // A fallback decoding is a warning, not a failure.
    if (!decodeError.isNull() && decodeError.code() == 16 && _interfaceDelegate)
        _interfaceDelegate->htmlViewHadError(this, decodeError, false);
    return true;
}

// A large UTF-8 file goes straight from its bytes into the text buffer, a
// piece at a time with its line breaks as they are, so that only
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
    QStringDecoder decoder(QStringDecoder::Utf8);
    MVTextBuffer buffer;
    QString carried;
    std::optional<GeneralUtility::LineBreakKind> kind;
    for (qsizetype at = 0; at < data.size(); at += DecodePieceSize) {
        QString piece = carried + decoder.decode(QByteArrayView(data).sliced(at, qMin(DecodePieceSize, data.size() - at)));
        if (decoder.hasError())
            return false;
        carried.clear();
        // A CR at the end of a piece may be the first half of a CR LF.
        if (at + DecodePieceSize < data.size() && piece.endsWith(QLatin1Char('\r'))) {
            carried = QStringLiteral("\r");
            piece.chop(1);
        }
        if (!kind)
            kind = GeneralUtility::firstLineBreakKind(piece, carried.isEmpty());
        buffer.append(piece);
    }
    if (!carried.isEmpty()) {
        if (!kind)
            kind = GeneralUtility::MacLineBreak;
        buffer.append(carried);
    }
    if (kind)
        _lineBreak = *kind;
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
        QFile file(path);
        if (file.open(QIODevice::ReadOnly)) {
            const QByteArray data = file.readAll();
            if (file.error() == QFileDevice::NoError && _loadLargeUTF8(data, path, storedEncoding))
                return true;
        }
    }
    MVStringEncoding encoding = storedEncoding;
    MVError decodeError;
    FileEncodings::ByteOrderMark mark = FileEncodings::ByteOrderMark::None;
    const auto string = FileEncodings::createWithContentsOfFile(path, &encoding, &decodeError, &mark);
    if (string) {
        _encoding = encoding;
        _byteOrderMark = mark;
    }
    return _applyDecoded(string, decodeError, actionName, error, true);
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
    return _applyDecoded(string, decodeError, actionName, error, true);
}

void HTMLView::loadFromString(const QString &string, const QString &actionName)
{
    _applyDecoded(string, MVError(), actionName, nullptr, false);
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
    if (type < 0 || type > 2 || !isEditable())
        return;
    const QString text = fullString();
    const QString converted = GeneralUtility::switchLineBreaks(text, GeneralUtility::LineBreakKind(type));
    // Picking the kind the view has already still evens out a mixed text.
    if (type == _lineBreak && converted == text)
        return;
    const int old = _lineBreak;
    _lineBreak = type;
    MVUndoManager *undo = undoManager();
    undo->beginUndoGrouping();
    // Undoing restores the old kind as well as the old text.
    _registerLineBreakKindUndo(old);
    if (converted != text)
        undoableSetString(converted, QStringLiteral("Set Line Break Type"));
    undo->setActionName(QStringLiteral("Set Line Break Type"));
    undo->endUndoGrouping();
}

void HTMLView::_registerLineBreakKindUndo(int kind)
{
    QPointer<HTMLView> self(this);
    undoManager()->registerUndo([self, kind] {
        if (!self)
            return;
        const int current = self->_lineBreak;
        self->_lineBreak = kind;
        self->_registerLineBreakKindUndo(current);
    });
}

QString HTMLView::languageName() const
{
    return bundle() ? bundle()->title() : tr("Plain Text");
}
