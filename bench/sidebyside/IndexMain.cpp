// bench_index TREE DATABASE [--keys FILE]: a fresh index database fed the
// tree to a drained queue, then a pass with nothing changed, then the
// completion query of 200 sample files. Prints one JSON object; --keys
// writes every distinct key name, one a line, for the recall against ctags.
#include "BenchSupport.h"

#include "intelligence/index/MVCodeIndex.h"
#include "intelligence/index/MVCodeIndexer.h"
#include "platform/MVNotificationCenter.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QFile>
#include <QSet>

#include <atomic>
#include <cstdio>
#include <functional>
#include <sys/resource.h>

namespace {

double processCpuMs()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1000.0
           + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1000.0;
}

// One pass to a drained queue: wall and CPU milliseconds, files announced.
struct Pass
{
    double wallMs = 0;
    double cpuMs = 0;
    int files = 0;
};

Pass runPass(const QString &tree, const QString &database)
{
    std::atomic<int> files{0};
    MVObservation observation(MVCodeIndex::invalidatedNotification(), nullptr, [&](const MVNotification &) { ++files; });
    const double wall = BenchSupport::wallMs();
    const double cpu = processCpuMs();
    MVCodeIndex index(database);
    index.start();
    index.indexDirectory(tree);
    index.waitUntilIdle(3600 * 1000);
    return Pass{BenchSupport::wallMs() - wall, processCpuMs() - cpu, files.load()};
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc < 3) {
        std::fprintf(stderr, "usage: bench_index TREE DATABASE [--keys FILE]\n");
        return 2;
    }
    BenchSupport::useTemporaryUserFolders();
    MVCodeIndexer::registerWithBundles();
    const QString tree = QString::fromLocal8Bit(argv[1]);
    const QString database = QString::fromLocal8Bit(argv[2]);
    for (const char *suffix : {"", "-wal", "-shm"})
        QFile::remove(database + QLatin1String(suffix));

    const Pass fresh = runPass(tree, database);
    const Pass unchanged = runPass(tree, database);

    // Samples: PHP and JavaScript files spread over the tree, asked with the
    // class their completion asks with.
    MVCodeIndex index(database);
    index.start();
    index.waitUntilIdle(60000);
    QStringList candidates;
    std::function<void(const QString &)> walk = [&](const QString &directory) {
        const QDir dir(directory);
        for (const QFileInfo &info : dir.entryInfoList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot | QDir::NoSymLinks)) {
            if (info.isDir())
                walk(info.filePath());
            else if (info.suffix() == QLatin1String("php") || info.suffix() == QLatin1String("js"))
                candidates << info.filePath();
        }
    };
    walk(tree);
    const qsizetype step = std::max<qsizetype>(1, candidates.size() / 200);
    std::vector<double> times;
    qint64 keysReturned = 0;
    for (qsizetype i = 0; i < candidates.size() && times.size() < 200; i += step) {
        const QString &file = candidates.at(i);
        const QString keyClass = file.endsWith(QLatin1String(".php")) ? QStringLiteral("com.morvelworks.morvel.bundles.php-code")
                                                                      : QStringLiteral("com.morvelworks.morvel.bundles.javascript");
        const double start = BenchSupport::wallMs();
        const auto keys = index.keysForType(QString(), keyClass, file);
        times.push_back(BenchSupport::wallMs() - start);
        keysReturned += keys ? keys->size() : 0;
    }
    const double p50 = BenchSupport::quantile(times, 0.5);
    const double p99 = BenchSupport::quantile(times, 0.99);

    qint64 keyRows = 0;
    for (int i = 3; i + 1 < argc; ++i) {
        if (qstrcmp(argv[i], "--keys") != 0)
            continue;
        const auto all = index.keysForType(QString(), QString(), QString());
        QSet<QString> names;
        if (all)
            for (const MVCodeIndexKey &key : *all)
                names.insert(key.key());
        QFile out(QString::fromLocal8Bit(argv[i + 1]));
        if (out.open(QIODevice::WriteOnly | QIODevice::Truncate))
            for (const QString &name : names)
                out.write(name.toUtf8() + '\n');
        keyRows = names.size();
    }
    std::printf("{\"files\": %d, \"fresh_wall_ms\": %.1f, \"fresh_cpu_ms\": %.1f, \"unchanged_wall_ms\": %.1f, "
                "\"unchanged_cpu_ms\": %.1f, \"unchanged_files\": %d, \"query_samples\": %zu, \"query_p50_ms\": %.3f, "
                "\"query_p99_ms\": %.3f, \"keys_per_query\": %.1f, \"distinct_keys\": %lld, \"peak_rss_kb\": %lld}\n",
                fresh.files, fresh.wallMs, fresh.cpuMs, unchanged.wallMs, unchanged.cpuMs, unchanged.files, times.size(),
                p50, p99, times.empty() ? 0.0 : double(keysReturned) / double(times.size()), (long long)keyRows,
                (long long)BenchSupport::peakResidentKilobytes());
    return 0;
}
