#include "app/Defaults.h"
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
#include "shell/MVPreferencesWindow.h"
#include "shell/MVShell.h"
#include "support/TestEnvironment.h"
#include "text/MVTextStorage.h"

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QFile>
#include <QMenuBar>
#include <QMessageBox>
#include <QSpinBox>
#include <QTabWidget>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

namespace {

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Waits for the next modal message box, the real one the shell shows, and
// hands it to the action (which sends it a key or clicks a button). The
// texts of the boxes seen are kept.
class DialogAnswerer
{
public:
    void next(std::function<void(QMessageBox *)> action)
    {
        auto *timer = new QTimer;
        timer->setInterval(10);
        QObject::connect(timer, &QTimer::timeout, timer, [this, timer, action] {
            auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
            if (!box || !box->isVisible())
                return;
            timer->stop();
            timer->deleteLater();
            seen << box->text();
            action(box);
        });
        timer->start();
    }
    static void pressEscape(QMessageBox *box) { QTest::keyClick(box, Qt::Key_Escape); }
    static std::function<void(QMessageBox *)> click(const QString &title)
    {
        return [title](QMessageBox *box) {
            for (QAbstractButton *button : box->buttons()) {
                if (button->text() == title)
                    button->click();
            }
        };
    }
    QStringList seen;
};

QAction *menuAction(QWidget *window, const QString &text, const QVariant &data = QVariant())
{
    for (QAction *action : window->findChildren<QAction *>()) {
        if (action->text() == text && (!data.isValid() || action->data() == data))
            return action;
    }
    return nullptr;
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

TEST_F(DocumentWindowTest, EscapeInTheDocumentsAlertsKeepsTheUsersText)
{
    const QString path = dir.write("page.html", "<p>one</p>\r\n");
    MVDocument *document = controller.openDocumentWithContentsOfFile(path, true);
    ASSERT_TRUE(document);
    MVFileDocument *file = windowOf(document)->activeFileDocument();
    ASSERT_TRUE(file);
    file->textView()->insertText(QStringLiteral("mine "));
    shell.setRecordingAlerts(false);
    DialogAnswerer answerer;

    // Changed on disk while edited: Escape keeps the text, never reverts.
    QFile::remove(path);
    dir.write("page.html", "<p>theirs</p>\r\n");
    answerer.next(DialogAnswerer::pressEscape);
    file->fileContentsChangedExternally();
    EXPECT_EQ(answerer.seen.value(0), QStringLiteral("File Changed Externally"));
    EXPECT_EQ(file->textView()->fullString(), QStringLiteral("mine <p>one</p>\r\n"));
    EXPECT_TRUE(file->isDocumentEdited());

    // Deleted on disk: Escape is "Save File" (whose panel is cancelled
    // here), never "Don't Save": the tab and its text stay.
    MVDocumentWindow::setSavePanelAnswerForTesting([](MVFileDocument *) { return QString(); });
    QFile::remove(path);
    answerer.next(DialogAnswerer::pressEscape);
    file->fileContentsDisappeared();
    QCoreApplication::processEvents();
    EXPECT_EQ(answerer.seen.value(1), QStringLiteral("Local File Removed"));
    ASSERT_EQ(windowOf(document)->activeFileDocument(), file);
    EXPECT_EQ(file->textView()->fullString(), QStringLiteral("mine <p>one</p>\r\n"));
    EXPECT_TRUE(file->isDocumentEdited());
    MVDocumentWindow::setSavePanelAnswerForTesting({});
    shell.setRecordingAlerts(true);
}

TEST_F(DocumentWindowTest, FileMenuActsOnTheActiveTab)
{
    MVUserDefaults::standard().setBool("MVUseTabs", true);
    const QString a = dir.write("a.txt", "caf\xe9\n");
    const QString b = dir.write("b.txt", "b\r\n");
    MVDocument *owner = controller.openDocumentWithContentsOfFile(a, true);
    auto *multi = dynamic_cast<MVMultiFileDocument *>(owner);
    ASSERT_TRUE(multi);
    controller.setCurrentDocument(multi->activeDocument());
    controller.openDocumentWithContentsOfFile(b, true);
    ASSERT_EQ(multi->tabs().size(), 2u);
    MVDocumentWindow *window = windowOf(owner);
    MVFileDocument *first = multi->tabs()[0].get();
    MVFileDocument *second = multi->tabs()[1].get();
    EXPECT_EQ(window->activeFileDocument(), second);
    EXPECT_EQ(window->lineBreakText(), QStringLiteral("DOS"));
    first->textView()->insertText(QStringLiteral("1"));
    second->textView()->insertText(QStringLiteral("2"));

    // Save and Revert go to the tab in front only.
    menuAction(window, QStringLiteral("&Save"))->trigger();
    EXPECT_EQ(readAll(b), QByteArray("2b\r\n"));
    EXPECT_EQ(readAll(a), QByteArray("caf\xe9\n"));
    window->tabs()->setCurrentIndex(0);
    EXPECT_EQ(window->encodingText(), QStringLiteral("WINDOWS-1252"));
    EXPECT_EQ(window->lineBreakText(), QStringLiteral("Unix"));
    shell.setRecordingAlerts(false);
    DialogAnswerer answerer;
    answerer.next(DialogAnswerer::click(QStringLiteral("Revert")));
    menuAction(window, QStringLiteral("Re&vert to Saved"))->trigger();
    shell.setRecordingAlerts(true);
    EXPECT_EQ(first->textView()->fullString(), QStringLiteral("café\n"));
    EXPECT_FALSE(first->isDocumentEdited());

    // Reopen Using Encoding too: Latin 2 reads 0xE9 as é as well, 0xE8 not.
    QAction *latin2 = menuAction(window, QStringLiteral("Central European, ISO Latin 2 (iso-8859-2)"));
    ASSERT_TRUE(latin2);
    dir.write("a.txt", "\xe8\n");
    latin2->trigger();
    EXPECT_EQ(first->textView()->fullString(), QStringLiteral("č\n"));
    EXPECT_EQ(window->encodingText(), QStringLiteral("ISO-8859-2"));
    EXPECT_EQ(second->textView()->fullString(), QStringLiteral("2b\r\n"));
}

TEST_F(DocumentWindowTest, AFileThatIsNotTextOpensOnlyWhenAskedAndReadOnly)
{
    QFile program(QStringLiteral("/bin/ls"));
    ASSERT_TRUE(program.open(QIODevice::ReadOnly));
    const QString copy = dir.write("ls", program.readAll());
    EXPECT_FALSE(controller.openDocumentWithContentsOfFile(copy, true));
    EXPECT_EQ(shell.recordedAlerts().last(), QStringLiteral("not text? ") + copy);

    shell.setOpenAsTextAnswer(true);
    MVDocument *document = controller.openDocumentWithContentsOfFile(copy, true);
    ASSERT_TRUE(document);
    MVFileDocument *file = windowOf(document)->activeFileDocument();
    EXPECT_TRUE(file->isReadOnly());
    EXPECT_FALSE(file->canSave());
    // Text opens without a question.
    const qsizetype questions = shell.recordedAlerts().size();
    EXPECT_TRUE(controller.openDocumentWithContentsOfFile(dir.write("notes", "plain words\n"), true));
    EXPECT_EQ(shell.recordedAlerts().size(), questions);
    shell.setOpenAsTextAnswer(false);
}

TEST_F(DocumentWindowTest, PreferencesAreWrittenAndAppliedToOpenViewsAtOnce)
{
    MVUserDefaults &prefs = MVUserDefaults::standard();
    MVDocument *document = controller.openDocumentWithContentsOfFile(dir.write("page.html", "<p>text</p>\n"), true);
    ASSERT_TRUE(document);
    HTMLView *view = windowOf(document)->activeFileDocument()->textView();
    ASSERT_TRUE(view);

    shell.showPreferences();
    MVPreferencesWindow *preferences = shell.preferencesWindow();
    ASSERT_TRUE(preferences && preferences->isVisible());

    preferences->tabWidthChooser()->setValue(7);
    EXPECT_EQ(prefs.integerForKey("MVTabSizeKey"), 7);
    EXPECT_EQ(view->tabWidth(), 7);

    preferences->fontSizeChooser()->setValue(17);
    EXPECT_EQ(Defaults::defaultFont().pointSize(), 17);
    EXPECT_EQ(view->font().pointSize(), 17);

    preferences->howToOpenFilesChooser()->setCurrentIndex(0);
    EXPECT_EQ(prefs.integerForKey("MVHowToOpenFiles"), 0);

    // The dark theme: its colours reach the view, and the caret line's band
    // stays dark, close to the background and far from the text.
    QComboBox *themes = preferences->themeChooser();
    const int dark = themes->findData("com.morvelworks.morvel.themes.dark");
    ASSERT_GE(dark, 0);
    themes->setCurrentIndex(dark);
    EXPECT_EQ(prefs.stringForKey("MVCurrentThemeID"), "com.morvelworks.morvel.themes.dark");
    EXPECT_EQ(view->backgroundColor(), QColor("#1e2127"));
    EXPECT_LT(view->currentLineColor().lightness(), 70);
    EXPECT_GT(view->textColor().lightness() - view->currentLineColor().lightness(), 120);

    // A view made later reads the same settings.
    MVDocument *second = controller.openDocumentWithContentsOfFile(dir.write("other.css", "p {}\n"), true);
    ASSERT_TRUE(second);
    HTMLView *later = windowOf(second)->activeFileDocument()->textView();
    EXPECT_EQ(later->tabWidth(), 7);
    EXPECT_EQ(later->backgroundColor(), QColor("#1e2127"));
    themes->setCurrentIndex(themes->findData("com.morvelworks.morvel.themes.light"));
    preferences->close();
}
