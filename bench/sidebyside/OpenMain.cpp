// Opening a file as the editor does (read, decode, line breaks to LF, the
// storage, the full colouring), with the time of each step and the memory it
// took: the peak resident size of the process less what it held before the
// file was read (the languages and theme already loaded).
//
//   bench_open [--language ID] FILE
//
// Prints one JSON object.
#include "BenchSupport.h"

#include "language/MVParser.h"
#include "text/MVTextStorage.h"

#include <QFileInfo>

#include <cstdio>
#include <cstring>

int main(int argc, char **argv)
{
    BenchSupport::useTemporaryUserFolders();
    BenchSupport::Arguments arguments;
    if (!BenchSupport::parseArguments(argc, argv, BenchSupport::LanguageOption, "bench_open [--language ID] FILE", &arguments))
        return 2;
    const QString &input = arguments.input;

    QString message;
    const std::shared_ptr<MVParser> parser = BenchSupport::parserFor(input, arguments.language, &message);
    if (!parser) {
        std::fprintf(stderr, "bench_open: %s\n", qPrintable(message));
        return 1;
    }
    const qint64 baseline = BenchSupport::residentKilobytes();
    const double start = BenchSupport::wallMs();
    const double cpuStart = BenchSupport::threadCpuMs();
    MVTextStorage storage;
    BenchSupport::OpenTimes times;
    if (!BenchSupport::openFile(input, storage, parser.get(), &times, &message)) {
        std::fprintf(stderr, "bench_open: %s: %s\n", qPrintable(input), qPrintable(message));
        return 1;
    }
    const double total = BenchSupport::wallMs() - start;
    const double cpu = BenchSupport::threadCpuMs() - cpuStart;
    const qint64 peak = BenchSupport::peakResidentKilobytes();
    const qint64 after = BenchSupport::residentKilobytes();
    std::printf("{\"bytes\": %lld, \"lines\": %lld, \"runs\": %lld, \"total_ms\": %.1f, \"cpu_ms\": %.1f, \"read_ms\": %.1f, "
                "\"decode_ms\": %.1f, \"line_breaks_ms\": %.1f, \"storage_ms\": %.1f, \"colour_ms\": %.1f, "
                "\"baseline_kb\": %lld, \"peak_kb\": %lld, \"after_kb\": %lld}\n",
                (long long)QFileInfo(input).size(), (long long)storage.buffer().lineCount(), (long long)storage.runCount(),
                total, cpu, times.readMs, times.decodeMs, times.lineBreaksMs, times.storageMs, times.colourMs,
                (long long)baseline, (long long)peak, (long long)after);
    return 0;
}
