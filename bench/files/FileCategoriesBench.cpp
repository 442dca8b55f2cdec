// Costs of the questions asked about every file: its category by extension,
// by path once the extension's answer is kept, the first probe of an unknown
// extension through /usr/bin/file, and adding and removing watches.
#include "files/MVFile.h"
#include "files/MVFileCategories.h"
#include "files/MVInotifyWatcher.h"

#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

namespace {

MVFileCategories &shippedCategories()
{
    return MVFileCategories::sharedCategories();
}

void BM_CategoryByExtension(benchmark::State &state)
{
    MVFileCategories &categories = shippedCategories();
    const QString extensions[] = {"html", "css", "png", "zip", "unheard"};
    size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(categories.extensionIsType(extensions[i++ % 5], MVFileCategories::Text));
}
BENCHMARK(BM_CategoryByExtension);

void BM_PathIsTextKeptAnswer(benchmark::State &state)
{
    QTemporaryDir dir;
    const QString path = dir.filePath("notes.unlisted");
    QFile file(path);
    file.open(QIODevice::WriteOnly);
    file.write(QByteArray("plain words\n").repeated(100));
    file.close();
    MVFileCategories categories(dir.filePath("none.plist"));
    categories.pathIsText(path);
    for (auto _ : state)
        benchmark::DoNotOptimize(categories.pathIsText(path));
}
BENCHMARK(BM_PathIsTextKeptAnswer);

void BM_ProbeContents(benchmark::State &state)
{
    QTemporaryDir dir;
    const QString path = dir.filePath("notes.unlisted");
    QFile file(path);
    file.open(QIODevice::WriteOnly);
    file.write(QByteArray("plain words\n").repeated(100));
    file.close();
    for (auto _ : state)
        benchmark::DoNotOptimize(MVFileCategories::describeContents(path));
}
BENCHMARK(BM_ProbeContents)->Unit(benchmark::kMillisecond);

void BM_WatchAndStopFiles(benchmark::State &state)
{
    QTemporaryDir dir;
    std::vector<MVFile::Ptr> nodes;
    for (int i = 0; i < state.range(0); ++i) {
        const QString path = dir.filePath(QStringLiteral("file-%1.html").arg(i));
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        nodes.push_back(MVFile::fileWithPath(path, nullptr));
    }
    const auto watcher = MVInotifyWatcher::make();
    for (auto _ : state) {
        for (const auto &node : nodes)
            watcher->watchFile(node, MVFileWatcher::File);
        for (const auto &node : nodes)
            watcher->stopWatching(*node);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_WatchAndStopFiles)->Arg(1000)->Unit(benchmark::kMillisecond);

} // namespace
