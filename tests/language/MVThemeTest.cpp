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
    const auto theme = MVTheme::initWithPlist(LanguageTest::theme(
        "t", "T", "#ffffff",
        {style("comment", "#111111"), style("comment.block", "#222222"), style("keyword", "#333333")}));
    EXPECT_EQ(theme->attributesForIdentifier("comment.block").foreground(), rgb("#222222"));
    EXPECT_EQ(theme->attributesForIdentifier("comment.block.js").foreground(), rgb("#222222"));
    EXPECT_EQ(theme->attributesForIdentifier("comment.line.js").foreground(), rgb("#111111"));
    EXPECT_EQ(theme->attributesForIdentifier("keyword").foreground(), rgb("#333333"));
    // No parent at all, or no dot: plain text colour (an empty set).
    EXPECT_TRUE(theme->attributesForIdentifier("string.double").isEmpty());
    EXPECT_TRUE(theme->attributesForIdentifier("keywords").isEmpty());
    EXPECT_TRUE(theme->attributesForIdentifier(QString()).isEmpty());
    // Only exact entries are "contained".
    EXPECT_TRUE(theme->containsIdentifier("comment.block"));
    EXPECT_FALSE(theme->containsIdentifier("comment.line"));
}

TEST(MVTheme, ReadsAndWritesItsPropertyList)
{
    QVariantMap plist = theme("com.example.t", "Example", "#fafafa80",
                              {style("string", "#0a6b2e"), QVariantMap{{"id", "mark"}, {"background", "#ffff00"}},
                               // Without any colour an entry is dropped.
                               QVariantMap{{"id", "empty"}},
                               // A later entry with the same identifier replaces the earlier.
                               style("string", "#00aa00")});
    const auto theme = MVTheme::initWithPlist(plist);
    EXPECT_FALSE(theme->modified());
    EXPECT_EQ(theme->identifier(), "com.example.t");
    EXPECT_EQ(theme->title(), "Example");
    EXPECT_EQ(theme->backgroundColor(), QColor(0xfa, 0xfa, 0xfa, 0x80));
    EXPECT_EQ(theme->styleIdentifiers(), (QStringList{"mark", "string"}));
    EXPECT_EQ(theme->attributesForIdentifier("string").foreground(), rgb("#00aa00"));
    EXPECT_FALSE(theme->attributesForIdentifier("mark").has(MVAttribute::ForegroundColor));

    const QVariantMap written = theme->plistRepresentation();
    EXPECT_EQ(written.value("format-version").toString(), "1.0");
    const QVariantMap globals = written.value("global-settings").toMap();
    EXPECT_EQ(globals.value("background").toString(), "#fafafa80");
    EXPECT_EQ(globals.value("foreground").toString(), "#000000ff");
    const auto again = MVTheme::initWithPlist(written);
    EXPECT_EQ(again->plistRepresentation(), written);
    EXPECT_TRUE(again->loadProblems().isEmpty());
}

TEST(MVTheme, WrongValuesAreReportedAndLeftOut)
{
    QVariantMap plist = theme("bad", "Bad");
    QVariantMap globals = plist.value("global-settings").toMap();
    globals.insert("background", 42);
    globals.insert("selection", "#12");
    plist.insert("global-settings", globals);
    plist.insert("styles",
                 QVariantList{QVariantMap{{"id", "k"}, {"foreground", QVariantList{1, 2, 3}}}, "not a dictionary",
                              style("ok", "#010203")});
    const auto theme = MVTheme::initWithPlist(plist);
    EXPECT_FALSE(theme->backgroundColor().isValid());
    // A short string still gives a colour, with the missing pairs at 255.
    EXPECT_EQ(theme->selectionColor(), QColor(0x12, 0xff, 0xff));
    EXPECT_EQ(theme->styleIdentifiers(), QStringList{"ok"});
    EXPECT_EQ(theme->loadProblems().size(), 5) << theme->loadProblems().join('\n').toStdString();

    // A file that is no property list at all still gives a theme of its own.
    MVScratchDir dir;
    const auto broken = MVTheme::initWithContentsOfFile(dir.write("x.plist", "bplist00\x01\x02"));
    EXPECT_TRUE(broken->title().isEmpty());
    EXPECT_FALSE(broken->hasIdentifier());
    EXPECT_FALSE(broken->identifier().isEmpty());
    EXPECT_EQ(broken->loadProblems().size(), 1);
}

