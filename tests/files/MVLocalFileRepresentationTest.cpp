// Local files through the tree: what the disk really does.
#include "FileTreeFixture.h"

#include "files/MVLocalFileRepresentation.h"
#include "platform/MVLog.h"

#include <QDir>
#include <QStandardPaths>

#include <sys/stat.h>
#include <unistd.h>

using MVLocalFiles = FileTreeTest;

namespace {

bool makeLink(const QString &target, const QString &link)
{
    return ::symlink(QFile::encodeName(target).constData(), QFile::encodeName(link).constData()) == 0;
}

} // namespace

TEST(MVFileRepresentation, FileTypesFollowTheModeBitsInOrder)
{
    // Directory, then pipe, then devices; links, sockets and unreadable entries are files.
    const std::pair<quint16, int> types[] = {{0x4000 | 0755, 1}, {0x1000, 3}, {0x6000, 4}, {0xA000, 0}, {0, 0}};
    for (const auto &[mode, type] : types)
        EXPECT_EQ(MVFileRepresentation::fileTypeForMode(mode), type) << mode;
}

TEST_F(MVLocalFiles, AttributesAreReadOnlyWhenANodeAdoptsTheRepresentation)
{
    dir.write("a.txt", "12345");
    auto listed = MVLocalFileRepresentation::make(dir.file("a.txt"));
    EXPECT_EQ(listed->name(), "a.txt");
    EXPECT_EQ(listed->mode(), 0);
    EXPECT_EQ(listed->size(), 0);

    makeRoot(false);
    const auto node = root->addChildRepresentation(listed);
    ASSERT_TRUE(node);
    EXPECT_EQ(listed->size(), 5);
    EXPECT_EQ(listed->mode() & 0xF000, 0x8000);
    EXPECT_TRUE(listed->modificationDate().isValid());
}

TEST_F(MVLocalFiles, ChildrenAreSortedWithoutRegardToCaseAndLoadOnlyOnce)
{
    dir.write("b.txt", "");
    dir.write("A.txt", "");
    dir.write("c/d.txt", "");
    dir.write(".svn/entries", "");
    dir.write("site.mvproj", "");
    makeRoot(false);

    // A first call without loading leaves the directory empty for good.
    EXPECT_TRUE(root->children(false).empty());
    EXPECT_TRUE(root->children(true).empty());
    root->refresh(true);
    EXPECT_EQ(childNames(root), QStringList({"A.txt", "b.txt", "c"}));

    const auto c = child("c");
    EXPECT_EQ(c->fileType(), 1);
    ASSERT_TRUE(root->childWithPath(dir.file("c/d.txt").split('/'), true));
    EXPECT_EQ(c->countOfChildren(), 1);
    EXPECT_EQ(c->childAtIndex(0)->path(), dir.file("c/d.txt"));
    EXPECT_FALSE(c->childAtIndex(1));
}

TEST_F(MVLocalFiles, AFailedListingIsAnErrorAndNeverTakenAsAnEmptyOne)
{
    dir.write("d/x.txt", "x");
    dir.write("e/one.txt", "1");
    dir.write("e/two.txt", "2");
    makeRoot();
    const auto d = child("d");
    const auto e = child("e");
    EXPECT_EQ(e->children(true).size(), 2u);

    // The directory has become a file since it was seen.
    QDir(dir.file("d")).removeRecursively();
    dir.write("d", "now a file");
    EXPECT_TRUE(d->children(true).empty());
    ASSERT_EQ(delegate.errors.size(), 1u);
    EXPECT_EQ(delegate.errors[0].code(), 9);
    EXPECT_TRUE(delegate.errors[0].localizedRecoverySuggestion().startsWith(dir.file("d") + ": "));
    EXPECT_EQ(child("d"), d);

    // A listed directory that went away keeps what it showed.
    ASSERT_TRUE(QDir().rename(dir.file("e"), dir.file("elsewhere")));
    e->refresh(true);
    EXPECT_EQ(delegate.errors.size(), 2u);
    EXPECT_EQ(childNames(e), QStringList({"one.txt", "two.txt"}));
    EXPECT_TRUE(delegate.removed.empty());
}

