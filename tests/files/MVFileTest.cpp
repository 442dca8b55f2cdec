// The node's logic with two representations: the remote side is a test
// representation that reports only when the test says so.
#include "FileTreeFixture.h"

#include "app/Defaults.h"
#include "files/MVLocalFileRepresentation.h"

#include <QDir>

using MVFileTwoPlaces = FileTreeTest;

TEST_F(MVFileTwoPlaces, SameNameInBothPlacesIsOneNode)
{
    dir.write("a.html", "a");
    dir.write("local.css", "c");
    dir.write("sub/inner.txt", "i");
    makeRoot();
    const auto rootRemote = connectRemote({remoteFile("a.html"), remoteFile("remote.js"), remoteDirectory("sub"),
                                           remoteFile(".svn"), remoteFile("site.mvproj"), remoteFile("..")});

    EXPECT_EQ(childNames(root), QStringList({"a.html", "local.css", "remote.js", "sub"}));
    EXPECT_EQ(child("a.html")->indicator(), "");
    EXPECT_EQ(child("local.css")->indicator(), "L");
    EXPECT_EQ(child("remote.js")->indicator(), "R");
    EXPECT_EQ(child("remote.js")->activeRepresentation(), 1);
    EXPECT_EQ(child("remote.js")->path(), dir.file("remote.js"));
    EXPECT_EQ(child("remote.js")->pathFromRoot(), "remote.js");
    EXPECT_TRUE(rootRemote->hasQueue());
    EXPECT_TRUE(refreshed(root));
}

TEST_F(MVFileTwoPlaces, HiddenNamesNeverShowButAnExistingNodeStays)
{
    makeRoot();
    const auto rootRemote = connectRemote({});
    const auto cvs = root->addChildRepresentation(remoteFile("CVS"));
    ASSERT_TRUE(cvs);

    rootRemote->finishReload({remoteFile("CVS"), remoteFile(".git"), remoteFile("x.tmp_Morvel1"), remoteFile("page.html")});
    EXPECT_EQ(childNames(root), QStringList({"CVS", "page.html"}));
    EXPECT_EQ(child("CVS"), cvs);
}

TEST_F(MVFileTwoPlaces, DeleteGoesRemoteFirstAndAFailureOnEitherSideKeepsWhatIsLeft)
{
    dir.write("a.html", "a");
    dir.write("b.html", "b");
    dir.write("c.html", "c");
    makeRoot();
    connectRemote({remoteFile("a.html"), remoteFile("b.html"), remoteFile("c.html")});
    const auto a = child("a.html");
    const auto b = child("b.html");
    const auto c = child("c.html");

    a->deleteFile();
    EXPECT_TRUE(a->hasPendingOperation());
    EXPECT_EQ(remoteOf(a)->operations(), QStringList({"delete"}));
    EXPECT_TRUE(QFileInfo::exists(dir.file("a.html")));
    remoteOf(a)->finishDelete(true);
    EXPECT_FALSE(QFileInfo::exists(dir.file("a.html")));
    EXPECT_FALSE(child("a.html"));
    EXPECT_TRUE(delegate.wasRemoved(a));
    EXPECT_FALSE(a->hasPendingOperation());
    EXPECT_FALSE(a->localRepresentation() || a->remoteRepresentation());

    // The remote side fails: both places stay.
    b->deleteFile();
    remoteOf(b)->finishDelete(false);
    EXPECT_FALSE(b->hasPendingOperation());
    EXPECT_TRUE(b->localRepresentation() && b->remoteRepresentation());
    EXPECT_EQ(child("b.html"), b);
    EXPECT_TRUE(QFileInfo::exists(dir.file("b.html")));
    EXPECT_FALSE(delegate.wasRemoved(b));

    // The local step fails after the remote one: the node is local only.
    c->deleteFile();
    QFile::remove(dir.file("c.html")); // gone behind the tree's back
    remoteOf(c)->finishDelete(true);
    EXPECT_FALSE(c->hasPendingOperation());
    EXPECT_EQ(c->indicator(), "L");
    ASSERT_EQ(delegate.errors.size(), 1u);
    EXPECT_EQ(delegate.errors[0].code(), 9);
    EXPECT_TRUE(refreshed(c));
}

