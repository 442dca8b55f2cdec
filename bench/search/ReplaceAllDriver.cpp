// Replace All over a 50 MiB text in an editing view, as the find window runs
// it on the main thread: the copy of the full text, the replacement, the
// new text set as one undoable step; then Undo of that step. Prints the
// wall time of each part.
#include "search/MVSingleFileSearchController.h"
#include "shell/MVTextViewSearchTarget.h"
#include "text/MVTextStorage.h"
#include "text/MVTextView.h"
#include "text/MVUndoManager.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QStringList>

#include <cstdio>

namespace {

QString textOfSize(qsizetype size)
{
    const QStringList lines = {
        QStringLiteral("<?php"),
        QStringLiteral("function listOrders($customer, $limit = 20) {   "),
        QStringLiteral("    $query = \"SELECT id, total FROM orders WHERE customer = ?\";\t"),
        QStringLiteral("    foreach ($db->rows($query, [$customer->id]) as $row) {"),
        QStringLiteral("        echo '<tr><td class=\"id\">' . htmlspecialchars($row['id']) . '</td></tr>';"),
        QStringLiteral("    }"),
        QStringLiteral("}"),
        QStringLiteral("<div id=\"main\" class=\"content wide\"><p>Résumé of the café — naïve &amp; done</p></div>"),
    };
    QString text;
    text.reserve(size + 200);
    for (qsizetype i = 0; text.size() < size; ++i) {
        text += lines[i % lines.size()];
        text += QLatin1Char('\n');
    }
    return text;
}

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

    QElapsedTimer timer;
    timer.start();
    QString copy = target.fullString();
    const qint64 copied = timer.nsecsElapsed();
    const MVSearch search = find.search();
    const int count = search.replaceAllInString(copy);
    const qint64 replaced = timer.nsecsElapsed();
    target.undoableSetString(copy, QStringLiteral("Replace All"));
    const qint64 set = timer.nsecsElapsed();
    QApplication::processEvents();
    const qint64 painted = timer.nsecsElapsed();
    view.undo();
    QApplication::processEvents();
    const qint64 undone = timer.nsecsElapsed();

    std::printf("%-28s %8d replacements  copy %6.0f ms  replace %6.0f ms  set %6.0f ms  paint %4.0f ms  "
                "total %6.0f ms  undo %6.0f ms\n",
                title, count, copied / 1e6, (replaced - copied) / 1e6, (set - replaced) / 1e6,
                (painted - set) / 1e6, painted / 1e6, (undone - painted) / 1e6);
    if (view.string().size() != text.size())
        std::printf("  undo did not restore the text\n");
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const QString text = textOfSize(50 * 1024 * 1024);
    std::printf("text: %lld characters\n", static_cast<long long>(text.size()));
    run("plain, ignore case", QStringLiteral("customer"), false, QStringLiteral("client"), text);
    run("expression with a group", QStringLiteral("\\$(\\w+)"), true, QStringLiteral("$$1_v"), text);
    run("trailing blanks", QStringLiteral("[ \\t]+$"), true, QString(), text);
    return 0;
}
