#include "FileTreeFixture.h"

#include "files/MVFileSCMStatus.h"
#include "platform/MVMainThread.h"

#include <QDir>

#include <thread>

using MVRootFileTest = FileTreeTest;

namespace {

struct StatusEntry : MVFileSCMStatus
{
    StatusEntry(QString p, int s, QString l) : entryPath(std::move(p)), status(s), letter(std::move(l)) {}
    QString path() const override { return entryPath; }
    int workingCopyStatus() const override { return status; }
    QString workingCopyStatusLetter() const override { return letter; }
    QString entryPath;
    int status;
    QString letter;
};

} // namespace

TEST_F(MVRootFileTest, PathsBelowTheRootAreFoundOnlyFromItsStart)
{
    dir.write("sub/inner.txt", "i");
    makeRoot(false);

    EXPECT_EQ(root->childWithPath(dir.path().split('/'), false), root);
    const auto inner = root->childWithPath(dir.file("sub/inner.txt").split('/'), true);
    ASSERT_TRUE(inner);
    EXPECT_EQ(inner->path(), dir.file("sub/inner.txt"));
    EXPECT_EQ(inner->pathFromRoot(), "sub/inner.txt");

    // The root's path inside another path is not the root.
    EXPECT_FALSE(root->childWithPath(("/copy" + dir.file("sub/inner.txt")).split('/'), true));
    EXPECT_FALSE(root->childWithPath(QString("/elsewhere/sub/inner.txt").split('/'), true));
    EXPECT_FALSE(root->childWithPath((dir.path() + "-other/sub").split('/'), true));
    EXPECT_FALSE(root->childWithPath(dir.file("sub/missing.txt").split('/'), true));
}

TEST_F(MVRootFileTest, AWatcherIsMadeOnlyForALocalDirectory)
{
    auto watcher = std::make_shared<RecordingWatcher>();
    MVRootFile::setWatcherFactory([watcher] { return watcher; });

    auto watched = MVRootFile::rootWithPath(dir.path());
    EXPECT_EQ(watched->fileWatcher(), watcher);
    EXPECT_EQ(watcher->typeOf(dir.path()), 2);
    EXPECT_FALSE(MVRootFile::isNetworkFileSystem(dir.path()));

    EXPECT_FALSE(MVRootFile::rootWithPath(dir.path(), false)->fileWatcher());
    EXPECT_FALSE(MVRootFile::rootWithPath(dir.write("file.txt", "x"))->fileWatcher());
    EXPECT_FALSE(MVRootFile::rootWithPath(dir.file("missing"))->fileWatcher());

    watched.reset();
    EXPECT_TRUE(watcher->destroyed);
}

TEST_F(MVRootFileTest, WatchingFollowsExpandedDirectoriesAndOpenDocuments)
{
    auto watcher = std::make_shared<RecordingWatcher>();
    MVRootFile::setWatcherFactory([watcher] { return watcher; });
    dir.write("d/e/f.txt", "f");
    dir.write("a.html", "a");
    root = MVRootFile::rootWithPath(dir.path());
    root->setDelegate(&delegate);
    root->children(true);
    const auto d = child("d");
    const auto e = root->childWithPath(dir.file("d/e").split('/'), true);
    ASSERT_TRUE(e);

    // Never expanded: nothing to watch.
    d->startWatching();
    EXPECT_FALSE(watcher->isWatching(d->path()));

    d->setExpanded(true);
    e->setExpanded(true);
    d->startWatching();
    EXPECT_EQ(watcher->typeOf(d->path()), 1);
    EXPECT_EQ(watcher->typeOf(e->path()), 1);

    e->setExpanded(false);
    d->stopWatching();
    EXPECT_FALSE(watcher->isWatching(d->path()));
    EXPECT_FALSE(watcher->isWatching(e->path()));

    const auto a = child("a.html");
    RecordingDocument document;
    document.attach(a);
    EXPECT_EQ(watcher->typeOf(a->path()), 0);
    // A save renews the watch, so the save itself is not an outside change.
    a->contentsDidChange();
    EXPECT_EQ(watcher->calls.back().operation, "reset");
    EXPECT_EQ(watcher->calls.back().type, 0);
    a->setDocument(nullptr);
    EXPECT_FALSE(watcher->isWatching(a->path()));

    // A node that leaves the tree is no longer watched.
    d->setExpanded(true);
    d->startWatching();
    d->deleteFile();
    EXPECT_FALSE(watcher->isWatching(dir.file("d")));
    EXPECT_FALSE(watcher->isWatching(dir.file("d/e")));
}

TEST_F(MVRootFileTest, WatcherEventsAreHandledOnTheMainThread)
{
    dir.write("d/old.txt", "o");
    dir.write("a.html", "a");
    makeRoot();
    const auto d = child("d");
    d->children(true);
    const auto a = child("a.html");
    RecordingDocument document;
    document.attach(a);

    dir.write("d/new.txt", "n");
    std::thread([d, a] {
        d->watcherNoticedChange(2);
        a->watcherNoticedChange(2);
    }).join();
    EXPECT_EQ(childNames(d), QStringList({"old.txt"}));
    EXPECT_EQ(document.externalChanges, 0);

    MVMainThread::processPending();
    EXPECT_EQ(childNames(d), QStringList({"new.txt", "old.txt"}));
    EXPECT_EQ(document.externalChanges, 1);
    a->setDocument(nullptr);
}

TEST_F(MVRootFileTest, VersionControlStatusByRelativeOrAbsolutePath)
{
    dir.write("a.html", "a");
    dir.write("sub/inner.txt", "i");
    dir.write("plain.txt", "p");
    makeRoot();
    child("sub")->children(true);

    root->setChildrenSCMStatusFromEntries({std::make_shared<StatusEntry>("a.html", 5, "M"),
                                           std::make_shared<StatusEntry>(dir.file("sub/inner.txt"), 8, "?"),
                                           std::make_shared<StatusEntry>("missing.txt", 1, "A")});
    const auto a = child("a.html");
    const auto inner = child("inner.txt", child("sub"));
    const auto plain = child("plain.txt");
    EXPECT_EQ(a->scmStatusLetter(), "M");
    EXPECT_TRUE(a->hasLocalModifications());
    EXPECT_TRUE(a->isInRepository());
    EXPECT_EQ(inner->scmStatusLetter(), "?");
    EXPECT_FALSE(inner->isInRepository());
    EXPECT_EQ(plain->scmStatusLetter(), "");
    EXPECT_TRUE(plain->isInRepository());
    EXPECT_FALSE(plain->hasLocalModifications());

    root->clearSCMStatus(false);
    EXPECT_EQ(a->scmStatusLetter(), "");
    EXPECT_EQ(inner->scmStatusLetter(), "?");
    root->clearSCMStatus(true);
    EXPECT_EQ(inner->scmStatusLetter(), "");
}

TEST_F(MVRootFileTest, ClearingADelegateLeavesOtherDelegatesAlone)
{
    dir.write("a.html", "a");
    dir.write("d/b.html", "b");
    makeRoot();
    child("d")->children(true);
    RecordingTreeDelegate other;
    child("d")->setDelegate(&other);

    root->clearDelegate(&delegate);
    EXPECT_EQ(root->delegate(), nullptr);
    EXPECT_EQ(child("a.html")->delegate(), nullptr);
    EXPECT_EQ(child("d")->delegate(), &other);
    EXPECT_EQ(child("b.html", child("d"))->delegate(), &delegate);

    root->clearReferences();
    EXPECT_EQ(child("d")->parent(), nullptr);
    EXPECT_EQ(child("d")->delegate(), nullptr);
}