TEST_F(MVFileTwoPlaces, RenameGoesRemoteFirstThenLocal)
{
    const auto a = fileInBothPlaces("a.html");
    RecordingDocument document;
    document.attach(a);

    a->rename("z.html");
    EXPECT_TRUE(a->hasPendingOperation());
    EXPECT_EQ(remoteOf(a)->lastRequest().argument, "z.html");
    EXPECT_TRUE(QFileInfo::exists(dir.file("a.html")));

    remoteOf(a)->finishRename(true);
    EXPECT_FALSE(QFileInfo::exists(dir.file("a.html")));
    EXPECT_EQ(contents(dir.file("z.html")), "a");
    EXPECT_EQ(a->name(), "z.html");
    EXPECT_EQ(a->indicator(), "");
    EXPECT_FALSE(a->hasPendingOperation());
    EXPECT_EQ(document.pathChanges, 1);
    EXPECT_EQ(childNames(root), QStringList({"z.html"}));
    a->setDocument(nullptr);
}

TEST_F(MVFileTwoPlaces, RemoteRenameThatLocalCannotFollowLeavesTwoNodes)
{
    const auto a = fileInBothPlaces("a.html", "mine");
    dir.write("b.html", "theirs"); // on disk, but not yet in the tree

    a->rename("b.html");
    remoteOf(a)->finishRename(true);

    EXPECT_EQ(contents(dir.file("b.html")), "theirs"); // never replaced
    EXPECT_EQ(contents(dir.file("a.html")), "mine");
    EXPECT_EQ(childNames(root), QStringList({"a.html", "b.html"}));
    EXPECT_EQ(child("a.html"), a);
    EXPECT_EQ(a->indicator(), "L");
    EXPECT_EQ(child("b.html")->indicator(), "R");
    EXPECT_FALSE(a->hasPendingOperation());
    ASSERT_FALSE(delegate.errors.empty());
    EXPECT_EQ(delegate.errors.back().code(), 9);
}

TEST_F(MVFileTwoPlaces, ASplitDirectoryTakesItsRemoteChildrenAlong)
{
    dir.write("d/x.html", "x");
    makeRoot();
    connectRemote({remoteDirectory("d")});
    dir.write("e", "a file in the way"); // not yet in the tree
    const auto d = child("d");
    d->children(true);
    remoteOf(d)->finishLoad({remoteFile("x.html"), remoteFile("y.html")});
    const auto x = child("x.html", d);
    ASSERT_EQ(x->indicator(), "");

    d->rename("e");
    ASSERT_EQ(remoteOf(d)->lastRequest().operation, "rename");
    remoteOf(d)->finishRename(true); // the local directory cannot follow

    const auto e = child("e");
    ASSERT_TRUE(e);
    EXPECT_EQ(childNames(root), QStringList({"d", "e"}));
    EXPECT_EQ(d->indicator(), "L");
    EXPECT_EQ(childNames(d), QStringList({"x.html"}));
    EXPECT_EQ(x->indicator(), "L");
    EXPECT_EQ(childNames(e), QStringList({"x.html", "y.html"}));
    EXPECT_EQ(child("x.html", e)->indicator(), "R");
    EXPECT_EQ(child("x.html", e)->path(), dir.file("e/x.html"));
    EXPECT_EQ(contents(dir.file("e")), "a file in the way");
    EXPECT_EQ(contents(dir.file("d/x.html")), "x");
}

TEST_F(MVFileTwoPlaces, ARemoteOnlyTreeNeverTakesALocalSideForGood)
{
    makeRoot();
    root->setRemoteOnly(true);
    connectRemote({remoteFile("r.html")});
    const auto r = child("r.html");
    // A local listing that names the same file (a cached copy on disk) does
    // not give the node a local side.
    dir.write("r.html", "cached");
    root->localRepresentation()->reloadChildren();
    EXPECT_EQ(child("r.html"), r);
    EXPECT_EQ(r->indicator(), "R");

    // A download gives it one while a document is open, and closing the
    // document forgets the cached copy.
    r->contentAvailable(true);
    remoteOf(r)->setLocalPath(dir.file("r.html"));
    remoteOf(r)->finishDownload();
    ASSERT_EQ(r->indicator(), "");
    RecordingDocument document;
    document.attach(r);
    r->setDocument(nullptr);
    EXPECT_EQ(r->indicator(), "R");
    EXPECT_TRUE(remoteOf(r)->localPath().isEmpty());
    EXPECT_TRUE(QFileInfo::exists(dir.file("r.html")));
    EXPECT_FALSE(r->contentAvailable(false));
}

