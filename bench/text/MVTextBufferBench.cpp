// Buffer and storage benchmarks: typing into a large text, line lookups,
// and attribute runs at parser scale.
#include "text/MVTextBuffer.h"
#include "text/MVTextStorage.h"

#include <benchmark/benchmark.h>

#include <QRandomGenerator>

namespace {

QString sourceText(qsizetype approximateUnits)
{
    static const QString lines[] = {
        QStringLiteral("<?php\n"),
        QStringLiteral("function render_item($item, $options = array()) {\n"),
        QStringLiteral("    $title = htmlspecialchars($item['title'], ENT_QUOTES);\n"),
        QStringLiteral("    echo \"<li class=\\\"item\\\">\" . $title . \"</li>\";\n"),
        QStringLiteral("}\n"),
        QStringLiteral("// a comment about the next block\r\n"),
        QStringLiteral("\n"),
    };
    QString text;
    text.reserve(approximateUnits + 100);
    int i = 0;
    while (text.size() < approximateUnits)
        text += lines[i++ % 7];
    return text;
}

MVTextBuffer &largeBuffer()
{
    static MVTextBuffer buffer(sourceText(100 * 1000 * 1000));
    return buffer;
}

} // namespace

static void BM_BufferInsertCharacterInTheMiddle(benchmark::State &state)
{
    MVTextBuffer &buffer = largeBuffer();
    qsizetype position = buffer.length() / 2;
    const QString typed = QStringLiteral("x");
    for (auto _ : state) {
        buffer.replace({position, 0}, typed);
        ++position;
    }
    // Take the typed text out again so other benchmarks see the same text.
    buffer.replace({buffer.length() / 2, position - buffer.length() / 2}, QString());
}
BENCHMARK(BM_BufferInsertCharacterInTheMiddle)->Repetitions(5)->ReportAggregatesOnly(true);

static void BM_BufferInsertNewlineInTheMiddle(benchmark::State &state)
{
    MVTextBuffer &buffer = largeBuffer();
    const qsizetype start = buffer.length() / 3;
    qsizetype position = start;
    for (auto _ : state) {
        buffer.replace({position, 0}, u"\n");
        ++position;
    }
    buffer.replace({start, position - start}, QString());
}
BENCHMARK(BM_BufferInsertNewlineInTheMiddle);

static void BM_BufferLineLookups(benchmark::State &state)
{
    MVTextBuffer &buffer = largeBuffer();
    QRandomGenerator random(1);
    for (auto _ : state) {
        const qsizetype position = qsizetype(random.bounded(double(buffer.length())));
        const qsizetype line = buffer.lineForPosition(position);
        benchmark::DoNotOptimize(buffer.lineStart(line));
    }
}
BENCHMARK(BM_BufferLineLookups);

static void BM_BufferLoad10MB(benchmark::State &state)
{
    const QString text = sourceText(10 * 1000 * 1000);
    for (auto _ : state) {
        MVTextBuffer buffer;
        for (qsizetype i = 0; i < text.size(); i += 1 << 20)
            buffer.append(QStringView(text).mid(i, 1 << 20));
        benchmark::DoNotOptimize(buffer.lineCount());
    }
    state.SetBytesProcessed(state.iterations() * text.size() * 2);
}
BENCHMARK(BM_BufferLoad10MB)->Unit(benchmark::kMillisecond);

// Storage with 500k runs: a keystroke (character edit plus re-colouring its
// line as the incremental parse does) and a point query.
static MVTextStorage *makeStyledStorage()
{
    return [] {
        auto *s = new MVTextStorage(sourceText(4 * 1000 * 1000));
        const MVTextAttributes a = MVTextAttributes().setForeground(Qt::blue);
        const MVTextAttributes b = MVTextAttributes().setForeground(Qt::darkGreen).setMultiLine();
        s->beginEditing();
        for (qsizetype i = 0; i + 8 < s->length() && s->runCount() < 500000; i += 8) {
            s->addAttributes(a, {i, 5});
            s->addAttributes(b, {i + 5, 3});
        }
        s->endEditing();
        return s;
    }();
}

