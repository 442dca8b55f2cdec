#include "language/MVResourceChecker.h"

#include "LanguageTestSupport.h"
#include "language/MVBundle.h"
#include "language/MVBundleRepository.h"
#include "language/MVTheme.h"
#include "language/MVThemeRepository.h"

using namespace LanguageTest;

namespace {

const QString Shipped = QStringLiteral(MORVEL_SOURCE_DIR "/resources");

::testing::AssertionResult noProblems(const QStringList &problems)
{
    if (problems.isEmpty())
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << problems.join('\n').toStdString();
}

bool mentions(const QStringList &problems, const QString &a, const QString &b = QString())
{
    return std::any_of(problems.cbegin(), problems.cend(),
                       [&](const QString &p) { return p.contains(a) && (b.isEmpty() || p.contains(b)); });
}

} // namespace

TEST(MVResourceChecker, ShippedLanguagesAndThemesAreConsistent)
{
    EXPECT_TRUE(noProblems(MVResourceChecker::checkResources(Shipped)));
}

TEST(MVResourceChecker, ShippedThemesAreReadable)
{
    std::vector<std::shared_ptr<MVTheme>> themes;
    ASSERT_TRUE(noProblems(MVResourceChecker::checkThemes(Shipped + QStringLiteral("/Themes"), &themes)));
    QStringList ids;
    for (const auto &theme : themes) {
        ids << theme->identifier();
        const bool highContrast = theme->identifier().endsWith(".high-contrast");
        EXPECT_TRUE(noProblems(MVResourceChecker::checkContrast(*theme, highContrast ? 7.0 : 4.5)));
        // Every style names its colour itself, so that no theme depends on
        // what a parent happens to be.
        for (const QString &style : MVResourceChecker::standardStyleIdentifiers()) {
            if (!style.contains('.')) {
                EXPECT_TRUE(theme->containsIdentifier(style)) << style.toStdString();
            }
        }
    }
    ids.sort();
    EXPECT_EQ(ids,
              (QStringList{"com.morvelworks.morvel.themes.dark", "com.morvelworks.morvel.themes.high-contrast",
                           "com.morvelworks.morvel.themes.light"}));
}

class MVShippedResources : public ResourcesFixture
{
protected:
    void SetUp() override
    {
        ResourcesFixture::SetUp();
        MVBundle::setFileCategoryResolver({});
        Defaults::setResourcesPathForTesting(Shipped);
    }
};

TEST_F(MVShippedResources, EveryShippedLanguageIsFoundByItsExtension)
{
    MVBundleRepository repository;
    EXPECT_TRUE(noProblems(repository.loadProblems()));
    const QList<QPair<const char *, const char *>> expected = {
        {"index.html", "text.html"}, {"site.css", "text.css"},   {"app.js", "text.js"},
        {"index.php", "text.php"},   {"tool.pl", "text.perl"},   {"run.py", "text.py"},
        {"feed.xml", "text.xml"},    {"data.json", "text.json"}, {"schema.sql", "text.sql"},
        {"task.rb", "text.ruby"},    {"build.sh", "text.shell"}, {"README.md", "text.markdown"},
        {"notes.txt", "text.html"},
    };
    for (const auto &[file, parser] : expected) {
        const auto bundle = repository.bundleForPath(QString::fromLatin1(file));
        ASSERT_TRUE(bundle) << file;
        EXPECT_EQ(bundle->identifier(), QString::fromLatin1(parser)) << file;
    }
    EXPECT_EQ(repository.bundles().size(), 13u); // with the code of PHP blocks, which no file names

    // As at launch: the registered defaults name the light theme.
    Defaults::resetDefaults();
    MVThemeRepository themes;
    EXPECT_EQ(themes.countOfThemes(), 3);
    EXPECT_EQ(themes.currentTheme()->identifier(), MVResourceChecker::defaultThemeIdentifier());
}

TEST_F(MVShippedResources, ChecksFindWhatIsBroken)
{
    const QString bundles = shippedBundles();
    // Swap in the scratch resources, which this test fills with faults.
    writeBundle(bundles, "NoID", QVariantMap{{"CFBundleName", "No ID"}}, "text.noid");
    writeBundle(bundles, "HTML", info("com.example.html", "HTML", {"html"}), "text.html",
                {{"format-type", "tag"},
                 {"style", QVariantMap{{"tags", "markup.tag"}, {"quotes", "nothing.defines.this"}}},
                 {"embedded", QVariantMap{{"script", "text.missing"}}}});
    writeBundle(bundles, "HTML5", info("com.example.html5", "HTML 5", {"html"}), "text.html");
    writeBundle(bundles, "JS", info("com.example.js", "JS"), "text.js",
                {{"format-type", "keyword"},
                 {"regex-keywords", QVariantList{QVariantMap{{"id", "keyword"}, {"keyword", "(unclosed"}}}}});
    writeBundle(bundles, "NoSyntax", info("com.example.nosyntax", "No syntax"));
    QVariantMap wrongTypes = info("com.example.types", "Types");
    wrongTypes.insert("file-types", "css");
    writeBundle(bundles, "Types", wrongTypes, "text.types");

    QVariantMap badTheme = theme("com.example.bad", "Bad", "#ffffff", {style("markup", "#000000")});
    QVariantMap globals = badTheme.value("global-settings").toMap();
    globals.insert("foreground", 12);
    badTheme.insert("global-settings", globals);
    ASSERT_TRUE(
        MVPropertyList::writeFile(badTheme, shippedThemes() + QStringLiteral("/Bad.plist"), MVPropertyList::XMLFormat));

    const QStringList problems = MVResourceChecker::checkResources(resources.path());
    EXPECT_TRUE(mentions(problems, "NoID.mvbundle", "CFBundleIdentifier"));
    EXPECT_TRUE(mentions(problems, "parser identifier text.html is also claimed"));
    EXPECT_TRUE(mentions(problems, "extension html is also claimed"));
    EXPECT_TRUE(mentions(problems, "nothing.defines.this", "Bad.plist"));
    EXPECT_FALSE(mentions(problems, "style markup.tag is not defined"));
    EXPECT_TRUE(mentions(problems, "text.missing"));
    EXPECT_TRUE(mentions(problems, "(unclosed"));
    EXPECT_TRUE(mentions(problems, "NoSyntax.mvbundle", "missing"));
    EXPECT_TRUE(mentions(problems, "Types.mvbundle", "file-types"));
    EXPECT_TRUE(mentions(problems, "Bad.plist", "foreground is not a colour string"));
    EXPECT_TRUE(mentions(problems, "Bad.plist", "the style comment has no colour"));
    EXPECT_TRUE(mentions(problems, "default identifier"));
    EXPECT_TRUE(mentions(problems, "text.css"));
    EXPECT_TRUE(mentions(problems, "text.perl"));

    // A low contrast is found too, against the background and the selection.
    auto grey = MVTheme::initWithPlist(
        theme("g", "Grey", "#ffffff", {style("comment", "#aaaaaa"), style("string", "#595959")}));
    const QStringList contrast = MVResourceChecker::checkContrast(*grey, 4.5);
    EXPECT_TRUE(mentions(contrast, "the style comment #aaaaaa on the background"));
    EXPECT_FALSE(mentions(contrast, "the style string #595959 on the background"));
    EXPECT_FALSE(mentions(contrast, "the text"));
}
