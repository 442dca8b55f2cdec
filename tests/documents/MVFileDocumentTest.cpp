#include "editing/HTMLView.h"
#include "documents/MVFileDocument.h"
#include "documents/MVFileDocumentDelegate.h"
#include "documents/MVFileView.h"
#include "documents/MVImageFileView.h"
#include "documents/MVMultiFileDocument.h"
#include "documents/MVSingleFileDocument.h"
#include "documents/MVUnsavedTextKeeper.h"
#include "files/FileEncodings.h"
#include "files/MVFile.h"
#include "language/MVBundle.h"
#include "language/MVTheme.h"
#include "language/MVThemeRepository.h"
#include "platform/MVMainThread.h"
#include "platform/MVUserDefaults.h"
#include "support/TestEnvironment.h"
#include "text/MVTextStorage.h"
#include "text/MVUndoManager.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QTest>

#include <gtest/gtest.h>

#include <csignal>
#include <deque>
#include <sys/resource.h>
#include <sys/stat.h>

namespace {

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

// Stands in for the window: records what the document shows and answers
// each question with the next prepared choice.
class RecordingDelegate : public MVFileDocumentDelegate
{
public:
    void documentNeedsRefresh(MVFileDocument *) override { ++refreshes; }
    void documentShowsWarning(MVFileDocument *, const QString &text) override { warnings << text; }
    void presentErrorAlert(const MVError &error) override
    {
        errors.push_back(error);
        if (!answers.empty()) {
            const int answer = answers.front();
            answers.pop_front();
            error.attemptRecovery(answer);
        }
    }
    std::shared_ptr<MVFile> documentBackingFileWillChangeToPath(MVFileDocument *, const QString &path) override
    {
        return multi ? multi->fileNodeForPath(path) : nullptr;
    }
    void documentShouldForceClose(MVFileDocument *) override { ++forceCloses; }
    QString runSavePanelForDocument(MVFileDocument *) override { return savePanelPath; }

    QList<int> codes() const
    {
        QList<int> result;
        for (const MVError &error : errors)
            result << error.code();
        return result;
    }

    std::vector<MVError> errors;
    std::deque<int> answers;
    QStringList warnings;
    int refreshes = 0;
    int forceCloses = 0;
    QString savePanelPath;
    MVMultiFileDocument *multi = nullptr;
};

class FileDocumentTest : public ::testing::Test
{
protected:
    void SetUp() override { MVUserDefaults::standard().setInteger(QStringLiteral("MVLineBreak"), 0); }

    // A document over the file, with its view made as the window makes it.
    template <class Document = MVFileDocument>
    std::shared_ptr<Document> open(const QString &path)
    {
        auto document = std::make_shared<Document>();
        document->setDelegate(&delegate);
        MVError error;
        EXPECT_TRUE(document->readFromFile(path, &error)) << error.localizedDescription().toStdString();
        document->viewWithSuggestedFrame();
        return document;
    }

    // The first tab of a tabbed window over the file, its view made.
    std::shared_ptr<MVFileDocument> openInTabs(MVMultiFileDocument &window, const QString &path)
    {
        delegate.multi = &window;
        if (!window.readFromFile(path, nullptr) || window.tabs().empty())
            return nullptr;
        auto document = window.tabs().front();
        document->setDelegate(&delegate);
        document->viewWithSuggestedFrame();
        return document;
    }

    static void type(MVFileDocument &document, const QString &text)
    {
        HTMLView *view = document.textView();
        view->setSelectedRange(MVRange{view->textStorage()->length(), 0});
        view->insertText(text);
    }

    MVScratchDir dir;
    RecordingDelegate delegate;
};

} // namespace

