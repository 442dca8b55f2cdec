#include "language/MVTheme.h"

#include "LanguageTestSupport.h"
#include "language/MVColorAdditions.h"

#include <QFile>
#include <QFileInfo>

using namespace LanguageTest;

namespace {

MVTextAttributes foreground(const char *color)
{
    return MVTextAttributes().setForeground(MVColorAdditions::colorFromStyleString(QString::fromLatin1(color)));
}

QRgb rgb(const char *color)
{
    return MVColorAdditions::colorFromStyleString(QString::fromLatin1(color)).rgba();
}

} // namespace

TEST(MVTheme, StylesFallBackToTheirParents)
{
    const auto theme = MVTheme::initWithPlist(
        LanguageTest::theme(QStringLiteral("t"), QStringLiteral("T"), QStringLiteral("#ffffff"),
                            {style(QStringLiteral("comment"), QStringLiteral("#111111")),
                             style(QStringLiteral("comment.block"), QStringLiteral("#222222")),
                             style(QStringLiteral("keyword"), QStringLiteral("#333333"))}));
    EXPECT_EQ(theme->attributesForIdentifier(QStringLiteral("comment.block")).foreground(), rgb("#222222"));
    EXPECT_EQ(theme->attributesForIdentifier(QStringLiteral("comment.block.js")).foreground(), rgb("#222222"));
    EXPECT_EQ(theme->attributesForIdentifier(QStringLiteral("comment.line.js")).foreground(), rgb("#111111"));
    EXPECT_EQ(theme->attributesForIdentifier(QStringLiteral("keyword")).foreground(), rgb("#333333"));
    // No parent at all, or no dot: plain text colour (an empty set).
    EXPECT_TRUE(theme->attributesForIdentifier(QStringLiteral("string.double")).isEmpty());
    EXPECT_TRUE(theme->attributesForIdentifier(QStringLiteral("keywords")).isEmpty());
    EXPECT_TRUE(theme->attributesForIdentifier(QString()).isEmpty());
    // Only exact entries are "contained".
    EXPECT_TRUE(theme->containsIdentifier(QStringLiteral("comment.block")));
    EXPECT_FALSE(theme->containsIdentifier(QStringLiteral("comment.line")));
}

TEST(MVTheme, ReadsAndWritesItsPropertyList)
{
    QVariantMap plist = theme(QStringLiteral("com.example.t"), QStringLiteral("Example"), QStringLiteral("#fafafa80"),
                              {style(QStringLiteral("string"), QStringLiteral("#0a6b2e")),
                               QVariantMap{{QStringLiteral("id"), QStringLiteral("mark")},
                                           {QStringLiteral("background"), QStringLiteral("#ffff00")}},
                               // Without any colour an entry is dropped.
                               QVariantMap{{QStringLiteral("id"), QStringLiteral("empty")}},
                               // A later entry with the same identifier replaces the earlier.
                               style(QStringLiteral("string"), QStringLiteral("#00aa00"))});
    const auto theme = MVTheme::initWithPlist(plist);
    EXPECT_FALSE(theme->modified());
    EXPECT_EQ(theme->identifier(), QStringLiteral("com.example.t"));
    EXPECT_EQ(theme->title(), QStringLiteral("Example"));
    EXPECT_EQ(theme->backgroundColor(), QColor(0xfa, 0xfa, 0xfa, 0x80));
    EXPECT_EQ(theme->styleIdentifiers(), (QStringList{QStringLiteral("mark"), QStringLiteral("string")}));
    EXPECT_EQ(theme->attributesForIdentifier(QStringLiteral("string")).foreground(), rgb("#00aa00"));
    EXPECT_FALSE(theme->attributesForIdentifier(QStringLiteral("mark")).has(MVAttribute::ForegroundColor));

    const QVariantMap written = theme->plistRepresentation();
    EXPECT_EQ(written.value(QStringLiteral("format-version")).toString(), QStringLiteral("1.0"));
    const QVariantMap globals = written.value(QStringLiteral("global-settings")).toMap();
    EXPECT_EQ(globals.value(QStringLiteral("background")).toString(), QStringLiteral("#fafafa80"));
    EXPECT_EQ(globals.value(QStringLiteral("foreground")).toString(), QStringLiteral("#000000ff"));
    const auto again = MVTheme::initWithPlist(written);
    EXPECT_EQ(again->plistRepresentation(), written);
    EXPECT_TRUE(again->loadProblems().isEmpty());
}

