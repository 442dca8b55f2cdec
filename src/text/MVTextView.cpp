#include "text/MVTextView.h"

#include "platform/MVNotificationCenter.h"
#include "text/MVLayoutManager.h"
#include "text/MVTextAttachment.h"
#include "text/MVTextStorage.h"
#include "text/MVTextViewDelegate.h"
#include "text/MVUndoManager.h"

#include <QApplication>
#include <QClipboard>
#include <QDrag>
#include <QFontDatabase>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QMimeData>
#include <QPainter>
#include <QScrollBar>
#include <QStyleHints>
#include <QTextLayout>

#include <cmath>

namespace {

// Lines up to this length are laid out whole; longer ones in segments of
// SegmentLength characters, of which only the visible ones are laid out.
constexpr qsizetype LongLineLength = 4096;
constexpr qsizetype SegmentLength = 1024;
// Room left of the text, and beside the caret when scrolling it into view.
constexpr qreal TextMargin = 3;
constexpr int CaretWidth = 2;
// Cached layouts beyond this many are dropped (the visible ones come back).
constexpr size_t LayoutCacheLimit = 1500;
constexpr char16_t ObjectReplacement = 0xFFFC;

quint64 layoutKey(qsizetype line, int segment)
{
    return (quint64(line) << 20) | quint64(segment);
}

bool isWordCharacter(QChar c)
{
    return c.isLetterOrNumber() || c == u'_' || c.isMark();
}

} // namespace

struct MVTextView::TypingRecord
{
    qsizetype location = 0;
    qsizetype newLength = 0;
    QString oldText;
    std::vector<std::pair<qsizetype, std::shared_ptr<MVTextAttachment>>> attachments;
};

MVRulerArea::MVRulerArea(MVTextView *view)
    : QWidget(view)
    , _view(view)
{
}

MVTextView::MVTextView(QWidget *parent)
    : QAbstractScrollArea(parent)
    , _storage(std::make_unique<MVTextStorage>())
    , _ownUndo(std::make_unique<MVUndoManager>())
    , _undo(_ownUndo.get())
    , _layoutManager(std::make_unique<MVLayoutManager>(this))
{
    setAttribute(Qt::WA_InputMethodEnabled);
    setFocusPolicy(Qt::StrongFocus);
    setAcceptDrops(true);
    viewport()->setCursor(Qt::IBeamCursor);
    viewport()->setAttribute(Qt::WA_OpaquePaintEvent);
    _font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    _layoutManager->setFont(_font);
    _updateMetrics();
    _observer = _storage->addEditingObserver([this](const MVTextStorage &) { _storageEdited(); });
    _updateScrollBars();
}

MVTextView::~MVTextView()
{
    _storage->removeEditingObserver(_observer);
}

MVUndoManager *MVTextView::undoManager() const
{
    return _undo;
}

void MVTextView::setUndoManager(MVUndoManager *manager)
{
    _undo = manager ? manager : _ownUndo.get();
    breakUndoCoalescing();
}

// ---- text -----------------------------------------------------------------

QString MVTextView::string() const
{
    return _storage->string();
}

void MVTextView::setString(const QString &string)
{
    setText(MVTextBuffer(string));
}

void MVTextView::setText(MVTextBuffer &&buffer)
{
    breakUndoCoalescing();
    const MVRange old = _selection;
    // The widest line is measured again as the storage reports the edit.
    _widestChars = 0;
    _storage->setBuffer(std::move(buffer));
    _lineCount = _storage->buffer().lineCount();
    _clearLayouts();
    const qsizetype length = _storage->length();
    _selection = MVRange{qMin(old.location, length), 0};
    _anchor = _selection.location;
    _topLine = qMin(_topLine, _storage->buffer().lineCount() - 1);
    _topSegment = 0;
    _topRow = 0;
    _updateScrollBars();
    viewport()->update();
    if (_ruler)
        _ruler->update();
}

void MVTextView::setEditable(bool editable)
{
    _editable = editable;
    setAttribute(Qt::WA_InputMethodEnabled, editable);
    setAcceptDrops(editable);
}

void MVTextView::replaceCharactersInRange(MVRange range, const QString &string)
{
    _storage->replaceCharacters(range, string);
}

void MVTextView::insertText(const QString &text)
{
    if (_changeText(_selection, text, QStringLiteral("Typing"), true))
        _ensureCaretVisible();
}

void MVTextView::insertAttachment(std::shared_ptr<MVTextAttachment> attachment)
{
    if (_changeText(_selection, QString(QChar(ObjectReplacement)), QString(), false, std::move(attachment)))
        _ensureCaretVisible();
}

bool MVTextView::_changeText(MVRange range, const QString &given, const QString &actionName, bool typing,
                             std::shared_ptr<MVTextAttachment> attachment)
{
    const QString text = attachment ? given : textForInsertion(given);
    range = MVIntersectionRange(range, MVRange{0, _storage->length()});
    if (!_editable || (range.length == 0 && text.isEmpty()))
        return false;
    if (_delegate && !_delegate->textViewShouldChangeTextInRange(this, range, text))
        return false;
    // The hook may have changed the text; keep the range inside it.
    range = MVIntersectionRange(range, MVRange{0, _storage->length()});

    const QString oldText = _storage->substring(range);
    std::vector<std::pair<qsizetype, std::shared_ptr<MVTextAttachment>>> oldAttachments;
    for (qsizetype at = range.location; at < range.end();) {
        MVRange found;
        auto a = _storage->nextAttachmentAfterIndex(at, &found);
        if (!a || found.location >= range.end())
            break;
        oldAttachments.emplace_back(found.location - range.location, a);
        at = found.location + 1;
    }

    MVUndoManager *undo = _undo;
    bool coalesced = false;
    if (typing && _typing && !_inUndo && oldAttachments.empty() && undo->groupingLevel() == 0
        && _typingGroup != 0 && undo->topGroupIdentifier() == _typingGroup) {
        TypingRecord &record = *_typing;
        if (range.length == 0 && range.location == record.location + record.newLength) {
            record.newLength += text.size();
            coalesced = true;
        } else if (text.isEmpty() && range.end() == record.location + record.newLength && range.location >= record.location) {
            record.newLength -= range.length;
            coalesced = true;
        } else if (text.isEmpty() && record.newLength == 0 && range.end() == record.location) {
            record.oldText.prepend(oldText);
            record.location = range.location;
            coalesced = true;
        }
        if (coalesced)
            undo->registerUndoInGroup(_typingGroup, nullptr);
    }
    if (!coalesced) {
        auto record = std::make_shared<TypingRecord>();
        record->location = range.location;
        record->newLength = text.size();
        record->oldText = oldText;
        record->attachments = oldAttachments;
        QPointer<MVTextView> self(this);
        undo->beginUndoGrouping();
        undo->registerUndo([self, record] {
            if (self)
                self->_replaceForUndo(MVRange{record->location, record->newLength}, record->oldText, record->attachments);
        });
        undo->setActionName(actionName);
        undo->endUndoGrouping();
        if (typing && undo->groupingLevel() == 0) {
            _typing = record;
            _typingGroup = undo->topGroupIdentifier();
        } else {
            _typing.reset();
            _typingGroup = 0;
        }
    }

    // The selection moves inside the storage's edit, so that the selection
    // calls still see what the edit did (changeInLength); the storage then
    // reports the edit, and textDidChange comes last.
    _applyingChange = true;
    _storage->beginEditing();
    if (attachment)
        _storage->replaceCharactersWithAttachment(range, std::move(attachment));
    else
        _storage->replaceCharacters(range, text);
    _setSelection(MVRange{range.location + text.size(), 0}, true);
    _storage->endEditing();
    _applyingChange = false;
    if (_delegate)
        _delegate->textDidChange(this);
    MVNotificationCenter::defaultCenter().post(didChangeNotification(), this);
    return true;
}

void MVTextView::_replaceForUndo(MVRange range, const QString &text,
                                 const std::vector<std::pair<qsizetype, std::shared_ptr<MVTextAttachment>>> &attachments)
{
    range = MVIntersectionRange(range, MVRange{0, _storage->length()});
    _inUndo = true;
    breakUndoCoalescing();
    // The hook hears of the change; it cannot refuse an undo.
    if (_delegate)
        _delegate->textViewShouldChangeTextInRange(this, range, text);
    auto record = std::make_shared<TypingRecord>();
    record->location = range.location;
    record->newLength = text.size();
    record->oldText = _storage->substring(range);
    for (qsizetype at = range.location; at < range.end();) {
        MVRange found;
        auto a = _storage->nextAttachmentAfterIndex(at, &found);
        if (!a || found.location >= range.end())
            break;
        record->attachments.emplace_back(found.location - range.location, a);
        at = found.location + 1;
    }
    QPointer<MVTextView> self(this);
    _undo->registerUndo([self, record] {
        if (self)
            self->_replaceForUndo(MVRange{record->location, record->newLength}, record->oldText, record->attachments);
    });

    _applyingChange = true;
    _storage->beginEditing();
    _storage->replaceCharacters(range, text);
    for (const auto &[offset, attachment] : attachments)
        _storage->replaceCharactersWithAttachment(MVRange{range.location + offset, 1}, attachment,
                                                  _storage->attributesAtIndex(range.location + offset));
    _setSelection(MVRange{range.location, text.size()}, true);
    _storage->endEditing();
    _applyingChange = false;
    if (_delegate)
        _delegate->textDidChange(this);
    MVNotificationCenter::defaultCenter().post(didChangeNotification(), this);
    _inUndo = false;
    _ensureCaretVisible();
}