TEST_F(FileDocumentTest, SavesWriteTheKindOfBytesThatWereRead)
{
    // Latin-1, not UTF-8: read as Windows-1252 with a warning that says so;
    // accents typed into it are written as Latin-1 bytes like the rest.
    const QString latin = dir.write("latin.txt", "Caf\xe9 Voil\xe0\n");
    auto document = open(latin);
    EXPECT_EQ(document->encoding(), FileEncodings::WindowsLatin1Encoding);
    EXPECT_EQ(document->textView()->fullString(), QStringLiteral("Café Voilà\n"));
    EXPECT_EQ(delegate.warnings, QStringList{QStringLiteral("Not valid UTF-8: opened as Western (Windows-1252)")});
    type(*document, QStringLiteral("Noël été"));
    EXPECT_TRUE(document->save(nullptr));
    EXPECT_EQ(readAll(latin), QByteArray("Caf\xe9 Voil\xe0\nNo\xebl \xe9t\xe9"));

    // A UTF-8 byte-order mark survives an edit and a save.
    const QString marked = dir.write("marked.txt", "\xEF\xBB\xBFh\xC3\xA9\n");
    auto withMark = open(marked);
    EXPECT_EQ(withMark->textView()->fullString(), QStringLiteral("hé\n"));
    type(*withMark, QStringLiteral("ü"));
    EXPECT_TRUE(withMark->save(nullptr));
    EXPECT_EQ(readAll(marked), QByteArray("\xEF\xBB\xBFh\xC3\xA9\n\xC3\xBC"));
    EXPECT_TRUE(delegate.errors.empty());
}

TEST_F(FileDocumentTest, EditedMarkFollowsTheUndoPosition)
{
    const QString path = dir.write("a.html", "<p>a</p>\n");
    auto document = open(path);
    EXPECT_FALSE(document->isDocumentEdited());
    type(*document, QStringLiteral("x"));
    EXPECT_TRUE(document->isDocumentEdited());
    const int refreshes = delegate.refreshes;
    EXPECT_GT(refreshes, 0);
    document->textView()->undo();
    EXPECT_FALSE(document->isDocumentEdited());
    document->textView()->redo();
    EXPECT_TRUE(document->isDocumentEdited());

    ASSERT_TRUE(document->save(nullptr));
    EXPECT_FALSE(document->isDocumentEdited());
    EXPECT_EQ(readAll(path), QByteArray("<p>a</p>\nx"));
    // Undoing past the save makes the document differ from the file again.
    document->textView()->undo();
    EXPECT_TRUE(document->isDocumentEdited());
    document->textView()->redo();
    EXPECT_FALSE(document->isDocumentEdited());
}

TEST_F(FileDocumentTest, AnOpenedFileIsColouredAndStaysColouredThroughTypingAndUndo)
{
    MVUserDefaults::standard().setBool(QStringLiteral("MVHighlightKey"), true);
    const auto theme = MVThemeRepository::sharedRepository().currentTheme();
    ASSERT_TRUE(theme);
    const QRgb keyword = theme->attributesForIdentifier(QStringLiteral("keyword.declaration")).foreground();
    const QRgb comment = theme->attributesForIdentifier(QStringLiteral("comment.block")).foreground();
    ASSERT_NE(keyword, comment);

    const QString path = dir.write("colour.js", "var total = 1;\nfunction f() {}\n");
    auto document = open(path);
    HTMLView *view = document->textView();
    ASSERT_TRUE(view->isJS());
    const auto colourAt = [view](qsizetype index) { return view->textStorage()->attributesAtIndex(index).foreground(); };
    const qsizetype function = view->string().indexOf(QStringLiteral("function"));
    EXPECT_EQ(colourAt(0), keyword);
    EXPECT_EQ(colourAt(function), keyword);

    // Typing re-colours the edited line; undo gives its colours back.
    view->setSelectedRange(MVRange{0, 0});
    view->insertText(QStringLiteral("/*"));
    EXPECT_EQ(colourAt(2), comment);
    EXPECT_TRUE(document->isDocumentEdited());
    view->undo();
    EXPECT_EQ(colourAt(function), keyword);
    EXPECT_FALSE(document->isDocumentEdited());
}

TEST_F(FileDocumentTest, LargeFilesReadInPiecesAsTheyWouldWhole)
{
    // 9 MB of DOS lines with a CR LF and a three-byte character each split
    // across where the pieces of 4 MB end.
    QByteArray bytes;
    while (bytes.size() < 9 * 1024 * 1024) {
        if (bytes.size() > 4 * 1024 * 1024 - 40 && bytes.size() < 4 * 1024 * 1024) {
            bytes += QByteArray(4 * 1024 * 1024 - 1 - bytes.size(), 'x') + "\r\n";
            bytes += QByteArray(8 * 1024 * 1024 - 1 - bytes.size(), 'y') + "\xE2\x82\xAC\r\n";
        }
        bytes += "caf\xC3\xA9 \xE2\x82\xAC line\r\n";
    }
    const QString path = dir.write("large.txt", bytes);
    auto document = open(path);
    EXPECT_TRUE(document->textView()->fullString() == QString::fromUtf8(bytes));
    EXPECT_EQ(document->textView()->lineBreakType(), 2);
    EXPECT_EQ(document->encoding(), FileEncodings::UTF8Encoding);
    EXPECT_FALSE(document->isDocumentEdited());

    // One bad byte at the very end: the whole file is read as Windows-1252,
    // so that a save gives back the same bytes.
    bytes += "\xFF";
    const QString damaged = dir.write("damaged.txt", bytes);
    auto fallback = open(damaged);
    EXPECT_EQ(fallback->encoding(), FileEncodings::WindowsLatin1Encoding);
    EXPECT_TRUE(fallback->textView()->fullString().endsWith(QChar(0xFF)));
}