TEST_F(MVFileTwoPlaces, RenameOntoTheComplementaryNodeMergesThem)
{
    dir.write("l.html", "l");
    makeRoot();
    connectRemote({remoteFile("r.html"), remoteFile("s.html")});
    const auto l = child("l.html");
    const auto r = child("r.html");

    // Local-only onto remote-only: the local rename is immediate.
    l->rename("r.html");
    EXPECT_EQ(contents(dir.file("r.html")), "l");
    EXPECT_EQ(childNames(root), QStringList({"r.html", "s.html"}));
    EXPECT_EQ(child("r.html"), l);
    EXPECT_EQ(l->indicator(), "");
    EXPECT_TRUE(delegate.wasRemoved(r));
    EXPECT_FALSE(l->hasPendingOperation());

    // Remote-only onto local-only: merged when the remote side reports.
    dir.write("t.html", "t");
    root->refresh(true);
    const auto s = child("s.html");
    const auto t = child("t.html");
    ASSERT_TRUE(t);
    s->rename("t.html");
    EXPECT_EQ(remoteOf(s)->lastRequest().context.lock(), t);
    remoteOf(s)->finishRename(true);
    EXPECT_EQ(childNames(root), QStringList({"r.html", "t.html"}));
    EXPECT_EQ(t->indicator(), "");
    EXPECT_TRUE(delegate.wasRemoved(s));
}

TEST_F(MVFileTwoPlaces, RenameOntoANameOfTheSameKindIsRefused)
{
    dir.write("a.html", "a");
    dir.write("b.html", "b");
    makeRoot();
    connectRemote({remoteFile("a.html"), remoteFile("b.html")});
    const auto a = child("a.html");

    a->rename("b.html");
    EXPECT_FALSE(a->hasPendingOperation());
    EXPECT_FALSE(remoteOf(a)->operations().contains("rename"));
    ASSERT_EQ(delegate.errors.size(), 1u);
    EXPECT_EQ(delegate.errors[0].code(), 9);
    EXPECT_EQ(contents(dir.file("a.html")), "a");
    EXPECT_EQ(contents(dir.file("b.html")), "b");
}

TEST_F(MVFileTwoPlaces, MoveGoesLocalFirstAndASecondMoveWaits)
{
    dir.write("a.html", "a");
    QDir().mkpath(dir.file("dest"));
    QDir().mkpath(dir.file("other"));
    makeRoot();
    connectRemote({remoteFile("a.html"), remoteDirectory("dest"), remoteDirectory("other")});
    const auto a = child("a.html");
    const auto dest = child("dest");
    RecordingDocument document;
    document.attach(a);

    EXPECT_TRUE(a->moveToFile(dest));
    EXPECT_TRUE(QFileInfo::exists(dir.file("dest/a.html")));
    EXPECT_EQ(remoteOf(a)->lastRequest().operation, "move");
    EXPECT_EQ(remoteOf(a)->lastRequest().argument, dir.file("dest/a.html"));
    EXPECT_TRUE(a->hasPendingOperation());

    EXPECT_FALSE(a->moveToFile(child("other")));
    EXPECT_TRUE(QFileInfo::exists(dir.file("dest/a.html")));
    EXPECT_EQ(remoteOf(a)->operations().count("move"), 1);
    EXPECT_EQ(a->parent(), root);

    remoteOf(a)->finishMove(true);
    EXPECT_EQ(a->parent(), dest);
    EXPECT_EQ(dest->childWithName("a.html", false), a);
    EXPECT_FALSE(child("a.html"));
    EXPECT_EQ(a->path(), dir.file("dest/a.html"));
    EXPECT_EQ(a->pathFromRoot(), "dest/a.html");
    EXPECT_EQ(a->indicator(), "");
    EXPECT_FALSE(a->hasPendingOperation());
    EXPECT_EQ(document.pathChanges, 1);
    a->setDocument(nullptr);
}

TEST_F(MVFileTwoPlaces, RemoteMoveFailureAfterLocalMoveSplitsTheNode)
{
    dir.write("a.html", "a");
    QDir().mkpath(dir.file("dest"));
    makeRoot();
    connectRemote({remoteFile("a.html"), remoteDirectory("dest")});
    const auto a = child("a.html");
    const auto dest = child("dest");

    ASSERT_TRUE(a->moveToFile(dest));
    remoteOf(a)->finishMove(false);

    EXPECT_EQ(a->parent(), dest);
    EXPECT_EQ(a->indicator(), "L");
    const auto left = child("a.html");
    ASSERT_TRUE(left);
    EXPECT_NE(left, a);
    EXPECT_EQ(left->indicator(), "R");
    EXPECT_FALSE(a->hasPendingOperation());
    // The move is over: another one may start.
    QDir().mkpath(dir.file("later"));
    root->refresh(true);
    EXPECT_TRUE(a->moveToFile(child("later")));
}