void MVTextView::_deleteRange(MVRange range, const QString &actionName)
{
    if (range.length <= 0)
        return;
    if (_changeText(range, QString(), actionName, actionName == QStringLiteral("Typing")))
        _ensureCaretVisible();
}

void MVTextView::breakUndoCoalescing()
{
    _typing.reset();
    _typingGroup = 0;
}

void MVTextView::undo()
{
    if (!_editable)
        return;
    breakUndoCoalescing();
    _undo->undo();
}

void MVTextView::redo()
{
    if (!_editable)
        return;
    breakUndoCoalescing();
    _undo->redo();
}

void MVTextView::_storageEdited()
{
    const int mask = _storage->editedMask();
    const MVRange edited = _storage->editedRange();
    const MVTextBuffer &buffer = _storage->buffer();
    if (mask & MVTextStorage::EditedCharacters) {
        // Layouts are cached by line number: when lines come or go, all of
        // them may have moved; otherwise only the edited lines changed.
        if (buffer.lineCount() != _lineCount || edited.location == MVNotFound) {
            _clearLayouts();
        } else {
            const qsizetype first = buffer.lineForPosition(edited.location);
            const qsizetype last = buffer.lineForPosition(qMin(edited.end(), buffer.length()));
            _invalidateLayouts(first, last);
        }
        _lineCount = buffer.lineCount();
        const qsizetype delta = _storage->changeInLength();
        const qsizetype length = _storage->length();
        // Keep the selection on its characters when others change the text.
        const qsizetype oldEnd = edited.end() - delta;
        auto adjust = [&](qsizetype position) {
            if (position >= oldEnd)
                return qMin(position + delta, length);
            if (position > edited.location)
                return qMin(edited.end(), length);
            return qMin(position, length);
        };
        if (!_applyingChange) {
            const qsizetype start = adjust(_selection.location);
            const qsizetype end = adjust(_selection.end());
            _selection = MVRange{start, qMax<qsizetype>(0, end - start)};
            _anchor = qBound<qsizetype>(0, adjust(_anchor), length);
        }
        if (edited.location != MVNotFound) {
            const qsizetype first = buffer.lineForPosition(edited.location);
            const qsizetype last = buffer.lineForPosition(qMin(edited.end(), length));
            _updateWidest(first, last);
        }
        _topLine = qMin(_topLine, buffer.lineCount() - 1);
        if (_wraps && _topSegment >= _segmentCount(_topLine)) {
            _topSegment = 0;
            _topRow = 0;
        }
        _updateScrollBars();
    } else if (edited.location != MVNotFound) {
        const qsizetype first = buffer.lineForPosition(edited.location);
        const qsizetype last = buffer.lineForPosition(qMin(edited.end(), buffer.length()));
        _invalidateLayouts(first, last);
    }
    viewport()->update();
    if (_ruler)
        _ruler->update();
}

// ---- selection ------------------------------------------------------------

void MVTextView::setSelectedRange(MVRange range)
{
    breakUndoCoalescing();
    _setSelection(range, true);
    _anchor = _selection.location;
}

void MVTextView::_setSelection(MVRange range, bool notify, bool keepGoalX)
{
    const qsizetype length = _storage->length();
    range.location = qBound<qsizetype>(0, range.location, length);
    range.length = qBound<qsizetype>(0, range.length, length - range.location);
    const MVRange old = _selection;
    if (notify && _delegate)
        range = MVIntersectionRange(_delegate->textViewWillChangeSelectionFromCharacterRange(this, old, range),
                                    MVRange{0, length});
    _selection = range;
    if (range.length == 0)
        _anchor = range.location;
    if (!keepGoalX)
        _goalX = -1;
    _restartBlink();
    viewport()->update();
    if (_ruler)
        _ruler->update();
    if (notify && _delegate)
        _delegate->textViewDidChangeSelection(this, old);
}

void MVTextView::selectAll()
{
    breakUndoCoalescing();
    _setSelection(MVRange{0, _storage->length()}, true);
    _anchor = 0;
    _publishPrimarySelection();
}

void MVTextView::_publishPrimarySelection()
{
    QClipboard *clipboard = QGuiApplication::clipboard();
    if (_selection.length > 0 && clipboard->supportsSelection())
        clipboard->setText(_storage->fullStringInRange(_selection), QClipboard::Selection);
}

// ---- clipboard ------------------------------------------------------------

void MVTextView::copy()
{
    if (_selection.length > 0)
        QGuiApplication::clipboard()->setText(_storage->fullStringInRange(_selection));
}

void MVTextView::cut()
{
    if (_selection.length == 0)
        return;
    copy();
    breakUndoCoalescing();
    _deleteRange(_selection, QStringLiteral("Cut"));
}

void MVTextView::paste()
{
    _pasteText(QGuiApplication::clipboard()->text());
}

void MVTextView::_pasteText(const QString &text)
{
    if (text.isEmpty())
        return;
    breakUndoCoalescing();
    if (_changeText(_selection, text, QStringLiteral("Paste"), false))
        _ensureCaretVisible();
}

// ---- appearance -----------------------------------------------------------

void MVTextView::setFont(const QFont &font)
{
    _font = font;
    _layoutManager->setFont(font);
    _updateMetrics();
    _clearLayouts();
    _updateScrollBars();
    viewport()->update();
}

void MVTextView::setTabWidth(int spaces)
{
    _tabWidth = qMax(1, spaces);
    _clearLayouts();
    viewport()->update();
}

void MVTextView::setWrapsText(bool wraps)
{
    if (_wraps == wraps)
        return;
    _wraps = wraps;
    _topSegment = 0;
    _topRow = 0;
    _clearLayouts();
    _updateScrollBars();
    horizontalScrollBar()->setValue(0);
    viewport()->update();
    if (_ruler)
        _ruler->update();
}

void MVTextView::setShowsInvisibleCharacters(bool show)
{
    _layoutManager->setShowInvisibleCharacters(show);
}

bool MVTextView::showsInvisibleCharacters() const
{
    return _layoutManager->showInvisibleCharacters();
}

void MVTextView::setTextColor(const QColor &color)
{
    _textColor = color;
    _clearLayouts();
    viewport()->update();
}

void MVTextView::setBackgroundColor(const QColor &color)
{
    _backgroundColor = color;
    _clearLayouts();
    viewport()->update();
}

void MVTextView::setSelectionColor(const QColor &color)
{
    _selectionColor = color;
    viewport()->update();
}

void MVTextView::setCurrentLineColor(const QColor &color)
{
    _currentLineColor = color;
    viewport()->update();
}

void MVTextView::setInsertionPointColor(const QColor &color)
{
    _caretColor = color;
    viewport()->update();
}

void MVTextView::setInvisiblesColor(const QColor &color)
{
    _layoutManager->setInvisiblesColor(color);
}

void MVTextView::_updateMetrics()
{
    const QFontMetricsF metrics(_font);
    _lineHeight = std::ceil(metrics.height());
    _ascent = metrics.ascent();
    _charWidth = metrics.horizontalAdvance(QLatin1Char('x'));
    if (_charWidth <= 0)
        _charWidth = 8;
    verticalScrollBar()->setSingleStep(1);
}

// ---- layout ---------------------------------------------------------------

int MVTextView::_segmentCount(qsizetype line, qsizetype *lineStart, qsizetype *contentsEnd) const
{
    const MVTextBuffer &buffer = _storage->buffer();
    const qsizetype start = buffer.lineStart(line);
    const qsizetype end = buffer.lineContentsEnd(line);
    if (lineStart)
        *lineStart = start;
    if (contentsEnd)
        *contentsEnd = end;
    const qsizetype length = end - start;
    if (length <= LongLineLength)
        return 1;
    return int((length + SegmentLength - 1) / SegmentLength);
}

MVTextView::Segment MVTextView::_segment(qsizetype line, int index) const
{
    qsizetype start = 0;
    qsizetype end = 0;
    const int count = _segmentCount(line, &start, &end);
    if (count == 1)
        return Segment{start, end - start};
    const MVTextBuffer &buffer = _storage->buffer();
    // Segment boundaries never split a surrogate pair.
    auto boundary = [&](int k) {
        if (k <= 0)
            return start;
        if (k >= count)
            return end;
        qsizetype at = start + qsizetype(k) * SegmentLength;
        if (at < end && buffer.characterAt(at).isLowSurrogate())
            ++at;
        return at;
    };
    const qsizetype from = boundary(index);
    const qsizetype to = boundary(index + 1);
    return Segment{from, to - from};
}

