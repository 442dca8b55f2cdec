#include "files/MVFileCategories.h"
#include "files/MVFile.h"

#include "app/Defaults.h"
#include "language/MVBundle.h"
#include "platform/MVNotificationCenter.h"
#include "platform/MVPropertyList.h"

#include "support/TestEnvironment.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImage>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

using Type = MVFileCategories::Type;

QVariantMap definition(const QStringList &types, const QVariantMap &insert = {})
{
    QVariantMap map{{"types", types}};
    if (!insert.isEmpty())
        map.insert("insertWhenDragged", insert);
    return map;
}

QByteArray textBytes()
{
    return QByteArray("A line of plain words that any reader can read.\n").repeated(10);
}

QByteArray binaryBytes()
{
    QByteArray bytes;
    for (int i = 0; i < 1024; ++i)
        bytes.append(static_cast<char>((i * 7919 + 13) % 256));
    return bytes;
}

QByteArray pngBytes()
{
    QImage image(32, 32, QImage::Format_RGB32);
    image.fill(Qt::red);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

} // namespace

class MVFileCategoriesTest : public ::testing::Test
{
protected:
    // A registry over a file of the test's own.
    std::unique_ptr<MVFileCategories> registry(const QVariantMap &plist)
    {
        const QString path = dir.file("fileCategories.plist");
        EXPECT_TRUE(MVPropertyList::writeFile(plist, path, MVPropertyList::XMLFormat));
        return std::make_unique<MVFileCategories>(path, dir.file("committed/fileCategories.plist"));
    }

    MVScratchDir dir;
};

TEST_F(MVFileCategoriesTest, TheShippedCategoriesCoverWebWorkAndNameEveryLanguage)
{
    MVFileCategories &categories = MVFileCategories::sharedCategories();
    const std::pair<const char *, const char *> titles[] = {
        {"html", "HTML"}, {"js", "JavaScript"}, {"php", "PHP"}, {"svg", "XML"}, {"txt", "Plain Text"}, {"png", "PNG"},
    };
    for (const auto &[extension, title] : titles)
        EXPECT_TRUE(categories.extensionIsCategory(extension, title)) << extension;
    EXPECT_TRUE(categories.extensionIsType("scss", Type::Text));
    EXPECT_TRUE(categories.extensionIsType("webp", Type::Image));
    for (const char *ignorable : {"zip", "woff2", "pyc"})
        EXPECT_TRUE(categories.extensionIsType(ignorable, Type::Ignorable)) << ignorable;
    EXPECT_TRUE(categories.extensionIsType("unheard-of", Type::Unknown));

    // Every language that ships names categories that exist, and its own
    // extensions are among theirs.
    const QStringList bundles = QDir(Defaults::resourcesPath() + "/Bundles").entryList({"*.mvbundle"}, QDir::Dirs);
    ASSERT_FALSE(bundles.isEmpty());
    for (const QString &bundle : bundles) {
        const auto info = MVPropertyList::readDictionary(Defaults::resourcesPath() + "/Bundles/" + bundle + "/Contents/Info.plist");
        ASSERT_TRUE(info) << bundle.toStdString();
        QStringList types;
        for (const QVariant &title : info->value("file-categories").toList()) {
            const auto category = categories.categoryForTitle(title.toString());
            ASSERT_TRUE(category) << bundle.toStdString() << ": " << title.toString().toStdString();
            types += category->typeTitles();
        }
        for (const QVariant &type : info->value("file-types").toList())
            EXPECT_TRUE(types.contains(type.toString())) << bundle.toStdString() << ": " << type.toString().toStdString();
    }
}

TEST_F(MVFileCategoriesTest, ANodeIsTextByItsCategoryOrItsContents)
{
    EXPECT_TRUE(MVFile::fileWithPath(dir.write("page.html", ""), nullptr)->isTextFile());
    EXPECT_FALSE(MVFile::fileWithPath(dir.write("logo.png", pngBytes()), nullptr)->isTextFile());
    EXPECT_TRUE(MVFile::fileWithPath(dir.write("CHANGES", textBytes()), nullptr)->isTextFile());
    EXPECT_FALSE(MVFile::fileWithPath(dir.write("archive", binaryBytes()), nullptr)->isTextFile());
}

