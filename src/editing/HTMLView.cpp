#include "editing/HTMLView.h"

#include "app/Defaults.h"
#include "editing/MVHTMLData.h"
#include "editing/MVPairedTag.h"
#include "editing/MVTextScanner.h"
#include "files/GeneralUtility.h"
#include "files/MVTextFileReader.h"
#include "language/MVBundle.h"
#include "language/MVParser.h"
#include "platform/MVUserDefaults.h"
#include "text/MVTextBuffer.h"
#include "text/MVTextStorage.h"
#include "text/MVUndoManager.h"

#include <QApplication>
#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>

namespace {
// Files from this size on are decoded a piece at a time when they are UTF-8.
constexpr qsizetype LargeFileSize = 8 * 1024 * 1024;
constexpr qsizetype DecodePieceSize = 4 * 1024 * 1024;
// How long a matched bracket is marked.
constexpr int HighlightTime = 150;
// How far back the scans of one key go: a line's tag, a bracket's opener,
// the tag that closeTag closes.
constexpr qsizetype TagLineLimit = 8 * 1024;
constexpr qsizetype BracketLimit = 256 * 1024;
constexpr qsizetype CloseTagLimit = 1024 * 1024;
constexpr int CloseTagTagLimit = 10000;

bool preference(const char *key)
{
    return MVUserDefaults::standard().boolForKey(QLatin1String(key));
}

bool isBlank(QChar c)
{
    return c == QLatin1Char(' ') || c == QLatin1Char('\t');
}
} // namespace

