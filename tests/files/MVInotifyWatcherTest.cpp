#include "FileTreeFixture.h"

#include "files/MVInotifyWatcher.h"
#include "platform/MVAtomicFile.h"
#include "platform/MVMainThread.h"

#include <QDir>

#include <chrono>
#include <thread>

#include <sys/resource.h>
#include <unistd.h>

namespace {

// Runs the main thread's calls until the condition holds. The limit is far
// beyond any real delivery; it only keeps a broken watcher from hanging.
template <typename Condition>
bool waitFor(Condition condition)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        MVMainThread::processPending();
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    MVMainThread::processPending();
    return true;
}

// Every open descriptor of the process, and every inotify watch they hold.
int countOfOpenDescriptors()
{
    return static_cast<int>(QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System).size());
}

int countOfInotifyWatches()
{
    int count = 0;
    const QStringList fds = QDir(QStringLiteral("/proc/self/fdinfo")).entryList(QDir::NoDotAndDotDot | QDir::Files);
    for (const QString &fd : fds) {
        QFile info(QStringLiteral("/proc/self/fdinfo/") + fd);
        if (!info.open(QIODevice::ReadOnly))
            continue;
        for (const QByteArray &line : info.readAll().split('\n')) {
            if (line.startsWith("inotify wd:"))
                ++count;
        }
    }
    return count;
}

void replaceByRename(const QString &path, const QByteArray &bytes)
{
    const QString temporary = path + QStringLiteral(".new");
    QFile file(temporary);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
    file.close();
    ASSERT_EQ(::rename(QFile::encodeName(temporary).constData(), QFile::encodeName(path).constData()), 0);
}

void append(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::Append));
    file.write(bytes);
}

} // namespace

class MVInotifyWatcherTest : public FileTreeTest
{
protected:
    void SetUp() override
    {
        FileTreeTest::SetUp();
        MVInotifyWatcher::install();
    }

    std::shared_ptr<MVInotifyWatcher> watchedRoot(const QString &path = QString())
    {
        root = MVRootFile::rootWithPath(path.isEmpty() ? dir.path() : path);
        root->setDelegate(&delegate);
        root->children(true);
        return std::dynamic_pointer_cast<MVInotifyWatcher>(root->fileWatcher());
    }

    MVFile::Ptr expand(const MVFile::Ptr &directory)
    {
        directory->setExpanded(true);
        directory->children(true);
        directory->startWatching();
        return directory;
    }
};

TEST_F(MVInotifyWatcherTest, AnExpandedDirectoryFollowsEntriesAppearingVanishingAndRenamed)
{
    dir.write("d/old.txt", "o");
    dir.write("top.html", "t");
    const auto watcher = watchedRoot();
    ASSERT_TRUE(watcher);
    const auto d = expand(child("d"));
    EXPECT_EQ(watcher->countOfWatchedFiles(), 2);

    dir.write("d/new.txt", "n");
    EXPECT_TRUE(waitFor([&] { return childNames(d) == QStringList({"new.txt", "old.txt"}); })) << childNames(d).join(' ').toStdString();

    ASSERT_TRUE(QFile::rename(dir.file("d/old.txt"), dir.file("d/renamed.txt")));
    EXPECT_TRUE(waitFor([&] { return childNames(d) == QStringList({"new.txt", "renamed.txt"}); })) << childNames(d).join(' ').toStdString();

    ASSERT_TRUE(QFile::remove(dir.file("d/new.txt")));
    EXPECT_TRUE(waitFor([&] { return childNames(d) == QStringList({"renamed.txt"}); })) << childNames(d).join(' ').toStdString();

    // A new directory at the root, seen by the root's own watch; a file moved
    // in from outside the tree arrives like a new one.
    dir.write("outside/moved.css", "m");
    ASSERT_TRUE(QDir().mkpath(dir.file("e")));
    ASSERT_TRUE(QFile::rename(dir.file("outside/moved.css"), dir.file("d/moved.css")));
    EXPECT_TRUE(waitFor([&] { return childNames(root) == QStringList({"d", "e", "outside", "top.html"}); }))
        << childNames(root).join(' ').toStdString();
    EXPECT_TRUE(waitFor([&] { return childNames(d) == QStringList({"moved.css", "renamed.txt"}); })) << childNames(d).join(' ').toStdString();
    EXPECT_TRUE(delegate.errors.empty());
}

