#include "language/MVBundleRepository.h"

#include "LanguageTestSupport.h"
#include "language/MVBundle.h"
#include "language/MVDefinitionRegistry.h"
#include "language/MVParser.h"
#include "platform/MVUserNotices.h"

#include <QDir>
#include <QFile>

#include <QHash>

#include <atomic>
#include <mutex>
#include <thread>

using namespace LanguageTest;

namespace {

// Counts which languages had their definitions read, and resolves a
// language it names once all are loaded, as tag parsers do.
class CountingParser : public MVParser
{
public:
    CountingParser(MVBundle *bundle, const QVariantMap &plist)
        : MVParser(bundle, plist)
        , _refersTo(plist.value(QStringLiteral("refers-to")).toString())
    {
        std::lock_guard lock(mutex());
        parsed()[bundle->path()]++;
    }
    void finishLoad(MVBundleRepository &repository) override { resolved = repository.bundleForIdentifier(_refersTo); }

    static std::mutex &mutex()
    {
        static std::mutex m;
        return m;
    }
    static QHash<QString, int> &parsed()
    {
        static QHash<QString, int> counts;
        return counts;
    }
    std::shared_ptr<MVBundle> resolved;

private:
    QString _refersTo;
};

const QVariantMap Counting{{QStringLiteral("format-type"), QStringLiteral("test-counting")}};

class MVBundleRepositoryTest : public ResourcesFixture
{
protected:
    void SetUp() override
    {
        ResourcesFixture::SetUp();
        MVBundle::setFileCategoryResolver({});
        MVDefinitionRegistry::registerParserFormat(QStringLiteral("test-counting"), [](MVBundle *bundle, const QVariantMap &plist) {
            return std::make_shared<CountingParser>(bundle, plist);
        });
        std::lock_guard lock(CountingParser::mutex());
        CountingParser::parsed().clear();
    }
    void shipHTML()
    {
        writeBundle(shippedBundles(), QStringLiteral("HTML"),
                    info(QStringLiteral("com.example.html"), QStringLiteral("HTML"), {QStringLiteral("html"), QStringLiteral("htm")}),
                    QStringLiteral("text.html"), Counting);
    }
};

} // namespace

TEST_F(MVBundleRepositoryTest, TheUserCopyShadowsTheShippedOne)
{
    shipHTML();
    const QString shippedCSS = writeBundle(shippedBundles(), QStringLiteral("CSS"),
                                           info(QStringLiteral("com.example.css"), QStringLiteral("CSS"), {QStringLiteral("css")}),
                                           QStringLiteral("text.css"), Counting);
    // The user's copy sits deeper in the folder; the search goes to any depth.
    const QString userCSS = writeBundle(userDirectory(QStringLiteral("Bundles/edited/more")), QStringLiteral("CSS"),
                                        info(QStringLiteral("com.example.css"), QStringLiteral("My CSS"), {QStringLiteral("css"), QStringLiteral("less")}),
                                        QStringLiteral("text.css"), Counting);

    MVBundleRepository repository;
    const auto css = repository.bundleForIdentifier(QStringLiteral("text.css"));
    ASSERT_TRUE(css);
    EXPECT_EQ(css->title(), QStringLiteral("My CSS"));
    EXPECT_EQ(repository.bundleForFileCategory(QString(), QStringLiteral("less")), css);
    EXPECT_EQ(repository.bundleForBundleIdentifier(QStringLiteral("com.example.css")), css);
    EXPECT_EQ(repository.bundles().size(), 2u);
    std::lock_guard lock(CountingParser::mutex());
    EXPECT_EQ(CountingParser::parsed().value(userCSS), 1);
    EXPECT_EQ(CountingParser::parsed().value(shippedCSS), 0) << "a shadowed language is never parsed";
}

TEST_F(MVBundleRepositoryTest, ABrokenUserCopyGivesWayToTheShippedOneAndTheUserIsToldOnce)
{
    shipHTML();
    writeBundle(shippedBundles(), QStringLiteral("CSS"),
                info(QStringLiteral("com.example.css"), QStringLiteral("CSS"), {QStringLiteral("css")}),
                QStringLiteral("text.css"), Counting);
    const QString userCSS = writeBundle(userDirectory(QStringLiteral("Bundles")), QStringLiteral("CSS"),
                                        info(QStringLiteral("com.example.css"), QStringLiteral("My CSS"), {QStringLiteral("css")}),
                                        QStringLiteral("text.css"), Counting);
    const QString syntax = userCSS + QStringLiteral("/Contents/syntax.plist");
    QFile file(syntax);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write("<?xml version=\"1.0\"?><plist><dict><key>format-id</key>");
    file.close();
    // A user's language whose Info.plist cannot be read is passed over with a notice too.
    const QString unreadable = userDirectory(QStringLiteral("Bundles/Mine.mvbundle/Contents"));
    QDir().mkpath(unreadable);
    QFile info(unreadable + QStringLiteral("/Info.plist"));
    ASSERT_TRUE(info.open(QIODevice::WriteOnly));
    info.write("not a property list");
    info.close();
    MVUserNotices::takePending();

    for (int load = 0; load < 2; ++load) {
        MVBundleRepository repository;
        const auto css = repository.bundleForIdentifier(QStringLiteral("text.css"));
        ASSERT_TRUE(css && css->parser());
        EXPECT_EQ(css->title(), QStringLiteral("CSS")) << "the shipped copy colours the text";
        EXPECT_EQ(repository.bundleForPath(QStringLiteral("/site/a.css")), css);
    }
    const QStringList notices = MVUserNotices::takePending();
    ASSERT_EQ(notices.size(), 2) << notices.join('\n').toStdString();
    const QString language = notices.filter(QStringLiteral("My CSS")).value(0);
    EXPECT_TRUE(language.contains(syntax)) << language.toStdString();
    EXPECT_TRUE(notices.filter(QStringLiteral("Mine.mvbundle")).size() == 1);
}

