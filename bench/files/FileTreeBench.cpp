// Listing speed of the file tree: a large directory loaded into nodes, listed
// again with nothing changed, and the name filters every listing runs.
#include "files/MVFileFilters.h"
#include "files/MVRootFile.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

namespace {

const QTemporaryDir &directoryWith(int count)
{
    static std::map<int, std::unique_ptr<QTemporaryDir>> made;
    auto &dir = made[count];
    if (!dir) {
        dir = std::make_unique<QTemporaryDir>();
        for (int i = 0; i < count; ++i) {
            QFile file(dir->filePath(QStringLiteral("file-%1.html").arg(i)));
            file.open(QIODevice::WriteOnly);
        }
    }
    return *dir;
}

void BM_LoadDirectory(benchmark::State &state)
{
    const QString path = directoryWith(int(state.range(0))).path();
    for (auto _ : state) {
        auto root = MVRootFile::rootWithPath(path, false);
        benchmark::DoNotOptimize(root->children(true).size());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_LoadDirectory)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

void BM_ReloadUnchangedDirectory(benchmark::State &state)
{
    const QString path = directoryWith(int(state.range(0))).path();
    auto root = MVRootFile::rootWithPath(path, false);
    root->children(true);
    for (auto _ : state)
        root->refresh(true);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ReloadUnchangedDirectory)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

void BM_FilterName(benchmark::State &state)
{
    const QString names[] = {QStringLiteral("index.html"), QStringLiteral(".svn"), QStringLiteral("style-sheet.css"),
                             QStringLiteral("project.mvproj")};
    std::size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(MVFileFilters::sharedFilters().stringMatchesFilters(names[i++ % 4]));
}
BENCHMARK(BM_FilterName);

} // namespace

namespace {

// The floor: reading the same directory without making nodes.
void BM_ListDirectoryRecords(benchmark::State &state)
{
    const QString path = directoryWith(int(state.range(0))).path();
    for (auto _ : state)
        benchmark::DoNotOptimize(QDir(path).entryList(QDir::Files).size());
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ListDirectoryRecords)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

} // namespace
