// Costs of syntax colouring as the editor meets them: the full colouring of
// a large file when it is opened, and the re-colouring after one keystroke
// in a large file (the incremental rule over the changed line), for a script
// language and for HTML with embedded script and style. Also the inputs that
// must not hang: an unclosed comment at the start of a large file and a
// single 5 MB line of minified script.
#include "language/MVBundle.h"
#include "language/MVBundleRepository.h"
#include "language/MVParser.h"
#include "language/MVSyntaxColouring.h"
#include "language/MVTheme.h"
#include "language/MVThemeRepository.h"
#include "text/MVTextStorage.h"

#include <benchmark/benchmark.h>

#include <QTemporaryDir>

#include <cstdlib>

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

} // namespace
