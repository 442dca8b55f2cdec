// Costs of languages and themes as the editor meets them: the first lookup
// that loads every shipped language, the lookup of a file's language on each
// open, loading the themes, and the style lookup a parser makes per token
// kind when a theme is set.
#include "app/Defaults.h"
#include "language/MVBundle.h"
#include "language/MVBundleRepository.h"
#include "language/MVColorAdditions.h"
#include "language/MVTheme.h"
#include "language/MVThemeRepository.h"

#include <benchmark/benchmark.h>

#include <QDir>
#include <QTemporaryDir>

#include <cstdlib>

namespace {

// The benchmarks read the resources beside the executable and keep their preferences and
// user folder in a private directory, never in the real user's.
struct PrivateEnvironment
{
    PrivateEnvironment()
    {
        home.setAutoRemove(true);
        ::setenv("XDG_DATA_HOME", QFile::encodeName(home.path() + QStringLiteral("/data")).constData(), 1);
        ::setenv("XDG_CONFIG_HOME", QFile::encodeName(home.path() + QStringLiteral("/config")).constData(), 1);
    }
    QTemporaryDir home;
};

const PrivateEnvironment &environment()
{
    static PrivateEnvironment env;
    return env;
}

void BM_LoadAllLanguages(benchmark::State &state)
{
    environment();
    for (auto _ : state) {
        MVBundleRepository repository;
        benchmark::DoNotOptimize(repository.bundleForIdentifier(QStringLiteral("text.html")));
    }
}
BENCHMARK(BM_LoadAllLanguages)->Unit(benchmark::kMillisecond);

void BM_LanguageForPath(benchmark::State &state)
{
    environment();
    MVBundleRepository repository;
    const QStringList paths = {QStringLiteral("/srv/site/index.php"), QStringLiteral("/srv/site/css/main.css"),
                               QStringLiteral("/srv/site/js/app.js"), QStringLiteral("/srv/site/notes.unknown")};
    qsizetype i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(repository.bundleForPath(paths[i++ % paths.size()]));
}
BENCHMARK(BM_LanguageForPath);

void BM_LoadAllThemes(benchmark::State &state)
{
    environment();
    for (auto _ : state) {
        MVThemeRepository repository;
        benchmark::DoNotOptimize(repository.themes().size());
    }
}
BENCHMARK(BM_LoadAllThemes)->Unit(benchmark::kMillisecond);

void BM_StyleLookup(benchmark::State &state)
{
    environment();
    MVThemeRepository repository;
    const auto theme = repository.currentTheme();
    // Exact, one level of fallback, two levels, and none at all.
    const QStringList ids = {QStringLiteral("markup.tag"), QStringLiteral("keyword.control"),
                             QStringLiteral("keyword.control.php"), QStringLiteral("nothing.at.all")};
    qsizetype i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(theme->attributesForIdentifier(ids[i++ % ids.size()]));
}
BENCHMARK(BM_StyleLookup);

void BM_ColorFromStyleString(benchmark::State &state)
{
    const QString color = QStringLiteral("#0a6b2eff");
    for (auto _ : state)
        benchmark::DoNotOptimize(MVColorAdditions::colorFromStyleString(color));
}
BENCHMARK(BM_ColorFromStyleString);

} // namespace