TEST_F(MVBundleRepositoryTest, ExtensionsAreExactAndUnknownOnesGetHTML)
{
    shipHTML();
    writeBundle(shippedBundles(), QStringLiteral("PHP"),
                info(QStringLiteral("com.example.php"), QStringLiteral("PHP"), {QStringLiteral("php")}), QStringLiteral("text.php"));
    MVBundleRepository repository;
    const auto html = repository.bundleForIdentifier(QStringLiteral("text.html"));
    ASSERT_TRUE(html);
    EXPECT_EQ(repository.bundleForFileCategory(QString(), QStringLiteral("php"))->identifier(), QStringLiteral("text.php"));
    EXPECT_FALSE(repository.bundleForFileCategory(QString(), QStringLiteral("PHP")));
    EXPECT_EQ(repository.bundleForPath(QStringLiteral("/site/index.php"))->identifier(), QStringLiteral("text.php"));
    EXPECT_EQ(repository.bundleForPath(QStringLiteral("/site/INDEX.PHP")), html);
    EXPECT_EQ(repository.bundleForPath(QStringLiteral("/site/notes.unknown")), html);
    EXPECT_EQ(repository.bundleForPath(QStringLiteral("/site/Makefile")), html);
    EXPECT_EQ(repository.bundleForPath(QStringLiteral("/site/.php")), html);
    EXPECT_EQ(repository.bundleForPath(QString()), html);
    EXPECT_FALSE(repository.bundleForIdentifier(QString()));
}

TEST_F(MVBundleRepositoryTest, TwoClaimsOnOneExtensionAreDecidedByBundleIdentifier)
{
    shipHTML();
    writeBundle(shippedBundles(), QStringLiteral("Zeta"),
                info(QStringLiteral("com.example.b"), QStringLiteral("Zeta"), {QStringLiteral("tpl")}), QStringLiteral("text.zeta"));
    writeBundle(shippedBundles(), QStringLiteral("Alpha"),
                info(QStringLiteral("com.example.c"), QStringLiteral("Alpha"), {QStringLiteral("tpl")}), QStringLiteral("text.alpha"));
    MVBundleRepository repository;
    // The later bundle identifier wins, whatever the directory names.
    EXPECT_EQ(repository.bundleForFileCategory(QString(), QStringLiteral("tpl"))->bundleIdentifier(), QStringLiteral("com.example.c"));
}

TEST_F(MVBundleRepositoryTest, BrokenDirectoriesAreSkippedAndReported)
{
    shipHTML();
    writeBundle(shippedBundles(), QStringLiteral("NoID"), QVariantMap{{QStringLiteral("CFBundleName"), QStringLiteral("x")}});
    resources.write(QStringLiteral("Bundles/Cut.mvbundle/Contents/Info.plist"), QByteArray("bplist00\xd1\x01\x02", 11));
    writeBundle(shippedBundles(), QStringLiteral("Twin"),
                info(QStringLiteral("com.example.twin"), QStringLiteral("Twin")), QStringLiteral("text.html"));
    MVBundleRepository repository;
    EXPECT_EQ(repository.bundleForIdentifier(QStringLiteral("text.html"))->bundleIdentifier(), QStringLiteral("com.example.html"));
    EXPECT_EQ(repository.bundles().size(), 2u);
    EXPECT_EQ(repository.loadProblems().size(), 3) << repository.loadProblems().join(QLatin1Char('\n')).toStdString();
}