int MVTextView::_segmentOf(qsizetype line, qsizetype index) const
{
    qsizetype start = 0;
    const int count = _segmentCount(line, &start);
    if (count == 1)
        return 0;
    int k = int(qBound<qsizetype>(0, (index - start) / SegmentLength, qsizetype(count) - 1));
    if (k > 0 && index < _segment(line, k).start)
        --k;
    return k;
}

qreal MVTextView::_segmentX(int segment) const
{
    // Segments of a long line sit at fixed offsets of their first column, so
    // no earlier segment has to be laid out to place a later one.
    return _wraps ? 0 : qreal(segment) * SegmentLength * _charWidth;
}

qreal MVTextView::_wrapWidth() const
{
    return qMax<qreal>(_charWidth * 4, viewport()->width() - 2 * TextMargin - CaretWidth);
}

QTextLayout *MVTextView::_layout(qsizetype line, int segment) const
{
    const quint64 key = layoutKey(line, segment);
    const auto it = _layouts.find(key);
    if (it != _layouts.end())
        return it->second.layout.get();
    if (_layouts.size() > LayoutCacheLimit)
        _layouts.clear();

    const Segment seg = _segment(line, segment);
    QString text = _storage->substring(MVRange{seg.start, seg.length});
    // A fold shows as an ellipsis; a U+FFFC that came from the file stays.
    for (qsizetype at = seg.start; at < seg.start + seg.length;) {
        MVRange found;
        if (!_storage->nextAttachmentAfterIndex(at, &found) || found.location >= seg.start + seg.length)
            break;
        text[found.location - seg.start] = QChar(0x2026);
        at = found.location + 1;
    }

    auto layout = std::make_unique<QTextLayout>(text, _font);
    layout->setCacheEnabled(true);
    QTextOption option;
    option.setTabStopDistance(_tabWidth * QFontMetricsF(_font).horizontalAdvance(QLatin1Char(' ')));
    option.setWrapMode(_wraps ? QTextOption::WrapAtWordBoundaryOrAnywhere : QTextOption::NoWrap);
    option.setFlags(QTextOption::IncludeTrailingSpaces);
    layout->setTextOption(option);

    QList<QTextLayout::FormatRange> formats;
    _storage->forEachRun(MVRange{seg.start, seg.length}, [&](MVRange run, const MVTextAttributes &attributes) {
        QTextCharFormat format;
        bool any = false;
        if (attributes.has(MVAttribute::ForegroundColor)) {
            format.setForeground(QColor::fromRgba(attributes.foreground()));
            any = true;
        }
        // A background equal to the view's own is left out, so that the
        // current line and the selection show through it.
        if (attributes.has(MVAttribute::BackgroundColor) && attributes.background() != _backgroundColor.rgba()) {
            format.setBackground(QColor::fromRgba(attributes.background()));
            any = true;
        }
        if (attributes.has(MVAttribute::FontTraits)) {
            const quint8 traits = attributes.traits();
            if (traits & MVFontTrait::Bold)
                format.setFontWeight(QFont::Bold);
            if (traits & MVFontTrait::Italic)
                format.setFontItalic(true);
            if (traits & MVFontTrait::Underline)
                format.setFontUnderline(true);
            any = true;
        }
        if (any)
            formats.append(QTextLayout::FormatRange{int(run.location - seg.start), int(run.length), format});
        return true;
    });
    layout->setFormats(formats);

    layout->beginLayout();
    qreal y = 0;
    const qreal width = _wrapWidth();
    while (true) {
        QTextLine textLine = layout->createLine();
        if (!textLine.isValid())
            break;
        if (_wraps)
            textLine.setLineWidth(width);
        else
            textLine.setNumColumns(int(qMax<qsizetype>(1, seg.length)));
        textLine.setPosition(QPointF(0, y));
        y += _lineHeight;
    }
    layout->endLayout();
    ++_layoutsMade;
    QTextLayout *result = layout.get();
    _layouts.emplace(key, CachedLayout{std::move(layout), seg.start});
    return result;
}

void MVTextView::_invalidateLayouts(qsizetype fromLine, qsizetype toLine)
{
    for (auto it = _layouts.begin(); it != _layouts.end();) {
        const qsizetype line = qsizetype(it->first >> 20);
        if (line >= fromLine && line <= toLine)
            it = _layouts.erase(it);
        else
            ++it;
    }
}

void MVTextView::_clearLayouts()
{
    _layouts.clear();
}

void MVTextView::_updateWidest(qsizetype fromLine, qsizetype toLine)
{
    const MVTextBuffer &buffer = _storage->buffer();
    // The widest line only grows while editing; a very large edit is measured
    // by one pass instead of line by line.
    if (toLine - fromLine > 10000) {
        _widestChars = qMax(_widestChars, buffer.longestLineLength());
        return;
    }
    for (qsizetype line = fromLine; line <= toLine; ++line)
        _widestChars = qMax(_widestChars, buffer.lineContentsEnd(line) - buffer.lineStart(line));
}

void MVTextView::_updateScrollBars()
{
    const qsizetype lines = _storage->buffer().lineCount();
    const int visible = qMax(1, int(viewport()->height() / _lineHeight));
    QScrollBar *vertical = verticalScrollBar();
    const qsizetype maximum = _wraps ? lines - 1 : qMax<qsizetype>(0, lines - visible);
    vertical->blockSignals(true);
    vertical->setRange(0, int(qMin<qsizetype>(maximum, INT_MAX)));
    vertical->setPageStep(visible);
    vertical->setValue(int(qMin<qsizetype>(_topLine, INT_MAX)));
    vertical->blockSignals(false);
    _topLine = vertical->value();

    QScrollBar *horizontal = horizontalScrollBar();
    if (_wraps) {
        horizontal->setRange(0, 0);
    } else {
        const qreal width = qreal(_widestChars) * _charWidth + 2 * TextMargin + CaretWidth + _charWidth;
        horizontal->setRange(0, int(qMin<qreal>(qMax<qreal>(0, width - viewport()->width()), INT_MAX / 2)));
        horizontal->setPageStep(viewport()->width());
        horizontal->setSingleStep(int(_charWidth * 4));
    }
}

std::vector<MVTextView::Row> MVTextView::_rows(qreal height) const
{
    std::vector<Row> rows;
    const qsizetype lines = _storage->buffer().lineCount();
    qreal y = 0;
    if (!_wraps) {
        for (qsizetype line = _topLine; line < lines && y < height; ++line) {
            rows.push_back(Row{line, 0, 0, y});
            y += _lineHeight;
        }
        return rows;
    }
    int skip = _topRow;
    int k = _topSegment;
    for (qsizetype line = _topLine; line < lines && y < height; ++line, k = 0) {
        const int count = _segmentCount(line);
        for (; k < count && y < height; ++k) {
            const QTextLayout *layout = _layout(line, k);
            const int textLines = qMax(1, layout->lineCount());
            for (int i = qMin(skip, textLines - 1); i < textLines && y < height; ++i) {
                rows.push_back(Row{line, k, i, y});
                y += _lineHeight;
            }
            skip = 0;
        }
    }
    return rows;
}

// ---- geometry ---------------------------------------------------------------

QRectF MVTextView::_caretRect(qsizetype index, bool *visible) const
{
    const MVTextBuffer &buffer = _storage->buffer();
    index = qBound<qsizetype>(0, index, buffer.length());
    const qsizetype line = buffer.lineForPosition(index);
    qsizetype lineStart = 0;
    qsizetype contentsEnd = 0;
    _segmentCount(line, &lineStart, &contentsEnd);
    const qsizetype column = qMin(index, contentsEnd);
    const int k = _segmentOf(line, column);
    const Segment seg = _segment(line, k);
    const QTextLayout *layout = _layout(line, k);
    const int position = int(column - seg.start);
    if (!_wraps) {
        const QTextLine textLine = layout->lineAt(0);
        const qreal x = _segmentX(k) + (textLine.isValid() ? textLine.cursorToX(position) : 0) - horizontalScrollBar()->value()
                        + TextMargin;
        const qreal y = qreal(line - _topLine) * _lineHeight;
        if (visible)
            *visible = line >= _topLine && y < viewport()->height();
        return QRectF(x, y, CaretWidth, _lineHeight);
    }
    QTextLine textLine = layout->lineForTextPosition(position);
    if (!textLine.isValid())
        textLine = layout->lineAt(layout->lineCount() - 1);
    const int rowInSegment = textLine.isValid() ? textLine.lineNumber() : 0;
    const qreal x = (textLine.isValid() ? textLine.cursorToX(position) : 0) + TextMargin;
    for (const Row &row : _rows(viewport()->height())) {
        if (row.line == line && row.segment == k && row.textLine == rowInSegment) {
            if (visible)
                *visible = true;
            return QRectF(x, row.y, CaretWidth, _lineHeight);
        }
    }
    if (visible)
        *visible = false;
    const bool above = line < _topLine || (line == _topLine && (k < _topSegment || (k == _topSegment && rowInSegment < _topRow)));
    return QRectF(x, above ? -_lineHeight : viewport()->height(), CaretWidth, _lineHeight);
}