TEST(MVTheme, WrongValuesAreReportedAndLeftOut)
{
    QVariantMap plist = theme(QStringLiteral("bad"), QStringLiteral("Bad"));
    QVariantMap globals = plist.value(QStringLiteral("global-settings")).toMap();
    globals.insert(QStringLiteral("background"), 42);
    globals.insert(QStringLiteral("selection"), QStringLiteral("#12"));
    plist.insert(QStringLiteral("global-settings"), globals);
    plist.insert(QStringLiteral("styles"),
                 QVariantList{QVariantMap{{QStringLiteral("id"), QStringLiteral("k")},
                                          {QStringLiteral("foreground"), QVariantList{1, 2, 3}}},
                              QStringLiteral("not a dictionary"), style(QStringLiteral("ok"), QStringLiteral("#010203"))});
    const auto theme = MVTheme::initWithPlist(plist);
    EXPECT_FALSE(theme->backgroundColor().isValid());
    // A short string still gives a colour, with the missing pairs at 255.
    EXPECT_EQ(theme->selectionColor(), QColor(0x12, 0xff, 0xff));
    EXPECT_EQ(theme->styleIdentifiers(), QStringList{QStringLiteral("ok")});
    EXPECT_EQ(theme->loadProblems().size(), 5) << theme->loadProblems().join(QLatin1Char('\n')).toStdString();

    // A file that is no property list at all still gives a theme of its own.
    MVScratchDir dir;
    const auto broken = MVTheme::initWithContentsOfFile(dir.write(QStringLiteral("x.plist"), "bplist00\x01\x02"));
    EXPECT_TRUE(broken->title().isEmpty());
    EXPECT_FALSE(broken->hasIdentifier());
    EXPECT_FALSE(broken->identifier().isEmpty());
    EXPECT_EQ(broken->loadProblems().size(), 1);
}

TEST(MVTheme, EditsMarkTheThemeModified)
{
    const auto theme = MVTheme::initWithPlist(
        LanguageTest::theme(QStringLiteral("t"), QStringLiteral("T"), QStringLiteral("#ffffff"),
                            {style(QStringLiteral("comment"), QStringLiteral("#111111"))}));
    EXPECT_FALSE(theme->addStyle(QStringLiteral("comment"), foreground("#999999")));
    EXPECT_FALSE(theme->addStyle(QStringLiteral("new"), MVTextAttributes()));
    EXPECT_FALSE(theme->modified());
    EXPECT_TRUE(theme->addStyle(QStringLiteral("keyword"), foreground("#999999")));
    EXPECT_TRUE(theme->modified());

    // Renaming takes what the old name resolved to, even from a parent.
    theme->changeIdentifier(QStringLiteral("comment.doc"), QStringLiteral("doc"));
    EXPECT_EQ(theme->attributesForIdentifier(QStringLiteral("doc")).foreground(), rgb("#111111"));
    theme->changeIdentifier(QStringLiteral("comment"), QStringLiteral("remark"));
    EXPECT_FALSE(theme->containsIdentifier(QStringLiteral("comment")));
    EXPECT_TRUE(theme->containsIdentifier(QStringLiteral("remark")));
    theme->changeIdentifier(QStringLiteral("remark"), QString());
    EXPECT_FALSE(theme->containsIdentifier(QStringLiteral("remark")));

    EXPECT_TRUE(theme->setValueForKey(QStringLiteral("#102030"), QStringLiteral("backgroundColor")));
    EXPECT_EQ(theme->backgroundColor(), QColor(0x10, 0x20, 0x30));
    EXPECT_TRUE(theme->setValueForKey(QColor(Qt::red), QStringLiteral("selectionColor")));
    EXPECT_FALSE(theme->setValueForKey(QStringLiteral("red"), QStringLiteral("textColor")));
    EXPECT_FALSE(theme->setValueForKey(QStringLiteral("#000000"), QStringLiteral("noSuchColor")));

    const auto copy = theme->copy();
    EXPECT_NE(copy->identifier(), theme->identifier());
    EXPECT_EQ(copy->styleIdentifiers(), theme->styleIdentifiers());
    EXPECT_TRUE(copy->modified());

    const MVTheme fresh;
    EXPECT_TRUE(fresh.modified());
    EXPECT_EQ(fresh.title(), QStringLiteral("New Theme"));
    EXPECT_EQ(fresh.backgroundColor(), QColor(Qt::white));
    EXPECT_EQ(fresh.insertionPointColor(), fresh.textColor());
}

