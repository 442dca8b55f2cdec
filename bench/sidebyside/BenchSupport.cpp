#include "BenchSupport.h"
#include "../ProcessMemory.h"

#include "files/FileEncodings.h"
#include "files/GeneralUtility.h"
#include "language/MVBundle.h"
#include "language/MVBundleRepository.h"
#include "language/MVParser.h"
#include "language/MVSyntaxColouring.h"
#include "language/MVTheme.h"
#include "language/MVThemeRepository.h"
#include "text/MVTextBuffer.h"
#include "text/MVTextStorage.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace BenchSupport {

bool parseArguments(int argc, char **argv, int allowed, const char *usage, Arguments *arguments)
{
    auto option = [&](int i, const char *name, Option bit) {
        return (allowed & bit) && !std::strcmp(argv[i], name);
    };
    bool ok = true;
    for (int i = 1; i < argc && ok; ++i) {
        const bool hasValue = i + 1 < argc;
        if (option(i, "--language", LanguageOption) && hasValue)
            arguments->language = QString::fromLocal8Bit(argv[++i]);
        else if (option(i, "-o", OutputOption) && hasValue)
            arguments->output = QString::fromLocal8Bit(argv[++i]);
        else if (option(i, "--timings", TimingsOption))
            arguments->timings = true;
        else if (option(i, "--samples", SamplesOption) && hasValue)
            arguments->samples = std::max(1, std::atoi(argv[++i]));
        else if (argv[i][0] == '-' || !arguments->input.isEmpty())
            ok = false;
        else
            arguments->input = QString::fromLocal8Bit(argv[i]);
    }
    if (ok && !arguments->input.isEmpty())
        return true;
    std::fprintf(stderr, "usage: %s\n", usage);
    return false;
}

void useTemporaryUserFolders()
{
    // Lives until the process ends; removed then.
    static QTemporaryDir home;
    for (const char *name : {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME"}) {
        const QString path = home.path() + QLatin1Char('/') + QLatin1String(name);
        QDir().mkpath(path);
        ::setenv(name, QFile::encodeName(path).constData(), 1);
    }
}

std::shared_ptr<MVParser> parserFor(const QString &path, const QString &identifier, QString *message)
{
    MVBundleRepository &repository = MVBundleRepository::sharedRepository();
    std::shared_ptr<MVBundle> bundle = identifier.isEmpty() ? repository.bundleForPath(path)
                                                            : repository.bundleForIdentifier(identifier);
    if (!bundle || !bundle->parser()) {
        *message = identifier.isEmpty() ? QStringLiteral("no language for %1").arg(QFileInfo(path).fileName())
                                        : QStringLiteral("no language with the identifier %1").arg(identifier);
        return nullptr;
    }
    std::shared_ptr<MVParser> parser = bundle->parser();
    parser->setTheme(MVThemeRepository::sharedRepository().currentTheme());
    return parser;
}

MVTextAttributes standardAttributes()
{
    return MVTextAttributes().setForeground(MVThemeRepository::sharedRepository().currentTheme()->textColor()).setTraits(0);
}

void colourAll(MVTextStorage &storage, const MVParser *parser)
{
    MVSyntaxColouring::syntaxHighlight(MVRange{0, storage.length()}, storage, standardAttributes(), parser);
}

bool openFile(const QString &path, MVTextStorage &storage, const MVParser *parser, OpenTimes *times, QString *message)
{
    double start = wallMs();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *message = file.errorString();
        return false;
    }
    const QByteArray bytes = file.readAll();
    file.close();
    double now = wallMs();
    times->readMs = now - start;

    start = now;
    MVStringEncoding encoding = 0;
    MVError error;
    const std::optional<QString> decoded = FileEncodings::createWithData(bytes, path, &encoding, &error);
    if (!decoded) {
        *message = error.localizedDescription();
        return false;
    }
    now = wallMs();
    times->decodeMs = now - start;

    start = now;
    const QString text = GeneralUtility::switchLineBreaks(*decoded, GeneralUtility::UnixLineBreak);
    now = wallMs();
    times->lineBreaksMs = now - start;

    // A view measures its widest line as it takes the text.
    start = now;
    storage.setBuffer(MVTextBuffer(text));
    volatile qsizetype widest = storage.buffer().longestLineLength();
    (void)widest;
    now = wallMs();
    times->storageMs = now - start;

    start = now;
    colourAll(storage, parser);
    times->colourMs = wallMs() - start;
    return true;
}

double wallMs()
{
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return double(ts.tv_sec) * 1e3 + double(ts.tv_nsec) / 1e6;
}

double threadCpuMs()
{
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return double(ts.tv_sec) * 1e3 + double(ts.tv_nsec) / 1e6;
}

qint64 residentKilobytes()
{
    return processStatusKilobytes("VmRSS:");
}

qint64 peakResidentKilobytes()
{
    return processStatusKilobytes("VmHWM:");
}

double quantile(std::vector<double> &samples, double q)
{
    if (samples.empty())
        return 0;
    std::sort(samples.begin(), samples.end());
    const double rank = q * double(samples.size());
    const size_t index = rank <= 1 ? 0 : size_t(rank + 0.999999) - 1;
    return samples[std::min(index, samples.size() - 1)];
}

} // namespace BenchSupport