QRect MVTextView::cursorRectForIndex(qsizetype index) const
{
    bool visible = false;
    const QRectF rect = _caretRect(index, &visible);
    return visible ? rect.toAlignedRect() : QRect();
}

qsizetype MVTextView::characterIndexForPoint(const QPointF &point) const
{
    return _indexAt(point);
}

qsizetype MVTextView::_indexAt(const QPointF &point) const
{
    const MVTextBuffer &buffer = _storage->buffer();
    const qreal xInText = point.x() - TextMargin + horizontalScrollBar()->value();
    if (!_wraps) {
        const qsizetype line = qBound<qsizetype>(0, _topLine + qsizetype(std::floor(point.y() / _lineHeight)),
                                                 buffer.lineCount() - 1);
        if (point.y() < 0 && _topLine == 0)
            return 0;
        const int count = _segmentCount(line);
        int k = 0;
        if (count > 1)
            k = int(qBound<qreal>(0, std::floor(xInText / (SegmentLength * _charWidth)), count - 1));
        const Segment seg = _segment(line, k);
        const QTextLine textLine = _layout(line, k)->lineAt(0);
        if (!textLine.isValid())
            return seg.start;
        return seg.start + textLine.xToCursor(xInText - _segmentX(k));
    }
    const std::vector<Row> rows = _rows(viewport()->height());
    if (rows.empty())
        return buffer.length();
    const Row *hit = &rows.back();
    if (point.y() < 0) {
        hit = &rows.front();
    } else {
        for (const Row &row : rows) {
            if (point.y() < row.y + _lineHeight) {
                hit = &row;
                break;
            }
        }
    }
    const Segment seg = _segment(hit->line, hit->segment);
    const QTextLine textLine = _layout(hit->line, hit->segment)->lineAt(hit->textLine);
    if (!textLine.isValid())
        return seg.start;
    return seg.start + textLine.xToCursor(xInText);
}

std::vector<MVLineFragment> MVTextView::visibleLineFragments() const
{
    std::vector<MVLineFragment> fragments;
    const MVTextBuffer &buffer = _storage->buffer();
    const qreal width = viewport()->width();
    for (const Row &row : _rows(viewport()->height())) {
        MVLineFragment fragment;
        fragment.line = row.line;
        fragment.rect = QRectF(0, row.y, width, _lineHeight);
        if (!_wraps) {
            const qsizetype start = buffer.lineStart(row.line);
            fragment.range = MVRange{start, buffer.lineEnd(row.line) - start};
        } else {
            const Segment seg = _segment(row.line, row.segment);
            const QTextLine textLine = _layout(row.line, row.segment)->lineAt(row.textLine);
            fragment.range = textLine.isValid() ? MVRange{seg.start + textLine.textStart(), textLine.textLength()}
                                                : MVRange{seg.start, 0};
            fragment.firstOfLine = row.segment == 0 && row.textLine == 0;
        }
        fragments.push_back(fragment);
    }
    return fragments;
}

QRectF MVTextView::lineFragmentRectForIndex(qsizetype index, MVRange *range) const
{
    bool visible = false;
    const QRectF caret = _caretRect(index, &visible);
    const MVTextBuffer &buffer = _storage->buffer();
    if (range) {
        const qsizetype line = buffer.lineForPosition(index);
        const qsizetype start = buffer.lineStart(line);
        *range = MVRange{start, buffer.lineEnd(line) - start};
        if (_wraps && visible) {
            for (const MVLineFragment &fragment : visibleLineFragments()) {
                if (fragment.rect.top() == caret.top()) {
                    *range = fragment.range;
                    break;
                }
            }
        }
    }
    return QRectF(0, caret.top(), viewport()->width(), _lineHeight);
}

void MVTextView::scrollRangeToVisible(MVRange range)
{
    // Show the start of the range, then its end if it fits.
    const qsizetype length = _storage->length();
    const qsizetype start = qBound<qsizetype>(0, range.location, length);
    const qsizetype end = qBound<qsizetype>(start, range.end(), length);
    auto show = [this](qsizetype index) {
        const MVTextBuffer &buffer = _storage->buffer();
        const qsizetype line = buffer.lineForPosition(index);
        const int visibleRows = qMax(1, int(viewport()->height() / _lineHeight));
        bool visible = false;
        QRectF rect = _caretRect(index, &visible);
        if (!visible) {
            if (_wraps) {
                const bool below = rect.top() >= 0;
                // Put the caret's row at the top; coming from above, back up
                // so that it ends at the bottom instead.
                const int k = _segmentOf(line, index);
                const QTextLine textLine = _layout(line, k)->lineForTextPosition(int(index - _segment(line, k).start));
                _topLine = line;
                _topSegment = k;
                _topRow = textLine.isValid() ? textLine.lineNumber() : 0;
                int up = below ? visibleRows - 1 : 0;
                while (up > 0) {
                    if (up <= _topRow) {
                        _topRow -= up;
                        break;
                    }
                    up -= _topRow + 1;
                    if (_topSegment > 0) {
                        --_topSegment;
                    } else if (_topLine > 0) {
                        --_topLine;
                        _topSegment = _segmentCount(_topLine) - 1;
                    } else {
                        _topRow = 0;
                        break;
                    }
                    _topRow = qMax(1, _layout(_topLine, _topSegment)->lineCount()) - 1;
                }
            } else if (line < _topLine) {
                _topLine = line;
            } else {
                _topLine = qMax<qsizetype>(0, line - visibleRows + 1);
            }
            _updateScrollBars();
            rect = _caretRect(index, &visible);
        }
        if (!_wraps) {
            QScrollBar *horizontal = horizontalScrollBar();
            const qreal margin = _charWidth * 4;
            if (rect.left() < TextMargin)
                horizontal->setValue(int(horizontal->value() + rect.left() - TextMargin - margin));
            else if (rect.right() > viewport()->width() - TextMargin)
                horizontal->setValue(int(horizontal->value() + rect.right() - viewport()->width() + TextMargin + margin));
        }
    };
    if (end != start)
        show(end);
    show(start);
    viewport()->update();
    if (_ruler)
        _ruler->update();
}

MVScrollPosition MVTextView::scrollPosition() const
{
    return MVScrollPosition{_topLine, _topSegment, _topRow, horizontalScrollBar()->value()};
}

void MVTextView::setScrollPosition(const MVScrollPosition &position)
{
    const qsizetype lines = _storage->buffer().lineCount();
    _topLine = qBound<qsizetype>(0, position.topLine, lines - 1);
    _topSegment = 0;
    _topRow = 0;
    if (_wraps && position.topSegment < _segmentCount(_topLine)) {
        _topSegment = qMax(0, position.topSegment);
        _topRow = qBound(0, position.topRow, qMax(1, _layout(_topLine, _topSegment)->lineCount()) - 1);
    }
    _updateScrollBars();
    horizontalScrollBar()->setValue(position.horizontal);
    viewport()->update();
    if (_ruler)
        _ruler->update();
}

void MVTextView::_ensureCaretVisible()
{
    const qsizetype active = _selection.location == _anchor ? _selection.end() : _selection.location;
    scrollRangeToVisible(MVRange{active, 0});
}

// ---- ruler ------------------------------------------------------------------

void MVTextView::setRulerArea(MVRulerArea *ruler)
{
    if (_ruler && _ruler != ruler)
        _ruler->hide();
    _ruler = ruler;
    updateRulerGeometry();
}

void MVTextView::updateRulerGeometry()
{
    const int width = _ruler ? _ruler->rulerWidth() : 0;
    setViewportMargins(width, 0, 0, 0);
    if (_ruler) {
        const QRect area = viewport()->geometry();
        _ruler->setGeometry(area.left() - width, area.top(), width, area.height());
        _ruler->setVisible(width > 0);
        _ruler->update();
    }
}

// ---- painting ---------------------------------------------------------------

