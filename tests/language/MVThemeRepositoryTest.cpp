#include "language/MVThemeRepository.h"

#include "LanguageTestSupport.h"
#include "language/MVTheme.h"

using namespace LanguageTest;

namespace {

class MVThemeRepositoryTest : public ResourcesFixture
{
protected:
    void ship(const QString &file, const QVariantMap &plist)
    {
        ASSERT_TRUE(MVPropertyList::writeFile(plist, shippedThemes() + QLatin1Char('/') + file, MVPropertyList::XMLFormat));
    }
    void user(const QString &file, const QVariantMap &plist)
    {
        ASSERT_TRUE(MVPropertyList::writeFile(plist, userDirectory(QStringLiteral("Themes/")) + file,
                                              MVPropertyList::BinaryFormat));
    }
    static QStringList titles(MVThemeRepository &repository)
    {
        QStringList result;
        for (const auto &theme : repository.themes())
            result << theme->title();
        return result;
    }
};

} // namespace

TEST_F(MVThemeRepositoryTest, UserCopiesWinAndTheListIsSortedByTitle)
{
    ship(QStringLiteral("a.plist"), theme(QStringLiteral("id.light"), QStringLiteral("light")));
    ship(QStringLiteral("b.plist"), theme(QStringLiteral("id.dark"), QStringLiteral("Dark")));
    ship(QStringLiteral("c.plist"), theme(QStringLiteral("id.mine"), QStringLiteral("Shipped Mine")));
    user(QStringLiteral("mine.plist"), theme(QStringLiteral("id.mine"), QStringLiteral("My Mine")));
    MVUserDefaults::standard().setObject(QStringLiteral("MVCurrentThemeID"), QStringLiteral("id.light"));

    MVThemeRepository repository;
    EXPECT_EQ(titles(repository), (QStringList{QStringLiteral("Dark"), QStringLiteral("light"), QStringLiteral("My Mine")}));
    EXPECT_EQ(repository.currentTheme()->identifier(), QStringLiteral("id.light"));
    EXPECT_EQ(repository.themeWithIdentifier(QStringLiteral("id.mine"))->title(), QStringLiteral("My Mine"));
}

TEST_F(MVThemeRepositoryTest, AnUnknownCurrentThemeFallsBackWithoutBeingWrittenBack)
{
    ship(QStringLiteral("a.plist"), theme(QStringLiteral("id.b"), QStringLiteral("Beta")));
    ship(QStringLiteral("b.plist"), theme(QStringLiteral("id.a"), QStringLiteral("alpha")));
    ship(QStringLiteral("c.plist"), theme(QStringLiteral("com.morvelworks.morvel.themes.light"), QStringLiteral("Light")));
    MVUserDefaults &prefs = MVUserDefaults::standard();
    prefs.setObject(QStringLiteral("MVCurrentThemeID"), QStringLiteral("gone"));
    {
        MVThemeRepository repository;
        EXPECT_EQ(repository.currentTheme()->identifier(), QStringLiteral("com.morvelworks.morvel.themes.light"));
        EXPECT_EQ(prefs.stringForKey(QStringLiteral("MVCurrentThemeID")), QStringLiteral("gone"));
    }
    // Without the default theme, the first by title; still nothing written.
    QFile::remove(shippedThemes() + QStringLiteral("/c.plist"));
    MVThemeRepository repository;
    EXPECT_EQ(repository.currentTheme()->identifier(), QStringLiteral("id.a"));
    EXPECT_EQ(prefs.stringForKey(QStringLiteral("MVCurrentThemeID")), QStringLiteral("gone"));
    // A choice of the user is written.
    repository.setCurrentTheme(repository.themeWithIdentifier(QStringLiteral("id.b")));
    EXPECT_EQ(prefs.stringForKey(QStringLiteral("MVCurrentThemeID")), QStringLiteral("id.b"));
}

TEST_F(MVThemeRepositoryTest, HidingKeepsAtLeastOneThemeAndLastsAcrossLoads)
{
    ship(QStringLiteral("a.plist"), theme(QStringLiteral("id.a"), QStringLiteral("A")));
    ship(QStringLiteral("b.plist"), theme(QStringLiteral("id.b"), QStringLiteral("B")));
    ship(QStringLiteral("c.plist"), theme(QStringLiteral("id.c"), QStringLiteral("C")));
    MVUserDefaults::standard().setObject(QStringLiteral("MVCurrentThemeID"), QStringLiteral("id.a"));
    {
        MVThemeRepository repository;
        ASSERT_EQ(repository.countOfThemes(), 3);
        // Hiding the current theme makes the last one current.
        EXPECT_TRUE(repository.removeObjectFromThemesAtIndex(0));
        EXPECT_EQ(repository.currentTheme()->identifier(), QStringLiteral("id.c"));
        EXPECT_TRUE(repository.removeObjectFromThemesAtIndex(0));
        EXPECT_FALSE(repository.removeObjectFromThemesAtIndex(0));
        EXPECT_FALSE(repository.removeObjectFromThemesAtIndex(5));
        EXPECT_EQ(titles(repository), QStringList{QStringLiteral("C")});
    }
    // No file was deleted, and the hidden themes stay hidden.
    EXPECT_EQ(QDir(shippedThemes()).entryList(QDir::Files).size(), 3);
    MVThemeRepository again;
    EXPECT_EQ(titles(again), QStringList{QStringLiteral("C")});
}

TEST_F(MVThemeRepositoryTest, DuplicatesAndCommitsGoToTheUserFolder)
{
    ship(QStringLiteral("a.plist"), theme(QStringLiteral("id.a"), QStringLiteral("Plain")));
    MVThemeRepository repository;
    EXPECT_FALSE(repository.modified());
    const auto copy = repository.duplicateTheme(repository.objectInThemesAtIndex(0));
    EXPECT_EQ(copy->title(), QStringLiteral("Plain copy"));
    EXPECT_EQ(repository.objectInThemesAtIndex(1), copy);
    EXPECT_TRUE(repository.modified());
    ASSERT_TRUE(repository.commit());
    EXPECT_FALSE(repository.modified());
    EXPECT_TRUE(QFileInfo::exists(userDirectory(QStringLiteral("Themes/")) + copy->identifier() + QStringLiteral(".plist")));

    MVThemeRepository reloaded;
    EXPECT_EQ(titles(reloaded), (QStringList{QStringLiteral("Plain"), QStringLiteral("Plain copy")}));
}

TEST_F(MVThemeRepositoryTest, BrokenFilesTakePartWithoutHarm)
{
    ship(QStringLiteral("a.plist"), theme(QStringLiteral("id.a"), QStringLiteral("Good")));
    resources.write(QStringLiteral("Themes/broken.plist"), QByteArray("<?xml version=\"1.0\"?><plist><dict><key>id"));
    MVUserDefaults::standard().setObject(QStringLiteral("MVCurrentThemeID"), QStringLiteral("id.a"));
    MVThemeRepository repository;
    ASSERT_EQ(repository.countOfThemes(), 2);
    EXPECT_TRUE(repository.objectInThemesAtIndex(0)->title().isEmpty());
    EXPECT_EQ(repository.currentTheme()->title(), QStringLiteral("Good"));
}
