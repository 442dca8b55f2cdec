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
    return ::testing::AssertionFailure() << problems.join(QLatin1Char('\n')).toStdString();
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
        const bool highContrast = theme->identifier().endsWith(QLatin1String(".high-contrast"));
        EXPECT_TRUE(noProblems(MVResourceChecker::checkContrast(*theme, highContrast ? 7.0 : 4.5)));
        // Every style names its colour itself, so that no theme depends on
        // what a parent happens to be.
        for (const QString &style : MVResourceChecker::standardStyleIdentifiers()) {
            if (!style.contains(QLatin1Char('.'))) {
                EXPECT_TRUE(theme->containsIdentifier(style)) << style.toStdString();
            }
        }
    }
    ids.sort();
    EXPECT_EQ(ids, (QStringList{QStringLiteral("com.morvelworks.morvel.themes.dark"),
                                QStringLiteral("com.morvelworks.morvel.themes.high-contrast"),
                                QStringLiteral("com.morvelworks.morvel.themes.light")}));
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
        {"index.html", "text.html"}, {"site.css", "text.css"},  {"app.js", "text.js"},       {"index.php", "text.php"},
        {"tool.pl", "text.perl"},    {"run.py", "text.py"},     {"feed.xml", "text.xml"},    {"data.json", "text.json"},
        {"schema.sql", "text.sql"},  {"task.rb", "text.ruby"},  {"build.sh", "text.shell"},  {"README.md", "text.markdown"},
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
    writeBundle(bundles, QStringLiteral("NoID"), QVariantMap{{QStringLiteral("CFBundleName"), QStringLiteral("No ID")}},
                QStringLiteral("text.noid"));
    writeBundle(bundles, QStringLiteral("HTML"), info(QStringLiteral("com.example.html"), QStringLiteral("HTML"), {QStringLiteral("html")}),
                QStringLiteral("text.html"),
                {{QStringLiteral("format-type"), QStringLiteral("tag")},
                 {QStringLiteral("style"), QVariantMap{{QStringLiteral("tags"), QStringLiteral("markup.tag")},
                                                       {QStringLiteral("quotes"), QStringLiteral("nothing.defines.this")}}},
                 {QStringLiteral("embedded"), QVariantMap{{QStringLiteral("script"), QStringLiteral("text.missing")}}}});
    writeBundle(bundles, QStringLiteral("HTML5"), info(QStringLiteral("com.example.html5"), QStringLiteral("HTML 5"), {QStringLiteral("html")}),
                QStringLiteral("text.html"));
    writeBundle(bundles, QStringLiteral("JS"), info(QStringLiteral("com.example.js"), QStringLiteral("JS")), QStringLiteral("text.js"),
                {{QStringLiteral("format-type"), QStringLiteral("keyword")},
                 {QStringLiteral("regex-keywords"),
                  QVariantList{QVariantMap{{QStringLiteral("id"), QStringLiteral("keyword")}, {QStringLiteral("keyword"), QStringLiteral("(unclosed")}}}}});
    writeBundle(bundles, QStringLiteral("NoSyntax"), info(QStringLiteral("com.example.nosyntax"), QStringLiteral("No syntax")));
    QVariantMap wrongTypes = info(QStringLiteral("com.example.types"), QStringLiteral("Types"));
    wrongTypes.insert(QStringLiteral("file-types"), QStringLiteral("css"));
    writeBundle(bundles, QStringLiteral("Types"), wrongTypes, QStringLiteral("text.types"));

    QVariantMap badTheme = theme(QStringLiteral("com.example.bad"), QStringLiteral("Bad"), QStringLiteral("#ffffff"),
                                 {style(QStringLiteral("markup"), QStringLiteral("#000000"))});
    QVariantMap globals = badTheme.value(QStringLiteral("global-settings")).toMap();
    globals.insert(QStringLiteral("foreground"), 12);
    badTheme.insert(QStringLiteral("global-settings"), globals);
    ASSERT_TRUE(MVPropertyList::writeFile(badTheme, shippedThemes() + QStringLiteral("/Bad.plist"), MVPropertyList::XMLFormat));

    const QStringList problems = MVResourceChecker::checkResources(resources.path());
    EXPECT_TRUE(mentions(problems, QStringLiteral("NoID.mvbundle"), QStringLiteral("CFBundleIdentifier")));
    EXPECT_TRUE(mentions(problems, QStringLiteral("parser identifier text.html is also claimed")));
    EXPECT_TRUE(mentions(problems, QStringLiteral("extension html is also claimed")));
    EXPECT_TRUE(mentions(problems, QStringLiteral("nothing.defines.this"), QStringLiteral("Bad.plist")));
    EXPECT_FALSE(mentions(problems, QStringLiteral("style markup.tag is not defined")));
    EXPECT_TRUE(mentions(problems, QStringLiteral("text.missing")));
    EXPECT_TRUE(mentions(problems, QStringLiteral("(unclosed")));
    EXPECT_TRUE(mentions(problems, QStringLiteral("NoSyntax.mvbundle"), QStringLiteral("missing")));
    EXPECT_TRUE(mentions(problems, QStringLiteral("Types.mvbundle"), QStringLiteral("file-types")));
    EXPECT_TRUE(mentions(problems, QStringLiteral("Bad.plist"), QStringLiteral("foreground is not a colour string")));
    EXPECT_TRUE(mentions(problems, QStringLiteral("Bad.plist"), QStringLiteral("the style comment has no colour")));
    EXPECT_TRUE(mentions(problems, QStringLiteral("default identifier")));
    EXPECT_TRUE(mentions(problems, QStringLiteral("text.css")));
    EXPECT_TRUE(mentions(problems, QStringLiteral("text.perl")));

    // A low contrast is found too, against the background and the selection.
    auto grey = MVTheme::initWithPlist(theme(QStringLiteral("g"), QStringLiteral("Grey"), QStringLiteral("#ffffff"),
                                             {style(QStringLiteral("comment"), QStringLiteral("#aaaaaa")),
                                              style(QStringLiteral("string"), QStringLiteral("#595959"))}));
    const QStringList contrast = MVResourceChecker::checkContrast(*grey, 4.5);
    EXPECT_TRUE(mentions(contrast, QStringLiteral("the style comment #aaaaaa on the background")));
    EXPECT_FALSE(mentions(contrast, QStringLiteral("the style string #595959 on the background")));
    EXPECT_FALSE(mentions(contrast, QStringLiteral("the text")));
}
