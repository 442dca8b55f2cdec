#include "app/MVDocumentController.h"
#include "documents/MVFileDocument.h"
#include "documents/MVMultiFileDocument.h"
#include "documents/MVSingleFileDocument.h"
#include "platform/MVMainThread.h"
#include "platform/MVSingleInstance.h"
#include "platform/MVUserDefaults.h"
#include "shell/MVShell.h"
#include "support/TestEnvironment.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <gtest/gtest.h>

#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace {

// A project over a directory, enough for the controller's routing: it takes
// the files below its root as tabs.
class DirectoryProject : public MVMultiFileDocument
{
public:
    MVDocumentKind kind() const override { return MVDocumentKind::Project; }
    bool readFromFile(const QString &path, MVError *) override
    {
        setFileName(MVCanonicalPath(path));
        return true;
    }
    bool canOpenFile(const QString &path) const override
    {
        return MVCanonicalPath(path).startsWith(fileName() + QLatin1Char('/'));
    }
    bool showsPath(const QString &canonicalPath) const override
    {
        return canonicalPath == fileName() || MVMultiFileDocument::showsPath(canonicalPath);
    }
};

class EditedDocument : public MVSingleFileDocument
{
public:
    bool isDocumentEdited() const override { return !saved; }
    bool save(MVError *) override
    {
        saved = true;
        return true;
    }
    bool saved = false;
};

class DocumentController : public ::testing::Test
{
protected:
    void SetUp() override
    {
        MVDocumentController::initializeClass();
        shell.setRecordingAlerts(true);
        controller.setShell(&shell);
        controller.registerDocumentClass(MVDocumentKind::SingleFile, [] { return std::make_shared<MVSingleFileDocument>(); });
        controller.registerDocumentClass(MVDocumentKind::MultiFile, [] { return std::make_shared<MVMultiFileDocument>(); });
        controller.registerDocumentClass(MVDocumentKind::Project, [] { return std::make_shared<DirectoryProject>(); });
        a = dir.write("site/a.html", "<p>a</p>\n");
        b = dir.write("site/b.css", "p { }\n");
        c = dir.write("other/c.js", "let c = 1;\n");
        prefs().setBool("MVUseTabs", true);
        prefs().setInteger("MVHowToOpenFiles", 0);
        prefs().setBool("MVShowSiteManager", true);
    }
    void TearDown() override
    {
        while (!controller.documents().empty())
            controller.removeDocument(controller.documents().front().get());
        controller.setShell(nullptr);
    }
    static MVUserDefaults &prefs() { return MVUserDefaults::standard(); }

    MVDocumentController &controller = MVDocumentController::sharedController();
    MVShell shell;
    MVScratchDir dir;
    QString a, b, c;
};

TEST_F(DocumentController, ChoosesTheDocumentClassByPathAndTabsSetting)
{
    EXPECT_EQ(controller.documentKindForPath(dir.file("site"), "html"), MVDocumentKind::Project);
    EXPECT_EQ(controller.documentKindForPath(a, QString()), MVDocumentKind::MultiFile);
    prefs().setBool("MVUseTabs", false);
    EXPECT_EQ(controller.documentKindForPath(a, QString()), MVDocumentKind::SingleFile);
    EXPECT_EQ(controller.documentKindForPath(dir.file("x.mvproj"), QString()), MVDocumentKind::Project);
    prefs().setBool("MVUseTabs", true);
    // "New" is always a single-file window, whatever the tabs setting says.
    MVDocument *untitled = controller.openUntitledDocumentAndDisplay();
    ASSERT_TRUE(untitled);
    EXPECT_EQ(untitled->kind(), MVDocumentKind::SingleFile);
}

TEST_F(DocumentController, OpensAPathOnceEvenThroughALink)
{
    MVDocument *first = controller.openDocumentWithContentsOfFile(a, true);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->kind(), MVDocumentKind::MultiFile);
    ASSERT_TRUE(QFile::link(a, dir.file("link.html")));
    EXPECT_EQ(controller.openDocumentWithContentsOfFile(dir.file("link.html"), true), first);
    EXPECT_EQ(controller.openDocumentWithContentsOfFile(dir.file("site/../site/a.html"), true), first);
    EXPECT_EQ(controller.documents().size(), 1u);
    EXPECT_TRUE(shell.windowForDocument(first));
    EXPECT_EQ(controller.recentDocuments().value(0), a);
}

