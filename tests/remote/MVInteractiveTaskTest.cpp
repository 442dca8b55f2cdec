#include "remote/MVInteractiveTask.h"
#include "remote/RemoteTestSupport.h"

#include <gtest/gtest.h>

#include <csignal>

namespace {

std::shared_ptr<MVInteractiveTask> shellTask(const QStringList &arguments, const std::shared_ptr<RecordingDelegate> &delegate)
{
    auto task = MVInteractiveTask::initWithExecutablePath(QStringLiteral("/bin/sh"));
    task->setArguments(arguments);
    task->setEnvironment({{QStringLiteral("PS1"), QStringLiteral("mvsh$ ")}});
    task->setDelegate(delegate);
    return task;
}

} // namespace

TEST(TaskTest, CommandsRunOneAtATimeAndLeaveNothingBehind)
{
    const int descriptors = ProcessCensus::openDescriptors();
    const int threads = ProcessCensus::threads();
    {
        const auto delegate = std::make_shared<RecordingDelegate>();
        const auto task = shellTask({}, delegate);
        task->setPrompt(QStringLiteral("mvsh$"));
        task->launch();
        ASSERT_TRUE(delegate->next()) << "no first prompt";
        // The second command waits for the first to finish.
        EXPECT_TRUE(task->writeCommand(QStringLiteral("echo one")));
        EXPECT_TRUE(task->writeCommand(QStringLiteral("echo two")));
        // Every byte of a non-ASCII command goes out.
        EXPECT_TRUE(task->writeCommand(QStringLiteral("printf '%s\\n' 'é€x'")));
        EXPECT_FALSE(task->writeCommand(QStringLiteral("echo a\nrm -rf b")));
        const auto one = delegate->next();
        const auto two = delegate->next();
        const auto three = delegate->next();
        ASSERT_TRUE(one && two && three) << (one ? one->lines.join('|').toStdString() : "-") << " / "
                                         << (two ? two->lines.join('|').toStdString() : "-");
        EXPECT_EQ(one->lines, QStringList({QStringLiteral("echo one"), QStringLiteral("one")}));
        EXPECT_EQ(two->lines, QStringList({QStringLiteral("echo two"), QStringLiteral("two")}));
        EXPECT_EQ(three->lines.value(1), QStringLiteral("é€x"));
        EXPECT_EQ(task->writeCommand(QStringLiteral("exit 4")), true);
        const auto exit = delegate->next();
        ASSERT_TRUE(exit);
        EXPECT_TRUE(exit->flag);
        task->waitUntilExit();
        EXPECT_EQ(task->pid(), 0);
    }
    EXPECT_TRUE(ProcessCensus::waitForThreads(threads));
    EXPECT_EQ(ProcessCensus::openDescriptors(), descriptors);
    EXPECT_EQ(ProcessCensus::zombies(), 0);
}

TEST(TaskTest, HowAChildEnds)
{
    struct Case
    {
        const char *name;
        QString script;
        bool expectInput;
        bool reportsSilentExit;
        int finishes;     // how many finishes
        QStringList lines; // of the last finish
        bool hadError;    // of the last finish
    } cases[] = {
        {"killed after output", "echo out; kill -9 $$", false, false, 1, {"out"}, false},
        {"silent exit", "exit 3", false, false, 0, {}, false},
        {"silent exit reported", "exit 3", false, true, 1, {}, true},
        {"refused input request", "printf 'Name: '; exit 2", false, false, 1, {"Name: "}, true},
        {"input request", "printf 'Name: '; read x; echo got $x", true, false, 2, {"ann", "got ann"}, false},
    };
    for (const Case &c : cases) {
        const auto delegate = std::make_shared<RecordingDelegate>();
        delegate->expectInput = c.expectInput;
        const auto task = shellTask({QStringLiteral("-c"), c.script}, delegate);
        task->setReportsSilentExit(c.reportsSilentExit);
        task->launch();
        std::optional<RecordingDelegate::Finish> last;
        for (int i = 0; i < c.finishes; ++i) {
            last = delegate->next();
            ASSERT_TRUE(last) << c.name;
            if (c.expectInput && i == 0) {
                EXPECT_EQ(last->lines, QStringList{QStringLiteral("Name: ")});
                task->writeCommand(QStringLiteral("ann"));
            }
        }
        task->waitUntilExit();
        EXPECT_FALSE(delegate->next(std::chrono::milliseconds(0))) << c.name << ": one finish too many";
        if (c.finishes > 0 && last) {
            EXPECT_EQ(last->lines, c.lines) << c.name;
            EXPECT_EQ(last->flag, c.hadError) << c.name;
        }
    }
    EXPECT_EQ(ProcessCensus::zombies(), 0);
}

TEST(TaskTest, CancelReachesAChildEvenWhenThisProcessIgnoresInterrupts)
{
    const auto previous = signal(SIGINT, SIG_IGN);
    const auto delegate = std::make_shared<RecordingDelegate>();
    const auto task = shellTask({QStringLiteral("-c"), QStringLiteral("printf 'ready> '; exec sleep 30")}, delegate);
    task->setReportsSilentExit(true);
    task->setPrompt(QStringLiteral("ready>"));
    task->launch();
    ASSERT_TRUE(delegate->next());
    const auto started = std::chrono::steady_clock::now();
    task->cancel();
    const auto finish = delegate->next();
    ASSERT_TRUE(finish);
    EXPECT_FALSE(finish->flag);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(5));
    task->waitUntilExit();
    signal(SIGINT, previous);
}

TEST(TaskTest, AMissingProgramSaysSo)
{
    const auto delegate = std::make_shared<RecordingDelegate>();
    const auto task = MVInteractiveTask::initWithExecutablePath(QStringLiteral("/nonexistent/tool"));
    task->setDelegate(delegate);
    task->launch();
    const auto finish = delegate->next();
    ASSERT_TRUE(finish);
    EXPECT_TRUE(finish->flag);
    EXPECT_EQ(finish->lines.join(QString()), QStringLiteral("EXEC FAILED: /nonexistent/tool, No such file or directory"));
    task->waitUntilExit();
}
