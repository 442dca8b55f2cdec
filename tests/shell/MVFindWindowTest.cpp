#include "shell/MVExtendedSearchInputController.h"
#include "shell/MVFindWindow.h"

#include "platform/MVUserDefaults.h"
#include "search/MVFindBuffer.h"
#include "search/MVSingleFileSearchController.h"
#include "support/TestEnvironment.h"
#include "text/MVTextStorage.h"
#include "text/MVTextView.h"
#include "text/MVUndoManager.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>

#include <gtest/gtest.h>

namespace {

class FindWindowTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        for (const QString &key : {QStringLiteral("MVDoGrepKey"), QStringLiteral("MVDoMatchCaseKey"),
                                   QStringLiteral("MVSearchHistory"), QStringLiteral("MVReplaceHistory")})
            MVUserDefaults::standard().removeObject(key);
        MVFindBuffer::sharedBuffer().setString(QString());
        controller = std::make_unique<MVSingleFileSearchController>();
        window = std::make_unique<MVFindWindow>(controller.get());
        view = std::make_unique<MVTextView>();
        view->resize(400, 300);
        view->setString(QStringLiteral("alpha beta\r\nALPHA gamma\r\nalphabet"));
        view->undoManager()->removeAllActions();
        window->showForTextView(view.get());
    }
    void TearDown() override
    {
        window.reset();
        view.reset();
        controller.reset();
    }

    QPushButton *button(const QString &text)
    {
        for (QPushButton *candidate : window->findChildren<QPushButton *>())
            if (candidate->text().remove(u'&') == text)
                return candidate;
        ADD_FAILURE() << "no button " << text.toStdString();
        return nullptr;
    }
    QCheckBox *checkBox(const QString &text)
    {
        for (QCheckBox *candidate : window->findChildren<QCheckBox *>())
            if (candidate->text().remove(u'&') == text)
                return candidate;
        ADD_FAILURE() << "no check box " << text.toStdString();
        return nullptr;
    }
    QString selected() const { return view->textStorage()->substring(view->selectedRange()); }
    void typeInto(QComboBox *field, const QString &text)
    {
        field->lineEdit()->selectAll();
        field->lineEdit()->insert(text);
    }
    void pressReturn(QWidget *target, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QKeyEvent press(QEvent::KeyPress, Qt::Key_Return, modifiers);
        QApplication::sendEvent(target, &press);
    }

    std::unique_ptr<MVSingleFileSearchController> controller;
    std::unique_ptr<MVFindWindow> window;
    std::unique_ptr<MVTextView> view;
};

} // namespace

TEST_F(FindWindowTest, FindsFromTheFieldsAndKeepsAHistory)
{
    EXPECT_FALSE(button(QStringLiteral("Next"))->isEnabled()); // nothing to find yet
    typeInto(window->searchField(), QStringLiteral("alpha"));
    EXPECT_EQ(controller->searchString(), QStringLiteral("alpha"));
    ASSERT_TRUE(button(QStringLiteral("Next"))->isEnabled());

    button(QStringLiteral("Next"))->click();
    EXPECT_EQ(view->selectedRange(), MVMakeRange(0, 5));
    // Return in the find field finds the next one, Shift+Return the previous.
    pressReturn(window->searchField()->lineEdit());
    EXPECT_EQ(view->selectedRange(), MVMakeRange(12, 5));
    pressReturn(window->searchField()->lineEdit());
    EXPECT_EQ(view->selectedRange(), MVMakeRange(25, 5));
    pressReturn(window->searchField()->lineEdit(), Qt::ShiftModifier);
    EXPECT_EQ(view->selectedRange(), MVMakeRange(12, 5));

    checkBox(QStringLiteral("Match case"))->click();
    EXPECT_TRUE(controller->matchCase());
    view->setSelectedRange({0, 5});
    button(QStringLiteral("Next"))->click();
    EXPECT_EQ(view->selectedRange(), MVMakeRange(25, 5)); // ALPHA skipped

    typeInto(window->searchField(), QStringLiteral("delta"));
    button(QStringLiteral("Next"))->click();
    EXPECT_EQ(window->statusLabel()->text(), QStringLiteral("Not found"));
    EXPECT_EQ(view->selectedRange(), MVMakeRange(25, 5));

    // Both searches are in the field's list, newest first.
    ASSERT_GE(window->searchField()->count(), 2);
    EXPECT_EQ(window->searchField()->itemText(0), QStringLiteral("delta"));
    EXPECT_EQ(window->searchField()->itemText(1), QStringLiteral("alpha"));
    EXPECT_EQ(window->searchField()->currentText(), QStringLiteral("delta"));

    // Find All shows only with a multi-file search to hand the search to.
    EXPECT_TRUE(button(QStringLiteral("Find All"))->isHidden());
    QString handed;
    controller->setFindAllHandler([&handed](const MVSearch &search) { handed = search.searchString(); });
    EXPECT_FALSE(button(QStringLiteral("Find All"))->isHidden());
    button(QStringLiteral("Find All"))->click();
    EXPECT_EQ(handed, QStringLiteral("delta"));
}