void MVTextView::paintEvent(QPaintEvent *event)
{
    QPainter painter(viewport());
    painter.fillRect(event->rect(), _backgroundColor);
    const std::vector<Row> rows = _rows(viewport()->height());
    const MVTextBuffer &buffer = _storage->buffer();
    const qsizetype caretLine = buffer.lineForPosition(_selection.end());
    for (const Row &row : rows) {
        const QRectF rowRect(0, row.y, viewport()->width(), _lineHeight);
        if (!rowRect.intersects(event->rect()))
            continue;
        if (_selection.length == 0 && row.line == caretLine && _currentLineColor.isValid())
            painter.fillRect(rowRect, _currentLineColor);
        _paintRow(painter, row, event->rect());
    }
    if (hasFocus() && (_caretOn || !_preedit.isEmpty()) && _selection.length == 0) {
        bool visible = false;
        const QRectF caret = _caretRect(_selection.location, &visible);
        if (visible) {
            qreal preeditWidth = 0;
            if (!_preedit.isEmpty()) {
                // Compose and CJK pre-edit text shows at the caret, underlined.
                preeditWidth = QFontMetricsF(_font).horizontalAdvance(_preedit);
                const QRectF box(caret.left(), caret.top(), preeditWidth, _lineHeight);
                painter.fillRect(box, _backgroundColor);
                painter.setFont(_font);
                painter.setPen(_textColor);
                painter.drawText(QPointF(caret.left(), caret.top() + _ascent), _preedit);
                painter.drawLine(QPointF(box.left(), box.bottom() - 1), QPointF(box.right(), box.bottom() - 1));
            }
            if (_caretOn)
                painter.fillRect(caret.translated(preeditWidth, 0), _caretColor);
        }
    }
    if (_dropIndex >= 0) {
        bool visible = false;
        const QRectF caret = _caretRect(_dropIndex, &visible);
        if (visible)
            painter.fillRect(caret, _caretColor);
    }
}

void MVTextView::_paintRow(QPainter &painter, const Row &row, const QRectF &clip)
{
    const qreal scrollX = horizontalScrollBar()->value();
    const MVTextBuffer &buffer = _storage->buffer();
    qsizetype lineStart = 0;
    qsizetype contentsEnd = 0;
    const int count = _segmentCount(row.line, &lineStart, &contentsEnd);
    const qsizetype lineEnd = buffer.lineEnd(row.line);

    int firstSegment = _wraps ? row.segment : 0;
    int lastSegment = _wraps ? row.segment : count - 1;
    if (!_wraps && count > 1) {
        // Only the segments under the viewport.
        const qreal segmentWidth = SegmentLength * _charWidth;
        firstSegment = int(qBound<qreal>(0, std::floor((scrollX - segmentWidth) / segmentWidth), count - 1));
        lastSegment = int(qBound<qreal>(0, std::floor((scrollX + viewport()->width()) / segmentWidth) + 1, count - 1));
    }

    painter.setPen(_textColor);
    for (int k = firstSegment; k <= lastSegment; ++k) {
        const Segment seg = _segment(row.line, k);
        QTextLayout *layout = _layout(row.line, k);
        const QPointF origin(TextMargin + _segmentX(k) - scrollX, row.y - (_wraps ? row.textLine * _lineHeight : 0));
        QList<QTextLayout::FormatRange> selections;
        const MVRange selected = MVIntersectionRange(_selection, MVRange{seg.start, seg.length});
        if (selected.length > 0) {
            QTextCharFormat format;
            format.setBackground(_selectionColor);
            selections.append(QTextLayout::FormatRange{int(selected.location - seg.start), int(selected.length), format});
        }
        const QRectF rowClip(clip.left(), row.y, clip.width(), _lineHeight);
        layout->draw(&painter, origin, selections, rowClip);

        if (_layoutManager->showInvisibleCharacters()) {
            painter.save();
            painter.setFont(_layoutManager->font());
            painter.setPen(_layoutManager->invisiblesColor());
            const QTextLine textLine = layout->lineAt(_wraps ? row.textLine : 0);
            if (textLine.isValid()) {
                const int from = textLine.textStart();
                const int to = from + textLine.textLength();
                const qreal baseline = row.y + _ascent;
                const QString text = layout->text();
                for (int i = from; i < to; ++i) {
                    const QChar c = text.at(i);
                    if (c != u' ' && c != u'\t')
                        continue;
                    const qreal x = origin.x() + textLine.cursorToX(i);
                    if (x < clip.left() - _charWidth || x > clip.right())
                        continue;
                    painter.drawText(QPointF(x, baseline), _layoutManager->markForCharacter(c));
                }
            }
            painter.restore();
        }
    }

    // The line's end: selection across the break, and the break's mark.
    const bool lastRowOfLine = !_wraps || (row.segment == count - 1
                                           && row.textLine == _layout(row.line, row.segment)->lineCount() - 1);
    if (lastRowOfLine && (contentsEnd < lineEnd)) {
        const int k = count - 1;
        const Segment seg = _segment(row.line, k);
        const QTextLine textLine = _layout(row.line, k)->lineAt(_wraps ? row.textLine : 0);
        const qreal x = TextMargin + _segmentX(k) - scrollX
                        + (textLine.isValid() ? textLine.cursorToX(int(contentsEnd - seg.start)) : 0);
        if (_selection.contains(contentsEnd))
            painter.fillRect(QRectF(x, row.y, _charWidth, _lineHeight), _selectionColor);
        if (_layoutManager->showInvisibleCharacters()) {
            painter.save();
            painter.setFont(_layoutManager->font());
            painter.setPen(_layoutManager->invisiblesColor());
            painter.drawText(QPointF(x, row.y + _ascent), _layoutManager->markForCharacter(buffer.characterAt(contentsEnd)));
            painter.restore();
        }
    }
}

void MVTextView::resizeEvent(QResizeEvent *event)
{
    QAbstractScrollArea::resizeEvent(event);
    if (_wraps)
        _clearLayouts();
    _updateScrollBars();
    updateRulerGeometry();
}

void MVTextView::scrollContentsBy(int dx, int dy)
{
    Q_UNUSED(dx);
    if (dy != 0) {
        _topLine = verticalScrollBar()->value();
        _topSegment = 0;
    _topRow = 0;
    }
    viewport()->update();
    if (_ruler)
        _ruler->update();
}

// With wrapping the wheel moves by rows, so that a line taller than the
// view can be scrolled through; the scroll bar counts whole lines.
void MVTextView::wheelEvent(QWheelEvent *event)
{
    if (!_wraps) {
        QAbstractScrollArea::wheelEvent(event);
        return;
    }
    const int steps = event->angleDelta().y() / 40; // three rows a notch
    if (steps != 0)
        _scrollRows(-steps);
    event->accept();
}

void MVTextView::_scrollRows(int rows)
{
    const qsizetype lines = _storage->buffer().lineCount();
    for (; rows > 0; --rows) {
        if (_topRow + 1 < _layout(_topLine, _topSegment)->lineCount()) {
            ++_topRow;
        } else if (_topSegment + 1 < _segmentCount(_topLine)) {
            ++_topSegment;
            _topRow = 0;
        } else if (_topLine + 1 < lines) {
            ++_topLine;
            _topSegment = 0;
            _topRow = 0;
        } else {
            break;
        }
    }
    for (; rows < 0; ++rows) {
        if (_topRow > 0) {
            --_topRow;
        } else if (_topSegment > 0) {
            --_topSegment;
            _topRow = qMax(1, _layout(_topLine, _topSegment)->lineCount()) - 1;
        } else if (_topLine > 0) {
            --_topLine;
            _topSegment = _segmentCount(_topLine) - 1;
            _topRow = qMax(1, _layout(_topLine, _topSegment)->lineCount()) - 1;
        } else {
            break;
        }
    }
    _updateScrollBars();
    viewport()->update();
    if (_ruler)
        _ruler->update();
}

bool MVTextView::event(QEvent *event)
{
    // Tab and Backtab are text commands here, not focus changes.
    if (event->type() == QEvent::KeyPress) {
        auto *key = static_cast<QKeyEvent *>(event);
        if (key->key() == Qt::Key_Tab || key->key() == Qt::Key_Backtab) {
            keyPressEvent(key);
            return true;
        }
    }
    if (event->type() == QEvent::ShortcutOverride) {
        // Editing keys belong to the view even when a menu has them too.
        auto *key = static_cast<QKeyEvent *>(event);
        if (key == QKeySequence::Copy || key == QKeySequence::Paste || key == QKeySequence::Cut
            || key == QKeySequence::Undo || key == QKeySequence::Redo || key == QKeySequence::SelectAll) {
            event->accept();
            return true;
        }
    }
    return QAbstractScrollArea::event(event);
}

// ---- caret blinking -----------------------------------------------------------

void MVTextView::_restartBlink()
{
    _caretOn = true;
    const int interval = QGuiApplication::styleHints()->cursorFlashTime() / 2;
    if (hasFocus() && interval > 0)
        _blinkTimer.start(interval, this);
    else
        _blinkTimer.stop();
}

void MVTextView::focusInEvent(QFocusEvent *event)
{
    QAbstractScrollArea::focusInEvent(event);
    _restartBlink();
    viewport()->update();
}

void MVTextView::focusOutEvent(QFocusEvent *event)
{
    QAbstractScrollArea::focusOutEvent(event);
    _blinkTimer.stop();
    viewport()->update();
}