TEST_F(MVFileTwoPlaces, MoveOntoTheComplementaryNodeInTheTargetMerges)
{
    dir.write("a.html", "a");
    QDir().mkpath(dir.file("dest"));
    makeRoot();
    connectRemote({remoteDirectory("dest")});
    const auto dest = child("dest");
    dest->children(true);
    remoteOf(dest)->finishLoad({remoteFile("a.html")});
    const auto remoteA = child("a.html", dest);
    ASSERT_TRUE(remoteA);
    EXPECT_EQ(remoteA->indicator(), "R");

    const auto a = child("a.html");
    EXPECT_TRUE(a->moveToFile(dest));
    EXPECT_EQ(childNames(dest), QStringList({"a.html"}));
    EXPECT_EQ(child("a.html", dest), a);
    EXPECT_EQ(a->indicator(), "");
    EXPECT_TRUE(delegate.wasRemoved(remoteA));
}

TEST_F(MVFileTwoPlaces, LocalReloadKeepsNodesThatStillExistRemotely)
{
    dir.write("gone.html", "g");
    dir.write("both.html", "b");
    dir.write("stays.html", "s");
    makeRoot();
    connectRemote({remoteFile("both.html")});
    const auto gone = child("gone.html");
    const auto both = child("both.html");
    RecordingDocument goneDocument;
    RecordingDocument bothDocument;
    goneDocument.attach(gone);
    bothDocument.attach(both);

    QFile::remove(dir.file("gone.html"));
    QFile::remove(dir.file("both.html"));
    dir.write("new.html", "n");
    root->refresh(true);

    EXPECT_EQ(childNames(root), QStringList({"both.html", "new.html", "stays.html"}));
    EXPECT_TRUE(delegate.wasRemoved(gone));
    EXPECT_EQ(goneDocument.disappeared, 1);
    EXPECT_FALSE(goneDocument.inTreeWhenTold);
    EXPECT_EQ(both->indicator(), "R");
    EXPECT_EQ(both->activeRepresentation(), 1);
    EXPECT_EQ(bothDocument.disappeared, 1);
    EXPECT_FALSE(both->document());
    EXPECT_FALSE(delegate.wasRemoved(both));
    EXPECT_TRUE(refreshed(root));
}

TEST_F(MVFileTwoPlaces, LossOfTheRemoteSideTakesTheNodeOutButKeepsItsDocument)
{
    dir.write("both.html", "b");
    makeRoot();
    const auto rootRemote = connectRemote({remoteFile("both.html"), remoteFile("r.html")});
    const auto both = child("both.html");
    RecordingDocument document;
    document.attach(both);

    rootRemote->finishReload({});
    EXPECT_TRUE(childNames(root).isEmpty());
    EXPECT_TRUE(delegate.wasRemoved(both));
    EXPECT_EQ(document.leftTree, 1);
    EXPECT_EQ(document.disappeared, 0);
    EXPECT_FALSE(both->document());
    EXPECT_TRUE(QFileInfo::exists(dir.file("both.html")));

    // The next local listing brings the file back.
    root->refresh(true);
    EXPECT_EQ(childNames(root), QStringList({"both.html"}));
    EXPECT_EQ(child("both.html")->indicator(), "L");
}

TEST_F(MVFileTwoPlaces, SaveFinishesOnlyWhenTheUploadHasBeenReported)
{
    const auto a = fileInBothPlaces("a.html");
    RecordingDocument document;
    document.attach(a);
    delegate.shouldUpload = true;

    a->contentsDidChange();
    EXPECT_EQ(remoteOf(a)->operations().count("upload"), 1);
    EXPECT_TRUE(a->hasPendingOperation());
    EXPECT_EQ(document.changesFinished, 0);

    remoteOf(a)->finishUpload();
    EXPECT_EQ(document.changesFinished, 1);
    EXPECT_FALSE(a->hasPendingOperation());

    // Offline: the save is finished at once with an error; the upload stays queued.
    queue->online = false;
    a->contentsDidChange();
    EXPECT_EQ(document.changesFinished, 2);
    EXPECT_EQ(remoteOf(a)->operations().count("upload"), 2);
    EXPECT_TRUE(a->hasPendingOperation());
    ASSERT_EQ(delegate.errors.size(), 1u);
    EXPECT_EQ(delegate.errors[0].code(), 18);
    EXPECT_EQ(delegate.errors[0].domain(), MVError::MorvelDomain);

    // No upload wanted: finished at once.
    delegate.shouldUpload = false;
    a->contentsDidChange();
    EXPECT_EQ(document.changesFinished, 3);
    EXPECT_EQ(remoteOf(a)->operations().count("upload"), 2);
    a->setDocument(nullptr);
}

