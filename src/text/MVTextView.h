#pragma once

#include "platform/MVRange.h"
#include "text/MVTextAttributes.h"

#include <QAbstractScrollArea>
#include <QBasicTimer>
#include <QColor>
#include <QElapsedTimer>
#include <QFont>
#include <QPointer>

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

class MVLayoutManager;
class MVRulerArea;
class MVTextAttachment;
class MVTextBuffer;
class MVTextStorage;
class MVTextViewDelegate;
class MVUndoManager;
class QTextLayout;

// Where the view is scrolled to, to be put back after an edit that should
// not make the view jump (expanding a fold).
struct MVScrollPosition
{
    qsizetype topLine = 0;
    int topSegment = 0;
    int topRow = 0;
    int horizontal = 0;
};

// One laid-out line piece on screen, in viewport coordinates: what a ruler
// needs to draw line numbers and markers beside the text.
struct MVLineFragment
{
    qsizetype line = 0;  // 0-based line of the text
    MVRange range;       // characters of the fragment (the whole line, or one wrapped row)
    QRectF rect;         // the fragment's rectangle in the viewport
    bool firstOfLine = true;
};

// The editing view. It paints only the visible lines, each laid out by a
// QTextLayout cached per line; a line of more than a few thousand characters
// is laid out in segments of a thousand, and only the visible segments ever
// are. Without wrapping, segments sit at the offset of their first column in
// the font's average character width (exact for fixed-pitch text of
// single-width characters; tab stops count from the segment's start). Keyboard, mouse, clipboard, primary selection, drag and drop and
// input methods all end in insertText() or in a change of selection, and
// every change calls the delegate before and after.
class MVTextView : public QAbstractScrollArea
{
    Q_OBJECT

public:
    explicit MVTextView(QWidget *parent = nullptr);
    ~MVTextView() override;

    static QString didChangeNotification() { return QStringLiteral("MVTextDidChangeNotification"); }

    MVTextStorage *textStorage() const { return _storage.get(); }
    // The undo manager in use: the view's own unless one was set.
    MVUndoManager *undoManager() const;
    void setUndoManager(MVUndoManager *manager);
    MVTextViewDelegate *delegate() const { return _delegate; }
    void setDelegate(MVTextViewDelegate *delegate) { _delegate = delegate; }

    // A view that is not editable refuses typing, pasting, dropping and its
    // own undo; programmatic changes (setString, replaceCharactersInRange)
    // still work.
    bool isEditable() const { return _editable; }
    void setEditable(bool editable);

    // Text. setString replaces everything without undo or delegate calls.
    QString string() const;
    virtual void setString(const QString &string);
    // The same with a buffer filled piece by piece (a large file). setString
    // goes through it, so a subclass that follows every new text overrides
    // only this.
    virtual void setText(MVTextBuffer &&buffer);
    // Replaces the selection as typing does: delegate hook, undoable step,
    // selection behind the new text, textDidChange.
    virtual void insertText(const QString &text);
    // The same with one attachment character (a fold).
    void insertAttachment(std::shared_ptr<MVTextAttachment> attachment);
    // What typing, pasting, dropping and insertText really insert for the
    // given text; a subclass brings it to its own conventions (line breaks).
    virtual QString textForInsertion(const QString &text) const { return text; }
    // Replaces a range without delegate calls and without undo.
    void replaceCharactersInRange(MVRange range, const QString &string);

    MVRange selectedRange() const { return _selection; }
    void setSelectedRange(MVRange range);
    void scrollRangeToVisible(MVRange range);
    MVScrollPosition scrollPosition() const;
    void setScrollPosition(const MVScrollPosition &position);
    void selectAll();

    // Ends the typing step, so that the next typed character starts a new one.
    void breakUndoCoalescing();
    void undo();
    void redo();
    void copy();
    void cut();
    void paste();

    // Runs a key command by name: the delegate first, then performCommand.
    void doCommandBySelector(const QString &command);

