#include "language/MVBundle.h"

#include "LanguageTestSupport.h"
#include "language/MVDefinitionRegistry.h"
#include "language/MVParser.h"

#include <QFile>
#include <QFileInfo>

#include <atomic>

using namespace LanguageTest;

namespace {

// A parser whose file can't be written, as when the disk fills up midway.
class UnwritableParser : public MVParser
{
public:
    using MVParser::MVParser;
    bool commitToPath(const QString &) override { return false; }
};

// Another definition, to see that a bundle hands its file to the class
// registered for it.
class RecordingCompletion : public MVBundleDefinition
{
public:
    explicit RecordingCompletion(QVariantMap plist) : plist(std::move(plist)) {}
    bool commitToPath(const QString &contents) override
    {
        return MVPropertyList::writeFile(plist, contents + QStringLiteral("/completion.plist"),
                                         MVPropertyList::BinaryFormat);
    }
    QVariantMap plist;
};

void registerTestDefinitions()
{
    MVDefinitionRegistry::registerParserFormat("test-unwritable", [](MVBundle *bundle, const QVariantMap &plist) {
        return std::make_shared<UnwritableParser>(bundle, plist);
    });
    MVDefinitionRegistry::registerCodeCompletionClass("TestCompletion", [](MVBundle *, const QVariant &plist) {
        return std::make_shared<RecordingCompletion>(plist.toMap());
    });
}

QByteArray readAll(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

class MVBundleTest : public ResourcesFixture
{
protected:
    void SetUp() override
    {
        ResourcesFixture::SetUp();
        registerTestDefinitions();
        MVBundle::setFileCategoryResolver({});
    }
    void TearDown() override
    {
        MVBundle::setFileCategoryResolver({});
        ResourcesFixture::TearDown();
    }
};

} // namespace

TEST_F(MVBundleTest, ReadsMetadataAndDefinitions)
{
    QVariantMap meta = info("com.example.lang", "Lang", {"lg"});
    meta.insert("hide-in-list", true);
    meta.insert("tooltip", "A language");
    const QString path = writeBundle(shippedBundles(), "Lang", meta, "text.lang",
                                     {{"folding", QVariantMap{{"open", "\\{"}}},
                                      {"openers", QStringList{"<?lang"}},
                                      {"closers", QStringList{"?>"}}});
    MVPropertyList::writeFile(QVariantMap{{"class", "TestCompletion"}},
                              path + QStringLiteral("/Contents/completion.plist"), MVPropertyList::XMLFormat);

    const auto lazy = MVBundle::initWithPath(path, true);
    ASSERT_TRUE(lazy);
    EXPECT_EQ(lazy->bundleIdentifier(), "com.example.lang");
    EXPECT_EQ(lazy->title(), "Lang");
    EXPECT_TRUE(lazy->hideInList());
    EXPECT_EQ(lazy->tooltip(), "A language");
    EXPECT_EQ(lazy->version(), "1.0");
    EXPECT_EQ(lazy->fileTypes(), QStringList{"lg"});
    EXPECT_FALSE(lazy->parser()) << "a lazy load reads no definitions";
    EXPECT_TRUE(lazy->identifier().isEmpty());

    const auto full = MVBundle::initWithPath(path, false);
    ASSERT_TRUE(full && full->parser());
    EXPECT_EQ(full->identifier(), "text.lang");
    EXPECT_EQ(full->parser()->openers(), QStringList{"<?lang"});
    EXPECT_TRUE(full->parser()->foldOpener());
    EXPECT_FALSE(full->parser()->foldCloser());
    ASSERT_TRUE(full->codeCompletion<RecordingCompletion>());
    EXPECT_FALSE(full->codeHinting());
    EXPECT_FALSE(full->codeIndexer());
}

TEST_F(MVBundleTest, RefusesDirectoriesWithoutAnIdentifier)
{
    QString error;
    const QString noID = writeBundle(shippedBundles(), "NoID", QVariantMap{{"CFBundleName", "No ID"}});
    EXPECT_FALSE(MVBundle::initWithPath(noID, false, &error));
    EXPECT_TRUE(error.contains("CFBundleIdentifier")) << error.toStdString();

    const QString wrongType = writeBundle(shippedBundles(), "Wrong", QVariantMap{{"CFBundleIdentifier", 7}});
    EXPECT_FALSE(MVBundle::initWithPath(wrongType, false));

    // A binary property list cut short.
    const auto bytes = MVPropertyList::toData(info("com.example.cut", "Cut"), MVPropertyList::BinaryFormat);
    ASSERT_TRUE(bytes.has_value());
    const QString cut = resources.write("Bundles/Cut.mvbundle/Contents/Info.plist", bytes->left(bytes->size() - 12));
    error.clear();
    ASSERT_TRUE(QFileInfo::exists(cut));
    EXPECT_FALSE(MVBundle::initWithPath(resources.file("Bundles/Cut.mvbundle"), false, &error));
    EXPECT_TRUE(error.contains("not readable")) << error.toStdString();

    const QString file = resources.write("Bundles/File.mvbundle", "plain file");
    EXPECT_FALSE(MVBundle::initWithPath(file, false));
    EXPECT_FALSE(MVBundle::initWithPath(resources.file("Bundles/Missing.mvbundle"), false));
}

TEST_F(MVBundleTest, CategoriesGiveTheTypesAndTheStaticListIsTheFallback)
{
    QVariantMap meta = info("com.example.web", "Web", {"static"});
    meta.insert("file-categories", QStringList{"Pages", "Unknown", "Empty"});
    const QString path = writeBundle(shippedBundles(), "Web", meta);

    // Without a source of categories, titles are kept and give no types.
    auto bundle = MVBundle::initWithPath(path, true);
    EXPECT_EQ(bundle->fileCategories().size(), 3);
    EXPECT_EQ(bundle->fileTypes(), QStringList{"static"});

    MVBundle::setFileCategoryResolver([](const QString &title) -> std::optional<QStringList> {
        if (title == "Pages")
            return QStringList{"html", "htm"};
        if (title == "Empty" || title == "Other")
            return QStringList();
        return std::nullopt;
    });
    bundle = MVBundle::initWithPath(path, true);
    EXPECT_EQ(bundle->fileCategories(), (QStringList{"Pages", "Empty"}));
    EXPECT_EQ(bundle->fileTypes(), (QStringList{"html", "htm"}));
    // Categories that give no type fall back to the static list.
    bundle->setFileCategories({"Other"});
    EXPECT_EQ(bundle->fileTypes(), QStringList{"static"});
}

TEST_F(MVBundleTest, CommitCopiesAShippedLanguageToTheUserFolder)
{
    QVariantMap meta = info("com.example.html", "HTML", {"html"});
    meta.insert("tooltip", "kept");
    meta.insert("x-unknown", "also kept");
    const QString shipped = writeBundle(shippedBundles(), "HTML", meta, "text.html");
    resources.write("Bundles/HTML.mvbundle/Contents/hinting.plist", "<plist><dict/></plist>");
    resources.write("Bundles/HTML.mvbundle/Contents/Resources/icon.txt", "icon");
    const QByteArray shippedInfo = readAll(shipped + QStringLiteral("/Contents/Info.plist"));

    auto bundle = MVBundle::initWithPath(shipped, false);
    ASSERT_TRUE(bundle->commit());
    const QString user = userDirectory("Bundles/HTML.mvbundle");
    EXPECT_EQ(bundle->path(), shipped) << "the bundle keeps its directory until the next launch";
    EXPECT_EQ(readAll(user + QStringLiteral("/Contents/Resources/icon.txt")), QByteArray("icon"));
    EXPECT_TRUE(QFileInfo::exists(user + QStringLiteral("/Contents/hinting.plist")));
    const auto written = MVPropertyList::readDictionary(user + QStringLiteral("/Contents/Info.plist"));
    ASSERT_TRUE(written.has_value());
    EXPECT_EQ(written->value("CFBundleIdentifier").toString(), "com.example.html");
    EXPECT_EQ(written->value("CFBundleVersion").toString(), "1.0");
    EXPECT_EQ(written->value("tooltip").toString(), "kept");
    EXPECT_EQ(written->value("x-unknown").toString(), "also kept");
    EXPECT_EQ(written->value("file-types").toStringList(), QStringList{"html"});
    EXPECT_TRUE(written->contains("file-categories"));
    EXPECT_EQ(
        MVPropertyList::readDictionary(user + QStringLiteral("/Contents/syntax.plist"))->value("format-id").toString(),
        "text.html");
    EXPECT_EQ(readAll(shipped + QStringLiteral("/Contents/Info.plist")), shippedInfo);

    // The next commit replaces the user's copy and leaves no backup behind.
    ASSERT_TRUE(bundle->commit());
    EXPECT_FALSE(QFileInfo::exists(user + QStringLiteral(".backup")));
    EXPECT_TRUE(QFileInfo::exists(user + QStringLiteral("/Contents/Resources/icon.txt")));
}

TEST_F(MVBundleTest, AUserLanguageIsWrittenInPlace)
{
    const QString nested
        = writeBundle(userDirectory("Bundles/deeper"), "Mine", info("com.example.mine", "Mine"), "text.mine");
    auto bundle = MVBundle::initWithPath(nested, false);
    bundle->setFileCategories({"Scripts"});
    ASSERT_TRUE(bundle->commit());
    EXPECT_EQ(MVPropertyList::readDictionary(nested + QStringLiteral("/Contents/Info.plist"))
                  ->value("file-categories")
                  .toStringList(),
              QStringList{"Scripts"});
    EXPECT_FALSE(QFileInfo::exists(userDirectory("Bundles/Mine.mvbundle")));
}

TEST_F(MVBundleTest, AFailedCommitPutsThePreviousCopyBack)
{
    const QString user = writeBundle(userDirectory("Bundles"), "Fragile", info("com.example.fragile", "Fragile"),
                                     "text.fragile", {{"format-type", "test-unwritable"}});
    QFile marker(user + QStringLiteral("/Contents/Resources/marker"));
    QDir().mkpath(QFileInfo(marker).path());
    ASSERT_TRUE(marker.open(QIODevice::WriteOnly));
    marker.write("before");
    marker.close();
    const QByteArray infoBefore = readAll(user + QStringLiteral("/Contents/Info.plist"));

    auto bundle = MVBundle::initWithPath(user, false);
    bundle->setFileCategories({"Changed"});
    QString error;
    EXPECT_FALSE(bundle->commit(&error));
    EXPECT_TRUE(error.contains("syntax")) << error.toStdString();
    EXPECT_EQ(readAll(user + QStringLiteral("/Contents/Info.plist")), infoBefore);
    EXPECT_EQ(readAll(user + QStringLiteral("/Contents/Resources/marker")), QByteArray("before"));
    EXPECT_FALSE(QFileInfo::exists(user + QStringLiteral(".backup")));
}

TEST_F(MVBundleTest, AnUnwritableUserFolderFailsCleanly)
{
    const QString shipped = writeBundle(shippedBundles(), "CSS", info("com.example.css", "CSS"), "text.css");
    const QByteArray before = readAll(shipped + QStringLiteral("/Contents/Info.plist"));
    QDir().mkpath(Defaults::tildePath());
    QFile blocker(userDirectory("Bundles"));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();

    auto bundle = MVBundle::initWithPath(shipped, false);
    QString error;
    EXPECT_FALSE(bundle->commit(&error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_EQ(readAll(shipped + QStringLiteral("/Contents/Info.plist")), before);
    EXPECT_TRUE(QFileInfo(userDirectory("Bundles")).isFile());
}

TEST_F(MVBundleTest, ANewLanguageGetsACleanUniqueDirectory)
{
    // Another language already has the directory name the title gives.
    writeBundle(userDirectory("Bundles"), "My Lang", info("com.example.other", "Other"));
    auto bundle = MVBundle::initWithTitle("../My Lang", "text.my");
    EXPECT_TRUE(bundle->path().isEmpty());
    EXPECT_EQ(bundle->identifier(), "text.my");
    EXPECT_FALSE(bundle->bundleIdentifier().isEmpty());
    EXPECT_EQ(MVBundle::cleanDirectoryName("../My Lang"), "-My Lang.mvbundle");
    EXPECT_EQ(MVBundle::cleanDirectoryName("..."), "Language.mvbundle");
    EXPECT_EQ(MVBundle::cleanDirectoryName(".hidden"), "hidden.mvbundle");

    auto plain = MVBundle::initWithTitle("My Lang", "text.plain");
    ASSERT_TRUE(plain->commit());
    EXPECT_EQ(QFileInfo(plain->path()).fileName(), "My Lang 2.mvbundle");
    EXPECT_EQ(MVPropertyList::readDictionary(userDirectory("Bundles/My Lang.mvbundle/Contents/Info.plist"))
                  ->value("CFBundleIdentifier")
                  .toString(),
              "com.example.other");
    const auto reread = MVBundle::initWithPath(plain->path(), false);
    ASSERT_TRUE(reread);
    EXPECT_EQ(reread->bundleIdentifier(), plain->bundleIdentifier());
    EXPECT_EQ(reread->identifier(), "text.plain");
    EXPECT_EQ(reread->version(), "1.0");
}

TEST_F(MVBundleTest, ImagesComeFromTheResourcesAndAreCached)
{
    const QString path = writeBundle(shippedBundles(), "Img", info("com.example.img", "Img"));
    QImage image(4, 3, QImage::Format_ARGB32);
    image.fill(Qt::red);
    QDir().mkpath(path + QStringLiteral("/Contents/Resources"));
    ASSERT_TRUE(image.save(path + QStringLiteral("/Contents/Resources/dot.png")));
    resources.write("Bundles/Img.mvbundle/Contents/Resources/bad.png", "not an image");

    auto bundle = MVBundle::initWithPath(path, true);
    EXPECT_EQ(bundle->imageNamed("dot.png").size(), QSize(4, 3));
    QFile::remove(path + QStringLiteral("/Contents/Resources/dot.png"));
    EXPECT_EQ(bundle->imageNamed("dot.png").size(), QSize(4, 3));
    EXPECT_TRUE(bundle->imageNamed("bad.png").isNull());
    EXPECT_TRUE(bundle->imageNamed("../Info.plist").isNull());
}

TEST_F(MVBundleTest, TheIndexerIsReadAgainWhenThePreferencesClose)
{
    struct Indexer : MVBundleDefinition
    {
        explicit Indexer(int generation) : generation(generation) {}
        bool commitToPath(const QString &) override { return true; }
        int generation;
    };
    static std::atomic<int> made{0};
    MVDefinitionRegistry::registerCodeIndexer(
        [](MVBundle *, const QVariant &) { return std::make_shared<Indexer>(++made); });
    const QString path = writeBundle(shippedBundles(), "Idx", info("com.example.idx", "Idx"));
    MVPropertyList::writeFile(QVariantMap{{"extensions", QStringList{"idx"}}},
                              path + QStringLiteral("/Contents/indexer.plist"), MVPropertyList::XMLFormat);

    auto bundle = MVBundle::initWithPath(path, false);
    ASSERT_TRUE(bundle->codeIndexer<Indexer>());
    const int first = bundle->codeIndexer<Indexer>()->generation;
    MVNotificationCenter::defaultCenter().post("MorvelPrefsClosed");
    ASSERT_TRUE(bundle->codeIndexer<Indexer>());
    EXPECT_GT(bundle->codeIndexer<Indexer>()->generation, first);

    // A bundle that is gone no longer hears the notification.
    bundle.reset();
    const int before = made.load();
    MVNotificationCenter::defaultCenter().post("MorvelPrefsClosed");
    EXPECT_EQ(made.load(), before);
    MVDefinitionRegistry::registerCodeIndexer({});
}
