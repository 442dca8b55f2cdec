// Costs of the search core: the parsers' scanners, which run once per token
// or per candidate end of a region, and Replace All over a large text, which
// the find window runs on the main thread.
#include "search/MVSearch.h"
#include "search/Parsing.h"

#include "SearchBenchText.h"

#include <benchmark/benchmark.h>

#include <QStringList>

#include <vector>

namespace {

const QString &text1MB()
{
    static const QString text = searchBenchText(1024 * 1024);
    return text;
}

const QString &text50MB()
{
    static const QString text = searchBenchText(50 * 1024 * 1024);
    return text;
}

// Every location a parser asks about: each quote, angle bracket and
// semicolon, with the start of its line.
struct Probe
{
    qsizetype location;
    qsizetype lineStart;
};

const std::vector<Probe> &probes()
{
    static const std::vector<Probe> result = [] {
        std::vector<Probe> list;
        const QString &text = text1MB();
        qsizetype lineStart = 0;
        for (qsizetype i = 0; i < text.size(); ++i) {
            const QChar c = text[i];
            if (c == u'\n')
                lineStart = i + 1;
            else if (c == u'"' || c == u'\'' || c == u'<' || c == u';')
                list.push_back({i, lineStart});
        }
        return list;
    }();
    return result;
}

void BM_LocationInQuotesFromLineStart(benchmark::State &state)
{
    const QString &text = text1MB();
    const auto &list = probes();
    qsizetype inside = 0;
    for (auto _ : state) {
        for (const Probe &probe : list)
            inside += Parsing::locationInQuotes(text, probe.location, probe.lineStart, true);
    }
    benchmark::DoNotOptimize(inside);
    state.SetItemsProcessed(state.iterations() * qint64(list.size()));
    state.SetLabel("calls over 1 MiB of code");
}
BENCHMARK(BM_LocationInQuotesFromLineStart)->Unit(benchmark::kMillisecond);

// A region whose body is long: the quote count runs from the body's start.
void BM_LocationInQuotesOver64K(benchmark::State &state)
{
    const QString &text = text1MB();
    qsizetype inside = 0;
    for (auto _ : state)
        inside += Parsing::locationInQuotes(text, 65536, 0, true);
    benchmark::DoNotOptimize(inside);
    state.SetBytesProcessed(state.iterations() * 65536 * 2);
}
BENCHMARK(BM_LocationInQuotesOver64K)->Unit(benchmark::kMicrosecond);

void BM_CountOfInstancesMultiCharacter(benchmark::State &state)
{
    const QString &text = text1MB();
    qsizetype count = 0;
    for (auto _ : state)
        count += Parsing::countOfInstancesOf(text, u"?>", {0, text.size()}, u'\\', false);
    benchmark::DoNotOptimize(count);
    state.SetBytesProcessed(state.iterations() * text.size() * 2);
}
BENCHMARK(BM_CountOfInstancesMultiCharacter)->Unit(benchmark::kMillisecond);

void BM_CharacterIsEscaped(benchmark::State &state)
{
    const QString &text = text1MB();
    const auto &list = probes();
    qsizetype escaped = 0;
    for (auto _ : state) {
        for (const Probe &probe : list)
            escaped += Parsing::characterIsEscapedAtIndex(text, probe.location, u'\\');
    }
    benchmark::DoNotOptimize(escaped);
    state.SetItemsProcessed(state.iterations() * qint64(list.size()));
}
BENCHMARK(BM_CharacterIsEscaped)->Unit(benchmark::kMicrosecond);

// Replace All over 50 MiB (52 M characters), as the find window runs it on
// a copy of the whole text. The copy is not timed; the replacement is.
void replaceAll50MB(benchmark::State &state, const MVSearch &search)
{
    int count = 0;
    for (auto _ : state) {
        state.PauseTiming();
        QString copy = text50MB();
        copy.detach();
        state.ResumeTiming();
        count = search.replaceAllInString(copy);
        benchmark::DoNotOptimize(copy);
    }
    state.counters["replacements"] = count;
    state.SetBytesProcessed(state.iterations() * text50MB().size() * 2);
}

void BM_ReplaceAll50MBPlain(benchmark::State &state)
{
    MVSearch search = MVSearch::initWithSearchString(QStringLiteral("rows"));
    search.setReplaceString(QStringLiteral("records"));
    replaceAll50MB(state, search);
}
BENCHMARK(BM_ReplaceAll50MBPlain)->Unit(benchmark::kMillisecond)->Iterations(2);

void BM_ReplaceAll50MBExpressionWithGroups(benchmark::State &state)
{
    MVSearch search = MVSearch::initWithExpressionString(QStringLiteral("\\$(\\w+)"), true);
    search.setReplaceString(QStringLiteral("$$1_v"));
    replaceAll50MB(state, search);
}
BENCHMARK(BM_ReplaceAll50MBExpressionWithGroups)->Unit(benchmark::kMillisecond)->Iterations(2);

// Trailing blanks: an empty match at the end of nearly every line.
void BM_ReplaceAll50MBTrailingBlanks(benchmark::State &state)
{
    MVSearch search = MVSearch::initWithExpressionString(QStringLiteral("[ \\t]+$"), true);
    search.setReplaceString(QString());
    replaceAll50MB(state, search);
}
BENCHMARK(BM_ReplaceAll50MBTrailingBlanks)->Unit(benchmark::kMillisecond)->Iterations(2);

void BM_ReplaceAll50MBEmptyMatches(benchmark::State &state)
{
    MVSearch search = MVSearch::initWithExpressionString(QStringLiteral("[ \\t]*$"), true);
    search.setReplaceString(QStringLiteral(";"));
    replaceAll50MB(state, search);
}
BENCHMARK(BM_ReplaceAll50MBEmptyMatches)->Unit(benchmark::kMillisecond)->Iterations(2);

void BM_FindAll50MBRanges(benchmark::State &state)
{
    MVSearch search = MVSearch::initWithExpressionString(QStringLiteral("customer"), false);
    size_t count = 0;
    for (auto _ : state)
        count = search.findAllForString(text50MB()).size();
    state.counters["matches"] = double(count);
    state.SetBytesProcessed(state.iterations() * text50MB().size() * 2);
}
BENCHMARK(BM_FindAll50MBRanges)->Unit(benchmark::kMillisecond)->Iterations(2);

} // namespace

namespace {

void BM_Find50MBPlain(benchmark::State &state)
{
    MVSearch search = MVSearch::initWithSearchString(QStringLiteral("Customer"));
    search.setCaseSensitive(state.range(0) != 0);
    size_t count = 0;
    for (auto _ : state)
        count = search.findAllForString(text50MB()).size();
    state.counters["matches"] = double(count);
    state.SetBytesProcessed(state.iterations() * text50MB().size() * 2);
    state.SetLabel(state.range(0) ? "match case" : "ignore case");
}
BENCHMARK(BM_Find50MBPlain)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(2);

} // namespace
