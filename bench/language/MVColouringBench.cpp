// Costs of syntax colouring as the editor meets them: the full colouring of
// a large file when it is opened, and the re-colouring after one keystroke
// in a large file (the incremental rule over the changed line), for a script
// language and for HTML with embedded script and style. Also the inputs that
// must not hang: an unclosed comment at the start of a large file and a
// single 5 MB line of minified script.
//
// Real sources: set MORVEL_COLOUR_INPUTS to a folder holding all.php, all.js
// and all.css (any large files of those languages, e.g. the sources of a web
// application concatenated); the full colouring of each is measured in
// bytes of the file per second. Without the variable those cases are skipped.
#include "language/MVBundle.h"
#include "language/MVBundleRepository.h"
#include "language/MVParser.h"
#include "language/MVSyntaxColouring.h"
#include "language/MVTheme.h"
#include "language/MVThemeRepository.h"
#include "text/MVTextStorage.h"

#include <benchmark/benchmark.h>

#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <vector>

namespace {

// The resources beside the executable; preferences and user folders in a
// private directory, never the real user's.
struct Languages
{
    Languages()
    {
        home.setAutoRemove(true);
        ::setenv("XDG_DATA_HOME", QFile::encodeName(home.path() + QStringLiteral("/data")).constData(), 1);
        ::setenv("XDG_CONFIG_HOME", QFile::encodeName(home.path() + QStringLiteral("/config")).constData(), 1);
        theme = MVThemeRepository::sharedRepository().currentTheme();
        for (const char *id : {"text.js", "text.html", "text.css", "text.php"}) {
            auto parser = repository.bundleForIdentifier(QLatin1String(id))->parser();
            parser->setTheme(theme);
        }
        standard = MVTextAttributes().setForeground(theme->textColor()).setTraits(0);
    }
    std::shared_ptr<MVParser> parser(const char *id) { return repository.bundleForIdentifier(QLatin1String(id))->parser(); }

