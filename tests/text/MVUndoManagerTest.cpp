#include "text/MVUndoManager.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QString>

namespace {

// A tiny document: a string changed by undoable appends and a "mode" changed
// by a non-text step.
struct Document
{
    MVUndoManager undo;
    QString text;
    QString mode = QStringLiteral("Unix");

    void setText(const QString &newText)
    {
        const QString old = text;
        undo.registerUndo([this, old] { setText(old); });
        text = newText;
    }
    void setMode(const QString &newMode)
    {
        const QString old = mode;
        undo.registerUndo([this, old] { setMode(old); });
        mode = newMode;
    }
    void edit(const QString &newText, const QString &name, bool neutral = false)
    {
        undo.beginUndoGrouping();
        setText(newText);
        undo.setActionName(name);
        if (neutral)
            undo.setGroupIsNeutral();
        undo.endUndoGrouping();
    }
};

} // namespace

TEST(MVUndoManager, UndoAndRedoEveryKindOfStepWithNames)
{
    Document doc;
    doc.edit(QStringLiteral("a"), QStringLiteral("Typing"));
    doc.undo.beginUndoGrouping();
    doc.setMode(QStringLiteral("DOS"));
    doc.setText(QStringLiteral("a\r\n"));
    doc.undo.setActionName(QStringLiteral("Set Line Break Type"));
    doc.undo.endUndoGrouping();

    EXPECT_EQ(doc.undo.undoActionName(), QStringLiteral("Set Line Break Type"));
    doc.undo.undo();
    EXPECT_EQ(doc.text, QStringLiteral("a"));
    EXPECT_EQ(doc.mode, QStringLiteral("Unix"));
    EXPECT_EQ(doc.undo.redoActionName(), QStringLiteral("Set Line Break Type"));
    EXPECT_EQ(doc.undo.undoActionName(), QStringLiteral("Typing"));
    doc.undo.undo();
    EXPECT_EQ(doc.text, QString());
    EXPECT_FALSE(doc.undo.canUndo());
    doc.undo.redo();
    doc.undo.redo();
    EXPECT_EQ(doc.text, QStringLiteral("a\r\n"));
    EXPECT_EQ(doc.mode, QStringLiteral("DOS"));
    EXPECT_FALSE(doc.undo.canRedo());
    // Undo after redo works again, and a new edit drops the redo stack.
    doc.undo.undo();
    EXPECT_TRUE(doc.undo.canRedo());
    doc.edit(QStringLiteral("b"), QStringLiteral("Typing"));
    EXPECT_FALSE(doc.undo.canRedo());
}

TEST(MVUndoManager, NestedGroupsMakeOneStepAndEmptyGroupsOrDisabledRegistrationNone)
{
    Document doc;
    doc.undo.beginUndoGrouping();
    doc.setText(QStringLiteral("1"));
    doc.undo.beginUndoGrouping();
    doc.setText(QStringLiteral("12"));
    doc.undo.setActionName(QStringLiteral("Inner"));
    doc.undo.endUndoGrouping();
    doc.undo.endUndoGrouping();
    doc.undo.beginUndoGrouping();
    doc.undo.endUndoGrouping();
    EXPECT_EQ(doc.undo.undoActionName(), QStringLiteral("Inner"));
    doc.undo.undo();
    EXPECT_EQ(doc.text, QString());
    EXPECT_FALSE(doc.undo.canUndo());

    doc.undo.disableUndoRegistration();
    doc.edit(QStringLiteral("a"), QStringLiteral("Typing"));
    doc.undo.enableUndoRegistration();
    EXPECT_FALSE(doc.undo.canUndo());
}

TEST(MVUndoManager, StepsOutsideGroupsAreGroupedByEventLoopTurn)
{
    Document doc;
    doc.setText(QStringLiteral("x"));
    doc.setText(QStringLiteral("xy"));
    QCoreApplication::processEvents();
    doc.setText(QStringLiteral("xyz"));
    QCoreApplication::processEvents();
    doc.undo.undo();
    EXPECT_EQ(doc.text, QStringLiteral("xy"));
    doc.undo.undo();
    EXPECT_EQ(doc.text, QString());

    // Undo straight after a step, before the loop turns, undoes that step.
    doc.setText(QStringLiteral("q"));
    doc.undo.undo();
    EXPECT_EQ(doc.text, QString());
}