TEST_F(FileDocumentTest, SaveReplacesTheFileWholeAndKeepsModeAndLinks)
{
    const QString path = dir.write("site/page.html", "old\n");
    ASSERT_EQ(::chmod(QFile::encodeName(path).constData(), 0640), 0);
    const QString link = dir.file("link.html");
    ASSERT_TRUE(QFile::link(path, link));

    auto document = open(link);
    type(*document, QStringLiteral("new"));
    ASSERT_TRUE(document->save(nullptr));

    EXPECT_TRUE(QFileInfo(link).isSymLink()) << "the link is written through, not replaced";
    EXPECT_EQ(readAll(path), QByteArray("old\nnew"));
    struct stat st {};
    ASSERT_EQ(::stat(QFile::encodeName(path).constData(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u);
    // No temporary file is left beside it.
    EXPECT_EQ(QDir(dir.file("site")).entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("page.html")});
}

TEST_F(FileDocumentTest, FailedSaveKeepsTheOriginalAndTheEditedMark)
{
    const QString path = dir.write("big.txt", "original\n");
    auto document = open(path);
    type(*document, QString(200000, QLatin1Char('x')));

    // A disk that fills up during the write: the file-size limit stops it.
    struct rlimit old {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    auto previousHandler = std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit small = old;
    small.rlim_cur = 4096;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const bool saved = document->save(nullptr);
    setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, previousHandler);

    EXPECT_FALSE(saved);
    EXPECT_EQ(readAll(path), QByteArray("original\n"));
    EXPECT_TRUE(document->isDocumentEdited());
    EXPECT_EQ(delegate.codes(), QList<int>{17});
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("big.txt")});

    // A folder that cannot be written to (here: a path below a plain file).
    const QString blocker = dir.write("plain", "x");
    bool outcome = true;
    document->saveDocumentAs(blocker + QStringLiteral("/copy.txt"), [&](bool ok) { outcome = ok; });
    EXPECT_FALSE(outcome);
    EXPECT_EQ(document->fileName(), QFileInfo(path).absoluteFilePath());
    EXPECT_TRUE(document->isDocumentEdited());
    EXPECT_EQ(delegate.codes(), (QList<int>{17, 17}));
    EXPECT_EQ(delegate.errors.back().localizedRecoverySuggestion(),
              QStringLiteral("Please check that you have write permissions and that your file encoding is valid."));
}

TEST_F(FileDocumentTest, ReadOnlyDirectoryKeepsTheDocumentEdited)
{
    if (geteuid() == 0)
        GTEST_SKIP() << "root writes into read-only directories; the file-size test covers a failed write";
    const QString path = dir.write("ro/a.txt", "original\n");
    auto document = open(path);
    type(*document, QStringLiteral("more"));
    ASSERT_EQ(::chmod(QFile::encodeName(dir.file("ro")).constData(), 0555), 0);
    const bool saved = document->save(nullptr);
    ::chmod(QFile::encodeName(dir.file("ro")).constData(), 0755);
    EXPECT_FALSE(saved);
    EXPECT_EQ(readAll(path), QByteArray("original\n"));
    EXPECT_TRUE(document->isDocumentEdited());
    EXPECT_EQ(delegate.codes(), QList<int>{17});
}

