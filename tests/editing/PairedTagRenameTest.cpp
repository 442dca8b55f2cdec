#include "EditingTestSupport.h"

#include <cctype>
#include <string>

namespace {

using EditingTest::ViewTest;

struct RenameCase
{
    const char *what;
    const char *path;
    const char *before; // "|" the caret or "[...]" the selection
    const char *keys;
    const char *after;  // the text, without the caret
};

const RenameCase Cases[] = {
    {"opening renames closing", "a.html", "<[div]>\n  <p>x</p>\n</div>", "nav", "<nav>\n  <p>x</p>\n</nav>"},
    {"closing renames opening", "a.html", "<div>x</div|>", "s", "<divs>x</divs>"},
    {"nested tags of the same name", "a.html", "<[div]><div>x</div><div/></div>", "main",
     "<main><div>x</div><div/></main>"},
    {"inner of nested", "a.html", "<div><div|>x</div></div>", "2", "<div><div2>x</div2></div>"},
    {"HTML names compare without case", "a.html", "<DIV|>x</div>", "X", "<DIVX>x</divX>"},
    {"PHP page", "a.php", "<?php $a = '</ul>'; ?><ul|><li>x</li></ul>", "l", "<?php $a = '</ul>'; ?><ull><li>x</li></ull>"},
    {"a closer in a comment is skipped", "a.html", "<b|><!-- </b> -->x</b>", "i", "<bi><!-- </b> -->x</bi>"},
    {"a closer in a script is skipped", "a.html", "<p|><script>s = '</p>';</script></p>", "re",
     "<pre><script>s = '</p>';</script></pre>"},
    {"back over a comment and a script", "a.html", "<p><!-- <p> --><script>s = '<p>';</script></p|>", "re",
     "<pre><!-- <p> --><script>s = '<p>';</script></pre>"},
    {"a blank ends the link", "a.html", "<div|>x</div>", " class", "<div class>x</div>"},
    {"a slash ends the link", "a.html", "<div|>x</div>", "/", "<div/>x</div>"},
    {"mismatched markup", "a.html", "<div><span|>x</div>", "s", "<div><spans>x</div>"},
    {"names that differ", "a.html", "<div|>x</span>", "s", "<divs>x</span>"},
    {"void element", "a.html", "<br|>x</br>", "s", "<brs>x</br>"},
    {"self-closed", "a.xml", "<item|/>x</item>", "s", "<items/>x</item>"},
    {"XML names compare exactly", "a.xml", "<Item|>x</item>", "s", "<Items>x</item>"},
    {"XML", "a.xml", "<item|><item/>x</item>", "s", "<items><item/>x</items>"},
    {"not in a PHP block", "a.php", "<?php if ($a <b|) { echo '</b>'; } ?>", "c", "<?php if ($a <bc) { echo '</b>'; } ?>"},
};

class PairedTagRename : public ViewTest, public ::testing::WithParamInterface<RenameCase>
{
};

TEST_P(PairedTagRename, EditsOfANameRenameItsPartner)
{
    const RenameCase &c = GetParam();
    open(QLatin1String(c.path), QString::fromUtf8(c.before));
    type(QString::fromUtf8(c.keys));
    EXPECT_EQ(view->string(), QString::fromUtf8(c.after)) << c.what;
}

INSTANTIATE_TEST_SUITE_P(Markup, PairedTagRename, ::testing::ValuesIn(Cases),
                         [](const ::testing::TestParamInfo<RenameCase> &info) {
                             std::string name;
                             for (const char *c = info.param.what; *c; ++c)
                                 name += std::isalnum(static_cast<unsigned char>(*c)) ? *c : '_';
                             return name;
                         });

class PairedTagRenameUndo : public ViewTest
{
};

TEST_F(PairedTagRenameUndo, OneUndoRestoresBothAndRedoRenamesBoth)
{
    QString page = QStringLiteral("<div>\n");
    for (int i = 0; i < 300; ++i)
        page += QStringLiteral("  <p>line</p>\n");
    open(QStringLiteral("a.html"), page + QStringLiteral("</[div]>\n"));
    // A paste over the closing name, and a deletion in the opening one.
    view->insertText(QStringLiteral("section"));
    EXPECT_TRUE(view->string().startsWith(QStringLiteral("<section>\n")));
    EXPECT_TRUE(view->string().endsWith(QStringLiteral("</section>\n")));
    undo();
    EXPECT_EQ(view->string(), page + QStringLiteral("</div>\n"));
    redo();
    EXPECT_TRUE(view->string().startsWith(QStringLiteral("<section>\n")));
    EXPECT_TRUE(view->string().endsWith(QStringLiteral("</section>\n")));

    view->setSelectedRange(MVRange{7, 0});
    view->doCommandBySelector(QStringLiteral("deleteBackward:"));
    EXPECT_TRUE(view->string().startsWith(QStringLiteral("<sectin>\n")));
    EXPECT_TRUE(view->string().endsWith(QStringLiteral("</sectin>\n")));
    undo();
    EXPECT_TRUE(view->string().startsWith(QStringLiteral("<section>\n")));
    EXPECT_TRUE(view->string().endsWith(QStringLiteral("</section>\n")));

    // Off, the partner is left alone.
    MVUserDefaults::standard().setBool(QStringLiteral("MVRenamePairedTags"), false);
    view->insertText(QStringLiteral("x"));
    EXPECT_TRUE(view->string().endsWith(QStringLiteral("</section>\n")));
}

} // namespace
