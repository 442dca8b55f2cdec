// Opening a 100 MB text file end to end: the document reads it, decodes it
// through the encodings, builds its editing view and paints the first screen.
#include "app/Defaults.h"
#include "documents/MVFileDocument.h"
#include "documents/MVSingleFileDocument.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

#include <memory>

namespace {

constexpr qsizetype FileSize = 100 * 1024 * 1024;

QApplication &application()
{
    static int argc = 1;
    static char name[] = "bench_files";
    static char *argv[] = {name, nullptr};
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // Preferences as a first launch has them (colouring on), in a private
    // directory rather than the user's own.
    static QTemporaryDir home;
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.path() + QStringLiteral("/config")));
    qputenv("XDG_DATA_HOME", QFile::encodeName(home.path() + QStringLiteral("/data")));
    static QApplication app(argc, argv);
    static const bool registered = (Defaults::resetDefaults(), true);
    Q_UNUSED(registered);
    return app;
}

const QString &hundredMegabyteFile()
{
    static QTemporaryDir dir;
    static const QString path = [] {
        const QByteArray lines[] = {
            "<?php foreach ($items as $item): ?>\n",
            "  <li class=\"item\"><?= htmlspecialchars($item['title']) ?> \xE2\x80\x94 R\xC3\xA9sum\xC3\xA9, caf\xC3\xA9</li>\n",
            "<?php endforeach; ?>\n",
            "<script>const total = items.reduce((sum, i) => sum + i.price, 0);</script>\n",
            "  <p>Plain paragraph text of an ordinary page, with nothing special in it.</p>\n",
        };
        QByteArray bytes;
        bytes.reserve(FileSize + 200);
        for (qsizetype i = 0; bytes.size() < FileSize; ++i)
            bytes += lines[i % 5];
        const QString file = dir.path() + QStringLiteral("/big.php");
        QFile out(file);
        if (!out.open(QIODevice::WriteOnly) || out.write(bytes) != bytes.size())
            return QString();
        return file;
    }();
    return path;
}

void BM_OpenHundredMegabyteFile(benchmark::State &state)
{
    application();
    const QString path = hundredMegabyteFile();
    if (path.isEmpty()) {
        state.SkipWithError("could not write the 100 MB file");
        return;
    }
    for (auto _ : state) {
        auto document = std::make_shared<MVSingleFileDocument>();
        MVError error;
        if (!document->readFromFile(path, &error)) {
            state.SkipWithError("the document could not read the file");
            return;
        }
        QWidget *view = document->viewWithSuggestedFrame();
        // The text is read on a worker and arrives through the event loop.
        while (document->isLoading())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        view->resize(1000, 700);
        benchmark::DoNotOptimize(view->grab());
        state.PauseTiming();
        document.reset();
        state.ResumeTiming();
    }
    state.SetBytesProcessed(state.iterations() * FileSize);
}
BENCHMARK(BM_OpenHundredMegabyteFile)->Unit(benchmark::kMillisecond)->Iterations(3);

} // namespace