TEST_F(MVLocalFiles, DeletingNeverFollowsSymbolicLinks)
{
    MVScratchDir outside;
    outside.write("keep.txt", "precious");
    outside.write("deep/keep2.txt", "precious");
    ASSERT_TRUE(makeLink(outside.path(), dir.file("link")));
    dir.write("sub/own.txt", "own");
    ASSERT_TRUE(makeLink(outside.path(), dir.file("sub/inner-link")));
    ASSERT_TRUE(makeLink(outside.file("keep.txt"), dir.file("file-link")));
    makeRoot();

    const auto link = child("link");
    ASSERT_TRUE(link);
    EXPECT_EQ(link->fileType(), 1); // shown as what it points to
    link->deleteFile();
    child("sub")->deleteFile();
    child("file-link")->deleteFile();

    EXPECT_TRUE(childNames(root).isEmpty());
    EXPECT_FALSE(QFileInfo(dir.file("link")).isSymLink());
    EXPECT_FALSE(QFileInfo::exists(dir.file("sub")));
    EXPECT_EQ(contents(outside.file("keep.txt")), "precious");
    EXPECT_EQ(contents(outside.file("deep/keep2.txt")), "precious");
    EXPECT_EQ(delegate.removed.size(), 3u);
    EXPECT_TRUE(delegate.errors.empty());
}

TEST_F(MVLocalFiles, DuplicatesCountBeforeTheExtensionAndCopyLinksAsLinks)
{
    dir.write("a.html", "hello");
    ASSERT_TRUE(makeLink("a.html", dir.file("l.html")));
    dir.write("d/in.txt", "in");
    ASSERT_TRUE(makeLink("/nonexistent-target", dir.file("d/dangling")));
    makeRoot();
    const auto a = child("a.html");

    a->duplicate();
    EXPECT_EQ(contents(dir.file("a copy.html")), "hello");
    ASSERT_EQ(delegate.duplicated.size(), 1u);
    EXPECT_EQ(delegate.duplicated[0].first, a);
    EXPECT_EQ(delegate.duplicated[0].second, child("a copy.html"));
    EXPECT_FALSE(a->hasPendingOperation());
    a->duplicate();
    EXPECT_EQ(contents(dir.file("a copy 1.html")), "hello");

    child("l.html")->duplicate();
    EXPECT_TRUE(QFileInfo(dir.file("l copy.html")).isSymLink());
    EXPECT_EQ(QFile::symLinkTarget(dir.file("l copy.html")), dir.file("a.html"));

    child("d")->duplicate();
    EXPECT_EQ(contents(dir.file("d copy/in.txt")), "in");
    EXPECT_TRUE(QFileInfo(dir.file("d copy/dangling")).isSymLink());
    EXPECT_EQ(childNames(root), QStringList({"a copy 1.html", "a copy.html", "a.html", "d", "d copy", "l copy.html", "l.html"}));

    // A file gone behind the tree's back: logged and reported.
    const size_t duplicated = delegate.duplicated.size();
    QStringList lines;
    MVLog::setSink([&lines](const QString &line) { lines.append(line); });
    QFile::remove(dir.file("a.html"));
    a->duplicate();
    MVLog::setSink(nullptr);
    EXPECT_TRUE(lines.contains("DUPLICATION ERROR"));
    EXPECT_FALSE(a->hasPendingOperation());
    EXPECT_EQ(delegate.errors.size(), 1u);
    EXPECT_EQ(delegate.duplicated.size(), duplicated);
}