TEST_F(FileDocumentTest, CharactersTheEncodingLacksAreAskedAboutBeforeWriting)
{
    const QString path = dir.write("page.iso-8859-1.txt", "caf\xe9\n");
    auto document = open(path);
    ASSERT_EQ(document->encoding(), FileEncodings::ISOLatin1Encoding);
    type(*document, QStringLiteral("€"));

    delegate.answers = {2}; // Cancel
    EXPECT_FALSE(document->save(nullptr));
    EXPECT_EQ(delegate.codes(), QList<int>{16});
    EXPECT_EQ(delegate.errors.back().localizedRecoveryOptions(),
              (QStringList{"Save with replacements", "Save as UTF-8", "Cancel"}));
    EXPECT_EQ(readAll(path), QByteArray("caf\xe9\n"));
    EXPECT_TRUE(document->isDocumentEdited());

    delegate.answers = {0}; // with replacements, still Latin-1
    EXPECT_TRUE(document->save(nullptr));
    EXPECT_EQ(readAll(path), QByteArray("caf\xe9\n?"));
    EXPECT_EQ(document->encoding(), FileEncodings::ISOLatin1Encoding);

    type(*document, QStringLiteral("€"));
    delegate.answers = {1}; // as UTF-8
    EXPECT_TRUE(document->save(nullptr));
    // The replacement was only in the file: the text still has the first "€".
    EXPECT_EQ(readAll(path), QByteArray("caf\xC3\xA9\n\xE2\x82\xAC\xE2\x82\xAC"));
    EXPECT_EQ(document->encoding(), FileEncodings::UTF8Encoding);
    EXPECT_FALSE(document->isDocumentEdited());
}

TEST_F(FileDocumentTest, ChangesFromOutside)
{
    const QString path = dir.write("a.txt", "one\n");
    auto document = open(path);

    // Unedited: reloaded without a question, and not undoable.
    dir.write("a.txt", "two\n");
    document->fileContentsChangedExternally();
    EXPECT_EQ(document->textView()->fullString(), QStringLiteral("two\n"));
    EXPECT_TRUE(delegate.errors.empty());
    EXPECT_FALSE(document->isDocumentEdited());
    EXPECT_FALSE(document->textView()->undoManager()->canUndo());

    // Edited: asked; keeping the changes leaves the text alone, and the next
    // save does not ask again about the same change.
    type(*document, QStringLiteral("mine"));
    dir.write("a.txt", "three\n");
    delegate.answers = {0};
    document->fileContentsChangedExternally();
    EXPECT_EQ(delegate.codes(), QList<int>{5});
    EXPECT_EQ(delegate.errors.back().localizedRecoveryOptions(), (QStringList{"Keep Morvel Changes", "Revert"}));
    EXPECT_EQ(document->textView()->fullString(), QStringLiteral("two\nmine"));
    EXPECT_TRUE(document->save(nullptr));
    EXPECT_EQ(delegate.codes(), QList<int>{5});
    EXPECT_EQ(readAll(path), QByteArray("two\nmine"));

    // Reverting takes the file's text.
    type(*document, QStringLiteral("!"));
    dir.write("a.txt", "four\n");
    delegate.answers = {1};
    document->fileContentsChangedExternally();
    EXPECT_EQ(document->textView()->fullString(), QStringLiteral("four\n"));
    EXPECT_FALSE(document->isDocumentEdited());

    // A file that is gone by the time the change is looked at is left to
    // its removal notice: no failed reload is shown first.
    QFile::remove(path);
    document->fileContentsChangedExternally();
    EXPECT_EQ(delegate.codes(), (QList<int>{5, 5}));
    EXPECT_EQ(document->textView()->fullString(), QStringLiteral("four\n"));
}

TEST_F(FileDocumentTest, ASaveOverAFileChangedUnderneathAsksFirst)
{
    // No watcher saw it: the save itself notices by inode, size and time.
    const QString path = dir.write("a.txt", "one\n");
    auto document = open(path);
    type(*document, QStringLiteral("mine"));
    dir.write("a.txt", "theirs, longer\n");

    delegate.answers = {1}; // Cancel
    EXPECT_FALSE(document->save(nullptr));
    EXPECT_EQ(delegate.codes(), QList<int>{5});
    EXPECT_EQ(readAll(path), QByteArray("theirs, longer\n"));
    EXPECT_TRUE(document->isDocumentEdited());

    delegate.answers = {0}; // Save Anyway
    EXPECT_TRUE(document->save(nullptr));
    EXPECT_EQ(readAll(path), QByteArray("one\nmine"));
    // Our own save is not taken for a change by someone else.
    type(*document, QStringLiteral("+"));
    EXPECT_TRUE(document->save(nullptr));
    EXPECT_EQ(delegate.codes(), (QList<int>{5, 5}));
}