HTMLView::HTMLView(QWidget *parent)
    : MVSyntaxHighlightingTextView(parent)
{
    const qint64 kind = MVUserDefaults::standard().integerForKey(QStringLiteral("MVLineBreak"));
    _lineBreak = kind >= 0 && kind <= 2 ? int(kind) : 0;
    _highlightTimer.setSingleShot(true);
    _highlightTimer.setInterval(HighlightTime);
    connect(&_highlightTimer, &QTimer::timeout, this, &HTMLView::_endHighlight);
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
        // Read a piece at a time, never holding all the bytes beside the text.
        const MVTextFileReader::Request request{path, storedEncoding, FileEncodings::defaultEncoding()};
        const std::atomic<bool> never{false};
        MVTextFileReader::Result result = MVTextFileReader::read(request, never);
        if (!result.ok) {
            if (error)
                *error = result.error;
            return false;
        }
        loadFromBuffer(std::move(result.buffer), result.encoding, result.mark, result.lineBreak, result.error);
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

void HTMLView::loadFromBuffer(MVTextBuffer &&buffer, MVStringEncoding encoding, FileEncodings::ByteOrderMark mark,
                              std::optional<GeneralUtility::LineBreakKind> lineBreak, const MVError &warning)
{
    if (lineBreak)
        _lineBreak = *lineBreak;
    setText(std::move(buffer));
    undoManager()->removeAllActions();
    _encoding = encoding;
    _byteOrderMark = mark;
    if (!warning.isNull() && warning.code() == 16 && _interfaceDelegate)
        _interfaceDelegate->htmlViewHadError(this, warning, false);
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

// ---- typing -------------------------------------------------------------------

bool HTMLView::_undoing() const
{
    const MVUndoManager *undo = undoManager();
    return undo->isUndoing() || undo->isRedoing();
}

QString HTMLView::lineBreak() const
{
    switch (_lineBreak) {
    case 1:
        return QStringLiteral("\r");
    case 2:
        return QStringLiteral("\r\n");
    default:
        return QStringLiteral("\n");
    }
}

QString HTMLView::tabSpaces()
{
    if (!preference("MVTabsAreSpaces"))
        return QStringLiteral("\t");
    const qint64 size = MVUserDefaults::standard().integerForKey(QStringLiteral("MVTabSizeKey"));
    return QString(int(qBound<qint64>(qint64(1), size, qint64(16))), QLatin1Char(' '));
}

void HTMLView::_beep()
{
    QApplication::beep();
}

bool HTMLView::_inTagParser() const
{
    const MVParser *parser = const_cast<HTMLView *>(this)->activeParser(false);
    if (!parser)
        return false;
    const QString id = parser->identifier();
    return id == QLatin1String("text.html") || id == QLatin1String("text.php") || id == QLatin1String("text.xml");
}

bool HTMLView::textViewShouldChangeTextInRange(MVTextView *view, MVRange range, const QString &replacement)
{
    _pendingRename.reset();
    if (_escaped || _undoing()) {
        _typedRange = MVRange{range.location, replacement.size()};
        return MVSyntaxHighlightingTextView::textViewShouldChangeTextInRange(view, range, replacement);
    }
    const qsizetype location = range.location;
    if (replacement.size() == 1) {
        const QChar typed = replacement.front();
        const bool special = typed == QLatin1Char('>') || typed == QLatin1Char('/') || typed == QLatin1Char('}')
            || typed == QLatin1Char(')') || typed == QLatin1Char(']');
        if (special) {
            MVParser *parser = activeParser(false);
            const QString id = parser ? parser->identifier() : QString();
            const QString tag = typed == QLatin1Char('>') || typed == QLatin1Char('/') ? openTagBefore(location, true) : QString();
            const bool inTagContext = _inTagParser() || (id == QLatin1String("text.css") && tag.compare(QLatin1String("style"), Qt::CaseInsensitive) == 0)
                || (id == QLatin1String("text.js") && tag.compare(QLatin1String("script"), Qt::CaseInsensitive) == 0);
            MVTextScanner text(textStorage()->buffer());
            if (typed == QLatin1Char('/')) {
                if (inTagContext && preference("MVAutoCompleteOnType") && location > 0 && text.at(location - 1) == QLatin1Char('<'))
                    QTimer::singleShot(0, this, [self = QPointer<HTMLView>(this)] {
                        if (self)
                            self->closeTag();
                    });
            } else if (typed == QLatin1Char('>')) {
                if (_ignore) {
                    // The echo of the ">" that a completion inserts.
                    _ignore = false;
                } else {
                    if (location > 0 && !tag.isEmpty() && range.length == 0 && isBlank(text.at(location - 1))) {
                        setSelectedRange(MVRange{location - 1, 1});
                        insertText(QString());
                    }
                    if (inTagContext && preference("MVAutoComplete") && _autoComplete(tag))
                        _insertPlain(replacement);
                    else if (!(inTagContext && preference("MVAutoComplete")))
                        _insertPlain(replacement);
                    return false;
                }
            } else {
                const QChar open = typed == QLatin1Char('}') ? QLatin1Char('{') : typed == QLatin1Char(')') ? QLatin1Char('(') : QLatin1Char('[');
                const MVRange bracket = matchingBracketBefore(location, open, typed);
                if (bracket.isNotFound()) {
                    _beep();
                } else {
                    tempHighlightRange(bracket);
                    if (typed == QLatin1Char('}') && !_useWhitespaceFromLineWithRange(bracket, location))
                        return false;
                }
            }
        }
    }
    if (!MVSyntaxHighlightingTextView::textViewShouldChangeTextInRange(view, range, replacement))
        return false;
    _typedRange = MVRange{location, replacement.size()};
    if (preference("MVRenamePairedTags") && _inTagParser())
        _pendingRename = _renameFor(range, replacement);
    return true;
}

// Puts text in as typed, with the automation off for it.
void HTMLView::_insertPlain(const QString &text)
{
    const bool escaped = _escaped;
    _escaped = true;
    insertText(text);
    _escaped = escaped;
}

bool HTMLView::_autoComplete(QString tag)
{
    if (tag.isEmpty() || _ignore) {
        _ignore = false;
        return true;
    }
    if (tag.startsWith(QLatin1String("!--")))
        tag = QStringLiteral("!--");
    const bool xml = activeParser(false) && activeParser(false)->identifier() == QLatin1String("text.xml");
    const int kind = MVHTMLData::tagKind(tag, xml);
    const MVRange selection = selectedRange();
    const QString selected = textStorage()->fullStringInRange(selection);
    if (kind == MVHTMLData::Block) {
        const QString indent = tabIndex();
        _ignore = true;
        undoableInsertText(QStringLiteral(">"), QStringLiteral("Typing"));
        const QString completion = lineBreak() + indent + tabSpaces() + selected + lineBreak() + indent + QStringLiteral("</") + tag + QLatin1Char('>');
        undoableInsertText(completion, QStringLiteral("Tag Completion"));
        const qsizetype back = tag.size() + indent.size() + lineBreak().size() + 3;
        setSelectedRange(MVRange{selectedRange().location - back, 0});
        return false;
    }
    if (kind == MVHTMLData::Empty) {
        const qsizetype end = selection.end();
        if (isXHTML() && (end == 0 || textStorage()->characterAt(end - 1) != QLatin1Char('/'))) {
            undoableInsertText(QStringLiteral(" />"), QStringLiteral("Tag Completion"));
            return false;
        }
    }
    if (kind == MVHTMLData::Empty || kind == MVHTMLData::NoClosingTag) {
        _ignore = true;
        undoableInsertText(QStringLiteral(">"), QStringLiteral("Tag Completion"));
        return false;
    }
    if (!selected.isEmpty()) {
        // A name that only starts with a known one takes that one's kind.
        for (qsizetype length = tag.size() - 1; length > 0; --length) {
            if (MVHTMLData::hasTagKind(tag.left(length)))
                return _autoComplete(tag.left(length));
        }
    }
    _ignore = true;
    undoableInsertText(QStringLiteral(">"), QStringLiteral("Typing"));
    undoableInsertText(selected + QStringLiteral("</") + tag + QLatin1Char('>'), QStringLiteral("Tag Completion"));
    setSelectedRange(MVRange{selectedRange().location - tag.size() - 3, 0});
    return false;
}

QString HTMLView::openTagBefore(qsizetype location, bool autoComplete)
{
    const MVTextBuffer &buffer = textStorage()->buffer();
    location = qBound<qsizetype>(0, location, buffer.length());
    const qsizetype lineStart = qMax(buffer.lineStart(buffer.lineForPosition(location)), location - TagLineLimit);
    QString scratch;
    const QStringView line = textStorage()->view(MVRange{lineStart, location - lineStart}, scratch);
    const qsizetype n = line.size();
    // One pass: quotes count inside tags only, so an apostrophe in the
    // text never hides a tag.
    QChar quote;
    bool inTag = false;
    qsizetype lastLt = -1, lastGt = -1, lastUnquotedLt = -1;
    for (qsizetype i = 0; i < n; ++i) {
        const QChar c = line[i];
        if (!quote.isNull()) {
            if (c == quote)
                quote = QChar();
            if (c == QLatin1Char('<'))
                lastLt = i;
            continue;
        }
        if (c == QLatin1Char('<')) {
            lastLt = lastUnquotedLt = i;
            inTag = true;
        } else if (c == QLatin1Char('>')) {
            lastGt = i;
            inTag = false;
        } else if (inTag && (c == QLatin1Char('"') || c == QLatin1Char('\''))) {
            quote = c;
        }
    }
    if ((autoComplete && !quote.isNull()) || lastLt < 0 || n == 1)
        return QString();
    if (lastGt > lastLt)
        return QString();
    if (lastLt + 1 < n && line[lastLt + 1] == QLatin1Char('/'))
        return QString();
    if (lastUnquotedLt < 0)
        return QString();
    qsizetype end = lastUnquotedLt + 1;
    while (end < n && !line[end].isSpace() && line[end] != QLatin1Char('/'))
        ++end;
    return line.mid(lastUnquotedLt + 1, end - lastUnquotedLt - 1).toString();
}

bool HTMLView::isXHTML()
{
    const MVTextBuffer &buffer = textStorage()->buffer();
    QString scratch;
    const QStringView head = textStorage()->view(MVRange{0, qMin<qsizetype>(buffer.length(), 64 * 1024)}, scratch);
    const qsizetype doctype = head.indexOf(QLatin1String("<!DOCTYPE"), 0, Qt::CaseInsensitive);
    const qsizetype end = doctype < 0 ? -1 : head.indexOf(QLatin1Char('>'), doctype);
    if (end < 0)
        return preference("MVXHTMLTags");
    return head.mid(doctype, end - doctype).contains(QLatin1String("xhtml"), Qt::CaseInsensitive);
}

QString HTMLView::tabSpacesForRange(MVRange range)
{
    const MVTextBuffer &buffer = textStorage()->buffer();
    const qsizetype start = buffer.lineStart(buffer.lineForPosition(qBound<qsizetype>(0, range.location, buffer.length())));
    MVTextScanner text(buffer);
    QString indent;
    for (qsizetype i = start; i < buffer.length(); ++i) {
        const QChar c = text.at(i);
        if (c == QLatin1Char(' '))
            indent += c;
        else if (c == QLatin1Char('\t'))
            indent += tabSpaces();
        else
            break;
    }
    return indent;
}

MVRange HTMLView::matchingBracketBefore(qsizetype location, QChar open, QChar close)
{
    MVTextScanner text(textStorage()->buffer());
    int depth = 0;
    const qsizetype stop = qMax<qsizetype>(0, location - BracketLimit);
    for (qsizetype i = qMin(location, text.length()) - 1; i >= stop; --i) {
        const QChar c = text.at(i);
        if (c == close) {
            ++depth;
        } else if (c == open) {
            if (depth == 0)
                return MVRange{i, 1};
            --depth;
        }
    }
    return MVRange::notFound();
}

MVRange HTMLView::matchingBracketAfter(qsizetype location, QChar open, QChar close)
{
    MVTextScanner text(textStorage()->buffer());
    int depth = 0;
    const qsizetype end = qMin(text.length(), location + BracketLimit);
    for (qsizetype i = qMax<qsizetype>(0, location); i < end; ++i) {
        const QChar c = text.at(i);
        if (c == open) {
            ++depth;
        } else if (c == close) {
            if (depth == 0)
                return MVRange{i, 1};
            --depth;
        }
    }
    return MVRange::notFound();
}

void HTMLView::tempHighlightRange(MVRange range)
{
    // A background mark that a timer takes off again: the caret stays where
    // it is and typing goes on meanwhile.
    _endHighlight();
    if (range.isNotFound() || range.end() > textStorage()->length())
        return;
    _highlighted = range;
    textStorage()->addAttribute(MVAttribute::BackgroundColor, quint64(qRgb(255, 225, 120)), range);
    _highlightTimer.start();
}

void HTMLView::_endHighlight()
{
    _highlightTimer.stop();
    if (_highlighted.isNotFound())
        return;
    const MVRange range = MVIntersectionRange(_highlighted, MVRange{0, textStorage()->length()});
    _highlighted = MVRange::notFound();
    if (range.length > 0)
        textStorage()->removeAttribute(MVAttribute::BackgroundColor, range);
}

bool HTMLView::_useWhitespaceFromLineWithRange(MVRange bracket, qsizetype location)
{
    const MVTextBuffer &buffer = textStorage()->buffer();
    const qsizetype line = buffer.lineForPosition(location);
    const qsizetype start = buffer.lineStart(line);
    const qsizetype end = buffer.lineContentsEnd(line);
    MVTextScanner text(buffer);
    bool blank = true;
    for (qsizetype i = start; i < end && blank; ++i)
        blank = isBlank(text.at(i));
    if (!blank || _ignore) {
        _ignore = false;
        return true;
    }
    const QString closing = tabSpacesForRange(bracket) + QLatin1Char('}');
    setSelectedRange(MVRange{start, end - start});
    _ignore = closing.size() == 1;
    insertText(closing);
    return false;
}

void HTMLView::closeTag()
{
    MVTextScanner text(textStorage()->buffer());
    const qsizetype location = selectedRange().location;
    const bool xml = activeParser(false) && activeParser(false)->identifier() == QLatin1String("text.xml");
    const qsizetype stop = qMax<qsizetype>(0, location - CloseTagLimit);
    qsizetype gt = text.lastIndexOf(QLatin1Char('>'), location, location - stop);
    int depth = 0;
    QString found;
    for (int tags = 0; gt >= 0 && tags < CloseTagTagLimit; ++tags) {
        const qsizetype lt = text.lastIndexOf(QLatin1Char('<'), gt, gt - stop);
        if (lt < 0)
            break;
        const qsizetype slash = text.indexOf(QLatin1Char('/'), lt + 1, gt + 1);
        const bool closing = slash == lt + 1 || (slash >= 0 && slash == gt - 1);
        qsizetype at = slash == lt + 1 ? lt + 2 : lt + 1;
        QString name;
        while (at < gt && text.at(at).isLetterOrNumber() && name.size() < 256)
            name += text.at(at++);
        const int kind = MVHTMLData::tagKind(name, xml);
        if (closing) {
            if (kind != MVHTMLData::NoClosingTag && kind != MVHTMLData::Empty)
                ++depth;
        } else if (depth != 0) {
            --depth;
        } else if (kind != MVHTMLData::NoClosingTag && kind != MVHTMLData::Empty && !name.isEmpty()) {
            found = name;
            break;
        }
        gt = lt > stop ? text.lastIndexOf(QLatin1Char('>'), lt, lt - stop) : -1;
    }
    if (found.isEmpty()) {
        _beep();
        return;
    }
    QString insertion;
    if (location > 0 && text.at(location - 1) == QLatin1Char('<'))
        insertion = QLatin1Char('/') + found + QLatin1Char('>');
    else if (location > 1 && text.at(location - 1) == QLatin1Char('/') && text.at(location - 2) == QLatin1Char('<'))
        insertion = found + QLatin1Char('>');
    else
        insertion = QStringLiteral("</") + found + QLatin1Char('>');
    undoableInsertText(insertion, QStringLiteral("Close Tag"));
}

QStringList HTMLView::openCSSParamBefore(qsizetype location)
{
    const QString notFound = QStringLiteral("notfound");
    const MVTextBuffer &buffer = textStorage()->buffer();
    location = qBound<qsizetype>(0, location, buffer.length());
    const qsizetype lineNumber = buffer.lineForPosition(location);
    const qsizetype start = qMax(buffer.lineStart(lineNumber), location - TagLineLimit);
    const qsizetype end = qMin(buffer.lineContentsEnd(lineNumber), location + TagLineLimit);
    QString scratch;
    const QStringView line = textStorage()->view(MVRange{start, end - start}, scratch);
    const qsizetype n = location - start;
    const qsizetype colon = line.left(n).lastIndexOf(QLatin1Char(':'));
    if (colon < 0 || line.mid(colon, n - colon).contains(QLatin1Char(';')))
        return {notFound, notFound};
    qsizetype from = colon;
    while (from > 0 && !line[from - 1].isSpace())
        --from;
    const QString property = line.mid(from, colon - from).toString();
    qsizetype value = colon + 1;
    while (value < line.size() && line[value].isSpace())
        ++value;
    if (value >= line.size())
        return {property, notFound};
    const qsizetype semicolon = line.indexOf(QLatin1Char(';'), value);
    return {property, line.mid(value, (semicolon < 0 ? line.size() : semicolon) - value).toString()};
}

void HTMLView::textDidChange(MVTextView *view)
{
    MVSyntaxHighlightingTextView::textDidChange(view);
    std::optional<PendingRename> rename;
    rename.swap(_pendingRename);
    if (_undoing())
        return;
    if (selectedRange().length == 0)
        showCodeCompletionOptional(true);
    if (rename) {
        MVRange partner = rename->partner;
        if (partner.location > rename->changeAt)
            partner.location += rename->delta;
        _replacePartner(partner, rename->newName);
    }
    if (!_escaped && _typedRange.length == 1 && preference("MVAutoSpecChars") && _inTagParser()) {
        const qsizetype at = _typedRange.location;
        const auto &entities = MVHTMLData::specialCharacters();
        const auto entity = at < textStorage()->length() ? entities.constFind(textStorage()->characterAt(at)) : entities.constEnd();
        if (entity != entities.constEnd()) {
            _typedRange = MVRange{};
            setSelectedRange(MVRange{at, 1});
            undoableInsertText(*entity, QStringLiteral("Replace Character Entity"));
        }
    }
    if (_escaped) {
        _escaped = false;
        if (_interfaceDelegate)
            _interfaceDelegate->htmlViewIsEscaped(this, false);
    }
}

bool HTMLView::textViewDoCommandBySelector(MVTextView *view, const QString &command)
{
    if (command == QLatin1String("insertNewline:")) {
        if (!doCompletions())
            _insertNewline();
        return true;
    }
    if (command == QLatin1String("insertTab:")) {
        if (!doCompletions())
            _insertTab();
        return true;
    }
    if (command == QLatin1String("cancelOperation:")) {
        _escaped = !_escaped;
        if (_interfaceDelegate)
            _interfaceDelegate->htmlViewIsEscaped(this, _escaped);
        return true;
    }
    if (command == QLatin1String("moveRight:")) {
        const MVRange selection = selectedRange();
        if (selection.length == 0 && selection.location < textStorage()->length()) {
            const QChar next = textStorage()->characterAt(selection.location);
            if (next == QLatin1Char('}') || next == QLatin1Char(')') || next == QLatin1Char(']')) {
                const QChar open = next == QLatin1Char('}') ? QLatin1Char('{') : next == QLatin1Char(')') ? QLatin1Char('(') : QLatin1Char('[');
                const MVRange bracket = matchingBracketBefore(selection.location, open, next);
                if (bracket.isNotFound())
                    _beep();
                else
                    tempHighlightRange(bracket);
            }
        }
    }
    return MVSyntaxHighlightingTextView::textViewDoCommandBySelector(view, command);
}

void HTMLView::_insertNewline()
{
    QString text = lineBreak();
    const qsizetype location = selectedRange().location;
    if (!_escaped && preference("MVAutoTabKey")) {
        const MVTextBuffer &buffer = textStorage()->buffer();
        const qsizetype start = buffer.lineStart(buffer.lineForPosition(location));
        MVTextScanner scanner(buffer);
        for (qsizetype i = start; i < location && isBlank(scanner.at(i)); ++i)
            text += scanner.at(i);
        if (location > 0 && scanner.at(location - 1) == QLatin1Char('{'))
            text += tabSpaces();
    }
    insertText(text);
}

void HTMLView::_insertTab()
{
    const MVRange selection = selectedRange();
    const MVTextBuffer &buffer = textStorage()->buffer();
    const qsizetype lineNumber = buffer.lineForPosition(selection.location);
    const qsizetype lineStart = buffer.lineStart(lineNumber);
    const qsizetype contentsEnd = buffer.lineContentsEnd(lineNumber);
    if (!_escaped && selection.location > lineStart && contentsEnd - lineStart <= TagLineLimit) {
        const QString line = textStorage()->substring(MVRange{lineStart, contentsEnd - lineStart});
        const qsizetype column = selection.location - lineStart;
        bool significant = false;
        for (qsizetype i = 0; i < column && !significant; ++i)
            significant = !line[i].isSpace();
        if (significant) {
            const MVRange next = MVParser::nextSignificantRangeInString(line, MVRange{column, selection.length});
            if (!next.isNotFound()) {
                setSelectedRange(MVRange{lineStart + next.location, next.length});
                return;
            }
        }
    }
    if (!preference("MVTabsAreSpaces")) {
        insertText(QStringLiteral("\t"));
    } else {
        const qint64 size = qBound<qint64>(qint64(1), MVUserDefaults::standard().integerForKey(QStringLiteral("MVTabSizeKey")), qint64(16));
        const qsizetype column = selection.location - lineStart;
        insertText(QString(int(size - column % size), QLatin1Char(' ')));
    }
    if (!_escaped && selection.location != 0 && selection.location == lineStart && preference("MVAutoTabKey")) {
        QString indent = tabSpacesForRange(MVRange{selection.location - 1, 0});
        const QString unit = tabSpaces();
        if (indent.startsWith(unit))
            indent.remove(0, unit.size());
        if (!indent.isEmpty())
            undoableInsertText(indent, QStringLiteral("Auto Tab"));
    }
}

// ---- paired tags ----------------------------------------------------------------

std::optional<HTMLView::PendingRename> HTMLView::_renameFor(MVRange range, const QString &replacement)
{
    for (const QChar c : replacement) {
        if (!MVPairedTag::isNameCharacter(c))
            return std::nullopt;
    }
    MVTextScanner text(textStorage()->buffer());
    const bool xml = activeParser(false) && activeParser(false)->identifier() == QLatin1String("text.xml");
    const auto tag = MVPairedTag::tagAround(text, range);
    if (!tag)
        return std::nullopt;
    const auto partner = MVPairedTag::partnerOf(text, *tag, xml);
    if (!partner)
        return std::nullopt;
    // A fold between the two may hide the real partner.
    const MVRange between = partner->location < tag->name.location
        ? MVRange{partner->location, tag->name.location - partner->location}
        : MVRange{tag->name.end(), partner->location - tag->name.end()};
    if (textStorage()->firstAttachmentInRange(between))
        return std::nullopt;
    // The same edit in the partner's name, which keeps its own case.
    const QString oldName = textStorage()->substring(*partner);
    if (oldName.size() != tag->name.length)
        return std::nullopt;
    QString newName = oldName;
    newName.replace(range.location - tag->name.location, range.length, replacement);
    if (newName.isEmpty() || newName == oldName)
        return std::nullopt;
    return PendingRename{*partner, newName, range.location, replacement.size() - range.length};
}

void HTMLView::_replacePartner(MVRange range, const QString &name)
{
    if (range.end() > textStorage()->length())
        return;
    const QString old = textStorage()->substring(range);
    replaceCharactersInRange(range, name);
    syntaxHighlight(rangeToHighlightForRange(MVRange{range.location, name.size()}));
    // The same undo step as the edit that caused it; its undo puts the old
    // name back and registers the redo.
    MVUndoManager *undo = undoManager();
    QPointer<HTMLView> self(this);
    const MVRange renamed{range.location, name.size()};
    auto step = [self, renamed, old] {
        if (self)
            self->_replacePartner(renamed, old);
    };
    if (_undoing())
        undo->registerUndo(step);
    else
        undo->registerUndoInGroup(undo->topGroupIdentifier(), step);
    // The next key is a step of its own, so that each Undo restores both.
    breakUndoCoalescing();
}