TEST_F(MVInotifyWatcherTest, AFileReplacedByARenameIsWatchedAgain)
{
    dir.write("page.html", "one");
    watchedRoot();
    const auto page = child("page.html");
    RecordingDocument document;
    document.attach(page);

    // Another editor saves by writing a new file and renaming it over ours.
    replaceByRename(dir.file("page.html"), "two");
    EXPECT_TRUE(waitFor([&] { return document.externalChanges == 1; })) << document.externalChanges;

    // The watch now follows the new file at the path.
    append(dir.file("page.html"), " more");
    EXPECT_TRUE(waitFor([&] { return document.externalChanges == 2; })) << document.externalChanges;
    replaceByRename(dir.file("page.html"), "three");
    EXPECT_TRUE(waitFor([&] { return document.externalChanges == 3; })) << document.externalChanges;

    // The old file stays open elsewhere, so it is not deleted: the watch
    // still moves to the new one.
    QFile held(dir.file("page.html"));
    ASSERT_TRUE(held.open(QIODevice::ReadOnly));
    replaceByRename(dir.file("page.html"), "four");
    EXPECT_TRUE(waitFor([&] { return document.externalChanges == 4; })) << document.externalChanges;
    append(dir.file("page.html"), " more");
    EXPECT_TRUE(waitFor([&] { return document.externalChanges == 5; })) << document.externalChanges;
    page->setDocument(nullptr);
}

TEST_F(MVInotifyWatcherTest, OurOwnSaveIsNotAChangeButTheNextOutsideWriteIs)
{
    dir.write("a.css", "a{}");
    dir.write("b.css", "b{}");
    watchedRoot();
    const auto a = child("a.css");
    const auto b = child("b.css");
    RecordingDocument first, second;
    first.attach(a);
    second.attach(b);

    // Our save: an atomic replace, then the node renews its watch at once.
    ASSERT_TRUE(MVAtomicFile::write(dir.file("a.css"), "a{color:red}"));
    a->contentsDidChange();
    ASSERT_TRUE(MVAtomicFile::write(dir.file("a.css"), "a{color:blue}"));
    a->contentsDidChange();

    // The other file's change comes after, so ours has been delivered if it
    // was going to be.
    append(dir.file("b.css"), " ");
    EXPECT_TRUE(waitFor([&] { return second.externalChanges == 1; }));
    EXPECT_EQ(first.externalChanges, 0);

    // The renewed watch sees an outside write to the saved file.
    append(dir.file("a.css"), " ");
    EXPECT_TRUE(waitFor([&] { return first.externalChanges == 1; }));
    a->setDocument(nullptr);
    b->setDocument(nullptr);
}

TEST_F(MVInotifyWatcherTest, EventsOfNodesThatStoppedOrWentAreDropped)
{
    dir.write("stopped.txt", "s");
    dir.write("gone.txt", "g");
    dir.write("marker.txt", "m");
    const auto watcher = MVInotifyWatcher::make();
    ASSERT_TRUE(watcher);
    RecordingDocument stoppedDocument, goneDocument, markerDocument;
    auto stopped = MVFile::fileWithPath(dir.file("stopped.txt"), nullptr);
    auto gone = MVFile::fileWithPath(dir.file("gone.txt"), nullptr);
    const auto marker = MVFile::fileWithPath(dir.file("marker.txt"), nullptr);
    stopped->setDocument(&stoppedDocument);
    gone->setDocument(&goneDocument);
    marker->setDocument(&markerDocument);
    ASSERT_TRUE(watcher->watchFile(stopped, MVFileWatcher::File));
    ASSERT_TRUE(watcher->watchFile(gone, MVFileWatcher::File));
    ASSERT_TRUE(watcher->watchFile(marker, MVFileWatcher::File));

    // No main-thread call runs until the marker is waited for, so whatever
    // the watcher posted for the first two finds them stopped or gone.
    append(dir.file("stopped.txt"), "1");
    append(dir.file("gone.txt"), "1");
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    watcher->stopWatching(*stopped);
    gone->setDocument(nullptr);
    gone.reset();
    append(dir.file("marker.txt"), "1");
    EXPECT_TRUE(waitFor([&] { return markerDocument.externalChanges == 1; }));
    EXPECT_EQ(stoppedDocument.externalChanges, 0);
    EXPECT_EQ(goneDocument.externalChanges, 0);

    // The entry of the node that went is let go at the next delivery.
    append(dir.file("marker.txt"), "2");
    EXPECT_TRUE(waitFor([&] { return markerDocument.externalChanges == 2; }));
    EXPECT_EQ(watcher->countOfWatchedFiles(), 1);
    EXPECT_EQ(watcher->countOfKernelWatches(), 1);
    stopped->setDocument(nullptr);
    marker->setDocument(nullptr);
}