TEST_F(FindWindowTest, InvalidExpressionIsShownAndFindsNothing)
{
    checkBox(QStringLiteral("Regular expression"))->click();
    typeInto(window->searchField(), QStringLiteral("alpha("));
    EXPECT_EQ(window->statusLabel()->text(), QStringLiteral("Invalid search regular expression"));
    EXPECT_FALSE(button(QStringLiteral("Next"))->isEnabled());
    EXPECT_FALSE(button(QStringLiteral("Replace All"))->isEnabled());
    pressReturn(window->searchField()->lineEdit());
    EXPECT_EQ(view->selectedRange(), MVMakeRange(0, 0));

    typeInto(window->searchField(), QStringLiteral("alpha(bet)?"));
    EXPECT_TRUE(window->statusLabel()->text().isEmpty());
    EXPECT_TRUE(button(QStringLiteral("Next"))->isEnabled());
}

TEST_F(FindWindowTest, ReplaceAllIsOneUndoStepOfTheView)
{
    checkBox(QStringLiteral("Regular expression"))->click();
    typeInto(window->searchField(), QStringLiteral("(?i)alpha(\\w*)"));
    typeInto(window->replaceField(), QStringLiteral("omega$1"));
    view->setSelectedRange({8, 2});
    button(QStringLiteral("Replace All"))->click();
    EXPECT_EQ(view->string(), QStringLiteral("omega beta\r\nomega gamma\r\nomegabet"));
    EXPECT_EQ(window->statusLabel()->text(), QStringLiteral("Replaced 3"));
    EXPECT_EQ(view->undoManager()->undoActionName(), QStringLiteral("Replace All"));
    EXPECT_EQ(view->selectedRange(), (MVRange{8, 0})) << "the caret stays where it was";
    view->undo();
    EXPECT_EQ(view->string(), QStringLiteral("alpha beta\r\nALPHA gamma\r\nalphabet"));
    EXPECT_EQ(view->selectedRange(), (MVRange{8, 2})) << "undo gives the selection back, not the whole text";
    EXPECT_FALSE(view->undoManager()->canUndo());
    view->redo();
    EXPECT_EQ(view->string(), QStringLiteral("omega beta\r\nomega gamma\r\nomegabet"));
    EXPECT_EQ(view->selectedRange(), (MVRange{8, 0}));
    view->undo();

    // Replace: the selected match, then on to the next.
    view->setSelectedRange({0, 0});
    button(QStringLiteral("Next"))->click();
    button(QStringLiteral("Replace"))->click();
    EXPECT_EQ(view->string(), QStringLiteral("omega beta\r\nALPHA gamma\r\nalphabet"));
    EXPECT_EQ(selected(), QStringLiteral("ALPHA"));
    EXPECT_EQ(view->undoManager()->undoActionName(), QStringLiteral("Replace"));
}

TEST_F(FindWindowTest, MultiLineInputFillsTheField)
{
    window->searchField()->lineEdit()->setText(QStringLiteral("beta"));
    controller->showExtendedInput(MVSearchController::SearchFieldTag);
    MVExtendedSearchInputController *panel = window->extendedInputPanel();
    ASSERT_TRUE(panel->isVisible());
    EXPECT_EQ(panel->input(), QStringLiteral("beta"));
    panel->setInput(QStringLiteral("beta\r\nALPHA"));
    panel->accept();
    EXPECT_FALSE(panel->isVisible());
    EXPECT_EQ(controller->searchString(), QStringLiteral("beta\nALPHA"));

    // Cancel keeps the field.
    controller->showExtendedInput(MVSearchController::SearchFieldTag + 1);
    panel->setInput(QStringLiteral("dropped"));
    panel->reject();
    EXPECT_TRUE(controller->replaceString().isEmpty());
}

TEST_F(FindWindowTest, MenuCommandsWorkOnTheCurrentView)
{
    MVTextView other;
    other.setString(QStringLiteral("one two one"));
    MVTextView *current = &other;
    QMenu menu;
    window->addActionsToMenu(&menu, [&] { return current; });
    auto action = [&](const QString &title) -> QAction * {
        for (QAction *candidate : menu.actions())
            if (candidate->text() == title)
                return candidate;
        ADD_FAILURE() << "no action " << title.toStdString();
        return nullptr;
    };

    other.setSelectedRange({4, 3});
    action(QStringLiteral("Use Selection for Find"))->trigger();
    EXPECT_EQ(controller->searchString(), QStringLiteral("two"));
    EXPECT_EQ(window->searchField()->currentText(), QStringLiteral("two"));
    other.setSelectedRange({0, 0});
    action(QStringLiteral("Find Next"))->trigger();
    EXPECT_EQ(other.selectedRange(), MVMakeRange(4, 3));
    EXPECT_EQ(window->textView(), &other);

    typeInto(window->searchField(), QStringLiteral("one"));
    action(QStringLiteral("Find Previous"))->trigger();
    EXPECT_EQ(other.selectedRange(), MVMakeRange(0, 3));

    // A view that goes away leaves the window with none.
    current = nullptr;
    window->setTextView(view.get());
    view.reset();
    EXPECT_EQ(window->textView(), nullptr);
    EXPECT_EQ(controller->textView(), nullptr);
    EXPECT_FALSE(button(QStringLiteral("Next"))->isEnabled());
    action(QStringLiteral("Find Next"))->trigger(); // no view: nothing happens
}