TEST_F(FileDocumentTest, AFileDeletedOnDiskKeepsItsTextAndIdentity)
{
    const QString path = dir.write("site/a.html", "<p>keep me</p>\n");
    MVMultiFileDocument window;
    auto document = openInTabs(window, path);
    ASSERT_TRUE(document);
    ASSERT_TRUE(document->file());
    const QString uuid = document->uuid();
    ASSERT_FALSE(uuid.isEmpty());

    ASSERT_TRUE(QFile::remove(path));
    delegate.answers = {0}; // Save File, but the panel is cancelled
    document->fileContentsDisappeared();
    MVMainThread::processPending();
    EXPECT_EQ(delegate.codes(), QList<int>{6});
    EXPECT_EQ(delegate.errors.back().localizedRecoveryOptions(), (QStringList{"Save File", "Don't Save"}));
    EXPECT_FALSE(document->file());
    EXPECT_EQ(document->uuid(), uuid);
    EXPECT_EQ(document->textView()->fullString(), QStringLiteral("<p>keep me</p>\n"));
    EXPECT_TRUE(document->isDocumentEdited());
    EXPECT_EQ(delegate.forceCloses, 0) << "a cancelled save never closes the tab";

    // Saved elsewhere: only then the tab closes.
    delegate.savePanelPath = dir.file("rescued.html");
    document->saveDocumentForForceClose();
    EXPECT_EQ(readAll(dir.file("rescued.html")), QByteArray("<p>keep me</p>\n"));
    EXPECT_EQ(delegate.forceCloses, 1);
    EXPECT_FALSE(document->isDocumentEdited());
}

TEST_F(FileDocumentTest, ReopeningWithAnotherEncoding)
{
    const QString path = dir.write("a.txt", "caf\xe9\n");
    auto document = open(path);
    EXPECT_EQ(document->textView()->fullString(), QStringLiteral("café\n")); // the fallback's reading
    EXPECT_EQ(delegate.warnings.last(), QStringLiteral("Not valid UTF-8: opened as Western (Windows-1252)"));

    document->reopenUsingEncoding(QStringLiteral("iso-8859-1"));
    EXPECT_EQ(document->textView()->fullString(), QStringLiteral("café\n"));
    EXPECT_EQ(document->encoding(), FileEncodings::ISOLatin1Encoding);
    EXPECT_EQ(delegate.warnings.last(), QStringLiteral("Opened using iso-8859-1"));
    EXPECT_TRUE(delegate.errors.empty());
    // The choice is remembered for the file: a new document opens it so.
    EXPECT_EQ(open(path)->encoding(), FileEncodings::ISOLatin1Encoding);

    // Edited, "Save Changes": the save fails (the user cancels the lossy
    // question), so nothing is reopened and the old encoding stays.
    type(*document, QStringLiteral("€"));
    delegate.answers = {0, 2};
    document->reopenUsingEncoding(QStringLiteral("iso-8859-2"));
    EXPECT_EQ(delegate.codes(), (QList<int>{12, 16}));
    EXPECT_EQ(document->encoding(), FileEncodings::ISOLatin1Encoding);
    EXPECT_EQ(document->textView()->fullString(), QStringLiteral("café\n€"));
    EXPECT_TRUE(document->isDocumentEdited());

    // "Cancel" does nothing; "Discard Changes" reopens from the file.
    delegate.answers = {2};
    document->reopenUsingEncoding(QStringLiteral("utf-8"));
    EXPECT_EQ(document->textView()->fullString(), QStringLiteral("café\n€"));
    delegate.answers = {1};
    document->reopenUsingEncoding(QStringLiteral("iso-8859-15"));
    EXPECT_EQ(document->textView()->fullString(), QStringLiteral("café\n"));
    EXPECT_FALSE(document->isDocumentEdited());
    EXPECT_EQ(readAll(path), QByteArray("caf\xe9\n"));
}