TEST_F(MVFileTwoPlaces, UploadMakesMissingDirectoriesFromTheTopDown)
{
    makeRoot();
    connectRemote({});
    journal->clear();
    delegate.shouldUpload = true;
    const QString path = dir.write("new/deeper/f.html", "f");

    const auto node = root->addFileAtPath(path);
    ASSERT_TRUE(node);
    EXPECT_EQ(node->path(), path);
    EXPECT_EQ(*journal, QStringList({"makeDirectory " + dir.file("new"), "makeDirectory " + dir.file("new/deeper"),
                                     "upload " + path}));
    EXPECT_TRUE(child("new")->hasPendingOperation());

    // A second save of a known file finds the same node.
    EXPECT_EQ(root->addFileAtPath(path), node);
    EXPECT_FALSE(root->addFileAtPath("/elsewhere/x.html"));
}

TEST_F(MVFileTwoPlaces, DownloadMakesTheLocalSideWhenItEndsButNeverGoesOverALocalFile)
{
    dir.write("a.html", "local");
    makeRoot();
    connectRemote({remoteFile("a.html"), remoteFile("r.html")});
    const auto a = child("a.html");
    const auto r = child("r.html");

    EXPECT_FALSE(r->contentAvailable(false));
    EXPECT_FALSE(remoteOf(r)->operations().contains("download"));
    EXPECT_FALSE(r->contentAvailable(true));
    EXPECT_EQ(remoteOf(r)->lastRequest().operation, "download");
    EXPECT_TRUE(r->hasPendingOperation());
    EXPECT_EQ(r->pathForRemoteFileRepresentation(r->remoteRepresentation().get()), dir.file("r.html"));
    dir.write("r.html", "downloaded");
    remoteOf(r)->finishDownload();
    EXPECT_EQ(r->indicator(), "");
    EXPECT_FALSE(r->hasPendingOperation());
    EXPECT_EQ(delegate.available, std::vector<MVFile::Ptr>{r});
    EXPECT_TRUE(r->contentAvailable(false));

    // Where a local file is, a download goes to a new private place each time.
    auto *rep = a->remoteRepresentation().get();
    const QString first = a->pathForRemoteFileRepresentation(rep);
    EXPECT_NE(first, a->pathForRemoteFileRepresentation(rep));
    EXPECT_TRUE(first.startsWith(Defaults::temporaryDirectory() + "/"));
    EXPECT_TRUE(first.endsWith("/a.html"));
    EXPECT_TRUE(QFileInfo(QFileInfo(first).path()).isDir());
    delegate.overwriteLocal = true;
    EXPECT_EQ(a->pathForRemoteFileRepresentation(rep), dir.file("a.html"));
}

TEST_F(MVFileTwoPlaces, AReportAfterTheTreeIsGoneReachesNobody)
{
    makeRoot();
    connectRemote({remoteFile("r.html")});
    auto r = child("r.html");
    const auto rRemote = remoteOf(r);
    r->deleteFile();

    root->clearReferences();
    delegate.refreshed.clear(); // the recorder holds nodes too
    root.reset();
    r.reset();
    EXPECT_EQ(queue->cleared.size(), 1u);

    rRemote->finishDelete(true);
    rRemote->finishUpload();
    rRemote->finishReload({remoteFile("x")});
    EXPECT_TRUE(delegate.removed.empty());
}

TEST_F(MVFileTwoPlaces, ANewQueueMakesTheRemoteSideAnew)
{
    dir.write("d/x.html", "x");
    makeRoot();
    child("d")->children(true);
    const auto firstRootRemote = connectRemote({remoteDirectory("d")});
    const auto d = child("d");
    const auto firstDRemote = remoteOf(d);
    ASSERT_TRUE(firstDRemote);

    const auto second = std::make_shared<RecordingQueue>();
    root->setRemoteQueue(second);
    ASSERT_EQ(queue->cleared.size(), 1u);
    EXPECT_EQ(queue->cleared[0], root.get());
    EXPECT_NE(remoteOf(root), firstRootRemote);
    EXPECT_NE(remoteOf(d), firstDRemote);
    EXPECT_EQ(remoteOf(d)->operations(), QStringList({"loadChildren"}));
    EXPECT_FALSE(firstRootRemote->delegate());
}