class MVThemeCommit : public ResourcesFixture
{
};

TEST_F(MVThemeCommit, WritesChangedThemesToTheUserFolder)
{
    const QString shipped = resources.write(QStringLiteral("Themes/Shipped.plist"), "");
    ASSERT_TRUE(MVPropertyList::writeFile(theme(QStringLiteral("com.example.shipped"), QStringLiteral("S")), shipped,
                                          MVPropertyList::XMLFormat));
    const QByteArray shippedBytes = [&] { QFile f(shipped); f.open(QIODevice::ReadOnly); return f.readAll(); }();

    auto theme = MVTheme::initWithContentsOfFile(shipped);
    EXPECT_TRUE(theme->commit()); // unchanged: nothing written
    EXPECT_FALSE(QFileInfo::exists(userDirectory(QStringLiteral("Themes"))));

    theme->setTitle(QStringLiteral("Changed"));
    ASSERT_TRUE(theme->commit());
    EXPECT_FALSE(theme->modified());
    const QString user = userDirectory(QStringLiteral("Themes/com.example.shipped.plist"));
    EXPECT_EQ(theme->path(), user);
    const auto written = MVPropertyList::readDictionary(user);
    ASSERT_TRUE(written.has_value());
    EXPECT_EQ(written->value(QStringLiteral("format-title")).toString(), QStringLiteral("Changed"));
    QFile f(shipped);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    EXPECT_EQ(f.readAll(), shippedBytes);

    // A theme whose identifier is no safe file name gets a name of its own,
    // and a theme from the user's folder goes back to its own file.
    auto odd = MVTheme::initWithPlist(LanguageTest::theme(QStringLiteral("../../escape"), QStringLiteral("Odd")));
    odd->setTitle(QStringLiteral("Odd 2"));
    ASSERT_TRUE(odd->commit());
    EXPECT_EQ(QFileInfo(odd->path()).dir().absolutePath(), QDir(userDirectory(QStringLiteral("Themes"))).absolutePath());
    const QString ownFile = userDirectory(QStringLiteral("Themes/nested/mine.plist"));
    ASSERT_TRUE(MVPropertyList::writeFile(LanguageTest::theme(QStringLiteral("mine"), QStringLiteral("Mine")), ownFile,
                                          MVPropertyList::XMLFormat));
    auto mine = MVTheme::initWithContentsOfFile(ownFile);
    mine->setTitle(QStringLiteral("Mine 2"));
    ASSERT_TRUE(mine->commit());
    EXPECT_EQ(MVPropertyList::readDictionary(ownFile)->value(QStringLiteral("format-title")).toString(),
              QStringLiteral("Mine 2"));
    EXPECT_FALSE(QFileInfo::exists(userDirectory(QStringLiteral("Themes/mine.plist"))));
}

TEST_F(MVThemeCommit, AFailedWriteKeepsTheChange)
{
    // A file where the folder should be: nothing can be written below it.
    QDir().mkpath(Defaults::tildePath());
    QFile blocker(userDirectory(QStringLiteral("Themes")));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();

    auto theme = MVTheme::initWithPlist(LanguageTest::theme(QStringLiteral("t"), QStringLiteral("T")));
    theme->setTitle(QStringLiteral("Changed"));
    QString error;
    EXPECT_FALSE(theme->commit(&error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_TRUE(theme->modified());
    QFile::remove(userDirectory(QStringLiteral("Themes")));
    EXPECT_TRUE(theme->commit());
}