TEST_F(FileDocumentTest, SaveAsCopiesTheSettingsAndFollowsTheExtension)
{
    const QString path = dir.write("site/a.html", "<p>a</p>\n");
    MVMultiFileDocument window;
    auto document = openInTabs(window, path);
    ASSERT_TRUE(document);
    const QString oldKey = document->fileKey();
    document->setFileConfigurationValue(QVariant::fromValue<qint64>(FileEncodings::UTF8Encoding), "MVFileEncoding");
    ASSERT_TRUE(document->textView()->bundle());
    EXPECT_EQ(document->textView()->bundle()->identifier(), QStringLiteral("text.html"));

    bool saved = false;
    document->saveDocumentAs(dir.file("site/b.css"), [&](bool ok) { saved = ok; });
    ASSERT_TRUE(saved);
    EXPECT_EQ(readAll(dir.file("site/b.css")), QByteArray("<p>a</p>\n"));
    ASSERT_TRUE(document->file());
    EXPECT_EQ(document->file()->path(), dir.file("site/b.css"));
    EXPECT_NE(document->fileKey(), oldKey);
    // The old file keeps its record; the new one has a copy.
    EXPECT_EQ(document->configurationValueForKey("MVFileEncoding", oldKey).toUInt(), FileEncodings::UTF8Encoding);
    EXPECT_EQ(document->fileConfigurationValueForKey("MVFileEncoding").toUInt(), FileEncodings::UTF8Encoding);
    ASSERT_TRUE(document->textView()->bundle());
    EXPECT_EQ(document->textView()->bundle()->title(), QStringLiteral("CSS"));

    // A language chosen by hand stays through a Save As.
    document->setCustomBundleIdentifier(document->textView()->bundle()->bundleIdentifier());
    document->saveDocumentAs(dir.file("site/c.js"), [&](bool ok) { saved = ok; });
    ASSERT_TRUE(saved);
    EXPECT_EQ(document->textView()->bundle()->title(), QStringLiteral("CSS"));
}

TEST_F(FileDocumentTest, BinaryFilesOpenAsImagesOrTextByTheirKind)
{
    QImage image(7, 5, QImage::Format_RGB32);
    image.fill(Qt::red);
    const QString png = dir.file("logo.png");
    ASSERT_TRUE(image.save(png));
    const QByteArray pngBytes = readAll(png);
    auto picture = open(png);
    auto *imageView = dynamic_cast<MVImageFileView *>(picture->fileView());
    ASSERT_TRUE(imageView);
    EXPECT_EQ(imageView->descriptionText(), QStringLiteral("Size: 7 x 5"));
    EXPECT_FALSE(picture->textView());
    EXPECT_FALSE(picture->canSave());
    EXPECT_FALSE(picture->isDocumentEdited());
    EXPECT_TRUE(picture->save(nullptr));
    EXPECT_EQ(readAll(png), pngBytes) << "an image is never written from an empty text";
    // Without an extension the contents decide; SVG is text to edit.
    EXPECT_TRUE(dynamic_cast<MVImageFileView *>(open(dir.write("snapshot", pngBytes))->fileView()));
    auto drawing = open(dir.write("icon.svg", "<svg xmlns=\"http://www.w3.org/2000/svg\"/>\n"));
    EXPECT_TRUE(drawing->textView());

    // A damaged picture opens without a crash.
    QByteArray noise;
    for (int i = 0; i < 4096; ++i)
        noise.append(char((i * 37 + 11) & 0xFF));
    auto broken = open(dir.write("broken.png", noise));
    EXPECT_TRUE(dynamic_cast<MVImageFileView *>(broken->fileView()));
}

TEST_F(FileDocumentTest, SingleFileSettingsAreOneRecordAndSnippetsAreUTF16)
{
    const QString path = dir.write("a.txt", "a\n");
    auto single = open<MVSingleFileDocument>(path);
    EXPECT_FALSE(single->isMultiFile());
    single->setConfigurationValue(QStringLiteral("x"), QStringLiteral("MVFileBundle"), QStringLiteral("anything"));
    EXPECT_EQ(single->configurationValueForKey(QStringLiteral("MVFileBundle"), QStringLiteral("other")).toString(),
              QStringLiteral("x"));

    const QString snippets = dir.file("snippets");
    MVUserDefaults::standard().setObject(QStringLiteral("mvSnippetsLocation"), snippets);
    const QString snippet = dir.write("snippets/s.txt", "s\n");
    auto document = std::make_shared<MVSingleFileDocument>();
    ASSERT_TRUE(document->readFromFile(snippet, nullptr));
    document->setFileConfigurationValue(QVariant::fromValue<qint64>(FileEncodings::UTF8Encoding), "MVFileEncoding");
    EXPECT_EQ(document->fileConfigurationValueForKey("MVFileEncoding").toUInt(), FileEncodings::UTF16Encoding);
    MVUserDefaults::standard().setObject(QStringLiteral("mvSnippetsLocation"), QString());
}