TEST_F(MVInotifyWatcherTest, WatchesAreSharedRenewedAndNeverLeaked)
{
    dir.write("d/file.txt", "f");
    const int descriptorsBefore = countOfOpenDescriptors();
    const int watchesBefore = countOfInotifyWatches();
    {
        const auto watcher = MVInotifyWatcher::make();
        ASSERT_TRUE(watcher);
        EXPECT_EQ(countOfOpenDescriptors(), descriptorsBefore + 2); // inotify and the wake-up

        // A missing path cannot be watched and holds nothing.
        const auto missing = MVFile::fileWithPath(dir.file("missing.txt"), nullptr);
        EXPECT_FALSE(watcher->watchFile(missing, MVFileWatcher::File));
        EXPECT_FALSE(watcher->resetForFile(missing, MVFileWatcher::File));
        EXPECT_EQ(watcher->countOfWatchedFiles(), 0);
        EXPECT_EQ(countOfInotifyWatches(), watchesBefore);

        // A second watch keeps the first; two nodes on one file share a watch.
        const auto d = MVFile::fileWithPath(dir.file("d"), nullptr);
        const auto file = MVFile::fileWithPath(dir.file("d/file.txt"), nullptr);
        const auto sameFile = MVFile::fileWithPath(dir.file("d/file.txt"), nullptr);
        EXPECT_TRUE(watcher->watchFile(d, MVFileWatcher::Directory));
        EXPECT_TRUE(watcher->watchFile(d, MVFileWatcher::File));
        EXPECT_TRUE(watcher->watchFile(file, MVFileWatcher::File));
        EXPECT_TRUE(watcher->watchFile(sameFile, MVFileWatcher::File));
        EXPECT_EQ(watcher->countOfWatchedFiles(), 3);
        EXPECT_EQ(watcher->countOfKernelWatches(), 2);
        EXPECT_EQ(countOfInotifyWatches(), watchesBefore + 2);

        // Renewal after a replace moves the watch to the new file.
        replaceByRename(dir.file("d/file.txt"), "g");
        EXPECT_TRUE(watcher->resetForFile(file, MVFileWatcher::File));
        EXPECT_TRUE(watcher->resetForFile(sameFile, MVFileWatcher::File));
        EXPECT_EQ(watcher->countOfKernelWatches(), 2);

        // A file that is gone when its watch is renewed holds nothing.
        ASSERT_TRUE(QFile::remove(dir.file("d/file.txt")));
        EXPECT_FALSE(watcher->resetForFile(file, MVFileWatcher::File));
        EXPECT_FALSE(watcher->resetForFile(sameFile, MVFileWatcher::File));
        EXPECT_EQ(watcher->countOfKernelWatches(), 1);

        watcher->stopWatching(*file);
        watcher->stopWatching(*sameFile);
        watcher->stopWatching(*d);
        EXPECT_EQ(watcher->countOfWatchedFiles(), 0);
        EXPECT_EQ(countOfInotifyWatches(), watchesBefore);

        EXPECT_TRUE(watcher->watchFile(d, MVFileWatcher::Directory));
        watcher->destroy();
        EXPECT_EQ(countOfInotifyWatches(), watchesBefore);
        EXPECT_FALSE(watcher->watchFile(d, MVFileWatcher::Directory));
    }
    EXPECT_EQ(countOfOpenDescriptors(), descriptorsBefore);
}