TEST_F(MVBundleRepositoryTest, HiddenLanguagesStayHiddenButHTMLCannotBeHidden)
{
    shipHTML();
    writeBundle(shippedBundles(), QStringLiteral("Perl"),
                info(QStringLiteral("com.example.perl"), QStringLiteral("Perl"), {QStringLiteral("pl")}), QStringLiteral("text.perl"), Counting);
    {
        MVBundleRepository repository;
        const auto perl = repository.bundleForIdentifier(QStringLiteral("text.perl"));
        ASSERT_TRUE(perl);
        EXPECT_TRUE(repository.removeBundle(perl));
        EXPECT_FALSE(repository.bundleForIdentifier(QStringLiteral("text.perl")));
        EXPECT_FALSE(repository.bundleForBundleIdentifier(QStringLiteral("com.example.perl")));
        EXPECT_EQ(repository.bundleForPath(QStringLiteral("a.pl"))->identifier(), QStringLiteral("text.html"));
        EXPECT_EQ(perl->title(), QStringLiteral("Perl")) << "a holder keeps using a hidden language";

        EXPECT_FALSE(repository.removeBundle(repository.bundleForIdentifier(QStringLiteral("text.html"))));
        EXPECT_TRUE(repository.bundleForIdentifier(QStringLiteral("text.html")));
    }
    // A user's copy of a hidden language is hidden too, and nothing was deleted.
    writeBundle(userDirectory(QStringLiteral("Bundles")), QStringLiteral("Perl"),
                info(QStringLiteral("com.example.perl"), QStringLiteral("My Perl")), QStringLiteral("text.perl"), Counting);
    MVBundleRepository again;
    EXPECT_FALSE(again.bundleForIdentifier(QStringLiteral("text.perl")));
    EXPECT_TRUE(QFileInfo::exists(shippedBundles() + QStringLiteral("/Perl.mvbundle/Contents/Info.plist")));
    std::lock_guard lock(CountingParser::mutex());
    EXPECT_EQ(CountingParser::parsed().value(userDirectory(QStringLiteral("Bundles/Perl.mvbundle"))), 0);
}

TEST_F(MVBundleRepositoryTest, NewLanguagesByTitleAndParserIdentifier)
{
    shipHTML();
    MVBundleRepository repository;
    const auto html = repository.bundleForIdentifier(QStringLiteral("text.html"));
    EXPECT_EQ(repository.addBundleWithTitle(QStringLiteral("html"), QStringLiteral("text.other")), html);
    EXPECT_FALSE(repository.addBundleWithTitle(QStringLiteral("Another"), QStringLiteral("text.html")));
    const auto added = repository.addBundleWithTitle(QStringLiteral("Twig"), QStringLiteral("text.twig"));
    ASSERT_TRUE(added);
    EXPECT_TRUE(added->path().isEmpty());
    EXPECT_EQ(repository.bundleForIdentifier(QStringLiteral("text.twig")), added);
    EXPECT_EQ(repository.bundleForBundleIdentifier(added->bundleIdentifier()), added);

    const auto sorted = repository.bundles(&MVBundleRepository::titleOrder);
    ASSERT_EQ(sorted.size(), 2u);
    EXPECT_EQ(sorted.front(), html);
}

TEST_F(MVBundleRepositoryTest, ParsersResolveOtherLanguagesAfterTheLoad)
{
    QVariantMap refers = Counting;
    refers.insert(QStringLiteral("refers-to"), QStringLiteral("text.zzz"));
    writeBundle(shippedBundles(), QStringLiteral("A"), info(QStringLiteral("com.example.a"), QStringLiteral("A")), QStringLiteral("text.html"), refers);
    writeBundle(shippedBundles(), QStringLiteral("Z"), info(QStringLiteral("com.example.z"), QStringLiteral("Z")), QStringLiteral("text.zzz"));
    MVBundleRepository repository;
    const auto parser = std::dynamic_pointer_cast<CountingParser>(repository.bundleForIdentifier(QStringLiteral("text.html"))->parser());
    ASSERT_TRUE(parser);
    ASSERT_TRUE(parser->resolved);
    EXPECT_EQ(parser->resolved->identifier(), QStringLiteral("text.zzz"));
}

TEST_F(MVBundleRepositoryTest, LookupsFromSeveralThreadsLoadOnce)
{
    shipHTML();
    for (int i = 0; i < 8; ++i) {
        writeBundle(shippedBundles(), QStringLiteral("L%1").arg(i),
                    info(QStringLiteral("com.example.l%1").arg(i), QStringLiteral("L%1").arg(i), {QStringLiteral("e%1").arg(i)}),
                    QStringLiteral("text.l%1").arg(i), Counting);
    }
    MVBundleRepository repository;
    std::atomic<int> found{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&repository, &found, t] {
            for (int i = 0; i < 50; ++i) {
                if (repository.bundleForFileCategory(QString(), QStringLiteral("e%1").arg((i + t) % 8)))
                    found++;
                repository.bundleForPath(QStringLiteral("x.none"));
            }
        });
    }
    for (auto &thread : threads)
        thread.join();
    EXPECT_EQ(found.load(), 200);
    std::lock_guard lock(CountingParser::mutex());
    for (auto it = CountingParser::parsed().cbegin(); it != CountingParser::parsed().cend(); ++it)
        EXPECT_EQ(it.value(), 1) << it.key().toStdString();
}
