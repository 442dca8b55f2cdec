#pragma once

#include "app/Defaults.h"
#include "editing/HTMLView.h"
#include "editing/MVHTMLData.h"
#include "platform/MVUserDefaults.h"
#include "text/MVTextStorage.h"
#include "text/MVUndoManager.h"

#include "platform/MVLog.h"
#include "support/TestEnvironment.h"

#include <QApplication>
#include <QFile>
#include <QTest>

#include <gtest/gtest.h>

#include <memory>

namespace EditingTest {

inline const QString Shipped = QStringLiteral(MORVEL_SOURCE_DIR "/resources");

// A real editing view on the shipped languages and data, shown offscreen,
// with the preferences at their defaults.
class ViewTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        Defaults::setResourcesPathForTesting(Shipped);
        Defaults::resetDefaults();
        MVHTMLData::reset();
        view = std::make_unique<HTMLView>();
        view->resize(600, 400);
        view->show();
    }
    void TearDown() override
    {
        view.reset();
        MVUserDefaults::standard().removeObject(QStringLiteral("MVAutoCompleteOnType"));
        MVUserDefaults::standard().removeObject(QStringLiteral("MVTabsAreSpaces"));
        MVUserDefaults::standard().removeObject(QStringLiteral("MVTabSizeKey"));
        MVUserDefaults::standard().removeObject(QStringLiteral("MVRenamePairedTags"));
        Defaults::resetDefaults();
        MVHTMLData::reset();
        Defaults::setResourcesPathForTesting(QString());
    }

    // Sets the text of a file with the path's language; "|" marks the
    // caret, or, in a text without one, "[" and "]" the selection.
    void open(const QString &path, QString text)
    {
        view->setPath(path);
        MVRange selection{text.indexOf(QLatin1Char('|')), 0};
        if (selection.location >= 0) {
            text.remove(selection.location, 1);
        } else {
            selection.location = text.indexOf(QLatin1Char('['));
            text.remove(selection.location, 1);
            selection.length = text.indexOf(QLatin1Char(']')) - selection.location;
            text.remove(selection.end(), 1);
        }
        view->setString(text);
        view->undoManager()->removeAllActions();
        view->setSelectedRange(selection);
        view->activeParser(true);
    }
    // The text with "|" at the caret, or a selection in "[" and "]".
    QString shown() const
    {
        QString text = view->string();
        const MVRange selection = view->selectedRange();
        if (selection.length == 0)
            return text.insert(selection.location, QLatin1Char('|'));
        text.insert(selection.end(), QLatin1Char(']'));
        return text.insert(selection.location, QLatin1Char('['));
    }
    // Sends each character as a key press: "\n" Return, "\t" Tab, "\x1b"
    // Esc, anything else as typed text. Events are processed after each key,
    // as the event loop does between presses.
    void type(const QString &keys)
    {
        for (const QChar c : keys) {
            if (c == QLatin1Char('\n'))
                QTest::keyClick(view.get(), Qt::Key_Return);
            else if (c == QLatin1Char('\t'))
                QTest::keyClick(view.get(), Qt::Key_Tab);
            else if (c == QChar(0x1b))
                QTest::keyClick(view.get(), Qt::Key_Escape);
            else
                QTest::sendKeyEvent(QTest::Click, view.get(), Qt::Key_unknown, QString(c), Qt::NoModifier);
            QCoreApplication::processEvents();
        }
    }
    void undo() { view->doCommandBySelector(QStringLiteral("undo:")); }
    void redo() { view->doCommandBySelector(QStringLiteral("redo:")); }

    std::unique_ptr<HTMLView> view;
};

} // namespace EditingTest