TEST_F(MVInotifyWatcherTest, AWatchedDirectoryThatIsDeletedOrMovedAwayLeavesTheTree)
{
    dir.write("d/a.txt", "a");
    dir.write("m/b.txt", "b");
    dir.write("m/sub/c.txt", "c");
    dir.write("kept.txt", "k");
    MVScratchDir elsewhere;
    const auto watcher = watchedRoot();
    expand(child("d"));
    const auto m = expand(child("m"));
    expand(child("sub", m));
    EXPECT_EQ(watcher->countOfWatchedFiles(), 4);

    ASSERT_TRUE(QDir(dir.file("d")).removeRecursively());
    EXPECT_TRUE(waitFor([&] { return !child("d"); }));
    ASSERT_TRUE(QFile::rename(dir.file("m"), elsewhere.file("m")));
    EXPECT_TRUE(waitFor([&] { return childNames(root) == QStringList({"kept.txt"}); })) << childNames(root).join(' ').toStdString();
    EXPECT_EQ(watcher->countOfWatchedFiles(), 1);

    // What happens in the directory at its new place is none of the tree's
    // business; the root still hears of its own entries.
    elsewhere.write("m/sub/new.txt", "n");
    dir.write("marker.txt", "m");
    EXPECT_TRUE(waitFor([&] { return child("marker.txt") != nullptr; }));
    EXPECT_TRUE(delegate.errors.empty()) << delegate.errors.front().localizedDescription().toStdString();
}

TEST_F(MVInotifyWatcherTest, ARootThatGoesAwayIsReportedOnce)
{
    dir.write("site/index.html", "i");
    watchedRoot(dir.file("site"));
    ASSERT_TRUE(QDir(dir.file("site")).removeRecursively());
    EXPECT_TRUE(waitFor([&] { return !delegate.errors.empty(); }));
    // The tree stays as it was; a new directory at the path is not the root's.
    dir.write("site/other.html", "o");
    dir.write("marker.txt", "m");
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    MVMainThread::processPending();
    EXPECT_EQ(delegate.errors.size(), 1u);
    EXPECT_EQ(delegate.errors.front().code(), 9);
}

TEST_F(MVInotifyWatcherTest, NamesThatAreNotUTF8AndDirectoriesWithoutReadPermission)
{
    dir.write("d/plain.txt", "p");
    dir.write("closed/secret.txt", "s");
    watchedRoot();
    const auto d = expand(child("d"));

    const QByteArray badName = QFile::encodeName(dir.file("d/")) + "bad\xff\xfe.txt";
    FILE *file = std::fopen(badName.constData(), "w");
    ASSERT_TRUE(file);
    std::fclose(file);
    EXPECT_TRUE(waitFor([&] { return d->countOfChildren() == 2; }));

    // Without read permission the directory cannot be listed or watched
    // (the owner of all files can read it anyway); the rest goes on.
    ASSERT_TRUE(QFile::setPermissions(dir.file("closed"), QFileDevice::WriteOwner | QFileDevice::ExeOwner));
    const auto closed = child("closed");
    closed->setExpanded(true);
    closed->startWatching();
    dir.write("d/after.txt", "a");
    EXPECT_TRUE(waitFor([&] { return d->countOfChildren() == 3; }));
    QFile::setPermissions(dir.file("closed"), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
}

TEST_F(MVInotifyWatcherTest, WithoutInotifyTheTreeWorksUnwatched)
{
    dir.write("a.txt", "a");
    // Take every descriptor number the process may still open, so inotify
    // cannot start, as when the per-user limit of instances is reached.
    struct rlimit original;
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &original), 0);
    const int lowestFree = ::dup(0);
    ASSERT_GE(lowestFree, 0);
    ::close(lowestFree);
    struct rlimit tight = original;
    tight.rlim_cur = static_cast<rlim_t>(lowestFree);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &tight), 0);
    root = MVRootFile::rootWithPath(dir.path());
    ::setrlimit(RLIMIT_NOFILE, &original);

    EXPECT_FALSE(root->fileWatcher());
    root->setDelegate(&delegate);
    root->children(true);
    EXPECT_EQ(childNames(root), QStringList({"a.txt"}));
    RecordingDocument document;
    document.attach(child("a.txt"));
    child("a.txt")->contentsDidChange();
    EXPECT_EQ(document.changesFinished, 1);
    child("a.txt")->setDocument(nullptr);
}