static MVTextStorage &styledStorage()
{
    static MVTextStorage *storage = makeStyledStorage();
    return *storage;
}

static void BM_StorageKeystrokeAt500kRuns(benchmark::State &state)
{
    MVTextStorage &storage = styledStorage();
    qsizetype position = storage.length() / 2;
    const MVTextAttributes colour = MVTextAttributes().setForeground(Qt::red);
    for (auto _ : state) {
        storage.replaceCharacters({position, 0}, QStringLiteral("x"));
        const MVRange line = storage.lineRangeForRange({position, 1});
        storage.beginEditing();
        storage.removeAttribute(MVAttribute::MultiLine, line);
        for (qsizetype i = line.location; i + 4 < line.end(); i += 6)
            storage.addAttributes(colour, {i, 4});
        storage.endEditing();
        // Next keystroke on another line, so that no line grows without end.
        position = (position + 104729) % (storage.length() - 1);
    }
    state.counters["runs"] = double(storage.runCount());
}
BENCHMARK(BM_StorageKeystrokeAt500kRuns);

// The same keystroke written as a parser now writes it: the line's tokens
// gathered in an overlay and applied in one pass.
static void BM_StorageKeystrokeOverlayAt500kRuns(benchmark::State &state)
{
    // A storage of its own: the other cases expect the runs as made.
    static MVTextStorage *own = makeStyledStorage();
    MVTextStorage &storage = *own;
    qsizetype position = storage.length() / 3;
    const MVTextAttributes plain = MVTextAttributes().setForeground(Qt::black);
    const MVTextAttributes colour = MVTextAttributes().setForeground(Qt::red);
    MVAttributeOverlay overlay;
    for (auto _ : state) {
        storage.replaceCharacters({position, 0}, QStringLiteral("x"));
        const MVRange line = storage.lineRangeForRange({position, 1});
        overlay.clear();
        overlay.setBase(line, plain, {MVAttribute::MultiLine});
        for (qsizetype i = line.location; i + 4 < line.end(); i += 6)
            overlay.add(colour, {i, 4});
        storage.applyAttributeOverlay(overlay);
        position = (position + 104729) % (storage.length() - 1);
    }
    state.counters["runs"] = double(storage.runCount());
}
BENCHMARK(BM_StorageKeystrokeOverlayAt500kRuns);

// Writing the colours of a whole 4 MB text at once: 500k tokens.
static void BM_StorageOverlayOfWholeText(benchmark::State &state)
{
    MVTextStorage storage(sourceText(4 * 1000 * 1000));
    const MVTextAttributes plain = MVTextAttributes().setForeground(Qt::black);
    const MVTextAttributes a = MVTextAttributes().setForeground(Qt::blue);
    const MVTextAttributes b = MVTextAttributes().setForeground(Qt::darkGreen).setMultiLine();
    MVAttributeOverlay overlay;
    for (auto _ : state) {
        overlay.clear();
        overlay.setBase({0, storage.length()}, plain, {MVAttribute::MultiLine});
        for (qsizetype i = 0; i + 8 < storage.length(); i += 8) {
            overlay.add(a, {i, 5});
            overlay.add(b, {i + 5, 3});
        }
        storage.applyAttributeOverlay(overlay);
    }
    state.SetBytesProcessed(state.iterations() * storage.length() * 2);
    state.counters["runs"] = double(storage.runCount());
}
BENCHMARK(BM_StorageOverlayOfWholeText)->Unit(benchmark::kMillisecond);

static void BM_StorageLongestEffectiveRange(benchmark::State &state)
{
    MVTextStorage &storage = styledStorage();
    QRandomGenerator random(2);
    for (auto _ : state) {
        const qsizetype index = qsizetype(random.bounded(double(storage.length() - 1)));
        MVRange range;
        benchmark::DoNotOptimize(storage.attribute(MVAttribute::MultiLine, index, &range, MVRange{0, index + 1}));
    }
}
BENCHMARK(BM_StorageLongestEffectiveRange);