TEST_F(MVFileCategoriesTest, LanguagesTakeTheirExtensionsFromTheCategories)
{
    MVFileCategories::installBundleResolver();
    const auto css = MVFileCategories::sharedCategories().categoryForTitle("CSS");
    ASSERT_TRUE(css);
    css->addType("pcss");
    const auto bundle = MVBundle::initWithPath(Defaults::resourcesPath() + "/Bundles/CSS.mvbundle", false);
    ASSERT_TRUE(bundle);
    EXPECT_TRUE(bundle->fileTypes().contains("pcss"));
    EXPECT_TRUE(bundle->fileTypes().contains("css"));
    css->removeObjectFromTypesAtIndex(css->typeTitles().indexOf("pcss"));
    EXPECT_FALSE(css->typeTitles().contains("pcss"));
    EXPECT_TRUE(css->typeTitles().contains("css"));
    MVBundle::setFileCategoryResolver({});
}

TEST_F(MVFileCategoriesTest, TypesByExtension)
{
    auto categories = registry({
        {"Text", QVariantMap{{"Web", definition({"web", "both", "skipped", "Web"})}, {"Notes", definition({"note"})}}},
        {"Image", QVariantMap{{"Pictures", definition({"pic", "both"})}}},
        {"Ignorable", QStringList{"skipped", "junk"}},
    });
    ASSERT_EQ(categories->textCategories().size(), 2u);
    EXPECT_EQ(categories->textCategories().front()->title(), "Notes");

    EXPECT_FALSE(categories->extensionIsType("web", Type::Image));
    // The case of an extension counts.
    EXPECT_TRUE(categories->extensionIsCategory("Web", "Web"));
    EXPECT_FALSE(categories->extensionIsType("WEB", Type::Text));
    // Image loads after text, so it wins an extension both claim.
    EXPECT_EQ(categories->categoryForExtension("both")->title(), "Pictures");
    EXPECT_TRUE(categories->extensionIsType("both", Type::Image));
    // An ignorable extension has no category, even one a category lists.
    EXPECT_FALSE(categories->categoryForExtension("skipped"));
    EXPECT_TRUE(categories->extensionIsType("skipped", Type::Ignorable));
    EXPECT_FALSE(categories->extensionIsType("skipped", Type::Text));
    // No extension is no type at all.
    for (int type = 0; type <= 3; ++type)
        EXPECT_FALSE(categories->extensionIsType("", type)) << type;
    EXPECT_FALSE(categories->pathIsType(dir.write("Makefile", textBytes()), Type::Unknown));
    EXPECT_TRUE(categories->pathIsType(dir.file("missing.web"), Type::Text));

    EXPECT_EQ(categories->ignoreTypes(), QStringList({"junk", "skipped"}));
    categories->addIgnorableType("Apple");
    categories->removeIgnorableType("junk");
    EXPECT_EQ(categories->ignoreTypes(), QStringList({"Apple", "skipped"}));
    EXPECT_EQ(categories->categoryForTitle("notes")->title(), "Notes");
    EXPECT_EQ(categories->typesForCategory("PICTURES"), QStringList({"both", "pic"}));
    EXPECT_TRUE(categories->typesForCategory("nothing").isEmpty());

    for (const char *none : {"/a.b/c", "/a/.htaccess", "name."})
        EXPECT_EQ(MVFileCategories::extensionOfPath(none), "") << none;
    EXPECT_EQ(MVFileCategories::extensionOfPath("/a/site.tar.gz"), "gz");
}

