// The cost of one key in a real editing view, from the key event to its
// return: the typing hook, the storage, undo, colouring, the entity check,
// the completion hook and the paired rename. The view is offscreen with the
// shipped languages; the caret is put in markup and in PHP code at the
// start, the middle and the end of the file. Each sample is undone again
// (not timed), so every sample types into the same text.
//
//   bench_typing [--samples N] FILE
//
// Prints one JSON object a line: where, operation, samples, median, p99 and
// maximum in microseconds.
#include "BenchSupport.h"

#include "app/Defaults.h"
#include "editing/HTMLView.h"
#include "language/MVParser.h"
#include "platform/MVUserDefaults.h"
#include "text/MVTextBuffer.h"
#include "text/MVTextStorage.h"
#include "text/MVUndoManager.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QKeyEvent>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

void key(HTMLView &view, QChar c)
{
    const int code = c == QLatin1Char('\n') ? Qt::Key_Return : c == QLatin1Char('\t') ? Qt::Key_Tab : Qt::Key_unknown;
    QKeyEvent press(QEvent::KeyPress, code, Qt::NoModifier, code == Qt::Key_unknown ? QString(c) : QString());
    QCoreApplication::sendEvent(&view, &press);
}

// A line from share of the file on whose first character the parser is
// the one wanted (markup or PHP code); -1 if none within 5000 lines.
qsizetype findLine(HTMLView &view, double share, bool code)
{
    const MVTextBuffer &buffer = view.textStorage()->buffer();
    const qsizetype first = qBound<qsizetype>(1, qsizetype(double(buffer.lineCount()) * share), buffer.lineCount() - 2);
    for (qsizetype line = first; line < qMin(buffer.lineCount() - 1, first + 5000); ++line) {
        qsizetype at = buffer.lineStart(line);
        const qsizetype end = buffer.lineContentsEnd(line);
        while (at < end && buffer.characterAt(at).isSpace())
            ++at;
        if (at == end)
            continue;
        const bool tag = buffer.characterAt(at) == QLatin1Char('<') && buffer.characterAt(at + 1) != QLatin1Char('?');
        if (code == tag)
            continue;
        MVParser *parser = view.checkForOpenSpecialsBefore(at);
        const QString id = parser ? parser->identifier() : QString();
        if (id == (code ? QLatin1String("text.php.code") : QLatin1String("text.php")))
            return at;
    }
    return -1;
}

void report(const char *where, const char *operation, std::vector<double> &times)
{
    std::sort(times.begin(), times.end());
    const double median = times[times.size() / 2];
    const double p99 = times[std::min(times.size() - 1, size_t(double(times.size()) * 0.99))];
    const QByteArray name = QByteArray(operation).replace("\"", "\\\"");
    std::printf("{\"where\": \"%s\", \"operation\": \"%s\", \"samples\": %zu, \"median_us\": %.1f, \"p99_us\": %.1f, \"max_us\": %.1f}\n",
                where, name.constData(), times.size(), median, p99, times.back());
    std::fflush(stdout);
}

struct Operation
{
    const char *name;
    QString prelude;  // typed as one insertion before the timed keys, not timed
    QString keys;
    bool onType = false;
};

} // namespace

int main(int argc, char **argv)
{
    BenchSupport::useTemporaryUserFolders();
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    BenchSupport::Arguments arguments;
    arguments.samples = 200;
    if (!BenchSupport::parseArguments(argc, argv, BenchSupport::SamplesOption, "bench_typing [--samples N] FILE", &arguments))
        return 2;
    Defaults::resetDefaults();
    HTMLView view;
    view.resize(1000, 700);
    // Not shown: painting is measured elsewhere, and an offscreen paint
    // would land in whichever sample processes events.
    view.setPath(arguments.input);
    MVError error;
    if (!view.loadFromPath(arguments.input, 0, QString(), &error)) {
        std::fprintf(stderr, "bench_typing: cannot read %s\n", qPrintable(arguments.input));
        return 1;
    }
    view.finishHighlighting();
    MVUndoManager *undo = view.undoManager();
    undo->setGroupsByEvent(false);

    QString pair = QStringLiteral("<div>\n");
    for (int i = 0; i < 300; ++i)
        pair += QStringLiteral("<p>x</p>\n");
    pair += QStringLiteral("</div>\n<di");
    const Operation markup[] = {
        {"word", QString(), QStringLiteral("counter")},
        {"Return", QString(), QStringLiteral("\n")},
        {"Tab", QString(), QStringLiteral("\t")},
        {"> after <div class=\"a\"", QStringLiteral("<div class=\"a\""), QStringLiteral(">")},
        {"</ (MVAutoCompleteOnType)", QStringLiteral("<b>x"), QStringLiteral("</"), true},
        {"\u00a9", QString(), QString(QChar(0xa9))},
        {"rename, partner 300 lines down", QString(), QStringLiteral("v")},
    };
    const Operation code[] = {
        {"word", QString(), QStringLiteral("counter")},
        {"Return", QString(), QStringLiteral("\n")},
        {"Tab", QString(), QStringLiteral("\t")},
        {"}", QStringLiteral("if ($a) {\n"), QStringLiteral("}")},
        {")", QStringLiteral("f($a"), QStringLiteral(")")},
    };
    const struct
    {
        const char *name;
        double share;
    } places[] = {{"start", 0.0001}, {"middle", 0.5}, {"end", 0.9999}};

    for (bool inCode : {false, true}) {
        for (const auto &place : places) {
            const qsizetype at = findLine(view, place.share, inCode);
            if (at < 0)
                continue;
            const QByteArray where = QByteArray(inCode ? "PHP code, " : "markup, ") + place.name;
            const Operation *begin = inCode ? std::begin(code) : std::begin(markup);
            const Operation *end = inCode ? std::end(code) : std::end(markup);
            for (const Operation *op = begin; op != end; ++op) {
                MVUserDefaults::standard().setBool(QStringLiteral("MVAutoCompleteOnType"), op->onType);
                const bool rename = QByteArray(op->name).startsWith("rename");
                std::vector<double> times;
                // The first few samples warm the caches and are not kept.
                const int warmUp = 5;
                for (int sample = 0; sample < arguments.samples + warmUp; ++sample) {
                    view.setSelectedRange(MVRange{at, 0});
                    view.activeParser(true);
                    if (rename || !op->prelude.isEmpty()) {
                        view.undoableInsertText(rename ? pair : op->prelude, QStringLiteral("Typing"));
                        if (rename)
                            view.setSelectedRange(MVRange{at + 3, 0});
                    }
                    QElapsedTimer clock;
                    clock.start();
                    for (const QChar c : op->keys)
                        key(view, c);
                    if (op->onType)
                        QCoreApplication::processEvents();
                    if (sample >= warmUp)
                        times.push_back(double(clock.nsecsElapsed()) / 1000.0 / double(op->keys.size()));
                    while (undo->canUndo())
                        undo->undo();
                    QCoreApplication::processEvents();
                }
                report(where.constData(), op->name, times);
            }
        }
    }
    return 0;
}