TEST_F(FileDocumentTest, LineBreaksAreTheFilesOwnAndAreKeptByEditsAndSaves)
{
    const auto utf16 = [](const QString &text) {
        return QByteArray("\xFF\xFE", 2)
               + QByteArray(reinterpret_cast<const char *>(text.utf16()), text.size() * 2);
    };
    // The preference says Unix throughout: the file's first break decides.
    const struct
    {
        const char *name;
        QByteArray bytes;
        int kind;
        QByteArray afterEnterAndZ; // the file after Enter and "z" at its end
    } cases[] = {
        {"dos.txt", "a\r\nb\r\n", 2, "a\r\nb\r\n\r\nz"},
        {"mac.txt", "a\rb\r", 1, "a\rb\r\rz"},
        {"unix.txt", "a\nb\n", 0, "a\nb\n\nz"},
        {"mixed.txt", "a\r\nb\nc\rd", 2, "a\r\nb\nc\rd\r\nz"},
        {"wide.txt", utf16(QStringLiteral("é\r\nb\r\n")), 2, utf16(QStringLiteral("é\r\nb\r\n\r\nz"))},
    };
    for (const auto &test : cases) {
        SCOPED_TRACE(test.name);
        const QString path = dir.write(test.name, test.bytes);
        auto document = open(path);
        HTMLView *view = document->textView();
        EXPECT_EQ(view->lineBreakType(), test.kind);
        EXPECT_FALSE(document->isDocumentEdited());
        view->setSelectedRange(MVRange{view->textStorage()->length(), 0});
        QTest::keyClick(view, Qt::Key_Return);
        view->insertText(QStringLiteral("z"));
        EXPECT_TRUE(document->save(nullptr));
        EXPECT_EQ(readAll(path), test.afterEnterAndZ);
    }

    // Picking a kind converts every break of a mixed file, as one step that
    // undoes to the mixed text; pasted text takes the file's kind.
    auto mixed = open(dir.write("mixed2.txt", "a\r\nb\nc\r"));
    HTMLView *view = mixed->textView();
    view->setLineBreakType(2);
    EXPECT_EQ(view->fullString(), QStringLiteral("a\r\nb\r\nc\r\n"));
    EXPECT_EQ(view->undoManager()->undoActionName(), QStringLiteral("Set Line Break Type"));
    view->setLineBreakType(0);
    EXPECT_EQ(view->fullString(), QStringLiteral("a\nb\nc\n"));
    view->undo();
    EXPECT_EQ(view->lineBreakType(), 2);
    EXPECT_EQ(view->fullString(), QStringLiteral("a\r\nb\r\nc\r\n"));
    view->undo();
    EXPECT_EQ(view->fullString(), QStringLiteral("a\r\nb\nc\r"));
    view->setSelectedRange(MVRange{0, 0});
    view->insertText(QStringLiteral("p\nq\rr"));
    EXPECT_EQ(view->fullString(), QStringLiteral("p\r\nq\r\nra\r\nb\nc\r"));

    // A new file takes the preference.
    MVUserDefaults::standard().setInteger(QStringLiteral("MVLineBreak"), 2);
    auto untitled = std::make_shared<MVFileDocument>();
    untitled->viewWithSuggestedFrame();
    EXPECT_EQ(untitled->textView()->lineBreakType(), 2);
    untitled->textView()->insertText(QStringLiteral("a\nb"));
    EXPECT_EQ(untitled->textView()->fullString(), QStringLiteral("a\r\nb"));
}

