#include "app/Defaults.h"
#include "language/MVBundle.h"
#include "language/MVBundleRepository.h"
#include "language/MVParser.h"
#include "language/MVSyntaxColouring.h"
#include "language/MVSyntaxHighlightingTextView.h"
#include "language/MVTheme.h"
#include "language/MVThemeRepository.h"
#include "platform/MVUserDefaults.h"
#include "text/MVTextStorage.h"
#include "text/MVUndoManager.h"

#include <gtest/gtest.h>

namespace {

const QString Shipped = QStringLiteral(MORVEL_SOURCE_DIR "/resources");

// The view on the shipped languages and themes, as the editor runs it.
class HighlightingViewTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        Defaults::setResourcesPathForTesting(Shipped);
        MVUserDefaults::standard().setBool("MVHighlightKey", true);
        theme = MVThemeRepository::sharedRepository().currentTheme();
        ASSERT_TRUE(theme);
        view = std::make_unique<MVSyntaxHighlightingTextView>();
    }
    void TearDown() override
    {
        view.reset();
        Defaults::setResourcesPathForTesting(QString());
    }
    QRgb colourAt(qsizetype index) const { return view->textStorage()->attributesAtIndex(index).foreground(); }
    QRgb colourOf(const char *style) const { return theme->attributesForIdentifier(QLatin1String(style)).foreground(); }
    qsizetype at(const char *text) const { return view->string().indexOf(QLatin1String(text)); }

    std::shared_ptr<MVTheme> theme;
    std::unique_ptr<MVSyntaxHighlightingTextView> view;
};

TEST_F(HighlightingViewTest, ANewViewColoursAsHTMLAndAPathPicksTheLanguage)
{
    EXPECT_EQ(view->parser()->identifier(), "text.html");
    view->setString("<p>if</p>");
    EXPECT_EQ(colourAt(0), colourOf("markup.tag"));

    view->setPath("/tmp/a.py");
    EXPECT_TRUE(view->isPython());
    view->setString("def f(): return 'x'");
    EXPECT_EQ(colourAt(0), colourOf("keyword.declaration"));
    EXPECT_EQ(colourAt(at("'x'")), colourOf("string.single"));
    // An unknown extension keeps the language the view has.
    view->setPath("/tmp/a.unknown-extension");
    EXPECT_TRUE(view->isPython());
}

TEST_F(HighlightingViewTest, TypingKeepsTheTextColouredWithoutUndoSteps)
{
    view->setPath("a.js");
    view->setString("var a;\n");
    EXPECT_FALSE(view->undoManager()->canUndo());
    view->setSelectedRange(MVRange{view->string().size(), 0});
    for (const QChar c : "return 'x'")
        view->insertText(QString(c));
    EXPECT_EQ(colourAt(at("return")), colourOf("keyword.control"));
    EXPECT_EQ(colourAt(at("'x'")), colourOf("string.single"));
    // Undo takes back the typing, and the text is coloured as it was.
    view->undo();
    EXPECT_EQ(view->string(), "var a;\n");
    view->redo();
    EXPECT_EQ(colourAt(at("return")), colourOf("keyword.control"));
}

TEST_F(HighlightingViewTest, TheActiveParserFollowsJumpsIntoEmbeddedRegions)
{
    view->setString("<p>x</p>\n<script>\nvar a;\n</script>\n<b>if</b>");
    const MVParser *html = view->parser().get();
    EXPECT_EQ(view->activeParser(false), html);
    // A click into the script: the script language is active, and typing
    // there is coloured by it alone.
    view->setSelectedRange(MVRange{at("a;"), 0});
    EXPECT_EQ(view->activeParser(false)->identifier(), "text.js");
    view->insertText("if ");
    EXPECT_EQ(colourAt(at("if ")), colourOf("keyword.control"));
    EXPECT_EQ(view->textStorage()->attributesAtIndex(at("if ")).parser(), view->activeParser(false));
    // A jump out of it.
    view->setSelectedRange(MVRange{at("<b>"), 0});
    EXPECT_EQ(view->activeParser(false), html);
    // A full refresh parses with the language itself and keeps the active parser.
    view->setSelectedRange(MVRange{at("a;"), 0});
    view->refreshHighlighting();
    EXPECT_EQ(view->textStorage()->attributesAtIndex(0).parser(), html);
    EXPECT_EQ(view->activeParser(false)->identifier(), "text.js");
}

TEST_F(HighlightingViewTest, PlainTextWhileInactiveOrSwitchedOffColouredOnceBack)
{
    view->setPath("a.css");
    view->setActive(false);
    view->setString("body { color: red; }");
    EXPECT_EQ(colourAt(0), theme->textColor().rgba());
    view->setActive(true);
    EXPECT_EQ(colourAt(0), colourOf("css.selector"));

    view->setPath("a.sql");
    MVUserDefaults::standard().setBool("MVHighlightKey", false);
    view->setString("select 1");
    EXPECT_EQ(colourAt(0), theme->textColor().rgba());
    MVUserDefaults::standard().setBool("MVHighlightKey", true);
    MVNotificationCenter::defaultCenter().post(MVSyntaxHighlightingTextView::highlightingPrefsChangeNotification());
    EXPECT_EQ(colourAt(0), colourOf("keyword"));
}

TEST_F(HighlightingViewTest, ALargeTextIsColouredInPiecesAsOneParseWouldColourIt)
{
    // About 4 MB of page, with a script region and a comment around where
    // the first pieces end, short script regions after them, and typing at
    // the start while colouring goes on.
    QString page;
    const auto rowsUpTo = [&page](qsizetype size) {
        for (int i = 0; page.size() < size; ++i)
            page += QStringLiteral("<p class=\"row\">if %1</p>\n").arg(i);
    };
    rowsUpTo(900'000);
    page += QStringLiteral("<script>\n") + QStringLiteral("var x = 'y'; /* z */\n").repeated(15000)
        + QStringLiteral("</script>\n");
    rowsUpTo(1'250'000);
    page
        += QStringLiteral("<!-- a long\n") + QStringLiteral("comment line\n").repeated(30000) + QStringLiteral("-->\n");
    // Short script regions close together, so that later pieces end in them too.
    while (page.size() < 4'000'000) {
        rowsUpTo(page.size() + 60'000);
        page += QStringLiteral("<script>\n") + QStringLiteral("var s = \"t\";\n").repeated(2500)
            + QStringLiteral("</script>\n");
    }
    view->setString(page);
    EXPECT_TRUE(view->isHighlightingPending());
    view->setSelectedRange(MVRange{0, 0});
    view->insertText("<b>");
    view->finishHighlighting();
    EXPECT_FALSE(view->isHighlightingPending());

    MVTextStorage whole(view->string());
    MVSyntaxColouring::syntaxHighlight(MVRange{0, whole.length()}, whole, view->standardAttributes(),
                                       view->parser().get());
    for (qsizetype i = 0; i < whole.length(); i += 331) {
        const MVTextAttributes expected = whole.attributesAtIndex(i);
        const MVTextAttributes got = view->textStorage()->attributesAtIndex(i);
        ASSERT_EQ(got.foreground(), expected.foreground()) << "at " << i;
        ASSERT_EQ(got.parser(), expected.parser()) << "at " << i;
    }
}

} // namespace