TEST_F(MVFileCategoriesTest, ContentsDecideForUnknownExtensionsOncePerExtension)
{
    auto categories = registry({{"Text", QVariantMap{{"Web", definition({"web"})}}}});

    // Text and image by contents; the answer stands for the extension.
    EXPECT_TRUE(categories->pathIsType(dir.write("a.first", textBytes()), Type::Text));
    EXPECT_TRUE(categories->pathIsType(dir.write("b.first", binaryBytes()), Type::Text));
    EXPECT_FALSE(categories->pathIsText(dir.file("b.first"), false));
    EXPECT_TRUE(categories->pathIsType(dir.write("a.picture", pngBytes()), Type::Image));
    EXPECT_FALSE(categories->pathIsType(dir.file("a.picture"), Type::Text));

    // What file cannot classify is neither, and that stands too.
    EXPECT_FALSE(categories->pathIsType(dir.write("a.blob", binaryBytes()), Type::Text));
    EXPECT_FALSE(categories->pathIsType(dir.write("b.blob", textBytes()), Type::Text));
    EXPECT_FALSE(categories->pathIsImage(dir.file("a.blob")));

    // An empty file is text, but says nothing about its extension.
    EXPECT_TRUE(categories->pathIsType(dir.write("empty.second", ""), Type::Text));
    EXPECT_FALSE(categories->pathIsType(dir.write("full.second", binaryBytes()), Type::Text));

    // A dangling link is nothing and is not remembered; a link is asked
    // about as its target.
    ASSERT_TRUE(QFile::link(dir.file("nowhere"), dir.file("dangling.third")));
    EXPECT_FALSE(categories->pathIsType(dir.file("dangling.third"), Type::Text));
    EXPECT_TRUE(categories->pathIsType(dir.write("real.third", textBytes()), Type::Text));
    dir.write("target.bin", pngBytes());
    ASSERT_TRUE(QFile::link(dir.file("target.bin"), dir.file("link.fourth")));
    EXPECT_TRUE(categories->pathIsImage(dir.file("link.fourth")));

    // A missing file or directory is neither; without an extension nothing is kept.
    EXPECT_FALSE(categories->pathIsText(dir.file("missing.fifth")));
    EXPECT_TRUE(categories->pathIsText(dir.write("README", textBytes())));
    EXPECT_FALSE(categories->pathIsText(dir.write("sub/LICENSE", binaryBytes())));
    EXPECT_TRUE(categories->pathIsText(dir.write("a name: with colon.sixth", textBytes())));
}