void MVTextView::timerEvent(QTimerEvent *event)
{
    if (event->timerId() == _blinkTimer.timerId()) {
        _caretOn = !_caretOn;
        bool visible = false;
        const QRectF caret = _caretRect(_selection.end(), &visible);
        if (visible)
            viewport()->update(caret.toAlignedRect().adjusted(-1, 0, 1, 0));
        return;
    }
    if (event->timerId() == _autoScrollTimer.timerId()) {
        const QPoint position = viewport()->mapFromGlobal(QCursor::pos());
        if (_selecting && !viewport()->rect().contains(position)) {
            QMouseEvent move(QEvent::MouseMove, position, viewport()->mapToGlobal(position), Qt::NoButton,
                             Qt::LeftButton, Qt::NoModifier);
            mouseMoveEvent(&move);
        } else {
            _autoScrollTimer.stop();
        }
        return;
    }
    QAbstractScrollArea::timerEvent(event);
}

// ---- keyboard ---------------------------------------------------------------

void MVTextView::doCommandBySelector(const QString &command)
{
    if (_delegate && _delegate->textViewDoCommandBySelector(this, command))
        return;
    performCommand(command);
}

void MVTextView::keyPressEvent(QKeyEvent *event)
{
    struct Binding
    {
        QKeySequence::StandardKey key;
        const char *command;
    };
    static const Binding bindings[] = {
        {QKeySequence::MoveToNextChar, "moveRight:"},
        {QKeySequence::MoveToPreviousChar, "moveLeft:"},
        {QKeySequence::SelectNextChar, "moveRightAndModifySelection:"},
        {QKeySequence::SelectPreviousChar, "moveLeftAndModifySelection:"},
        {QKeySequence::MoveToNextWord, "moveWordRight:"},
        {QKeySequence::MoveToPreviousWord, "moveWordLeft:"},
        {QKeySequence::SelectNextWord, "moveWordRightAndModifySelection:"},
        {QKeySequence::SelectPreviousWord, "moveWordLeftAndModifySelection:"},
        {QKeySequence::MoveToNextLine, "moveDown:"},
        {QKeySequence::MoveToPreviousLine, "moveUp:"},
        {QKeySequence::SelectNextLine, "moveDownAndModifySelection:"},
        {QKeySequence::SelectPreviousLine, "moveUpAndModifySelection:"},
        {QKeySequence::MoveToStartOfLine, "moveToBeginningOfLine:"},
        {QKeySequence::MoveToEndOfLine, "moveToEndOfLine:"},
        {QKeySequence::SelectStartOfLine, "moveToBeginningOfLineAndModifySelection:"},
        {QKeySequence::SelectEndOfLine, "moveToEndOfLineAndModifySelection:"},
        {QKeySequence::MoveToNextPage, "pageDown:"},
        {QKeySequence::MoveToPreviousPage, "pageUp:"},
        {QKeySequence::SelectNextPage, "pageDownAndModifySelection:"},
        {QKeySequence::SelectPreviousPage, "pageUpAndModifySelection:"},
        {QKeySequence::MoveToStartOfDocument, "moveToBeginningOfDocument:"},
        {QKeySequence::MoveToEndOfDocument, "moveToEndOfDocument:"},
        {QKeySequence::SelectStartOfDocument, "moveToBeginningOfDocumentAndModifySelection:"},
        {QKeySequence::SelectEndOfDocument, "moveToEndOfDocumentAndModifySelection:"},
        {QKeySequence::SelectAll, "selectAll:"},
        {QKeySequence::Copy, "copy:"},
        {QKeySequence::Cut, "cut:"},
        {QKeySequence::Paste, "paste:"},
        {QKeySequence::Undo, "undo:"},
        {QKeySequence::Redo, "redo:"},
        {QKeySequence::Delete, "deleteForward:"},
        {QKeySequence::DeleteStartOfWord, "deleteWordBackward:"},
        {QKeySequence::DeleteEndOfWord, "deleteWordForward:"},
    };
    for (const Binding &binding : bindings) {
        if (event->matches(binding.key)) {
            doCommandBySelector(QString::fromLatin1(binding.command));
            event->accept();
            return;
        }
    }
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        doCommandBySelector(QStringLiteral("insertNewline:"));
        return;
    case Qt::Key_Tab:
        doCommandBySelector(QStringLiteral("insertTab:"));
        return;
    case Qt::Key_Backtab:
        doCommandBySelector(QStringLiteral("insertBacktab:"));
        return;
    case Qt::Key_Escape:
        doCommandBySelector(QStringLiteral("cancelOperation:"));
        return;
    case Qt::Key_Backspace:
        doCommandBySelector(QStringLiteral("deleteBackward:"));
        return;
    default:
        break;
    }
    const QString text = event->text();
    const Qt::KeyboardModifiers modifiers = event->modifiers() & ~(Qt::ShiftModifier | Qt::KeypadModifier | Qt::GroupSwitchModifier);
    if (!text.isEmpty() && (modifiers == Qt::NoModifier || modifiers == (Qt::ControlModifier | Qt::AltModifier))
        && (text.at(0).isPrint() || text.at(0).isSurrogate())) {
        insertText(text);
        event->accept();
        return;
    }
    event->ignore();
}

bool MVTextView::performCommand(const QString &command)
{
    static const QHash<QString, std::pair<Move, bool>> moves = {
        {QStringLiteral("moveRight:"), {Move::Right, false}},
        {QStringLiteral("moveLeft:"), {Move::Left, false}},
        {QStringLiteral("moveRightAndModifySelection:"), {Move::Right, true}},
        {QStringLiteral("moveLeftAndModifySelection:"), {Move::Left, true}},
        {QStringLiteral("moveWordRight:"), {Move::WordRight, false}},
        {QStringLiteral("moveWordLeft:"), {Move::WordLeft, false}},
        {QStringLiteral("moveWordRightAndModifySelection:"), {Move::WordRight, true}},
        {QStringLiteral("moveWordLeftAndModifySelection:"), {Move::WordLeft, true}},
        {QStringLiteral("moveDown:"), {Move::Down, false}},
        {QStringLiteral("moveUp:"), {Move::Up, false}},
        {QStringLiteral("moveDownAndModifySelection:"), {Move::Down, true}},
        {QStringLiteral("moveUpAndModifySelection:"), {Move::Up, true}},
        {QStringLiteral("moveToBeginningOfLine:"), {Move::LineStart, false}},
        {QStringLiteral("moveToEndOfLine:"), {Move::LineEnd, false}},
        {QStringLiteral("moveToBeginningOfLineAndModifySelection:"), {Move::LineStart, true}},
        {QStringLiteral("moveToEndOfLineAndModifySelection:"), {Move::LineEnd, true}},
        {QStringLiteral("pageDown:"), {Move::PageDown, false}},
        {QStringLiteral("pageUp:"), {Move::PageUp, false}},
        {QStringLiteral("pageDownAndModifySelection:"), {Move::PageDown, true}},
        {QStringLiteral("pageUpAndModifySelection:"), {Move::PageUp, true}},
        {QStringLiteral("moveToBeginningOfDocument:"), {Move::DocumentStart, false}},
        {QStringLiteral("moveToEndOfDocument:"), {Move::DocumentEnd, false}},
        {QStringLiteral("moveToBeginningOfDocumentAndModifySelection:"), {Move::DocumentStart, true}},
        {QStringLiteral("moveToEndOfDocumentAndModifySelection:"), {Move::DocumentEnd, true}},
    };
    const auto move = moves.constFind(command);
    if (move != moves.constEnd()) {
        _move(move->first, move->second);
        return true;
    }
    if (command == QLatin1String("insertNewline:")) {
        insertText(QStringLiteral("\n"));
    } else if (command == QLatin1String("insertTab:")) {
        insertText(QStringLiteral("\t"));
    } else if (command == QLatin1String("deleteBackward:")) {
        if (_selection.length > 0) {
            _deleteRange(_selection, QStringLiteral("Typing"));
        } else if (_selection.location > 0) {
            const qsizetype from = _moveFrom(_selection.location, Move::Left);
            _deleteRange(MVRange{from, _selection.location - from}, QStringLiteral("Typing"));
        }
    } else if (command == QLatin1String("deleteForward:")) {
        if (_selection.length > 0) {
            _deleteRange(_selection, QStringLiteral("Typing"));
        } else if (_selection.location < _storage->length()) {
            const qsizetype to = _moveFrom(_selection.location, Move::Right);
            _deleteRange(MVRange{_selection.location, to - _selection.location}, QStringLiteral("Typing"));
        }
    } else if (command == QLatin1String("deleteWordBackward:")) {
        const qsizetype from = _selection.length > 0 ? _selection.location : _moveFrom(_selection.location, Move::WordLeft);
        _deleteRange(MVRange{from, _selection.end() - from}, QStringLiteral("Typing"));
    } else if (command == QLatin1String("deleteWordForward:")) {
        const qsizetype to = _selection.length > 0 ? _selection.end() : _moveFrom(_selection.location, Move::WordRight);
        _deleteRange(MVRange{_selection.location, to - _selection.location}, QStringLiteral("Typing"));
    } else if (command == QLatin1String("selectAll:")) {
        selectAll();
    } else if (command == QLatin1String("copy:")) {
        copy();
    } else if (command == QLatin1String("cut:")) {
        cut();
    } else if (command == QLatin1String("paste:")) {
        paste();
    } else if (command == QLatin1String("undo:")) {
        undo();
    } else if (command == QLatin1String("redo:")) {
        redo();
    } else if (command == QLatin1String("insertBacktab:") || command == QLatin1String("cancelOperation:")) {
        // Nothing by default; a delegate or subclass gives them a meaning.
    } else {
        return false;
    }
    return true;
}