TEST_F(MVLocalFiles, RenameAndMoveNeverReplaceAnExistingFile)
{
    dir.write("a.html", "mine");
    QDir().mkpath(dir.file("dest"));
    makeRoot();
    dir.write("b.html", "theirs");        // appeared after the listing
    dir.write("dest/a.html", "old copy"); // inside a directory never listed
    const auto a = child("a.html");

    a->rename("b.html");
    EXPECT_EQ(contents(dir.file("b.html")), "theirs");
    EXPECT_EQ(contents(dir.file("a.html")), "mine");
    EXPECT_EQ(a->name(), "a.html");
    EXPECT_FALSE(a->hasPendingOperation());
    ASSERT_EQ(delegate.errors.size(), 1u);
    EXPECT_EQ(delegate.errors[0].code(), 9);

    EXPECT_FALSE(a->moveToFile(child("dest")));
    EXPECT_EQ(contents(dir.file("dest/a.html")), "old copy");
    EXPECT_EQ(contents(dir.file("a.html")), "mine");
    EXPECT_EQ(a->parent(), root);
    EXPECT_FALSE(a->hasPendingOperation());
    EXPECT_EQ(delegate.errors.size(), 2u);

    // A node of the same name in the target is refused before anything is tried.
    child("dest")->children(true);
    EXPECT_FALSE(a->moveToFile(child("dest")));
    EXPECT_EQ(delegate.errors.size(), 3u);

    // The failed moves left nothing behind: a move elsewhere works.
    QDir().mkpath(dir.file("other"));
    root->refresh(true);
    EXPECT_TRUE(a->moveToFile(child("other")));
    EXPECT_EQ(contents(dir.file("other/a.html")), "mine");
    EXPECT_EQ(a->parent(), child("other"));
}

TEST_F(MVLocalFiles, RenameRefusesNamesThatAreNotPlainNames)
{
    dir.write("a.html", "a");
    makeRoot();
    const auto a = child("a.html");
    for (const QString &bad : QStringList{"", ".", "..", "x/y", "../escape.html", QString("n") + QChar(0)})
        a->rename(bad);
    EXPECT_EQ(delegate.errors.size(), 6u);
    EXPECT_EQ(a->name(), "a.html");
    EXPECT_EQ(contents(dir.file("a.html")), "a");
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries), QStringList({"a.html"}));

    // Renaming a directory renames the paths of everything inside it.
    dir.write("d/inner.txt", "i");
    root->refresh(true);
    const auto inner = root->childWithPath(dir.file("d/inner.txt").split('/'), true);
    ASSERT_TRUE(inner);
    child("d")->rename("e");
    EXPECT_EQ(inner->path(), dir.file("e/inner.txt"));
    EXPECT_EQ(contents(inner->path()), "i");
    EXPECT_EQ(childNames(root), QStringList({"a.html", "e"}));
}

TEST_F(MVLocalFiles, MoveToTrashUsesTheUsersTrash)
{
    dir.write("a.html", "trashed");
    dir.write("b.html", "b");
    makeRoot();
    const QString dataHome = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    const auto a = child("a.html");

    a->moveToTrash();
    EXPECT_FALSE(QFileInfo::exists(dir.file("a.html")));
    EXPECT_EQ(contents(dataHome + "/Trash/files/a.html"), "trashed");
    EXPECT_FALSE(QFileInfo::exists(QDir::currentPath() + "/files/a.html"));
    EXPECT_TRUE(delegate.wasRemoved(a));

    QStringList lines;
    MVLog::setSink([&lines](const QString &line) { lines.append(line); });
    const auto b = child("b.html");
    QFile::remove(dir.file("b.html"));
    b->moveToTrash();
    MVLog::setSink(nullptr);
    EXPECT_TRUE(lines.contains("MOVE TO TRASH ERROR"));
    EXPECT_EQ(child("b.html"), b);
}

TEST_F(MVLocalFiles, NodesAreAddedForSavedFiles)
{
    makeRoot();
    RecordingDocument document;
    const QString path = dir.write("new.html", "n");
    const auto node = root->addFileAtPath(path);
    ASSERT_TRUE(node);
    EXPECT_EQ(node->parent(), root);
    EXPECT_EQ(node->indicator(), "L");
    EXPECT_TRUE(root->containsPath(path));
    EXPECT_FALSE(root->containsPath(dir.path() + "x/y"));

    EXPECT_FALSE(root->addFileAtPath(dir.write("site.mvproj", "p")));
    EXPECT_FALSE(child("site.mvproj"));

    // The save of an open document is finished at once without a remote side.
    document.attach(node);
    EXPECT_EQ(root->addFileAtPath(path), node);
    EXPECT_EQ(document.changesFinished, 1);
    node->setDocument(nullptr);
}
