#include "text/MVTextView.h"

#include "support/TestEnvironment.h"
#include "text/MVLayoutManager.h"
#include "text/MVTextAttachment.h"
#include "text/MVTextStorage.h"
#include "text/MVTextViewDelegate.h"
#include "text/MVUndoManager.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QFile>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QMimeData>
#include <QScrollBar>
#include <QStringDecoder>

namespace {

// Real events sent to the view the way the window system delivers them.
void key(MVTextView &view, int k, Qt::KeyboardModifiers modifiers = Qt::NoModifier, const QString &text = QString())
{
    QKeyEvent press(QEvent::KeyPress, k, modifiers, text);
    QApplication::sendEvent(&view, &press);
    QKeyEvent release(QEvent::KeyRelease, k, modifiers, text);
    QApplication::sendEvent(&view, &release);
}

void type(MVTextView &view, const QString &text)
{
    for (QChar c : text)
        key(view, c.toUpper().unicode(), Qt::NoModifier, QString(c));
}

void mouse(MVTextView &view, QEvent::Type type, QPointF position, Qt::MouseButton button = Qt::LeftButton,
           Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    QWidget *viewport = view.viewport();
    const Qt::MouseButtons buttons = type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::MouseButtons(button);
    QMouseEvent event(type, position, viewport->mapToGlobal(position), type == QEvent::MouseMove ? Qt::NoButton : button,
                      buttons, modifiers);
    QApplication::sendEvent(viewport, &event);
}

void click(MVTextView &view, QPointF position, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    mouse(view, QEvent::MouseButtonPress, position, Qt::LeftButton, modifiers);
    mouse(view, QEvent::MouseButtonRelease, position, Qt::LeftButton, modifiers);
}

// The point at the middle of the character at index.
QPointF pointOf(const MVTextView &view, qsizetype index)
{
    const QRect caret = view.cursorRectForIndex(index);
    const QRect next = view.cursorRectForIndex(index + 1);
    const qreal x = next.top() == caret.top() && next.left() > caret.left() ? (caret.left() + next.left()) / 2.0
                                                                             : caret.left() + 1;
    return QPointF(x, caret.center().y());
}

struct ShownView
{
    MVTextView view;
    explicit ShownView(const QString &text = QString())
    {
        view.resize(600, 400);
        view.show();
        view.activateWindow();
        view.setFocus();
        view.setString(text);
    }
};

// Records the delegate calls in order.
struct RecordingDelegate : MVTextViewDelegate
{
    QStringList calls;
    QList<qsizetype> changeInLength; // as the storage tells it during each selection call
    bool refuse = false;
    QString swallowCommand;

    void textViewWillReplaceRanges(MVTextView *, MVRange covering, qsizetype newLength) override
    {
        calls << QStringLiteral("willReplace %1,%2 -> %3").arg(covering.location).arg(covering.length).arg(newLength);
    }
    bool textViewShouldChangeTextInRange(MVTextView *, MVRange range, const QString &replacement) override
    {
        calls << QStringLiteral("should %1,%2 '%3'").arg(range.location).arg(range.length).arg(replacement);
        return !refuse;
    }
    void textDidChange(MVTextView *) override { calls << QStringLiteral("didChange"); }
    MVRange textViewWillChangeSelectionFromCharacterRange(MVTextView *, MVRange oldRange, MVRange proposed) override
    {
        calls << QStringLiteral("willSelect %1->%2").arg(oldRange.location).arg(proposed.location);
        return proposed;
    }
    void textViewDidChangeSelection(MVTextView *view, MVRange) override
    {
        calls << QStringLiteral("didSelect");
        changeInLength << view->textStorage()->changeInLength();
    }
    bool textViewDoCommandBySelector(MVTextView *, const QString &command) override
    {
        calls << QStringLiteral("command ") + command;
        return command == swallowCommand;
    }
};

} // namespace

