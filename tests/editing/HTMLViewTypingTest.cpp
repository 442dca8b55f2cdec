#include "EditingTestSupport.h"

#include <cctype>
#include <string>

namespace {

using EditingTest::ViewTest;

struct TypingCase
{
    const char *what;
    const char *path;
    const char *before;      // "|" is the caret, "[...]" a selection
    const char *keys;        // "\n" Return, "\t" Tab, "\x1b" Esc
    const char *after;
    const char *undoName;    // of the newest step
    const char *afterUndo;   // the text after one Undo; null to skip
    bool onType = false;     // MVAutoCompleteOnType
    bool spaces = false;     // MVTabsAreSpaces, size 4
};

const TypingCase Cases[] = {
    // ">" completes the tag before it; one Undo leaves what was typed.
    {"inline tag", "a.html", "<p><b|", ">", "<p><b>|</b>", "Tag Completion", "<p><b>|"},
    {"block tag", "a.html", "  <ul|", ">", "  <ul>\n  \t|\n  </ul>", "Tag Completion", "  <ul>|"},
    {"selection goes between the tags", "a.html", "<em[word]", ">", "<em>word|</em>", "Tag Completion", nullptr},
    {"blank before > goes, attributes stay", "a.html", "<a href=\"x\" |", ">", "<a href=\"x\">|</a>", "Tag Completion", nullptr},
    {"> inside quotes", "a.html", "<a title=\"|", ">", "<a title=\">|", "Typing", nullptr},
    {"empty element", "a.html", "<br|", ">", "<br>|", "Tag Completion", "<br|"},
    {"empty element in XHTML", "a.html",
     "<!DOCTYPE html PUBLIC \"-//W3C//DTD XHTML 1.0 Strict//EN\">\n<br|", ">",
     "<!DOCTYPE html PUBLIC \"-//W3C//DTD XHTML 1.0 Strict//EN\">\n<br />|", "Tag Completion", nullptr},
    {"no closing tag for a doctype", "a.html", "<!DOCTYPE html|", ">", "<!DOCTYPE html>|", "Tag Completion", nullptr},
    {"after Esc > is plain, then automatic again", "a.html", "<b|", "\x1b>", "<b>|", "Typing", nullptr},
    {"XML: every name inline", "a.xml", "<ul|", ">", "<ul>|</ul>", "Tag Completion", nullptr},
    {"PHP page markup", "a.php", "<?php echo 1; ?>\n<em|", ">", "<?php echo 1; ?>\n<em>|</em>", "Tag Completion", nullptr},
    {"PHP code is not markup", "a.php", "<?php if ($a <b|", ">", "<?php if ($a <b>|", "Typing", nullptr},
    {"Python is not markup", "a.py", "x = '<b|", ">", "x = '<b>|", "Typing", nullptr},

    // "</" closes the nearest open tag, keeping its case.
    {"close tag", "a.html", "<div><p>text|", "</", "<div><p>text</p>|", "Close Tag", "<div><p>text</|", true},
    {"close tag over closed and empty tags", "a.html", "<P>x<i>y</i><br>|", "</", "<P>x<i>y</i><br></P>|", "Close Tag", nullptr, true},
    {"nothing to close", "a.html", "plain|", "</", "plain</|", "Typing", nullptr, true},
    {"close tag off by default", "a.html", "<p>x|", "</", "<p>x</|", "Typing", nullptr},

    // "}" on a blank line lines up with its "{"; brackets are only flashed.
    {"brace lines up", "a.js", "  if (a) {\n    x;\n    |", "}", "  if (a) {\n    x;\n  }|", "Typing", nullptr},
    {"brace after text", "a.js", "if (a) { x; |", "}", "if (a) { x; }|", "Typing", nullptr},
    {"brace without opener", "a.js", "x;\n    |", "}", "x;\n    }|", "Typing", nullptr},
    {"parenthesis", "a.js", "f(a, (b|", "))", "f(a, (b))|", "Typing", nullptr},

    // Return keeps the indentation, adding a unit after "{".
    {"return keeps indentation", "a.js", "    x|", "\n", "    x\n    |", "Typing", nullptr},
    {"return after brace", "a.js", "  a {|", "\n", "  a {\n  \t|", "Typing", nullptr},
    {"return inside indentation", "a.js", "  |  x", "\n", "  \n  |  x", "Typing", nullptr},
    {"Esc: return adds nothing", "a.js", "    x|", "\x1b\n", "    x\n|", "Typing", nullptr},

    // Tab: placeholders, tab stops, the line above's indentation.
    {"tab to a placeholder", "a.html", "<a href=\"|\" title=\"\">", "\t", "<a href=\"\" title=\"|\">", nullptr, nullptr},
    {"tab to the next stop", "a.js", "abcdef|", "\t", "abcdef  |", "Typing", nullptr, false, true},
    {"tab at line start takes the indentation above", "a.js", "        a\n|", "\t", "        a\n        |", "Auto Tab", "        a\n    |", false, true},

    // Characters with an entity become it in markup only.
    {"entity", "a.html", "<p>|", "\u00a9", "<p>&copy;|", "Replace Character Entity", "<p>[\u00a9]"},
    {"entity in a PHP page's markup", "a.php", "<p>|", "\u2192", "<p>&rarr;|", "Replace Character Entity", nullptr},
    {"accents stay", "a.html", "<p>|", "\u00e9", "<p>\u00e9|", "Typing", nullptr},
    {"ASCII stays", "a.html", "<p>|", "&<\"", "<p>&<\"|", "Typing", nullptr},
    {"no entity in a script string", "a.html", "<script>var s = \"|\";</script>", "\u00a9",
     "<script>var s = \"\u00a9|\";</script>", "Typing", nullptr},
    {"no entity in a PHP block", "a.php", "<?php echo '|'; ?>", "\u00a9", "<?php echo '\u00a9|'; ?>", "Typing", nullptr},
    {"no entity in Python", "a.py", "s = '|'", "\u00a9", "s = '\u00a9|'", "Typing", nullptr},
};

class HTMLViewTyping : public ViewTest, public ::testing::WithParamInterface<TypingCase>
{
};

TEST_P(HTMLViewTyping, KeysGiveTextSelectionAndUndoName)
{
    const TypingCase &c = GetParam();
    MVUserDefaults::standard().setBool(QStringLiteral("MVAutoCompleteOnType"), c.onType);
    MVUserDefaults::standard().setBool(QStringLiteral("MVTabsAreSpaces"), c.spaces);
    MVUserDefaults::standard().setInteger(QStringLiteral("MVTabSizeKey"), 4);
    open(QLatin1String(c.path), QString::fromUtf8(c.before));
    type(QString::fromUtf8(c.keys));
    EXPECT_EQ(shown(), QString::fromUtf8(c.after)) << c.what;
    if (c.undoName) {
        EXPECT_EQ(view->undoManager()->undoActionName(), QLatin1String(c.undoName)) << c.what;
    }
    if (c.afterUndo) {
        undo();
        EXPECT_EQ(shown(), QString::fromUtf8(c.afterUndo)) << c.what;
        // Redo brings the automation's result back, and nothing reacts to it.
        redo();
        EXPECT_EQ(view->string(), QString::fromUtf8(c.after).remove(QLatin1Char('|'))) << c.what;
    }
}

INSTANTIATE_TEST_SUITE_P(Keys, HTMLViewTyping, ::testing::ValuesIn(Cases),
                         [](const ::testing::TestParamInfo<TypingCase> &info) {
                             std::string name;
                             for (const char *c = info.param.what; *c; ++c)
                                 name += std::isalnum(static_cast<unsigned char>(*c)) ? *c : '_';
                             return name;
                         });

// Bad input: a CR LF document, a huge line, a long page with nothing to
// close, and missing or broken data files.
class HTMLViewTypingFaults : public ViewTest
{
};

TEST_F(HTMLViewTypingFaults, ReturnInACRLFDocumentInsertsCRLF)
{
    open(QStringLiteral("a.js"), QStringLiteral("a\r\n  b|"));
    view->setLineBreakType(2);
    view->setSelectedRange(MVRange{view->string().size(), 0});
    type(QStringLiteral("\n"));
    EXPECT_EQ(view->string(), QStringLiteral("a\r\n  b\r\n  "));
}

TEST_F(HTMLViewTypingFaults, KeysOnAFiveMegabyteLineAndCloseTagOnALongPageEnd)
{
    QString line = QStringLiteral("<div>");
    line += QString(5 * 1024 * 1024, QLatin1Char('x'));
    open(QStringLiteral("a.html"), line + QStringLiteral("|"));
    type(QStringLiteral(">/}"));
    EXPECT_TRUE(view->string().endsWith(QStringLiteral("x>/}")));

    QString page;
    for (int i = 0; i < 100000; ++i)
        page += QStringLiteral("plain line of text\n");
    open(QStringLiteral("a.html"), page + QStringLiteral("|"));
    view->closeTag();
    EXPECT_EQ(view->string().size(), page.size());
    EXPECT_FALSE(view->undoManager()->canUndo());
}

TEST_F(HTMLViewTypingFaults, MissingOrBrokenDataDegrades)
{
    MVScratchDir resources;
    const QString bundles = EditingTest::Shipped + QStringLiteral("/Bundles");
    ASSERT_TRUE(QFile::link(bundles, resources.file(QStringLiteral("Bundles"))));
    resources.write(QStringLiteral("data/specialCharacters.plist"), "this is not a property list");
    Defaults::setResourcesPathForTesting(resources.path());
    MVHTMLData::reset();
    QStringList logged;
    MVLog::setSink([&](const QString &line) { logged << line; });
    // No tag table: every tag is inline. A broken entity table: no entities.
    open(QStringLiteral("a.html"), QStringLiteral("<ul|"));
    type(QStringLiteral(">\u00a9"));
    MVLog::setSink({});
    EXPECT_EQ(shown(), QStringLiteral("<ul>\u00a9|</ul>"));
    EXPECT_EQ(logged.size(), 2);
}

} // namespace