    // Appearance.
    void setFont(const QFont &font);
    QFont font() const { return _font; }
    void setTabWidth(int spaces);
    int tabWidth() const { return _tabWidth; }
    void setWrapsText(bool wraps);
    bool wrapsText() const { return _wraps; }
    // The invisible-character marks and glyph geometry.
    MVLayoutManager *layoutManager() const { return _layoutManager.get(); }
    void setShowsInvisibleCharacters(bool show);
    bool showsInvisibleCharacters() const;
    void setTextColor(const QColor &color);
    void setBackgroundColor(const QColor &color);
    void setSelectionColor(const QColor &color);
    void setCurrentLineColor(const QColor &color);
    void setInsertionPointColor(const QColor &color);
    void setInvisiblesColor(const QColor &color);
    QColor textColor() const { return _textColor; }
    QColor backgroundColor() const { return _backgroundColor; }
    QColor currentLineColor() const { return _currentLineColor; }

    // Geometry, all in viewport coordinates.
    // The caret rectangle for the location (for pop-ups); empty if not shown.
    QRect cursorRectForIndex(qsizetype index) const;
    QRect cursorRect() const { return cursorRectForIndex(_selection.end()); }
    // The character location nearest to a point.
    qsizetype characterIndexForPoint(const QPointF &point) const;
    // The fragments of the visible lines, top to bottom.
    std::vector<MVLineFragment> visibleLineFragments() const;
    // The rectangle of the line fragment that holds index, with its range.
    QRectF lineFragmentRectForIndex(qsizetype index, MVRange *range = nullptr) const;
    qreal lineHeight() const { return _lineHeight; }
    qsizetype firstVisibleLine() const { return _topLine; }

    // The side area beside the text (line numbers, fold markers). The view
    // does not own it beyond Qt's parenting; nullptr removes it.
    void setRulerArea(MVRulerArea *ruler);
    MVRulerArea *rulerArea() const { return _ruler; }
    void updateRulerGeometry();

    QVariant inputMethodQuery(Qt::InputMethodQuery query) const override;

    // For benchmarks: the number of segment layouts made so far.
    qint64 layoutCount() const { return _layoutsMade; }

protected:
    // Performs a command the delegate left alone. Returns false for unknown
    // commands. Subclasses add their own.
    virtual bool performCommand(const QString &command);

    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    void timerEvent(QTimerEvent *event) override;
    void inputMethodEvent(QInputMethodEvent *event) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dragMoveEvent(QDragMoveEvent *event) override;
    void dragLeaveEvent(QDragLeaveEvent *event) override;
    void dropEvent(QDropEvent *event) override;
    void scrollContentsBy(int dx, int dy) override;
    void wheelEvent(QWheelEvent *event) override;
    bool event(QEvent *event) override;

private:
    struct Segment
    {
        qsizetype start = 0;
        qsizetype length = 0;
    };
    struct Row
    {
        qsizetype line = 0;
        int segment = 0;    // wrapped rows only
        int textLine = 0;   // index of the QTextLine inside the segment's layout
        qreal y = 0;        // top, in viewport coordinates
    };
    struct CachedLayout
    {
        std::unique_ptr<QTextLayout> layout;
        qsizetype start = 0;
    };

    enum class Move { Left, Right, WordLeft, WordRight, Up, Down, LineStart, LineEnd, PageUp, PageDown, DocumentStart, DocumentEnd };

    // Text changes.
    bool _changeText(MVRange range, const QString &text, const QString &actionName, bool typing,
                     std::shared_ptr<MVTextAttachment> attachment = nullptr);
    void _replaceForUndo(MVRange range, const QString &text,
                         const std::vector<std::pair<qsizetype, std::shared_ptr<MVTextAttachment>>> &attachments);
    void _setSelection(MVRange range, bool notify, bool keepGoalX = false);
    void _storageEdited();
    void _deleteRange(MVRange range, const QString &actionName);