TEST_F(DocumentController, AMissingPathAlertsOnTheProjectManagerAndOpensNothing)
{
    EXPECT_FALSE(controller.openDocumentWithContentsOfFile(dir.file("gone.html"), true));
    ASSERT_EQ(shell.recordedAlerts().size(), 1);
    EXPECT_EQ(shell.recordedAlerts().first(), "Unable to open “" + dir.file("gone.html") + "”: it does not exist. | "
                                              "Check the path, or the project directory and configuration.");
    EXPECT_TRUE(controller.documents().empty());
    ASSERT_TRUE(shell.projectManagerWindow());
    EXPECT_TRUE(shell.projectManagerWindow()->isVisible());
}

TEST_F(DocumentController, FilesInsideAnOpenProjectOpenThere)
{
    MVDocument *project = controller.openDocumentWithContentsOfFile(dir.file("site"), true);
    ASSERT_TRUE(project);
    EXPECT_EQ(project->kind(), MVDocumentKind::Project);
    MVDocument *tab = controller.openDocumentWithContentsOfFile(b, true);
    ASSERT_TRUE(tab);
    EXPECT_EQ(tab->fileName(), b);
    EXPECT_EQ(project->activeDocument(), tab);
    // A directory inside the project brings the project forward and opens nothing new.
    QDir().mkpath(dir.file("site/sub"));
    EXPECT_EQ(controller.openDocumentWithContentsOfFile(dir.file("site/sub"), true), project);
    // A file elsewhere gets a window of its own.
    MVDocument *other = controller.openDocumentWithContentsOfFile(c, true);
    ASSERT_TRUE(other);
    EXPECT_NE(other, project);
    EXPECT_EQ(controller.documents().size(), 2u);
}

TEST_F(DocumentController, OpenInFrontWindowOnlyWhenItsActiveTabIsCurrent)
{
    prefs().setInteger("MVHowToOpenFiles", 1);
    MVDocument *window = controller.openDocumentWithContentsOfFile(a, true);
    ASSERT_TRUE(window);
    controller.setCurrentDocument(window->activeDocument());
    MVDocument *tab = controller.openDocumentWithContentsOfFile(b, true);
    EXPECT_EQ(controller.documents().size(), 1u);
    EXPECT_EQ(window->activeDocument(), tab);

    controller.setCurrentDocument(nullptr);
    controller.openDocumentWithContentsOfFile(c, true);
    EXPECT_EQ(controller.documents().size(), 2u);
}

TEST_F(DocumentController, ABatchWithAFailureRepliesFailureAndKeepsTheOthers)
{
    EXPECT_FALSE(controller.applicationOpenFiles({a, dir.file("missing.txt"), c}));
    EXPECT_EQ(controller.documents().size(), 2u);
    EXPECT_TRUE(controller.applicationOpenFiles({b}));
    EXPECT_TRUE(controller.filesLoaded());
}

TEST_F(DocumentController, TheProjectManagerReturnsWhenTheLastDocumentCloses)
{
    MVDocument *document = controller.openDocumentWithContentsOfFile(a, true);
    ASSERT_TRUE(document);
    ASSERT_TRUE(shell.windowForDocument(document));
    shell.windowForDocument(document)->close();
    EXPECT_TRUE(controller.documents().empty());
    ASSERT_TRUE(shell.projectManagerWindow());
    EXPECT_TRUE(shell.projectManagerWindow()->isVisible());

    prefs().setBool("MVShowSiteManager", false);
    shell.closeProjectManager();
    document = controller.openDocumentWithContentsOfFile(a, true);
    controller.removeDocument(document);
    EXPECT_FALSE(shell.projectManagerWindow()->isVisible());
}

