#include "FileTreeFixture.h"

#include "files/MVFileEnumerator.h"
#include "platform/MVMainThread.h"

#include <atomic>
#include <thread>

using MVFileEnumeratorTest = FileTreeTest;

TEST_F(MVFileEnumeratorTest, WalksBreadthFirstAndLoadsAsItGoes)
{
    dir.write("a.txt", "");
    dir.write("d1/b.txt", "");
    dir.write("d1/d2/c.txt", "");
    dir.write("d3/.svn/x", "");
    makeRoot(false);

    QStringList names;
    for (const auto &file : MVFileEnumerator(root).allObjects())
        names.append(file->pathFromRoot());
    EXPECT_EQ(names, QStringList({"", "a.txt", "d1", "d3", "d1/b.txt", "d1/d2", "d1/d2/c.txt"}));

    MVFileEnumerator single(child("a.txt"));
    EXPECT_EQ(single.nextObject(), child("a.txt"));
    EXPECT_EQ(single.nextObject(), nullptr);
}

TEST_F(MVFileEnumeratorTest, AWorkerWalksThroughTheMainThread)
{
    for (int i = 0; i < 20; ++i)
        dir.write(QString("d%1/f.txt").arg(i), "");
    makeRoot(false);

    std::atomic<bool> done = false;
    qsizetype count = 0;
    std::thread worker([&] {
        count = qsizetype(MVFileEnumerator(root).allObjects().size());
        done = true;
    });
    while (!done)
        MVMainThread::processPending();
    worker.join();
    EXPECT_EQ(count, 41);
}