qsizetype MVTextView::_moveFrom(qsizetype index, Move move) const
{
    const MVTextBuffer &buffer = _storage->buffer();
    const qsizetype length = buffer.length();
    switch (move) {
    case Move::Left:
        if (index <= 0)
            return 0;
        --index;
        // A CR LF pair and a surrogate pair are stepped over as one.
        if (index > 0 && buffer.characterAt(index) == u'\n' && buffer.characterAt(index - 1) == u'\r')
            --index;
        else if (index > 0 && buffer.characterAt(index).isLowSurrogate() && buffer.characterAt(index - 1).isHighSurrogate())
            --index;
        return index;
    case Move::Right:
        if (index >= length)
            return length;
        if (index + 1 < length && buffer.characterAt(index) == u'\r' && buffer.characterAt(index + 1) == u'\n')
            return index + 2;
        if (index + 1 < length && buffer.characterAt(index).isHighSurrogate() && buffer.characterAt(index + 1).isLowSurrogate())
            return index + 2;
        return index + 1;
    case Move::WordLeft:
        while (index > 0 && !isWordCharacter(buffer.characterAt(index - 1)))
            --index;
        while (index > 0 && isWordCharacter(buffer.characterAt(index - 1)))
            --index;
        return index;
    case Move::WordRight:
        while (index < length && !isWordCharacter(buffer.characterAt(index)))
            ++index;
        while (index < length && isWordCharacter(buffer.characterAt(index)))
            ++index;
        return index;
    case Move::LineStart:
        return buffer.lineStart(buffer.lineForPosition(index));
    case Move::LineEnd:
        return buffer.lineContentsEnd(buffer.lineForPosition(index));
    case Move::DocumentStart:
        return 0;
    case Move::DocumentEnd:
        return length;
    case Move::Up:
        return _verticalMove(index, -1);
    case Move::Down:
        return _verticalMove(index, 1);
    case Move::PageUp:
        return _verticalMove(index, -qMax(1, int(viewport()->height() / _lineHeight) - 1));
    case Move::PageDown:
        return _verticalMove(index, qMax(1, int(viewport()->height() / _lineHeight) - 1));
    }
    return index;
}

qsizetype MVTextView::_verticalMove(qsizetype index, int rows) const
{
    const MVTextBuffer &buffer = _storage->buffer();
    const qsizetype lines = buffer.lineCount();
    qsizetype line = buffer.lineForPosition(index);
    qsizetype lineStart = 0;
    qsizetype contentsEnd = 0;
    _segmentCount(line, &lineStart, &contentsEnd);
    const qsizetype column = qMin(index, contentsEnd);
    int k = _segmentOf(line, column);
    int textLine = 0;
    qreal x = _goalX;
    {
        const Segment seg = _segment(line, k);
        const QTextLayout *layout = _layout(line, k);
        QTextLine current = _wraps ? layout->lineForTextPosition(int(column - seg.start)) : layout->lineAt(0);
        if (!current.isValid())
            current = layout->lineAt(layout->lineCount() - 1);
        textLine = current.isValid() ? current.lineNumber() : 0;
        if (x < 0)
            x = _segmentX(k) + (current.isValid() ? current.cursorToX(int(column - seg.start)) : 0);
    }
    if (!_wraps) {
        const qsizetype target = line + rows;
        if (target < 0)
            return 0;
        if (target >= lines)
            return buffer.length();
        const int count = _segmentCount(target);
        int segment = 0;
        if (count > 1)
            segment = int(qBound<qreal>(0, std::floor(x / (SegmentLength * _charWidth)), count - 1));
        const Segment seg = _segment(target, segment);
        const QTextLine targetLine = _layout(target, segment)->lineAt(0);
        return seg.start + (targetLine.isValid() ? targetLine.xToCursor(x - _segmentX(segment)) : 0);
    }
    // Step over wrapped rows one by one.
    int step = rows > 0 ? 1 : -1;
    for (int i = 0; i != rows; i += step) {
        if (step > 0) {
            if (textLine + 1 < _layout(line, k)->lineCount()) {
                ++textLine;
            } else if (k + 1 < _segmentCount(line)) {
                ++k;
                textLine = 0;
            } else if (line + 1 < lines) {
                ++line;
                k = 0;
                textLine = 0;
            } else {
                return buffer.length();
            }
        } else {
            if (textLine > 0) {
                --textLine;
            } else if (k > 0) {
                --k;
                textLine = qMax(0, _layout(line, k)->lineCount() - 1);
            } else if (line > 0) {
                --line;
                k = _segmentCount(line) - 1;
                textLine = qMax(0, _layout(line, k)->lineCount() - 1);
            } else {
                return 0;
            }
        }
    }
    const Segment seg = _segment(line, k);
    const QTextLine target = _layout(line, k)->lineAt(textLine);
    if (!target.isValid())
        return seg.start;
    qsizetype result = seg.start + target.xToCursor(x);
    // The end of a wrapped row is the start of the next: stay on this row.
    if (result == seg.start + target.textStart() + target.textLength() && textLine + 1 < _layout(line, k)->lineCount() && result > seg.start + target.textStart())
        --result;
    return result;
}

void MVTextView::_move(Move move, bool extend)
{
    breakUndoCoalescing();
    const qsizetype active = _selection.location == _anchor ? _selection.end() : _selection.location;
    const bool vertical = move == Move::Up || move == Move::Down || move == Move::PageUp || move == Move::PageDown;
    qsizetype from = active;
    if (!extend && _selection.length > 0) {
        // A plain arrow collapses the selection to its side.
        if (move == Move::Left || move == Move::Up || move == Move::PageUp) {
            if (move == Move::Left) {
                _setSelection(MVRange{_selection.location, 0}, true);
                _ensureCaretVisible();
                return;
            }
            from = _selection.location;
        } else if (move == Move::Right || move == Move::Down || move == Move::PageDown) {
            if (move == Move::Right) {
                _setSelection(MVRange{_selection.end(), 0}, true);
                _ensureCaretVisible();
                return;
            }
            from = _selection.end();
        }
    }
    qreal goal = _goalX;
    if (vertical && goal < 0) {
        bool visible = false;
        const QRectF caret = _caretRect(from, &visible);
        goal = caret.left() - TextMargin + (_wraps ? 0 : horizontalScrollBar()->value());
        _goalX = goal;
    }
    const qsizetype target = _moveFrom(from, move);
    if (move == Move::PageUp || move == Move::PageDown) {
        const int rows = qMax(1, int(viewport()->height() / _lineHeight) - 1);
        if (!_wraps) {
            verticalScrollBar()->setValue(verticalScrollBar()->value() + (move == Move::PageDown ? rows : -rows));
        }
    }
    if (extend) {
        const qsizetype anchor = _anchor;
        _setSelection(MVRange{qMin(anchor, target), qAbs(target - anchor)}, true, vertical);
        _anchor = anchor;
        _publishPrimarySelection();
    } else {
        _setSelection(MVRange{target, 0}, true, vertical);
    }
    if (vertical)
        _goalX = goal;
    const qsizetype anchor = _anchor;
    scrollRangeToVisible(MVRange{target, 0});
    _anchor = anchor;
}

MVRange MVTextView::_wordRange(qsizetype index) const
{
    const MVTextBuffer &buffer = _storage->buffer();
    const qsizetype length = buffer.length();
    if (length == 0)
        return MVRange{0, 0};
    if (index >= length)
        index = length - 1;
    const QChar c = buffer.characterAt(index);
    if (!isWordCharacter(c)) {
        if (MVTextBuffer::isLineTerminator(c.unicode()) && index > 0 && isWordCharacter(buffer.characterAt(index - 1)))
            return _wordRange(index - 1);
        return MVRange{index, _moveFrom(index, Move::Right) - index};
    }
    qsizetype start = index;
    while (start > 0 && isWordCharacter(buffer.characterAt(start - 1)))
        --start;
    qsizetype end = index;
    while (end < length && isWordCharacter(buffer.characterAt(end)))
        ++end;
    return MVRange{start, end - start};
}

// ---- mouse ------------------------------------------------------------------

