// Costs of the regular-expression service as its callers use it: a keyword
// parser asking a short pattern once per word, and scans over a long text.
#include "search/MVRegex.h"

#include <benchmark/benchmark.h>

#include <QStringList>

#include <vector>

namespace {

const QStringList &sampleLines()
{
    static const QStringList lines = {
        QStringLiteral("<?php"),
        QStringLiteral("// Lists the orders of one customer, newest first."),
        QStringLiteral("function listOrders($customer, $limit = 20) {"),
        QStringLiteral("    $query = \"SELECT id, total FROM orders WHERE customer = ? ORDER BY created DESC\";"),
        QStringLiteral("    foreach ($db->rows($query, [$customer->id]) as $row) {"),
        QStringLiteral("        echo '<tr><td class=\"id\">' . htmlspecialchars($row['id']) . '</td></tr>';"),
        QStringLiteral("    }"),
        QStringLiteral("    return count($rows) > $limit ? array_slice($rows, 0, $limit) : $rows;"),
        QStringLiteral("}"),
        QStringLiteral("?>"),
        QStringLiteral("<div id=\"main\" class=\"content wide\"><p>Résumé of the café — naïve &amp; done</p></div>"),
        QStringLiteral("<script>document.querySelectorAll('a.external').forEach(a => a.target = '_blank');</script>"),
    };
    return lines;
}

QString textOfSize(qsizetype size)
{
    QString text;
    text.reserve(size + 200);
    const QStringList &lines = sampleLines();
    for (qsizetype i = 0; text.size() < size; ++i) {
        text += lines[i % lines.size()];
        text += QLatin1Char('\n');
    }
    return text;
}

const QString &text5MB()
{
    static const QString text = textOfSize(5 * 1024 * 1024);
    return text;
}

const QString &text50MB()
{
    static const QString text = textOfSize(50 * 1024 * 1024);
    return text;
}

// The ranges of the words of a text, as a keyword parser splits it.
const std::vector<MVRange> &words5MB()
{
    static const std::vector<MVRange> words = [] {
        std::vector<MVRange> result;
        const QString &text = text5MB();
        qsizetype start = -1;
        for (qsizetype i = 0; i <= text.size(); ++i) {
            const bool word = i < text.size() && (text[i].isLetterOrNumber() || text[i] == QLatin1Char('_'));
            if (word && start < 0)
                start = i;
            else if (!word && start >= 0) {
                result.push_back(MVRange{start, i - start});
                start = -1;
            }
        }
        return result;
    }();
    return words;
}

const QString KeywordPattern = QStringLiteral("^(?:function|foreach|return|echo|class|as)$");

// A short pattern asked at every word of a 5 MB text, by range: no copy.
void BM_KeywordPerWordByRange(benchmark::State &state)
{
    auto regex = MVRegex::initWithPattern(KeywordPattern);
    const QString &text = text5MB();
    const std::vector<MVRange> &words = words5MB();
    int64_t hits = 0;
    for (auto _ : state) {
        for (const MVRange &word : words) {
            if (regex->copyMatchForString(text, word))
                ++hits;
        }
    }
    benchmark::DoNotOptimize(hits);
    state.SetItemsProcessed(state.iterations() * int64_t(words.size()));
    state.counters["words"] = double(words.size());
}
BENCHMARK(BM_KeywordPerWordByRange)->Unit(benchmark::kMillisecond);

// The same with each word made a string first, as the keyword parser does.
void BM_KeywordPerWordString(benchmark::State &state)
{
    auto regex = MVRegex::initWithPattern(KeywordPattern);
    const QString &text = text5MB();
    const std::vector<MVRange> &words = words5MB();
    int64_t hits = 0;
    for (auto _ : state) {
        for (const MVRange &word : words) {
            const QString w = text.mid(word.location, word.length);
            if (auto match = regex->copyMatchForString(w); match && match->rangeForCapture(0).length == w.size())
                ++hits;
        }
    }
    benchmark::DoNotOptimize(hits);
    state.SetItemsProcessed(state.iterations() * int64_t(words.size()));
}
BENCHMARK(BM_KeywordPerWordString)->Unit(benchmark::kMillisecond);

// One search through the whole 50 MB that finds nothing.
void BM_Scan50MBNoMatch(benchmark::State &state)
{
    auto regex = MVRegex::initWithPattern(QStringLiteral("\\bclass\\s+(\\w+)\\s+extends"));
    const QString &text = text50MB();
    bool found = false;
    for (auto _ : state) {
        found = bool(regex->copyMatchForString(text));
        benchmark::DoNotOptimize(found);
    }
    state.counters["found"] = found;
    state.SetBytesProcessed(state.iterations() * text.size() * 2);
}
BENCHMARK(BM_Scan50MBNoMatch)->Unit(benchmark::kMillisecond);

// Every match in 50 MB, each search starting where the last one ended, as
// the multi-file search and the indexer loop.
void BM_Scan50MBAllMatches(benchmark::State &state)
{
    auto regex = MVRegex::initWithPattern(QStringLiteral("\\$(\\w+)"));
    const QString &text = text50MB();
    int64_t matches = 0;
    for (auto _ : state) {
        matches = 0;
        MVRange range{0, text.size()};
        while (auto match = regex->copyMatchForString(text, range, MVRegex::NotBeginningOfLineOption)) {
            ++matches;
            const qsizetype end = match->rangeForCapture(0).end();
            range = MVRange{end, text.size() - end};
        }
    }
    state.counters["matches"] = double(matches);
    state.SetBytesProcessed(state.iterations() * text.size() * 2);
}
BENCHMARK(BM_Scan50MBAllMatches)->Unit(benchmark::kMillisecond);

// The same over the UTF-8 bytes, as the code indexer scans files.
void BM_Scan50MBUTF8AllMatches(benchmark::State &state)
{
    auto regex = MVRegex::initWithPattern(QStringLiteral("\\bfunction\\s+(\\w+)"));
    static const QByteArray bytes = text50MB().toUtf8();
    int64_t matches = 0;
    for (auto _ : state) {
        matches = 0;
        MVRange range{0, bytes.size()};
        while (auto match = regex->copyMatchForUTF8Data(bytes, range)) {
            ++matches;
            const qsizetype end = match->rangeForCapture(0).end();
            range = MVRange{end, bytes.size() - end};
        }
    }
    state.counters["matches"] = double(matches);
    state.SetBytesProcessed(state.iterations() * bytes.size());
}
BENCHMARK(BM_Scan50MBUTF8AllMatches)->Unit(benchmark::kMillisecond);

// A pattern that backtracks without end, stopped by the match limit: how
// long a user's bad search holds the thread before it counts as no match.
void BM_RunawayPatternUntilTheLimit(benchmark::State &state)
{
    auto regex = MVRegex::initWithPattern(QStringLiteral("^(\\w+\\s?)*$"));
    const QString text = QStringLiteral("an ordinary line of words that ends in punctuation!");
    for (auto _ : state)
        benchmark::DoNotOptimize(regex->copyMatchForString(text));
}
BENCHMARK(BM_RunawayPatternUntilTheLimit)->Unit(benchmark::kMillisecond);

void BM_Compile(benchmark::State &state)
{
    const QString pattern = QStringLiteral("<(\\w+)( +(\\w+))?( *= *(\"([^\"]*)\"?)?)?$");
    for (auto _ : state)
        benchmark::DoNotOptimize(MVRegex::initWithPattern(pattern));
}
BENCHMARK(BM_Compile)->Unit(benchmark::kMicrosecond);

} // namespace
