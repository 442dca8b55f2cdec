// Replace All over a 50 MiB text in an editing view, as the find window runs
// it on the main thread: the copy of the full text, the replacement, the
// new text set as one undoable step; then Undo of that step. Prints the
// wall time of each part.
#include "search/MVSingleFileSearchController.h"
#include "shell/MVTextViewSearchTarget.h"
#include "text/MVTextStorage.h"
#include "text/MVTextView.h"
#include "text/MVUndoManager.h"

#include "SearchBenchText.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QStringList>
#include <QTemporaryDir>

#include <cstdio>
#include <ctime>
#include <time.h>

namespace {

void run(const char *title, const QString &pattern, bool regex, const QString &replacement, const QString &text)
{
    MVTextView view;
    view.resize(800, 600);
    view.setString(text);
    view.undoManager()->removeAllActions();
    MVTextViewSearchTarget target(&view);
    MVSingleFileSearchController find;
    find.setTextView(&target);
    find.setRegularExpression(regex);
    find.setSearchString(pattern);
    find.setReplaceString(replacement);

    // Wall time and this thread's CPU time of each part: on a busy machine
    // the second shows what the part costs by itself.
    struct Mark
    {
        qint64 wall;
        qint64 cpu;
    };
    QElapsedTimer timer;
    timer.start();
    auto mark = [&timer] {
        timespec cpu{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &cpu);
        return Mark{timer.nsecsElapsed(), qint64(cpu.tv_sec) * 1000000000 + cpu.tv_nsec};
    };
    const Mark start = mark();
    QString copy = target.fullString();
    const Mark copied = mark();
    const MVSearch search = find.search();
    const int count = search.replaceAllInString(copy);
    const Mark replaced = mark();
    target.undoableSetString(copy, QStringLiteral("Replace All"));
    QApplication::processEvents();
    const Mark set = mark();
    view.undo();
    QApplication::processEvents();
    const Mark undone = mark();

    auto ms = [](const Mark &from, const Mark &to, bool cpu) { return (cpu ? to.cpu - from.cpu : to.wall - from.wall) / 1e6; };
    std::printf("%-26s %8d replacements\n", title, count);
    for (bool cpu : {false, true})
        std::printf("  %-4s copy %5.0f ms  replace %5.0f ms  set and paint %5.0f ms  total %5.0f ms  undo %5.0f ms\n",
                    cpu ? "cpu" : "wall", ms(start, copied, cpu), ms(copied, replaced, cpu), ms(replaced, set, cpu),
                    ms(start, set, cpu), ms(set, undone, cpu));
    if (view.string().size() != text.size())
        std::printf("  undo did not restore the text\n");
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // The find window keeps its options in the preferences: keep the user's own
    // out of reach.
    QTemporaryDir home;
    if (!home.isValid())
        return 1;
    qputenv("XDG_CONFIG_HOME", (home.path() + QStringLiteral("/config")).toUtf8());
    qputenv("XDG_DATA_HOME", (home.path() + QStringLiteral("/data")).toUtf8());
    qputenv("XDG_CACHE_HOME", (home.path() + QStringLiteral("/cache")).toUtf8());
    QApplication app(argc, argv);
    const QString text = searchBenchText(50 * 1024 * 1024);
    std::printf("text: %lld characters\n", static_cast<long long>(text.size()));
    run("plain, ignore case", QStringLiteral("customer"), false, QStringLiteral("client"), text);
    run("expression with a group", QStringLiteral("\\$(\\w+)"), true, QStringLiteral("$$1_v"), text);
    run("trailing blanks", QStringLiteral("[ \\t]+$"), true, QString(), text);
    return 0;
}