TEST_F(DocumentController, LinksOpenOnlyRegularFilesAndSelectWithinTheText)
{
    controller.handleURL("mvdt://other?file=" + a);
    EXPECT_TRUE(controller.documents().empty());
    controller.handleURL("mvdt://open?file=" + a + "&junk");
    EXPECT_TRUE(controller.documents().empty());
    controller.handleURL("mvdt://open?file=" + dir.file("site"));
    EXPECT_TRUE(controller.documents().empty());
    controller.handleURL("mvdt://open?range=1,2");
    EXPECT_TRUE(controller.documents().empty());

    controller.handleURL("mvdt://open?file=" + a + "&range=1");
    ASSERT_EQ(controller.documents().size(), 1u);
    auto *file = dynamic_cast<MVFileDocument *>(controller.documents().front()->activeDocument());
    ASSERT_TRUE(file);
    EXPECT_EQ(file->requestedSelection(), MVMakeRange(0, 0));

    controller.handleURL("mvdt://open?file=" + a + "&range=3x,2");
    EXPECT_EQ(file->requestedSelection(), MVMakeRange(3, 2));
    controller.handleURL("mvdt://open?file=" + a + "&range=7,500");
    EXPECT_EQ(file->requestedSelection(), MVMakeRange(7, 2)); // clamped to the 9 characters
    EXPECT_EQ(controller.documents().size(), 1u);
}

TEST_F(DocumentController, AVeryLargeFileFromALinkIsOpenedOnlyIfTheUserAgrees)
{
    const QString big = dir.file("big.log");
    QFile f(big);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    ASSERT_TRUE(f.resize(300LL * 1024 * 1024)); // sparse: costs no disk
    f.close();
    shell.setAnswers(2, false, {});
    controller.handleURL("mvdt://open?file=" + big);
    EXPECT_TRUE(controller.documents().empty());
    EXPECT_EQ(shell.recordedAlerts().value(0), "large? " + big);
}

TEST_F(DocumentController, QuittingAsksOnceForEachEditedDocumentAndCancelStops)
{
    auto first = std::make_shared<EditedDocument>();
    auto second = std::make_shared<EditedDocument>();
    for (const auto &document : {first, second}) {
        controller.addDocument(document);
        shell.showDocumentWindow(document.get());
    }
    shell.setAnswers(2, false, {});
    shell.quit();
    EXPECT_EQ(shell.recordedAlerts().size(), 1); // Cancel stops at the first
    EXPECT_TRUE(shell.windowForDocument(first.get())->isVisible());

    // Don't Save twice: two questions in all, and the windows then close
    // without asking again.
    shell.setAnswers(1, false, {});
    const qsizetype before = shell.recordedAlerts().size();
    shell.quit();
    EXPECT_EQ(shell.recordedAlerts().size() - before, 2);
    EXPECT_FALSE(shell.windowForDocument(first.get())->isVisible());
    EXPECT_FALSE(shell.windowForDocument(second.get())->isVisible());
    EXPECT_FALSE(first->saved);

    shell.setAnswers(0, false, {});
    EXPECT_TRUE(controller.reviewUnsavedDocuments());
    EXPECT_TRUE(first->saved && second->saved);
}

TEST(MVSingleInstance, ASecondStartHandsItsArgumentsToTheFirst)
{
    const QString name = QStringLiteral("morvel-test-%1").arg(QCoreApplication::applicationPid());
    MVSingleInstance first(name);
    QStringList received;
    ASSERT_TRUE(first.listen([&received](const QStringList &args) { received = args; }));

    // The sender blocks while waiting for the answer, so it runs on a thread
    // and the event loop here serves the listener.
    bool delivered = false;
    std::thread sender([&] {
        MVSingleInstance second(name);
        delivered = second.sendToRunningInstance({"/a b.html", "mvdt://open?file=/x"}, 10000);
    });
    QElapsedTimer timer;
    timer.start();
    while (received.isEmpty() && timer.elapsed() < 20000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    sender.join();
    EXPECT_TRUE(delivered);
    EXPECT_EQ(received, QStringList({"/a b.html", "mvdt://open?file=/x"}));
}

TEST(MVSingleInstance, AStaleSocketFromACrashDoesNotBlockTheStart)
{
    // A socket file bound and abandoned, as a crashed instance leaves it.
    MVScratchDir dir;
    const QString name = dir.file("morvel.sock");
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_GE(fd, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray encoded = QFile::encodeName(name);
    ASSERT_LT(static_cast<size_t>(encoded.size()), sizeof(address.sun_path));
    std::memcpy(address.sun_path, encoded.constData(), static_cast<size_t>(encoded.size()));
    ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
    ::close(fd);
    ASSERT_TRUE(QFileInfo::exists(name));

    MVSingleInstance next(name);
    EXPECT_FALSE(next.sendToRunningInstance({"x"}, 500));
    EXPECT_TRUE(next.listen({}));
}

} // namespace