void MVTextView::mousePressEvent(QMouseEvent *event)
{
    const QPointF position = event->position();
    if (event->button() == Qt::MiddleButton) {
        // X11 primary selection: paste at the click.
        QClipboard *clipboard = QGuiApplication::clipboard();
        if (clipboard->supportsSelection()) {
            const QString text = clipboard->text(QClipboard::Selection);
            if (!text.isEmpty()) {
                breakUndoCoalescing();
                _setSelection(MVRange{_indexAt(position), 0}, true);
                _pasteText(text);
            }
        }
        return;
    }
    if (event->button() != Qt::LeftButton)
        return;
    breakUndoCoalescing();
    const qsizetype index = _indexAt(position);
    const bool triple = _lastDoubleClick.isValid()
                        && _lastDoubleClick.elapsed() < QGuiApplication::styleHints()->mouseDoubleClickInterval()
                        && (position - _lastDoubleClickPos).manhattanLength() < QGuiApplication::styleHints()->startDragDistance();
    _lastDoubleClick.invalidate();
    if (triple) {
        _clickGranularity = 2;
        _clickOrigin = _storage->lineRangeForRange(MVRange{index, 0});
        _setSelection(_clickOrigin, true);
        _anchor = _clickOrigin.location;
        _selecting = true;
        return;
    }
    if (event->modifiers() & Qt::ShiftModifier) {
        const qsizetype anchor = _anchor;
        _setSelection(MVRange{qMin(anchor, index), qAbs(index - anchor)}, true);
        _anchor = anchor;
        _clickGranularity = 0;
        _selecting = true;
        return;
    }
    if (_selection.length > 0 && _selection.contains(index) && index != _selection.end()) {
        // Maybe the start of a drag of the selection.
        _dragPending = true;
        _pressPos = position;
        return;
    }
    _clickGranularity = 0;
    _setSelection(MVRange{index, 0}, true);
    _anchor = index;
    _selecting = true;
}

void MVTextView::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        QAbstractScrollArea::mouseDoubleClickEvent(event);
        return;
    }
    breakUndoCoalescing();
    _dragPending = false;
    const qsizetype index = _indexAt(event->position());
    if (_delegate) {
        // The index is the caret position nearest the click: the attachment
        // may stand on either side of it.
        for (qsizetype at : {index, index - 1}) {
            auto cell = at >= 0 ? _storage->attachmentAtIndex(at) : nullptr;
            if (!cell)
                continue;
            const QRect left = cursorRectForIndex(at);
            const QRect right = cursorRectForIndex(at + 1);
            const QRect rect(left.left(), left.top(), qMax(1, right.left() - left.left()), left.height());
            if (rect.adjusted(-1, 0, 1, 0).contains(event->position().toPoint())
                && _delegate->textViewDoubleClickedOnCell(this, cell, rect, at)) {
                _selecting = false;
                return;
            }
        }
    }
    _clickGranularity = 1;
    _clickOrigin = _wordRange(index);
    _setSelection(_clickOrigin, true);
    _anchor = _clickOrigin.location;
    _selecting = true;
    _lastDoubleClick.start();
    _lastDoubleClickPos = event->position();
}

void MVTextView::mouseMoveEvent(QMouseEvent *event)
{
    const QPointF position = event->position();
    if (_dragPending && (event->buttons() & Qt::LeftButton)) {
        if ((position - _pressPos).manhattanLength() < QApplication::startDragDistance())
            return;
        _dragPending = false;
        const MVRange dragged = _selection;
        auto *mime = new QMimeData;
        mime->setText(_storage->fullStringInRange(dragged));
        auto *drag = new QDrag(this);
        drag->setMimeData(mime);
        _dragging = true;
        const Qt::DropAction action = drag->exec(Qt::CopyAction | Qt::MoveAction, Qt::MoveAction);
        const bool handledHere = !_dragging;
        _dragging = false;
        // A move to another widget takes the text out of here.
        if (action == Qt::MoveAction && !handledHere)
            _deleteRange(dragged, QStringLiteral("Drag"));
        return;
    }
    if (!_selecting || !(event->buttons() & Qt::LeftButton))
        return;
    const qsizetype index = _indexAt(position);
    MVRange range;
    if (_clickGranularity == 1)
        range = MVUnionRange(_clickOrigin, _wordRange(index));
    else if (_clickGranularity == 2)
        range = MVUnionRange(_clickOrigin, _storage->lineRangeForRange(MVRange{index, 0}));
    else
        range = MVRange{qMin(_anchor, index), qAbs(index - _anchor)};
    const qsizetype anchor = _clickGranularity == 0 ? _anchor
                             : (index < _clickOrigin.location ? _clickOrigin.end() : _clickOrigin.location);
    _setSelection(range, true);
    _anchor = anchor;
    scrollRangeToVisible(MVRange{index, 0});
    if (!viewport()->rect().contains(position.toPoint()))
        _autoScrollTimer.start(50, this);
}

void MVTextView::mouseReleaseEvent(QMouseEvent *event)
{
    if (_dragPending) {
        // A click inside the selection without a drag places the caret.
        _dragPending = false;
        _setSelection(MVRange{_indexAt(event->position()), 0}, true);
    }
    if (_selecting)
        _publishPrimarySelection();
    _selecting = false;
    _autoScrollTimer.stop();
}

// ---- drag and drop ------------------------------------------------------------

void MVTextView::dragEnterEvent(QDragEnterEvent *event)
{
    if (event->mimeData()->hasText())
        event->acceptProposedAction();
}

void MVTextView::dragMoveEvent(QDragMoveEvent *event)
{
    if (!event->mimeData()->hasText())
        return;
    _dropIndex = _indexAt(event->position());
    if (event->source() == this && _selection.contains(_dropIndex) && _dropIndex != _selection.location)
        event->ignore();
    else
        event->acceptProposedAction();
    viewport()->update();
}

void MVTextView::dragLeaveEvent(QDragLeaveEvent *event)
{
    Q_UNUSED(event);
    _dropIndex = -1;
    viewport()->update();
}

void MVTextView::dropEvent(QDropEvent *event)
{
    _dropIndex = -1;
    if (!event->mimeData()->hasText())
        return;
    const QString text = event->mimeData()->text();
    qsizetype index = _indexAt(event->position());
    const bool internalMove = event->source() == this && event->dropAction() == Qt::MoveAction;
    breakUndoCoalescing();
    _undo->beginUndoGrouping();
    if (internalMove) {
        const MVRange dragged = _selection;
        if (dragged.contains(index)) {
            _undo->endUndoGrouping();
            event->ignore();
            return;
        }
        _deleteRange(dragged, QStringLiteral("Drag"));
        if (index >= dragged.end())
            index -= dragged.length;
        _dragging = false; // tells the drag's source that the move is done
    }
    _setSelection(MVRange{index, 0}, true);
    if (_changeText(MVRange{index, 0}, text, QStringLiteral("Drag"), false))
        _setSelection(MVRange{index, text.size()}, true);
    _undo->setActionName(QStringLiteral("Drag"));
    _undo->endUndoGrouping();
    event->acceptProposedAction();
    setFocus();
    _ensureCaretVisible();
}

// ---- input methods ------------------------------------------------------------

void MVTextView::inputMethodEvent(QInputMethodEvent *event)
{
    if (!event->commitString().isEmpty() || event->replacementLength() > 0) {
        MVRange range = _selection;
        if (event->replacementLength() > 0 || event->replacementStart() != 0) {
            const qsizetype start = qBound<qsizetype>(0, _selection.location + event->replacementStart(), _storage->length());
            range = MVRange{start, qMin<qsizetype>(event->replacementLength(), _storage->length() - start)};
            range = MVUnionRange(range, _selection);
        }
        if (_changeText(range, event->commitString(), QStringLiteral("Typing"), true))
            _ensureCaretVisible();
    }
    _preedit = event->preeditString();
    viewport()->update();
    event->accept();
}

QVariant MVTextView::inputMethodQuery(Qt::InputMethodQuery query) const
{
    const MVTextBuffer &buffer = _storage->buffer();
    const qsizetype caret = _selection.end();
    const qsizetype line = buffer.lineForPosition(caret);
    const qsizetype lineStart = buffer.lineStart(line);
    // Surrounding text is the current line, at most a few hundred units around the caret.
    const qsizetype from = qMax(lineStart, caret - 500);
    const qsizetype to = qMin(buffer.lineContentsEnd(line), caret + 500);
    switch (query) {
    case Qt::ImEnabled:
        return true;
    case Qt::ImCursorRectangle:
        return QRectF(cursorRect()).translated(viewport()->pos());
    case Qt::ImFont:
        return _font;
    case Qt::ImCursorPosition:
        return int(caret - from);
    case Qt::ImAnchorPosition:
        return int(qBound(from, _anchor, to) - from);
    case Qt::ImSurroundingText:
        return buffer.substring(MVRange{from, to - from});
    case Qt::ImCurrentSelection:
        return _storage->fullStringInRange(_selection);
    case Qt::ImHints:
        return int(Qt::ImhMultiLine | Qt::ImhNoPredictiveText);
    case Qt::ImMaximumTextLength:
        return QVariant();
    default:
        return QAbstractScrollArea::inputMethodQuery(query);
    }
}
