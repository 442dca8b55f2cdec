#include "platform/MVMainThread.h"
#include "platform/MVNotificationCenter.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

TEST(MVNotificationCenter, DeliversByNameAndObjectAndStopsAtRemoval)
{
    MVNotificationCenter center;
    int a = 0, b = 0;
    int anyName = 0, fromA = 0, fromB = 0;
    MVObservation byName("Changed", nullptr, [&](const MVNotification &) { ++anyName; }, center);
    {
        MVObservation byObject("Changed", &a, [&](const MVNotification &n) {
            EXPECT_EQ(n.object, &a);
            ++fromA;
        }, center);
        center.post("Changed", &a);
        center.post("Changed", &b);
        center.post("Other", &a);
    }
    center.post("Changed", &a);
    const auto token = center.addObserver("Changed", &b, [&](const MVNotification &n) {
        fromB += n.userInfo.value("n").toInt();
    });
    center.post("Changed", &b, {{"n", 5}});
    center.removeObserver(token);
    center.post("Changed", &b, {{"n", 5}});
    EXPECT_EQ(anyName, 5);
    EXPECT_EQ(fromA, 1);
    EXPECT_EQ(fromB, 5);
}

TEST(MVNotificationCenter, AnObserverRemovedDuringAPostIsNotCalled)
{
    MVNotificationCenter center;
    int second = 0;
    MVNotificationCenter::Token secondToken = 0;
    center.addObserver("N", nullptr, [&](const MVNotification &) { center.removeObserver(secondToken); });
    secondToken = center.addObserver("N", nullptr, [&](const MVNotification &) { ++second; });
    center.post("N");
    EXPECT_EQ(second, 0);
}

TEST(MVMainThread, WorkersHandOverWithAndWithoutWaiting)
{
    ASSERT_TRUE(MVMainThread::isCurrent());
    std::atomic<int> asyncRuns = 0;
    std::atomic<bool> syncRanOnMain = false;
    std::atomic<bool> workerDone = false;
    std::thread worker([&] {
        EXPECT_FALSE(MVMainThread::isCurrent());
        MVMainThread::async([&] {
            EXPECT_TRUE(MVMainThread::isCurrent());
            ++asyncRuns;
        });
        MVMainThread::sync([&] { syncRanOnMain = MVMainThread::isCurrent(); });
        workerDone = true;
    });
    QElapsedTimer timer;
    timer.start();
    while (!workerDone && timer.elapsed() < 30000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    worker.join();
    MVMainThread::processPending();
    EXPECT_TRUE(syncRanOnMain);
    EXPECT_EQ(asyncRuns, 1);

    // On the main thread a waited call runs at once.
    bool ran = false;
    MVMainThread::sync([&] { ran = true; });
    EXPECT_TRUE(ran);
}

} // namespace