TEST_F(MVFileCategoriesTest, EditsKeepExtensionsInStepAndCommitWritesAndTells)
{
    const QVariantMap insert{{"default", "<a href=\"{path}\">[*text*]</a>"}};
    auto categories = registry({
        {"Text", QVariantMap{{"Web", definition({"web", "shared"}, insert)}, {"Other", definition({"shared"})}}},
        {"Ignorable", QStringList{"junk"}},
    });
    // "Web" loads after "Other" (map order), so it holds "shared".
    EXPECT_EQ(categories->categoryForExtension("shared")->title(), "Web");

    EXPECT_FALSE(categories->addCategoryWithTitle("Ignored", Type::Ignorable));
    EXPECT_FALSE(categories->addCategoryWithTitle("", Type::Text));
    EXPECT_FALSE(categories->addCategoryWithTitle("web", Type::Text));
    const auto docs = categories->addCategoryWithTitle("Docs", Type::Text);
    ASSERT_TRUE(docs);
    EXPECT_EQ(categories->textCategories()[0], docs);
    EXPECT_TRUE(docs->addType("doc"));
    EXPECT_TRUE(docs->addType("adoc"));
    EXPECT_FALSE(docs->addType("doc"));
    EXPECT_EQ(categories->categoryForExtension("doc"), docs);
    docs->replaceObjectInTypesAtIndex(0, std::make_shared<MVFileCategoryType>("asciidoc", nullptr));
    EXPECT_FALSE(categories->categoryForExtension("adoc"));
    EXPECT_EQ(categories->categoryForExtension("asciidoc"), docs);

    // When the holder lets an extension go, another category that lists it takes over.
    const auto web = categories->categoryForTitle("Web");
    web->removeObjectFromTypesAtIndex(web->typeTitles().indexOf("shared"));
    EXPECT_EQ(categories->categoryForExtension("shared")->title(), "Other");

    const auto pictures = categories->addCategoryWithTitle("Pictures", Type::Image);
    ASSERT_TRUE(pictures);
    pictures->addType("pic");
    EXPECT_FALSE(categories->removeCategory(pictures, Type::Ignorable));
    EXPECT_FALSE(categories->removeCategory(pictures, Type::Text));
    EXPECT_TRUE(categories->extensionIsType("pic", Type::Image));

    int posted = 0;
    const void *postedBy = nullptr;
    MVObservation observation(MVFileCategories::ChangedNotification, nullptr, [&](const MVNotification &note) {
        ++posted;
        postedBy = note.object;
    });
    ASSERT_TRUE(categories->commit());
    EXPECT_EQ(posted, 1);
    EXPECT_EQ(postedBy, categories.get());

    MVFileCategories reread(dir.file("committed/fileCategories.plist"));
    EXPECT_EQ(reread.plistRepresentation(), categories->plistRepresentation());
    EXPECT_EQ(reread.categoryForTitle("Web")->insertWhenDragged(), insert);
    EXPECT_EQ(reread.typesForCategory("Docs"), QStringList({"asciidoc", "doc"}));
    EXPECT_TRUE(reread.extensionIsType("pic", Type::Image));
    EXPECT_EQ(reread.ignoreTypes(), QStringList({"junk"}));

    EXPECT_TRUE(categories->removeCategory(pictures, Type::Image));
    EXPECT_FALSE(categories->categoryForExtension("pic"));
    pictures->addType("later");
    EXPECT_FALSE(categories->categoryForExtension("later"));

    // A failed write says so and tells nobody.
    dir.write("blocker", "x");
    MVFileCategories blocked(dir.file("fileCategories.plist"), dir.file("blocker/inside/fileCategories.plist"));
    QString error;
    EXPECT_FALSE(blocked.commit(&error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_EQ(posted, 1);
}

TEST_F(MVFileCategoriesTest, BrokenDataGivesEmptyListsAndLosesNothing)
{
    MVFileCategories missing(dir.file("missing.plist"));
    EXPECT_TRUE(missing.textCategories().empty());
    EXPECT_TRUE(missing.ignoreTypes().isEmpty());
    EXPECT_FALSE(missing.extensionIsType("html", Type::Text));

    const QByteArray garbage("<?xml version=\"1.0\"?><plist><dict><key>Text</key><array><string>");
    MVFileCategories broken(dir.write("broken.plist", garbage));
    EXPECT_TRUE(broken.textCategories().empty());
    EXPECT_EQ(QFile(dir.file("broken.plist")).size(), garbage.size());

    // Entries of the wrong kind are left out, the rest is kept.
    auto odd = registry({
        {"Text", QVariantMap{{"Good", definition({"good"})}, {"Bad", QString("not a definition")},
                             {"Mixed", QVariantMap{{"types", QVariantList{42, "mixed", QString(), true}}}}}},
        {"Image", QStringList{"png"}},
        {"Ignorable", QVariantList{"junk", 7}},
    });
    ASSERT_EQ(odd->textCategories().size(), 2u);
    EXPECT_EQ(odd->typesForCategory("Mixed"), QStringList({"mixed"}));
    EXPECT_TRUE(odd->imageCategories().empty());
    EXPECT_EQ(odd->ignoreTypes(), QStringList({"junk"}));
}

TEST_F(MVFileCategoriesTest, SafeFromSeveralThreadsWhileEdited)
{
    auto categories = registry({{"Text", QVariantMap{{"Web", definition({"web"})}}}});
    const QString probe = dir.write("probe.threaded", textBytes());
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 300; ++i) {
                if (!categories->extensionIsType("web", Type::Text) || !categories->pathIsType(probe, Type::Text))
                    ++wrong;
                categories->categoryForExtension("edited");
            }
        });
    }
    const auto web = categories->categoryForTitle("Web");
    for (int i = 0; i < 300; ++i) {
        web->addType("edited");
        web->removeObjectFromTypesAtIndex(web->typeTitles().indexOf("edited"));
    }
    for (auto &thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}