TEST_F(FileDocumentTest, FilesThatAreNotTextOpenReadOnlyAndAreNeverSaved)
{
    // A copy of a program: the edit that once turned its CR bytes into LF.
    QByteArray program = readAll(QStringLiteral("/bin/ls"));
    ASSERT_GT(program.count('\r'), 0);
    const QString copy = dir.write("ls", program);
    // NUL bytes in a name that says text; UTF-16 has NULs and is text.
    const QString nul = dir.write("notes.txt", QByteArray("abc\0\r\ndef\r", 10));
    const QString wide = dir.write("wide.txt", QByteArray("\xFF\xFEh\0i\0\r\0\n\0", 10));
    EXPECT_FALSE(MVFileDocument::looksLikeText(copy));
    EXPECT_FALSE(MVFileDocument::looksLikeText(nul));
    EXPECT_TRUE(MVFileDocument::looksLikeText(wide));
    EXPECT_TRUE(MVFileDocument::looksLikeText(dir.write("plain", "just words\n")));

    for (const QString &path : {copy, nul}) {
        SCOPED_TRACE(path.toStdString());
        const QByteArray before = readAll(path);
        auto document = open(path);
        HTMLView *view = document->textView();
        ASSERT_TRUE(view);
        EXPECT_TRUE(document->isReadOnly());
        EXPECT_FALSE(document->canSave());
        view->setSelectedRange(MVRange{0, 0});
        view->insertText(QStringLiteral("x"));
        QTest::keyClick(view, Qt::Key_Backspace);
        view->setLineBreakType(0);
        EXPECT_FALSE(document->isDocumentEdited());
        EXPECT_EQ(view->fullString().size(), before.size()) << "every byte one character, breaks untouched";
        document->markEdited();
        delegate.errors.clear();
        EXPECT_FALSE(document->save(nullptr));
        document->saveDocumentAs(dir.file("copy-of-it"));
        EXPECT_EQ(delegate.codes(), (QList<int>{17, 17}));
        EXPECT_FALSE(QFileInfo::exists(dir.file("copy-of-it")));
        EXPECT_EQ(readAll(path), before);
    }
    EXPECT_FALSE(open(wide)->isReadOnly());
}

TEST_F(FileDocumentTest, EditedTextIsKeptAsideWhenTheSessionEndsTheEditor)
{
    const QString plain = dir.write("site/plain.txt", "untouched\n");
    const QString latin = dir.write("site/latin.txt", "caf\xe9\n"); // read as Windows-1252
    MVMultiFileDocument window;
    auto edited = openInTabs(window, latin);
    ASSERT_TRUE(edited);
    static_cast<MVFileDocument *>(window.openFileAtPath(plain))->viewWithSuggestedFrame();
    type(*edited, QStringLiteral(" \u20ac"));

    const QString folder = MVUnsavedTextKeeper::folder();
    ASSERT_FALSE(folder.isEmpty());
    EXPECT_EQ(QFileInfo(folder).permissions() & (QFile::ReadOther | QFile::ReadGroup), QFile::Permissions());
    const QStringList kept = MVUnsavedTextKeeper::keep({std::shared_ptr<MVDocument>(&window, [](MVDocument *) {})});
    // Only the edited tab, as UTF-8 whatever the file's encoding, readable
    // by the user alone; the file itself untouched.
    ASSERT_EQ(kept.size(), 1);
    EXPECT_TRUE(kept.front().endsWith(QStringLiteral(" latin.txt")));
    EXPECT_EQ(readAll(kept.front()), QByteArray("caf\xC3\xA9\n \xE2\x82\xAC"));
    EXPECT_EQ(QFileInfo(kept.front()).permissions() & (QFile::ReadOther | QFile::ReadGroup), QFile::Permissions());
    EXPECT_EQ(readAll(latin), QByteArray("caf\xe9\n"));
    // A second ending in the same second does not overwrite the first copy.
    const QStringList again = MVUnsavedTextKeeper::keep({std::shared_ptr<MVDocument>(&window, [](MVDocument *) {})});
    ASSERT_EQ(again.size(), 1);
    EXPECT_NE(again.front(), kept.front());

    // The next launch asks; "Later" leaves the copies, "Open Them" moves
    // them aside and opens them, so that they are offered only once.
    QStringList opened;
    const auto open = [&opened](const QString &path) { opened << path; };
    MVUnsavedTextKeeper::questionForKeptText(open).attemptRecovery(1);
    EXPECT_TRUE(opened.isEmpty());
    MVUnsavedTextKeeper::questionForKeptText(open).attemptRecovery(0);
    ASSERT_EQ(opened.size(), 2);
    EXPECT_EQ(readAll(opened.front()), QByteArray("caf\xC3\xA9\n \xE2\x82\xAC"));
    EXPECT_TRUE(MVUnsavedTextKeeper::questionForKeptText(open).isNull());
}