TEST(MVUndoManager, RevisionFollowsTheUndoPositionWithNeutralStepsIgnored)
{
    Document doc;
    const auto saved0 = doc.undo.revision();
    doc.edit(QStringLiteral("a"), QStringLiteral("Typing"));
    EXPECT_NE(doc.undo.revision(), saved0);
    doc.undo.undo();
    EXPECT_EQ(doc.undo.revision(), saved0); // back to the saved state: clean

    // Type, save, fold: still clean. Undo the fold: clean. Undo the typing: edited.
    doc.undo.redo();
    const auto saved = doc.undo.revision();
    doc.edit(QStringLiteral("a<fold>"), QStringLiteral("Collapse Region"), true);
    EXPECT_EQ(doc.undo.revision(), saved);
    doc.undo.undo();
    EXPECT_EQ(doc.undo.revision(), saved);
    doc.undo.undo();
    EXPECT_NE(doc.undo.revision(), saved);

    // Type, fold, undo the fold: the typing remains, so still edited.
    const auto clean = doc.undo.revision();
    doc.edit(QStringLiteral("b"), QStringLiteral("Typing"));
    doc.edit(QStringLiteral("b<fold>"), QStringLiteral("Collapse Region"), true);
    doc.undo.undo();
    EXPECT_NE(doc.undo.revision(), clean);
    doc.undo.redo();
    EXPECT_NE(doc.undo.revision(), clean);
}

TEST(MVUndoManager, CoalescingAddsToTheLastGroupAndGivesANewRevision)
{
    Document doc;
    doc.edit(QStringLiteral("a"), QStringLiteral("Typing"));
    const auto group = doc.undo.topGroupIdentifier();
    const auto afterA = doc.undo.revision();
    const QString old = doc.text;
    EXPECT_TRUE(doc.undo.registerUndoInGroup(group, [&doc, old] { doc.setText(old); }));
    doc.text = QStringLiteral("ab");
    EXPECT_NE(doc.undo.revision(), afterA); // saved after "a": now edited
    doc.edit(QStringLiteral("abc"), QStringLiteral("Paste"));
    EXPECT_FALSE(doc.undo.registerUndoInGroup(group, [] {}));
    doc.undo.undo();
    EXPECT_EQ(doc.text, QStringLiteral("ab"));
    doc.undo.undo();
    EXPECT_EQ(doc.text, QString()); // both typed characters in one step
}

TEST(MVUndoManager, AGroupCountsWhenAnyStepInsideItCounts)
{
    Document doc;
    const auto start = doc.undo.revision();
    // A fold inside a real edit: the whole step is a change.
    doc.undo.beginUndoGrouping();
    doc.setText(QStringLiteral("x"));
    doc.edit(QStringLiteral("x<fold>"), QStringLiteral("Collapse Region"), true);
    doc.undo.setActionName(QStringLiteral("Replace All"));
    doc.undo.endUndoGrouping();
    EXPECT_NE(doc.undo.revision(), start);
    // A neutral outer group with a real edit inside also counts.
    const auto before = doc.undo.revision();
    doc.undo.beginUndoGrouping();
    doc.undo.setGroupIsNeutral();
    doc.edit(QStringLiteral("y"), QStringLiteral("Typing"));
    doc.undo.endUndoGrouping();
    EXPECT_NE(doc.undo.revision(), before);
    // Only neutral steps: no change.
    const auto clean = doc.undo.revision();
    doc.undo.beginUndoGrouping();
    doc.edit(QStringLiteral("y<fold>"), QStringLiteral("Collapse Region"), true);
    doc.undo.endUndoGrouping();
    EXPECT_EQ(doc.undo.revision(), clean);
}