    // Layout.
    int _segmentCount(qsizetype line, qsizetype *lineStart = nullptr, qsizetype *contentsEnd = nullptr) const;
    Segment _segment(qsizetype line, int index) const;
    int _segmentOf(qsizetype line, qsizetype index) const;
    QTextLayout *_layout(qsizetype line, int segment) const;
    qreal _segmentX(int segment) const;
    qreal _wrapWidth() const;
    std::vector<Row> _rows(qreal height) const;
    void _invalidateLayouts(qsizetype fromLine, qsizetype toLine);
    void _clearLayouts();
    void _updateMetrics();
    void _updateScrollBars();
    void _updateWidest(qsizetype fromLine, qsizetype toLine);
    QRectF _caretRect(qsizetype index, bool *visible) const;
    qsizetype _indexAt(const QPointF &point) const;
    qsizetype _moveFrom(qsizetype index, Move move) const;
    qsizetype _verticalMove(qsizetype index, int rows) const;
    MVRange _wordRange(qsizetype index) const;
    void _move(Move move, bool extend);
    void _paintRow(QPainter &painter, const Row &row, const QRectF &clip);
    void _ensureCaretVisible();
    void _scrollRows(int rows);
    void _restartBlink();
    void _publishPrimarySelection();
    void _pasteText(const QString &text);

    std::unique_ptr<MVTextStorage> _storage;
    std::unique_ptr<MVUndoManager> _ownUndo;
    MVUndoManager *_undo = nullptr;
    std::unique_ptr<MVLayoutManager> _layoutManager;
    MVTextViewDelegate *_delegate = nullptr;
    QPointer<MVRulerArea> _ruler;
    int _observer = 0;

    MVRange _selection;
    qsizetype _anchor = 0;
    qreal _goalX = -1;
    qsizetype _topLine = 0;
    // With wrapping, the top row is row _topRow of segment _topSegment of _topLine.
    int _topSegment = 0;
    int _topRow = 0;

    QFont _font;
    qreal _lineHeight = 16;
    qreal _ascent = 12;
    qreal _charWidth = 8;
    int _tabWidth = 4;
    bool _wraps = false;
    QColor _textColor = Qt::black;
    QColor _backgroundColor = Qt::white;
    QColor _selectionColor = QColor(181, 213, 255);
    QColor _currentLineColor = QColor(242, 246, 255);
    QColor _caretColor = Qt::black;

    mutable std::unordered_map<quint64, CachedLayout> _layouts;
    mutable qint64 _layoutsMade = 0;
    qsizetype _widestChars = 0;
    qsizetype _lineCount = 1;

    // Typing coalescing: the record that the current typing step undoes.
    struct TypingRecord;
    std::shared_ptr<TypingRecord> _typing;
    std::uint64_t _typingGroup = 0;
    bool _inUndo = false;
    bool _editable = true;
    bool _applyingChange = false; // the view sets the selection itself after its own edits

    // Mouse.
    QBasicTimer _blinkTimer;
    bool _caretOn = true;
    QBasicTimer _autoScrollTimer;
    QElapsedTimer _lastDoubleClick;
    QPointF _lastDoubleClickPos;
    int _clickGranularity = 0; // 0 character, 1 word, 2 line
    MVRange _clickOrigin;
    bool _selecting = false;
    bool _dragPending = false;
    QPointF _pressPos;
    qsizetype _dropIndex = -1;
    bool _dragging = false;

    // Input methods.
    QString _preedit;
};

// The side area left of the text; a ruler derives from it and paints from
// the view's visibleLineFragments(). The view keeps its width as a viewport
// margin and repaints it whenever the text scrolls or changes.
class MVRulerArea : public QWidget
{
    Q_OBJECT

public:
    explicit MVRulerArea(MVTextView *view);
    MVTextView *textView() const { return _view; }
    // The width the ruler wants; 0 hides it.
    virtual int rulerWidth() const { return 40; }

private:
    MVTextView *_view;
};