TEST(MVTheme, EditsMarkTheThemeModified)
{
    const auto theme = MVTheme::initWithPlist(LanguageTest::theme("t", "T", "#ffffff", {style("comment", "#111111")}));
    EXPECT_FALSE(theme->addStyle("comment", foreground("#999999")));
    EXPECT_FALSE(theme->addStyle("new", MVTextAttributes()));
    EXPECT_FALSE(theme->modified());
    EXPECT_TRUE(theme->addStyle("keyword", foreground("#999999")));
    EXPECT_TRUE(theme->modified());

    // Renaming takes what the old name resolved to, even from a parent.
    theme->changeIdentifier("comment.doc", "doc");
    EXPECT_EQ(theme->attributesForIdentifier("doc").foreground(), rgb("#111111"));
    theme->changeIdentifier("comment", "remark");
    EXPECT_FALSE(theme->containsIdentifier("comment"));
    EXPECT_TRUE(theme->containsIdentifier("remark"));
    theme->changeIdentifier("remark", QString());
    EXPECT_FALSE(theme->containsIdentifier("remark"));

    EXPECT_TRUE(theme->setValueForKey("#102030", "backgroundColor"));
    EXPECT_EQ(theme->backgroundColor(), QColor(0x10, 0x20, 0x30));
    EXPECT_TRUE(theme->setValueForKey(QColor(Qt::red), "selectionColor"));
    EXPECT_FALSE(theme->setValueForKey("red", "textColor"));
    EXPECT_FALSE(theme->setValueForKey("#000000", "noSuchColor"));

    const auto copy = theme->copy();
    EXPECT_NE(copy->identifier(), theme->identifier());
    EXPECT_EQ(copy->styleIdentifiers(), theme->styleIdentifiers());
    EXPECT_TRUE(copy->modified());

    const MVTheme fresh;
    EXPECT_TRUE(fresh.modified());
    EXPECT_EQ(fresh.title(), "New Theme");
}

using MVThemeCommit = ResourcesFixture;

TEST_F(MVThemeCommit, WritesChangedThemesToTheUserFolder)
{
    const QString shipped = resources.write("Themes/Shipped.plist", "");
    ASSERT_TRUE(MVPropertyList::writeFile(theme("com.example.shipped", "S"), shipped, MVPropertyList::XMLFormat));
    const QByteArray shippedBytes = [&] {
        QFile f(shipped);
        f.open(QIODevice::ReadOnly);
        return f.readAll();
    }();

    auto theme = MVTheme::initWithContentsOfFile(shipped);
    EXPECT_TRUE(theme->commit()); // unchanged: nothing written
    EXPECT_FALSE(QFileInfo::exists(userDirectory("Themes")));

    theme->setTitle("Changed");
    ASSERT_TRUE(theme->commit());
    EXPECT_FALSE(theme->modified());
    const QString user = userDirectory("Themes/com.example.shipped.plist");
    EXPECT_EQ(theme->path(), user);
    const auto written = MVPropertyList::readDictionary(user);
    ASSERT_TRUE(written.has_value());
    EXPECT_EQ(written->value("format-title").toString(), "Changed");
    QFile f(shipped);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    EXPECT_EQ(f.readAll(), shippedBytes);

    // A theme whose identifier is no safe file name gets a name of its own,
    // and a theme from the user's folder goes back to its own file.
    auto odd = MVTheme::initWithPlist(LanguageTest::theme("../../escape", "Odd"));
    odd->setTitle("Odd 2");
    ASSERT_TRUE(odd->commit());
    EXPECT_EQ(QFileInfo(odd->path()).dir().absolutePath(), QDir(userDirectory("Themes")).absolutePath());
    const QString ownFile = userDirectory("Themes/nested/mine.plist");
    ASSERT_TRUE(MVPropertyList::writeFile(LanguageTest::theme("mine", "Mine"), ownFile, MVPropertyList::XMLFormat));
    auto mine = MVTheme::initWithContentsOfFile(ownFile);
    mine->setTitle("Mine 2");
    ASSERT_TRUE(mine->commit());
    EXPECT_EQ(MVPropertyList::readDictionary(ownFile)->value("format-title").toString(), "Mine 2");
    EXPECT_FALSE(QFileInfo::exists(userDirectory("Themes/mine.plist")));
}

TEST_F(MVThemeCommit, AFailedWriteKeepsTheChange)
{
    // A file where the folder should be: nothing can be written below it.
    QDir().mkpath(Defaults::tildePath());
    QFile blocker(userDirectory("Themes"));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();

    auto theme = MVTheme::initWithPlist(LanguageTest::theme("t", "T"));
    theme->setTitle("Changed");
    QString error;
    EXPECT_FALSE(theme->commit(&error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_TRUE(theme->modified());
    QFile::remove(userDirectory("Themes"));
    EXPECT_TRUE(theme->commit());
}
