// Replace All in an editing view, as the find window runs it on the main
// thread, then Undo of it, over a 50 MiB text or a given file. Prints the
// time of each and the memory of the process.
#include "search/MVSingleFileSearchController.h"
#include "shell/MVTextViewSearchTarget.h"
#include "text/MVTextStorage.h"
#include "text/MVTextView.h"
#include "text/MVUndoManager.h"

#include "../ProcessMemory.h"
#include "SearchBenchText.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
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
    const qint64 rssBefore = processStatusKilobytes("VmRSS:");
    const Mark start = mark();
    const int count = find.replaceAll();
    QApplication::processEvents();
    const Mark set = mark();
    view.undo();
    QApplication::processEvents();
    const Mark undone = mark();

    auto ms = [](const Mark &from, const Mark &to, bool cpu) { return (cpu ? to.cpu - from.cpu : to.wall - from.wall) / 1e6; };
    std::printf("%-26s %8d replacements\n", title, count);
    for (bool cpu : {false, true})
        std::printf("  %-4s replace all %5.0f ms  undo %5.0f ms\n", cpu ? "cpu" : "wall", ms(start, set, cpu),
                    ms(set, undone, cpu));
    std::printf("  memory: %lld MB before, peak of the process so far %lld MB\n", rssBefore / 1024,
                processStatusKilobytes("VmHWM:") / 1024);
    if (view.string() != text)
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
    // With a file: that file's text and one search (bench_search_replace_all
    // FILE SEARCH REPLACEMENT [regex]); without: three searches over 50 MiB.
    const QStringList arguments = app.arguments();
    if (arguments.size() >= 4) {
        QFile file(arguments[1]);
        if (!file.open(QIODevice::ReadOnly))
            return 1;
        const QString text = QString::fromUtf8(file.readAll());
        std::printf("text: %lld characters\n", static_cast<long long>(text.size()));
        run("from the file", arguments[2], arguments.size() > 4, arguments[3], text);
        return 0;
    }
    const QString text = searchBenchText(50 * 1024 * 1024);
    std::printf("text: %lld characters\n", static_cast<long long>(text.size()));
    run("plain, ignore case", QStringLiteral("customer"), false, QStringLiteral("client"), text);
    run("expression with a group", QStringLiteral("\\$(\\w+)"), true, QStringLiteral("$$1_v"), text);
    run("trailing blanks", QStringLiteral("[ \\t]+$"), true, QString(), text);
    return 0;
}