TEST(MVTextView, TypingGoesThroughTheDelegateInOrderAndCoalescesIntoOneUndo)
{
    ShownView shown;
    MVTextView &view = shown.view;
    RecordingDelegate delegate;
    view.setDelegate(&delegate);

    type(view, QStringLiteral("hi"));
    EXPECT_EQ(view.string(), QStringLiteral("hi"));
    const QStringList first = delegate.calls.mid(0, 4);
    EXPECT_EQ(first, (QStringList{QStringLiteral("should 0,0 'h'"), QStringLiteral("willSelect 0->1"),
                                  QStringLiteral("didSelect"), QStringLiteral("didChange")}));
    // While typing, the selection calls see the edit; a plain move sees none.
    EXPECT_EQ(delegate.changeInLength.value(0), 1);
    key(view, Qt::Key_Left);
    EXPECT_EQ(delegate.changeInLength.last(), 0);
    key(view, Qt::Key_Right);

    // One undo takes all the typing; redo brings it back.
    EXPECT_EQ(view.undoManager()->undoActionName(), QStringLiteral("Typing"));
    key(view, Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(view.string(), QString());
    key(view, Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(view.string(), QStringLiteral("hi"));

    // Moving the caret ends the typing step.
    key(view, Qt::Key_End);
    type(view, QStringLiteral("!"));
    key(view, Qt::Key_Left);
    type(view, QStringLiteral("?"));
    EXPECT_EQ(view.string(), QStringLiteral("hi?!"));
    view.undo();
    EXPECT_EQ(view.string(), QStringLiteral("hi!"));

    // Backspace inside the typing step shortens it.
    view.breakUndoCoalescing();
    view.setSelectedRange({3, 0});
    type(view, QStringLiteral("abc"));
    key(view, Qt::Key_Backspace);
    EXPECT_EQ(view.string(), QStringLiteral("hi!ab"));
    view.undo();
    EXPECT_EQ(view.string(), QStringLiteral("hi!"));

    // A view that is not editable takes no typing but still moves.
    view.setEditable(false);
    type(view, QStringLiteral("x"));
    key(view, Qt::Key_Backspace);
    EXPECT_EQ(view.string(), QStringLiteral("hi!"));
    view.setEditable(true);

    // A refusing delegate keeps the text.
    delegate.refuse = true;
    type(view, QStringLiteral("x"));
    EXPECT_EQ(view.string(), QStringLiteral("hi!"));
    delegate.refuse = false;

    // Commands reach the delegate first; a handled one goes no further.
    delegate.swallowCommand = QStringLiteral("insertNewline:");
    delegate.calls.clear();
    key(view, Qt::Key_Return);
    EXPECT_EQ(view.string(), QStringLiteral("hi!"));
    EXPECT_EQ(delegate.calls, QStringList{QStringLiteral("command insertNewline:")});
    delegate.swallowCommand.clear();
    key(view, Qt::Key_Return);
    EXPECT_EQ(view.string(), QStringLiteral("hi!\n"));
    view.setDelegate(nullptr);
}

TEST(MVTextView, KeyboardNavigationAndShiftSelection)
{
    const QString text = QStringLiteral("alpha beta\r\ngamma") + QChar(0xD83D) + QChar(0xDE00) + QStringLiteral("\nz");
    ShownView shown(text);
    MVTextView &view = shown.view;
    view.setSelectedRange({0, 0});

    key(view, Qt::Key_Right, Qt::ControlModifier);
    EXPECT_EQ(view.selectedRange(), (MVRange{5, 0}));
    key(view, Qt::Key_End);
    EXPECT_EQ(view.selectedRange(), (MVRange{10, 0}));
    key(view, Qt::Key_Right); // over CR LF as one
    EXPECT_EQ(view.selectedRange(), (MVRange{12, 0}));
    key(view, Qt::Key_Left);
    EXPECT_EQ(view.selectedRange(), (MVRange{10, 0}));
    view.setSelectedRange({17, 0});
    key(view, Qt::Key_Right); // over the surrogate pair as one
    EXPECT_EQ(view.selectedRange(), (MVRange{19, 0}));
    key(view, Qt::Key_Backspace);
    EXPECT_EQ(view.string(), QStringLiteral("alpha beta\r\ngamma\nz"));
    view.undo();
    EXPECT_EQ(view.string(), text);

    // Up and down keep the column; shift extends from the anchor.
    view.setSelectedRange({3, 0});
    key(view, Qt::Key_Down);
    EXPECT_EQ(view.selectedRange(), (MVRange{15, 0}));
    key(view, Qt::Key_Up, Qt::ShiftModifier);
    EXPECT_EQ(view.selectedRange(), (MVRange{3, 12}));
    key(view, Qt::Key_Right, Qt::ShiftModifier);
    EXPECT_EQ(view.selectedRange(), (MVRange{4, 11}));
    key(view, Qt::Key_End, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(view.selectedRange(), (MVRange{15, text.size() - 15}));
    key(view, Qt::Key_Home, Qt::ControlModifier);
    EXPECT_EQ(view.selectedRange(), (MVRange{0, 0}));
    key(view, Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(view.selectedRange(), (MVRange{0, text.size()}));
    key(view, Qt::Key_Right);
    EXPECT_EQ(view.selectedRange(), (MVRange{text.size(), 0}));
}

TEST(MVTextView, PagingScrollsAndMovesByAScreen)
{
    QString text;
    for (int i = 0; i < 500; ++i)
        text += QStringLiteral("line %1\n").arg(i);
    ShownView shown(text);
    MVTextView &view = shown.view;
    view.setSelectedRange({0, 0});
    key(view, Qt::Key_PageDown);
    const qsizetype line = view.textStorage()->buffer().lineForPosition(view.selectedRange().location);
    EXPECT_GT(line, 10);
    EXPECT_GT(view.firstVisibleLine(), 0);
    EXPECT_TRUE(view.cursorRect().isValid()); // the caret is on screen
    key(view, Qt::Key_End, Qt::ControlModifier);
    EXPECT_EQ(view.firstVisibleLine(), view.verticalScrollBar()->maximum());
    EXPECT_TRUE(view.cursorRect().isValid());
}

TEST(MVTextView, MouseClicksDragsAndShiftClicks)
{
    ShownView shown(QStringLiteral("one two three\nfour five\n"));
    MVTextView &view = shown.view;
    RecordingDelegate delegate;
    view.setDelegate(&delegate);

    click(view, pointOf(view, 5));
    EXPECT_EQ(view.selectedRange(), (MVRange{5, 0}));
    EXPECT_TRUE(delegate.calls.contains(QStringLiteral("didSelect")));

    // Double click selects a word, a third click the line.
    mouse(view, QEvent::MouseButtonPress, pointOf(view, 5));
    mouse(view, QEvent::MouseButtonRelease, pointOf(view, 5));
    mouse(view, QEvent::MouseButtonDblClick, pointOf(view, 5));
    mouse(view, QEvent::MouseButtonRelease, pointOf(view, 5));
    EXPECT_EQ(view.selectedRange(), (MVRange{4, 3}));
    mouse(view, QEvent::MouseButtonPress, pointOf(view, 5));
    mouse(view, QEvent::MouseButtonRelease, pointOf(view, 5));
    EXPECT_EQ(view.selectedRange(), (MVRange{0, 14}));

    // Drag from one place to another.
    click(view, pointOf(view, 16)); // away from the selection
    mouse(view, QEvent::MouseButtonPress, pointOf(view, 15));
    QMouseEvent move(QEvent::MouseMove, pointOf(view, 19), view.viewport()->mapToGlobal(pointOf(view, 19)),
                     Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(view.viewport(), &move);
    mouse(view, QEvent::MouseButtonRelease, pointOf(view, 19));
    EXPECT_EQ(view.selectedRange(), (MVRange{15, 4}));

    // Shift click extends from the anchor.
    click(view, pointOf(view, 2));
    click(view, pointOf(view, 9), Qt::ShiftModifier);
    EXPECT_EQ(view.selectedRange(), (MVRange{2, 7}));
    view.setDelegate(nullptr);
}

TEST(MVTextView, ClipboardCarriesTheFullTextOfFolds)
{
    ShownView shown(QStringLiteral("a{\n b\n}c"));
    MVTextView &view = shown.view;
    MVTextStorage *storage = view.textStorage();

    // Fold "\n b\n" the way folding does: select, insert an attachment.
    view.setSelectedRange({2, 4});
    view.undoManager()->beginUndoGrouping();
    view.insertAttachment(storage->attachmentForRange({2, 4}));
    view.undoManager()->setActionName(QStringLiteral("Collapse Region"));
    view.undoManager()->setGroupIsNeutral();
    view.undoManager()->endUndoGrouping();
    EXPECT_EQ(view.string(), QStringLiteral("a{") + QChar(0xFFFC) + QStringLiteral("}c"));

    view.setSelectedRange({1, 3});
    key(view, Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("{\n b\n}"));
    key(view, Qt::Key_X, Qt::ControlModifier);
    EXPECT_EQ(view.string(), QStringLiteral("ac"));
    key(view, Qt::Key_V, Qt::ControlModifier);
    EXPECT_EQ(view.string(), QStringLiteral("a{\n b\n}c"));
    EXPECT_EQ(view.undoManager()->undoActionName(), QStringLiteral("Paste"));

    // Undo of the paste and of the cut brings the fold back as a fold.
    view.undo();
    view.undo();
    EXPECT_EQ(view.string(), QStringLiteral("a{") + QChar(0xFFFC) + QStringLiteral("}c"));
    ASSERT_NE(storage->attachmentAtIndex(2), nullptr);
    EXPECT_EQ(storage->fullString(), QStringLiteral("a{\n b\n}c"));
    view.undo(); // the fold
    EXPECT_EQ(view.string(), QStringLiteral("a{\n b\n}c"));
    view.redo();
    EXPECT_NE(storage->attachmentAtIndex(2), nullptr);
}

TEST(MVTextView, DropsInsertAndMoveTextAsOneUndoStep)
{
    ShownView shown(QStringLiteral("hello world"));
    MVTextView &view = shown.view;
    auto *mime = new QMimeData;
    mime->setText(QStringLiteral("big "));
    const QPointF at = pointOf(view, 6) - QPointF(view.cursorRectForIndex(7).left() - view.cursorRectForIndex(6).left(), 0) / 2;
    QDragEnterEvent enter(at.toPoint(), Qt::CopyAction | Qt::MoveAction, mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(view.viewport(), &enter);
    QDropEvent drop(at, Qt::CopyAction, mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(view.viewport(), &drop);
    EXPECT_EQ(view.string(), QStringLiteral("hello big world"));
    EXPECT_EQ(view.selectedRange(), (MVRange{6, 4}));
    EXPECT_EQ(view.undoManager()->undoActionName(), QStringLiteral("Drag"));
    view.undo();
    EXPECT_EQ(view.string(), QStringLiteral("hello world"));
    delete mime;
}

TEST(MVTextView, InputMethodPreeditAndCommit)
{
    ShownView shown(QStringLiteral("ab"));
    MVTextView &view = shown.view;
    view.setSelectedRange({1, 0});
    QInputMethodEvent preedit(QStringLiteral("ni"), {});
    QApplication::sendEvent(&view, &preedit);
    EXPECT_EQ(view.string(), QStringLiteral("ab")); // pre-edit text is not in the text
    EXPECT_EQ(view.inputMethodQuery(Qt::ImSurroundingText).toString(), QStringLiteral("ab"));
    EXPECT_EQ(view.inputMethodQuery(Qt::ImCursorPosition).toInt(), 1);
    QInputMethodEvent commit;
    commit.setCommitString(QStringLiteral("你"));
    QApplication::sendEvent(&view, &commit);
    EXPECT_EQ(view.string(), QStringLiteral("a你b"));
    EXPECT_EQ(view.selectedRange(), (MVRange{2, 0}));
    EXPECT_TRUE(view.inputMethodQuery(Qt::ImCursorRectangle).toRectF().isValid());

    // A dead-key composition replaces the character before the caret.
    QInputMethodEvent compose;
    compose.setCommitString(QStringLiteral("é"), -1, 1);
    QApplication::sendEvent(&view, &compose);
    EXPECT_EQ(view.string(), QStringLiteral("aéb"));
}

TEST(MVTextView, AFiveMegabyteLineIsLaidOutOnlyWhereVisible)
{
    const QString line = QString(QStringLiteral("var x=[1,2,3];")).repeated(5 * 1000 * 1000 / 14);
    ShownView shown(line + QStringLiteral("\nend"));
    MVTextView &view = shown.view;
    view.viewport()->repaint();
    const qint64 before = view.layoutCount();
    key(view, Qt::Key_End);
    EXPECT_EQ(view.selectedRange(), (MVRange{line.size(), 0}));
    view.viewport()->repaint();
    type(view, QStringLiteral("q"));
    view.viewport()->repaint();
    EXPECT_EQ(view.textStorage()->characterAt(line.size()), u'q');
    EXPECT_TRUE(view.cursorRect().isValid());
    // A handful of segments, never the whole line.
    EXPECT_LT(view.layoutCount() - before, 40);
    EXPECT_GT(view.horizontalScrollBar()->value(), 1000000);

    // A click at the caret finds the caret's index again.
    const QRect caret = view.cursorRect();
    click(view, QPointF(caret.left(), caret.center().y()));
    EXPECT_EQ(view.selectedRange(), (MVRange{line.size() + 1, 0}));
    key(view, Qt::Key_Home);
    EXPECT_EQ(view.horizontalScrollBar()->value(), 0);
}

TEST(MVTextView, WrappedLinesMoveByRows)
{
    ShownView shown(QString(QStringLiteral("word ")).repeated(200) + QStringLiteral("\nnext"));
    MVTextView &view = shown.view;
    view.setWrapsText(true);
    const std::vector<MVLineFragment> fragments = view.visibleLineFragments();
    ASSERT_GT(fragments.size(), 3u);
    EXPECT_EQ(fragments[0].line, 0);
    EXPECT_EQ(fragments[1].line, 0);
    EXPECT_FALSE(fragments[1].firstOfLine);
    view.setSelectedRange({0, 0});
    key(view, Qt::Key_Down);
    EXPECT_EQ(view.textStorage()->buffer().lineForPosition(view.selectedRange().location), 0);
    EXPECT_EQ(view.selectedRange().location, fragments[1].range.location);
    EXPECT_EQ(view.horizontalScrollBar()->maximum(), 0);

    // Going down row by row past the bottom keeps the caret on screen.
    for (int i = 0; i < 60; ++i) {
        key(view, Qt::Key_Down);
        ASSERT_TRUE(view.cursorRect().isValid()) << "row " << i;
    }
    EXPECT_EQ(view.selectedRange().location, view.textStorage()->length());
    for (int i = 0; i < 60; ++i) {
        key(view, Qt::Key_Up);
        ASSERT_TRUE(view.cursorRect().isValid()) << "row " << i;
    }
    EXPECT_EQ(view.selectedRange().location, 0);
}

TEST(MVTextView, LayoutManagerGivesGlyphGeometry)
{
    ShownView shown(QStringLiteral("a\tb\r\nsecond line\n"));
    MVTextView &view = shown.view;
    MVLayoutManager *layout = view.layoutManager();
    MVRange range;
    const QRectF second = layout->lineFragmentRectForGlyphAtIndex(7, &range);
    EXPECT_EQ(range, (MVRange{5, 12}));
    EXPECT_EQ(second.top(), view.lineHeight());
    EXPECT_GT(layout->locationForGlyphAtIndex(2).x(), layout->locationForGlyphAtIndex(1).x()); // after the tab
    EXPECT_EQ(layout->glyphIndexForPoint(second.center() + QPointF(0, 0) - QPointF(second.center().x() - 1, 0)), 5);
    EXPECT_EQ(layout->extraLineFragmentRect().top(), 2 * view.lineHeight());
    EXPECT_EQ(layout->glyphRangeForBoundingRect(QRectF(0, 0, 10, view.lineHeight() * 1.5)), (MVRange{0, 17}));
}

TEST(MVTextView, RulerFollowsScrollingAndLineGeometry)
{
    QString text;
    for (int i = 0; i < 300; ++i)
        text += QStringLiteral("row %1\n").arg(i);
    ShownView shown(text);
    MVTextView &view = shown.view;
    auto *ruler = new MVRulerArea(&view);
    view.setRulerArea(ruler);
    EXPECT_EQ(view.viewport()->x(), ruler->geometry().right() + 1);
    view.scrollRangeToVisible({text.indexOf(QStringLiteral("row 200")), 0});
    const std::vector<MVLineFragment> fragments = view.visibleLineFragments();
    EXPECT_LE(fragments.front().line, 200);
    EXPECT_GE(fragments.back().line, 200);
    MVRange lineRange;
    view.lineFragmentRectForIndex(text.indexOf(QStringLiteral("row 200")) + 2, &lineRange);
    EXPECT_EQ(lineRange, (MVRange{text.indexOf(QStringLiteral("row 200")), 8}));
}

TEST(MVTextView, SpecialCodePointsRoundTripThroughLoadEditAndSave)
{
    // Every unit a Qt text document would rewrite, read from a file as bytes.
    const QString specials = QStringLiteral("a\r\nb\rc\n") + QChar(0x2028) + QChar(0x2029) + QChar(0xFDD0)
                             + QChar(0xFDD1) + QChar(0xFFFC) + QChar(0x00A0) + QChar(0xFEFF) + QStringLiteral("\t\r\n");
    MVScratchDir dir;
    const QString path = dir.write(QStringLiteral("special.txt"), specials.toUtf8());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString loaded = decoder(file.readAll());
    ASSERT_EQ(loaded, specials);

    ShownView shown(loaded);
    MVTextView &view = shown.view;
    view.setShowsInvisibleCharacters(true);
    view.viewport()->repaint();
    EXPECT_EQ(view.textStorage()->attachmentCount(), 0); // a file's U+FFFC is a plain character
    view.setSelectedRange({view.textStorage()->length(), 0});
    type(view, QStringLiteral("z"));
    key(view, Qt::Key_Backspace);
    view.setSelectedRange({0, 0});
    type(view, QStringLiteral("y"));
    key(view, Qt::Key_Backspace);
    EXPECT_EQ(view.textStorage()->fullString().toUtf8(), specials.toUtf8());
}

TEST(MVTextView, PaintsStorageColoursSelectionAndCurrentLine)
{
    ShownView shown(QStringLiteral("plain marked\nsecond\n"));
    MVTextView &view = shown.view;
    view.setCurrentLineColor(QColor(0, 0, 255));
    view.setSelectionColor(QColor(0, 255, 0));
    view.textStorage()->addAttributes(MVTextAttributes().setBackground(QColor(255, 255, 0)), {6, 6});
    view.setSelectedRange({13, 0}); // caret on the second line

    auto colourAt = [&view](QPointF point) {
        const QImage image = view.viewport()->grab().toImage();
        return image.pixelColor(point.toPoint());
    };
    const QPointF marked = pointOf(view, 8);
    EXPECT_EQ(colourAt(QPointF(marked.x(), view.cursorRectForIndex(8).top() + 1)), QColor(255, 255, 0));
    const QRect second = view.cursorRectForIndex(13);
    EXPECT_EQ(colourAt(QPointF(view.viewport()->width() - 5, second.center().y())), QColor(0, 0, 255));

    view.setSelectedRange({0, 3});
    EXPECT_EQ(colourAt(QPointF(pointOf(view, 1).x(), view.cursorRectForIndex(1).top() + 1)), QColor(0, 255, 0));
    // No current line while there is a selection.
    EXPECT_EQ(colourAt(QPointF(view.viewport()->width() - 5, second.center().y())), view.backgroundColor());
}

TEST(MVTextView, WrappedFiveMegabyteLineScrollsToItsEndWithoutLayingOutAll)
{
    const QString line = QString(QStringLiteral("abc def ")).repeated(5 * 1000 * 1000 / 8);
    ShownView shown(line);
    MVTextView &view = shown.view;
    view.setWrapsText(true);
    view.viewport()->repaint();
    const qint64 before = view.layoutCount();
    key(view, Qt::Key_End, Qt::ControlModifier);
    view.viewport()->repaint();
    EXPECT_TRUE(view.cursorRect().isValid());
    EXPECT_LT(view.layoutCount() - before, 40);
    key(view, Qt::Key_Up);
    key(view, Qt::Key_Home, Qt::ControlModifier);
    EXPECT_TRUE(view.cursorRect().isValid());
    EXPECT_EQ(view.visibleLineFragments().front().range.location, 0);

    // The wheel scrolls through the line row by row.
    const QPointF middle(100, 100);
    QWheelEvent wheel(middle, view.viewport()->mapToGlobal(middle), QPoint(), QPoint(0, -120), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(view.viewport(), &wheel);
    const std::vector<MVLineFragment> fragments = view.visibleLineFragments();
    EXPECT_EQ(fragments.front().line, 0);
    EXPECT_GT(fragments.front().range.location, 100);
    EXPECT_LT(fragments.front().range.location, 2000);
}

TEST(MVTextView, EditsMadeDirectlyInTheStorageKeepTheSelectionOnItsText)
{
    ShownView shown(QStringLiteral("0123456789"));
    MVTextView &view = shown.view;
    view.setSelectedRange({4, 2});
    view.textStorage()->replaceCharacters({0, 0}, QStringLiteral("ab"));
    EXPECT_EQ(view.selectedRange(), (MVRange{6, 2}));
    view.textStorage()->replaceCharacters({8, 2}, QStringLiteral("x"));
    EXPECT_EQ(view.selectedRange(), (MVRange{6, 2}));
    view.textStorage()->replaceCharacters({0, 7}, QString());
    EXPECT_EQ(view.selectedRange(), (MVRange{0, 1}));
}

TEST(MVTextView, DoubleClickOnAFoldGoesToTheDelegateAndScrollPositionsComeBack)
{
    struct Expander : MVTextViewDelegate
    {
        qsizetype clicked = -1;
        bool textViewDoubleClickedOnCell(MVTextView *view, const std::shared_ptr<MVTextAttachment> &cell, const QRect &,
                                         qsizetype index) override
        {
            clicked = index;
            // Expand in place as folding does.
            view->setSelectedRange({index, 1});
            view->insertText(cell->string());
            return true;
        }
    };
    QString text;
    for (int i = 0; i < 200; ++i)
        text += QStringLiteral("line %1 {\n  body\n}\n").arg(i);
    ShownView shown(text);
    MVTextView &view = shown.view;
    Expander expander;
    view.setDelegate(&expander);
    const qsizetype fold = text.indexOf(QStringLiteral("{\n  body")) + 1;
    view.setSelectedRange({fold, 8});
    view.insertAttachment(view.textStorage()->attachmentForRange({fold, 8}));
    const QPointF at = pointOf(view, fold);
    mouse(view, QEvent::MouseButtonPress, at);
    mouse(view, QEvent::MouseButtonRelease, at);
    mouse(view, QEvent::MouseButtonDblClick, at);
    mouse(view, QEvent::MouseButtonRelease, at);
    EXPECT_EQ(expander.clicked, fold);
    EXPECT_EQ(view.string(), text);

    view.scrollRangeToVisible({text.size() / 2, 0});
    const MVScrollPosition saved = view.scrollPosition();
    view.scrollRangeToVisible({0, 0});
    EXPECT_EQ(view.firstVisibleLine(), 0);
    view.setScrollPosition(saved);
    EXPECT_EQ(view.firstVisibleLine(), saved.topLine);
    EXPECT_GT(saved.topLine, 0);
    view.setDelegate(nullptr);
}

TEST(MVTextView, ReplacingManyRangesIsOneUndoStepThatKeepsOnlyWhatChanged)
{
    ShownView shown(QStringLiteral("one two one\r\ntwo one"));
    MVTextView &view = shown.view;
    RecordingDelegate delegate;
    view.setDelegate(&delegate);
    auto fold = std::make_shared<MVTextAttachment>(QStringLiteral("hidden"));
    view.textStorage()->replaceCharactersWithAttachment({3, 1}, fold);
    view.setSelectedRange({16, 0}); // the caret after the second "two"
    delegate.calls.clear();

    const std::vector<MVTextBuffer::Edit> edits{{MVRange{0, 3}, QStringLiteral("1")},
                                                {MVRange{8, 3}, QStringLiteral("uno")},
                                                {MVRange{17, 3}, QStringLiteral("eins")}};
    ASSERT_TRUE(view.replaceRanges(edits, QStringLiteral("Replace All")));
    const QString after = QStringLiteral("1\uFFFCtwo uno\r\ntwo eins");
    EXPECT_EQ(view.string(), after);
    EXPECT_EQ(delegate.calls.first(), QStringLiteral("willReplace 0,20 -> 19"));
    EXPECT_EQ(delegate.calls.last(), QStringLiteral("didChange"));
    EXPECT_EQ(view.selectedRange(), (MVRange{14, 0})) << "the caret stays after its word";
    EXPECT_EQ(view.textStorage()->attachmentAtIndex(1), fold) << "the fold moves with its text";

    EXPECT_EQ(view.undoManager()->undoActionName(), QStringLiteral("Replace All"));
    view.undo();
    EXPECT_EQ(view.string(), QStringLiteral("one\uFFFCtwo one\r\ntwo one"));
    EXPECT_EQ(view.textStorage()->attachmentAtIndex(3), fold);
    EXPECT_FALSE(view.undoManager()->canUndo());
    view.redo();
    EXPECT_EQ(view.string(), after);
    view.undo();
    EXPECT_EQ(view.string(), QStringLiteral("one\uFFFCtwo one\r\ntwo one"));

    view.setEditable(false);
    EXPECT_FALSE(view.replaceRanges(edits, QStringLiteral("Replace All")));
}
