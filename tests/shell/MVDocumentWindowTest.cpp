#include "app/MVDocumentController.h"
#include "documents/MVFileDocument.h"
#include "documents/MVMultiFileDocument.h"
#include "documents/MVSingleFileDocument.h"
#include "editing/HTMLView.h"
#include "files/FileEncodings.h"
#include "platform/MVUserDefaults.h"
#include "projects/MVProjectDocument.h"
#include "shell/MVDocumentWindow.h"
#include "shell/MVEncodingMenu.h"
#include "shell/MVShell.h"
#include "support/TestEnvironment.h"
#include "text/MVTextStorage.h"

#include <QFile>
#include <QTabWidget>

#include <gtest/gtest.h>

namespace {

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

class DocumentWindowTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        MVDocumentController::initializeClass();
        shell.setRecordingAlerts(true);
        controller.setShell(&shell);
        controller.registerDocumentClass(MVDocumentKind::SingleFile, [] { return std::make_shared<MVSingleFileDocument>(); });
        controller.registerDocumentClass(MVDocumentKind::MultiFile, [] { return std::make_shared<MVMultiFileDocument>(); });
        controller.registerDocumentClass(MVDocumentKind::Project, [] { return std::make_shared<MVProjectDocument>(); });
        MVUserDefaults::standard().setInteger("MVHowToOpenFiles", 1);
        MVUserDefaults::standard().setInteger("MVLineBreak", 0);
        MVUserDefaults::standard().setBool("MVShowSiteManager", false);
    }
    void TearDown() override
    {
        shell.setAnswers(1, false, {});
        while (!controller.documents().empty())
            controller.removeDocument(controller.documents().front().get());
        controller.setShell(nullptr);
    }

    MVDocumentWindow *windowOf(MVDocument *document) { return shell.windowForDocument(document); }

    MVDocumentController &controller = MVDocumentController::sharedController();
    MVShell shell;
    MVScratchDir dir;
};

} // namespace

TEST_F(DocumentWindowTest, StatusBarFollowsTheCaretAndTheFile)
{
    MVUserDefaults::standard().setBool("MVUseTabs", false);
    const QString path = dir.write("page.html", "<p>one</p>\n<p>two</p>\n");
    MVDocument *document = controller.openDocumentWithContentsOfFile(path, true);
    ASSERT_TRUE(document);
    MVDocumentWindow *window = windowOf(document);
    ASSERT_TRUE(window);
    auto *file = window->activeFileDocument();
    ASSERT_TRUE(file);
    EXPECT_EQ(file->delegate(), window);
    EXPECT_EQ(window->positionText(), QStringLiteral("Line 1, Column 1"));
    EXPECT_EQ(window->encodingText(), QStringLiteral("UTF-8"));
    EXPECT_EQ(window->lineBreakText(), QStringLiteral("Unix"));
    EXPECT_EQ(window->languageText(), QStringLiteral("HTML"));

    HTMLView *view = file->textView();
    view->setSelectedRange(MVRange{14, 0});
    EXPECT_EQ(window->positionText(), QStringLiteral("Line 2, Column 4"));
    view->insertText(QStringLiteral("!"));
    EXPECT_TRUE(window->isWindowModified());
    ASSERT_TRUE(file->save(nullptr));
    EXPECT_FALSE(window->isWindowModified());
    EXPECT_EQ(readAll(path), QByteArray("<p>one</p>\n<p>!two</p>\n"));
}

TEST_F(DocumentWindowTest, TabsShowTheEditedMarkAndClosingAnEditedTabAsks)
{
    MVUserDefaults::standard().setBool("MVUseTabs", true);
    const QString a = dir.write("a.css", "p {}\n");
    const QString b = dir.write("b.js", "let b;\n");
    MVDocument *owner = controller.openDocumentWithContentsOfFile(a, true);
    ASSERT_TRUE(owner);
    auto *multi = dynamic_cast<MVMultiFileDocument *>(owner);
    ASSERT_TRUE(multi);
    controller.setCurrentDocument(multi->activeDocument());
    controller.openDocumentWithContentsOfFile(b, true);
    ASSERT_EQ(multi->tabs().size(), 2u);
    MVDocumentWindow *window = windowOf(owner);
    ASSERT_EQ(window->tabs()->count(), 2);

    MVFileDocument *first = multi->tabs()[0].get();
    first->textView()->insertText(QStringLiteral("x"));
    EXPECT_EQ(window->tabs()->tabText(0), QStringLiteral("a.css \u25CF"));
    EXPECT_EQ(window->tabs()->tabText(1), QStringLiteral("b.js"));

    shell.setAnswers(2, false, {}); // Cancel
    EXPECT_FALSE(window->closeDocumentTab(first));
    EXPECT_EQ(shell.recordedAlerts().last(), QStringLiteral("save? a.css"));
    EXPECT_EQ(multi->tabs().size(), 2u);

    shell.setAnswers(0, false, {}); // Save
    EXPECT_TRUE(window->closeDocumentTab(first));
    EXPECT_EQ(readAll(a), QByteArray("xp {}\n"));
    ASSERT_EQ(multi->tabs().size(), 1u);
    EXPECT_EQ(window->tabs()->count(), 1);
    EXPECT_EQ(window->activeFileDocument(), multi->tabs()[0].get());
}

TEST_F(DocumentWindowTest, EncodingMenuOffersOnlyNamesOfTheTable)
{
    const QList<MVEncodingMenu::Entry> entries = MVEncodingMenu::entries();
    ASSERT_GT(entries.size(), 20);
    EXPECT_FALSE(entries.first().title.isEmpty());
    EXPECT_FALSE(entries.last().title.isEmpty());
    int separators = 0;
    for (qsizetype i = 0; i < entries.size(); ++i) {
        const MVEncodingMenu::Entry &entry = entries[i];
        if (entry.title.isEmpty()) {
            ++separators;
            EXPECT_FALSE(entries[i - 1].title.isEmpty()) << "no two separators in a row";
            continue;
        }
        EXPECT_NE(FileEncodings::encodingFromString(entry.shortName), 0u) << entry.shortName.toStdString();
        EXPECT_TRUE(entry.title.endsWith(QStringLiteral(" (%1)").arg(entry.shortName)));
    }
    EXPECT_GT(separators, 3);

    // A broken or foreign file gives no items rather than a crash.
    EXPECT_TRUE(MVEncodingMenu::entriesFromFile(dir.write("bad.plist", "<plist><dict>")).isEmpty());
    EXPECT_TRUE(MVEncodingMenu::entriesFromFile(dir.file("missing.plist")).isEmpty());
}