    QTemporaryDir home;
    MVBundleRepository repository;
    std::shared_ptr<MVTheme> theme;
    MVTextAttributes standard;
};

Languages &languages()
{
    static Languages instance;
    return instance;
}

// About 40 bytes a line of everyday script: declarations, calls, strings,
// comments, numbers, a block comment now and then.
QString scriptText(int lines)
{
    static const char *const block[] = {
        "/* Totals of the cart,",
        "   with tax. */",
        "function total(items, rate) {",
        "  let sum = 0; // running sum",
        "  for (const item of items) {",
        "    if (item.price > 0) sum += item.price * item.count;",
        "    else console.warn(\"free item: \" + item.name);",
        "  }",
        "  return Math.round(sum * (1 + rate) * 100) / 100;",
        "}",
        "const labels = { ok: 'Done', fail: 'It didn\\'t work' };",
        "export default { total, labels, version: 42 };",
    };
    QString text;
    text.reserve(qsizetype(lines) * 40);
    for (int i = 0; i < lines; ++i) {
        text += QLatin1String(block[i % 12]);
        text += QLatin1Char('\n');
    }
    return text;
}

QString htmlText(int lines)
{
    static const char *const block[] = {
        "<div class=\"item\" id=\"row\">",
        "  <a href=\"/cart?id=3\" title='Add'>Add to cart</a> <!-- button -->",
        "  <p>Price: <b>12.50</b> EUR</p>",
        "</div>",
        "<script type=\"text/javascript\">",
        "  var n = document.querySelectorAll(\"div.item\").length; // count",
        "  if (n > 0) { console.log('items', n); }",
        "</script>",
        "<style>",
        "  .item { color: #333; margin: 0 4px; }",
        "</style>",
        "<p>Total: <?php echo $total; ?></p>",
    };
    QString text;
    text.reserve(qsizetype(lines) * 45);
    for (int i = 0; i < lines; ++i) {
        text += QLatin1String(block[i % 12]);
        text += QLatin1Char('\n');
    }
    return text;
}

void colourAll(MVTextStorage &storage, const MVParser *parser)
{
    MVSyntaxColouring::syntaxHighlight(MVRange{0, storage.length()}, storage, languages().standard, parser);
}

void fullColouring(benchmark::State &state, const char *language, const QString &text)
{
    auto parser = languages().parser(language);
    MVTextStorage storage(text);
    for (auto _ : state) {
        colourAll(storage, parser.get());
        benchmark::DoNotOptimize(storage.runCount());
    }
    state.SetBytesProcessed(state.iterations() * text.size() * 2);
    state.counters["runs"] = double(storage.runCount());
}

// One typed character and its deletion, each re-coloured by the incremental
// rule as the view does after a change.
void keystrokes(benchmark::State &state, const char *language, const QString &text, qsizetype location)
{
    auto parser = languages().parser(language);
    MVTextStorage storage(text);
    colourAll(storage, parser.get());
    const MVParser *p = parser.get();
    for (auto _ : state) {
        storage.replaceCharacters(MVRange{location, 0}, QStringLiteral("x"));
        MVSyntaxColouring::syntaxHighlight(MVSyntaxColouring::rangeToHighlightForRange(storage, MVRange{location, 1}),
                                           storage, languages().standard, p);
        storage.replaceCharacters(MVRange{location, 1}, QString());
        MVSyntaxColouring::syntaxHighlight(MVSyntaxColouring::rangeToHighlightForRange(storage, MVRange{location, 0}),
                                           storage, languages().standard, p);
    }
    state.SetItemsProcessed(state.iterations() * 2);
}

void BM_FullColouringScript100kLines(benchmark::State &state)
{
    fullColouring(state, "text.js", scriptText(100000));
}
BENCHMARK(BM_FullColouringScript100kLines)->Unit(benchmark::kMillisecond);

void BM_FullColouringHTML100kLines(benchmark::State &state)
{
    fullColouring(state, "text.html", htmlText(100000));
}
BENCHMARK(BM_FullColouringHTML100kLines)->Unit(benchmark::kMillisecond);

void BM_KeystrokeScript100kLines(benchmark::State &state)
{
    const QString text = scriptText(100000);
    // Inside the word "sum" on a line in the middle of the file.
    const qsizetype location = text.indexOf(QLatin1String("let sum"), text.size() / 2) + 5;
    keystrokes(state, "text.js", text, location);
}
BENCHMARK(BM_KeystrokeScript100kLines)->Unit(benchmark::kMicrosecond);

void BM_KeystrokeInBlockCommentScript100kLines(benchmark::State &state)
{
    // On the second line of a block comment: the parse reaches back to its opener.
    const QString text = scriptText(100000);
    const qsizetype location = text.indexOf(QLatin1String("with tax"), text.size() / 2) + 2;
    keystrokes(state, "text.js", text, location);
}
BENCHMARK(BM_KeystrokeInBlockCommentScript100kLines)->Unit(benchmark::kMicrosecond);

void BM_KeystrokeHTMLScriptRegion100kLines(benchmark::State &state)
{
    // The HTML parser sees a line inside a script element; the view's active
    // parser would be the script language, which costs less.
    const QString text = htmlText(100000);
    const qsizetype location = text.indexOf(QLatin1String("var n"), text.size() / 2) + 4;
    keystrokes(state, "text.html", text, location);
}
BENCHMARK(BM_KeystrokeHTMLScriptRegion100kLines)->Unit(benchmark::kMicrosecond);

void BM_UnclosedCommentAtStart50MB(benchmark::State &state)
{
    QString text = QStringLiteral("/* never closed\n");
    // About 50 MB of text (25 M characters) in which the comment never ends.
    text += scriptText(1250000).replace(QLatin1String("*/"), QLatin1String("* /"));
    fullColouring(state, "text.js", text);
}
BENCHMARK(BM_UnclosedCommentAtStart50MB)->Unit(benchmark::kMillisecond)->Iterations(2);

QString minifiedLine()
{
    QString line;
    line.reserve(5'100'000);
    while (line.size() < 5'000'000)
        line += QStringLiteral("function a(b,c){if(b>c){return\"x\"+b;}var d='y';for(var i=0;i<c;i++){d+=i;}return d;}");
    return line;
}

void BM_FullColouringMinified5MBLine(benchmark::State &state)
{
    fullColouring(state, "text.js", minifiedLine());
}
BENCHMARK(BM_FullColouringMinified5MBLine)->Unit(benchmark::kMillisecond);

void BM_KeystrokeMinified5MBLine(benchmark::State &state)
{
    // The changed line is the whole 5 MB: each keystroke re-parses it.
    const QString line = minifiedLine();
    keystrokes(state, "text.js", line, line.size() / 2);
}
BENCHMARK(BM_KeystrokeMinified5MBLine)->Unit(benchmark::kMillisecond);

// ---- real sources ---------------------------------------------------------

void realInputColouring(benchmark::State &state, const char *language, const char *file)
{
    const QByteArray folder = qgetenv("MORVEL_COLOUR_INPUTS");
    QFile input(QFile::decodeName(folder) + QLatin1Char('/') + QLatin1String(file));
    if (folder.isEmpty() || !input.open(QIODevice::ReadOnly)) {
        state.SkipWithError("set MORVEL_COLOUR_INPUTS to a folder with all.php, all.js and all.css");
        return;
    }
    const QByteArray bytes = input.readAll();
    auto parser = languages().parser(language);
    MVTextStorage storage(QString::fromUtf8(bytes));
    for (auto _ : state) {
        // Each pass starts from plain text, as a file that was just opened;
        // a small colouring in between gives back the buffers a large one
        // keeps, so that each pass pays for its memory as a first one does.
        state.PauseTiming();
        storage.setAttributes(MVTextAttributes(), MVRange{0, storage.length()});
        MVSyntaxColouring::syntaxHighlight(MVRange{0, 16}, storage, languages().standard, parser.get());
        storage.setAttributes(MVTextAttributes(), MVRange{0, storage.length()});
        state.ResumeTiming();
        colourAll(storage, parser.get());
        benchmark::DoNotOptimize(storage.runCount());
    }
    state.SetBytesProcessed(state.iterations() * bytes.size());
    state.counters["runs"] = double(storage.runCount());
}

void BM_FullColouringRealPHP(benchmark::State &state)
{
    realInputColouring(state, "text.php", "all.php");
}
BENCHMARK(BM_FullColouringRealPHP)->Unit(benchmark::kMillisecond)->MinTime(2);

void BM_FullColouringRealScript(benchmark::State &state)
{
    realInputColouring(state, "text.js", "all.js");
}
BENCHMARK(BM_FullColouringRealScript)->Unit(benchmark::kMillisecond)->MinTime(2);

void BM_FullColouringRealCSS(benchmark::State &state)
{
    realInputColouring(state, "text.css", "all.css");
}
BENCHMARK(BM_FullColouringRealCSS)->Unit(benchmark::kMillisecond)->MinTime(2);

void BM_FullColouringRealPHPAsHTML(benchmark::State &state)
{
    // The same sources through the markup parser, which hands the script
    // regions to the script language.
    realInputColouring(state, "text.html", "all.php");
}
BENCHMARK(BM_FullColouringRealPHPAsHTML)->Unit(benchmark::kMillisecond)->MinTime(2);

// ---- keystroke latency ----------------------------------------------------

// Each iteration types text at a place and re-colours by the incremental
// rule, then deletes it again and re-colours; both steps are timed one by
// one, and the median and 99th percentile of each are reported in
// microseconds. The place is the start of the file, the middle of a line in
// the middle, or the end.
enum class Place { Start, Middle, End };

void keystrokeLatency(benchmark::State &state, const char *language, const QString &text, Place place,
                      const QString &typed)
{
    auto parser = languages().parser(language);
    MVTextStorage storage(text);
    colourAll(storage, parser.get());
    const MVParser *p = parser.get();
    qsizetype location = 0;
    if (place == Place::Middle)
        location = text.indexOf(QLatin1Char(' '), text.size() / 2);
    else if (place == Place::End)
        location = text.size();

    using Clock = std::chrono::steady_clock;
    std::vector<double> inserts;
    std::vector<double> deletes;
    auto timed = [&](std::vector<double> &samples, MVRange range, const QString &replacement) {
        const auto start = Clock::now();
        storage.replaceCharacters(range, replacement);
        MVSyntaxColouring::syntaxHighlight(
            MVSyntaxColouring::rangeToHighlightForRange(storage, MVRange{range.location, replacement.size()}), storage,
            languages().standard, p);
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        samples.push_back(seconds * 1e6);
        return seconds;
    };
    for (auto _ : state) {
        double seconds = timed(inserts, MVRange{location, 0}, typed);
        seconds += timed(deletes, MVRange{location, typed.size()}, QString());
        state.SetIterationTime(seconds);
    }
    auto percentile = [](std::vector<double> samples, double fraction) {
        if (samples.empty())
            return 0.0;
        const size_t index = std::min(samples.size() - 1, size_t(fraction * double(samples.size())));
        std::nth_element(samples.begin(), samples.begin() + qsizetype(index), samples.end());
        return samples[index];
    };
    state.counters["type_p50_us"] = percentile(inserts, 0.5);
    state.counters["type_p99_us"] = percentile(inserts, 0.99);
    state.counters["delete_p50_us"] = percentile(deletes, 0.5);
    state.counters["delete_p99_us"] = percentile(deletes, 0.99);
}

const QString &script100k()
{
    static const QString text = scriptText(100000);
    return text;
}

void BM_LatencyScript100kLines(benchmark::State &state, Place place, const char *typed)
{
    keystrokeLatency(state, "text.js", script100k(), place, QString::fromUtf8(typed));
}
BENCHMARK_CAPTURE(BM_LatencyScript100kLines, character_start, Place::Start, "x")->UseManualTime()->Iterations(2000);
BENCHMARK_CAPTURE(BM_LatencyScript100kLines, character_middle, Place::Middle, "x")->UseManualTime()->Iterations(2000);
BENCHMARK_CAPTURE(BM_LatencyScript100kLines, character_end, Place::End, "x")->UseManualTime()->Iterations(2000);
BENCHMARK_CAPTURE(BM_LatencyScript100kLines, newline_start, Place::Start, "\n")->UseManualTime()->Iterations(2000);
BENCHMARK_CAPTURE(BM_LatencyScript100kLines, newline_middle, Place::Middle, "\n")->UseManualTime()->Iterations(2000);
BENCHMARK_CAPTURE(BM_LatencyScript100kLines, newline_end, Place::End, "\n")->UseManualTime()->Iterations(2000);
BENCHMARK_CAPTURE(BM_LatencyScript100kLines, comment_start, Place::Start, "/*")->UseManualTime()->Iterations(2000);
BENCHMARK_CAPTURE(BM_LatencyScript100kLines, comment_middle, Place::Middle, "/*")->UseManualTime()->Iterations(2000);
BENCHMARK_CAPTURE(BM_LatencyScript100kLines, comment_end, Place::End, "/*")->UseManualTime()->Iterations(2000);

void BM_LatencyMinified5MBLine(benchmark::State &state)
{
    static const QString line = minifiedLine();
    keystrokeLatency(state, "text.js", line, Place::Middle, QStringLiteral("x"));
}
BENCHMARK(BM_LatencyMinified5MBLine)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);

} // namespace
