#include "ColouringTestSupport.h"
#include "LanguageTestSupport.h"

#include "language/MVBundle.h"
#include "language/MVBundleRepository.h"
#include "language/parsers/MVKeywordBasedParser.h"
#include "language/parsers/MVTagBasedParser.h"

#include <gtest/gtest.h>

using namespace ColouringTest;
using namespace LanguageTest;

namespace {

QVariantMap tagStyle()
{
    return QVariantMap{{"tags", "markup.tag"},
                       {"attributes", "markup.attribute"},
                       {"quotes", "markup.string"},
                       {"comments", "markup.comment"}};
}

QVariantMap markupSyntax()
{
    return QVariantMap{
        {"format-type", "tag"},
        {"embedded",
         QVariantMap{{"script", "test.script"},
                     {"?code", QVariantMap{{"id", "test.script"}, {"end", "?>"}}},
                     {"missing", "test.nowhere"}}},
        {"embedded-elements", QStringList{"test.extra", "test.none"}},
        {"style", tagStyle()},
    };
}

QVariantMap scriptSyntax()
{
    return QVariantMap{
        {"format-type", "keyword"},
        {"keyword-characters", "abcdefghijklmnopqrstuvwxyz"},
        {"keywords", QVariantMap{{"keyword", QStringList{"if"}}}},
        {"quotes", QVariantMap{{"single", "string.single"}, {"double", "string.double"}}},
        {"comments", QVariantList{QVariantMap{{"begin", "/*"}, {"end", "*/"}, {"id", "comment.block"}}}},
        {"openers", QStringList{"<script", "<?code"}},
        {"closers", QStringList{"</script", "?>"}},
    };
}

QVariantMap extraSyntax()
{
    QVariantMap style = tagStyle();
    style.insert("tags", "keyword");
    style.insert("quotes", "string");
    return QVariantMap{{"format-type", "tag"}, {"tag-prefix", "x:"}, {"style", style}};
}

class TagParserTest : public ResourcesFixture
{
protected:
    void SetUp() override
    {
        ResourcesFixture::SetUp();
        writeBundle(shippedBundles(), "Markup", info("test.markup", "Markup"), "test.markup", markupSyntax());
        writeBundle(shippedBundles(), "Script", info("test.scriptb", "Script"), "test.script", scriptSyntax());
        writeBundle(shippedBundles(), "Extra", info("test.extrab", "Extra"), "test.extra", extraSyntax());
        repository = std::make_unique<MVBundleRepository>();
        parser = std::dynamic_pointer_cast<MVTagBasedParser>(repository->bundleForIdentifier("test.markup")->parser());
        ASSERT_TRUE(parser);
        script = repository->bundleForIdentifier("test.script")->parser();
        ASSERT_TRUE(std::dynamic_pointer_cast<MVKeywordBasedParser>(script));
        parser->setTheme(styleTheme());
    }
    QString colourText(const QString &text)
    {
        storage.setString(text);
        colour(storage, parser.get());
        return tokens(storage);
    }

    std::unique_ptr<MVBundleRepository> repository;
    std::shared_ptr<MVTagBasedParser> parser;
    std::shared_ptr<MVParser> script;
    MVTextStorage storage;
};

TEST_F(TagParserTest, FinishLoadResolvesWhatExists)
{
    EXPECT_EQ(parser->subparsers(), std::vector<MVParser *>{script.get()});
    ASSERT_EQ(parser->embeddedTagParsers().size(), 1u);
    EXPECT_EQ(parser->embeddedTagParsers()[0]->tagPrefix(), "x:");
    // What could not be resolved is still written back.
    const QVariantMap plist = parser->plistRepresentation();
    EXPECT_EQ(plist.value("embedded").toMap().value("missing").toMap().value("id"), "test.nowhere");
    EXPECT_EQ(plist.value("embedded-elements").toStringList().size(), 2);
}

TEST_F(TagParserTest, TagsQuotesAndComments)
{
    EXPECT_EQ(colourText("a <p class=\"x>y\" id='a>b'>t</p> <!-- c\n<b> --> <!DOCTYPE html>"),
              QStringLiteral("<p class==markup.tag|\"x>y\"=markup.string| id='a>=markup.tag|"
                             "</p>=markup.tag|<!-- c\n<b> -->=markup.comment|<!DOCTYPE html>=markup.tag"));
    // Only the comment carries the multi-line mark.
    EXPECT_FALSE(storage.attributesAtIndex(3).isMultiLine());
    EXPECT_TRUE(storage.attributesAtIndex(storage.string().indexOf("<!--")).isMultiLine());
}

TEST_F(TagParserTest, MissingClosersCapitalsAndPrefixes)
{
    const std::pair<const char *, const char *> cases[] = {
        // Missing closers run to the end.
        {"x <a href=\"y", "<a href==markup.tag|\"y=markup.string"},
        {"x <!-- y", "<!-- y=markup.comment"},
        {"x <a b", "<a b=markup.tag"},
        {"x <", "<=markup.tag"},
        {"<>x", "<>=markup.tag"},
        // An opening tag in capitals opens a region; a closing tag in capitals does not end it.
        {"<SCRIPT>if</SCRIPT><b>if", "<SCRIPT>=markup.tag|if=keyword|if=keyword"},
        // Prefixed tags take their language's colours.
        {"<X:Item a=\"1\"/><p a=\"1\">",
         "<X:Item a==keyword|\"1\"=string|/>=keyword|<p a==markup.tag|\"1\"=markup.string|>=markup.tag"},
    };
    for (const auto &[text, expected] : cases)
        EXPECT_EQ(colourText(text), expected) << text;
}

TEST_F(TagParserTest, EmbeddedRegionsGoToTheirLanguage)
{
    // The opening and closing tags are tags: an attribute is never one of the
    // region's keywords. An end text inside the language's strings or block
    // comments does not end the region.
    EXPECT_EQ(
        colourText("<script if=\"a\">if '</script>' /* </script> */</script><b>"),
        QStringLiteral("<script if==markup.tag|\"a\"=markup.string|>=markup.tag|if=keyword|'</script>'=string.single|"
                       "/* </script> */=comment.block|</script><b>=markup.tag"));
    const qsizetype body = storage.string().indexOf("if '");
    EXPECT_EQ(storage.attributesAtIndex(body).parser(), script.get());
    EXPECT_EQ(storage.attributesAtIndex(body - 1).parser(), parser.get());
    EXPECT_EQ(storage.attributesAtIndex(storage.string().lastIndexOf("</script>")).parser(), parser.get());

    // A region with its own end text: both delimiters are tags. A language
    // that does not exist leaves an ordinary tag; a closing tag alone is a tag.
    EXPECT_EQ(colourText("<?code if ?> if <missing a=\"b\"></script>if"),
              QStringLiteral("<?code=markup.tag|if=keyword|?>=markup.tag|<missing a==markup.tag|\"b\"=markup.string|"
                             "></script>=markup.tag"));
}

TEST_F(TagParserTest, ActiveParserFollowsOpenersAndClosers)
{
    storage.setString("<p><script>var s = \"</script>\"; x</script> y");
    const auto theme = styleTheme();
    const qsizetype inside = storage.string().indexOf(" x");
    EXPECT_EQ(MVSyntaxColouring::checkForOpenSpecialsBefore(parser.get(), storage, inside, theme), script.get());
    EXPECT_EQ(MVSyntaxColouring::checkForOpenSpecialsBefore(parser.get(), storage, storage.length(), theme),
              parser.get());
    EXPECT_EQ(MVSyntaxColouring::checkForOpenSpecialsBefore(parser.get(), storage, 2, theme), parser.get());
    // A quote inside a comment of the language does not hide its closer.
    storage.setString("<?code /* it's */ ?> y");
    EXPECT_EQ(MVSyntaxColouring::checkForOpenSpecialsBefore(parser.get(), storage, storage.length(), theme),
              parser.get());
}

TEST_F(TagParserTest, ActiveParserFoundFarBackInALargeText)
{
    const auto theme = styleTheme();
    // The search goes backwards in chunks of 64k characters: an opener cut by
    // the edge of a chunk, and one far back behind a closer in quotes.
    const QString after(65536 - 5, 'y');
    for (const qsizetype before : {qsizetype(0), qsizetype(3), qsizetype(100000)}) {
        storage.setString(QString(before, 'x') + QStringLiteral("<ScRiPt>") + after);
        EXPECT_EQ(MVSyntaxColouring::checkForOpenSpecialsBefore(parser.get(), storage, storage.length(), theme),
                  script.get())
            << before;
        EXPECT_EQ(MVSyntaxColouring::checkForOpenSpecialsBefore(parser.get(), storage, before + 6, theme),
                  parser.get());
    }
    storage.setString(QStringLiteral("<p><script>var s = \"</script>\";") + QString(200000, ' ')
                      + QStringLiteral("x</script>"));
    const qsizetype x = storage.length() - 10;
    EXPECT_EQ(MVSyntaxColouring::checkForOpenSpecialsBefore(parser.get(), storage, x, theme), script.get());
    EXPECT_EQ(MVSyntaxColouring::checkForOpenSpecialsBefore(parser.get(), storage, storage.length(), theme),
              parser.get());
}

TEST_F(TagParserTest, RangesOfALanguage)
{
    const QString text = "<script>a</script> <SCRIPT>b";
    const MVParser::SubparserRanges ranges = script->rangesInString(text, MVRange{0, text.size()});
    ASSERT_EQ(ranges.size(), 2u);
    EXPECT_EQ(ranges[0].first, (MVRange{0, 17}));
    // Without a closer, the region ends at the end of the range.
    EXPECT_EQ(ranges[1].first, (MVRange{19, text.size() - 19}));
    EXPECT_EQ(ranges[1].second, script.get());
}

TEST_F(TagParserTest, NoHangOnHugeLines)
{
    // A 5 MB line of tags without blanks, and one "<" after another with no ">".
    QString line;
    line.reserve(5'000'000);
    while (line.size() < 5'000'000)
        line += "<a><b/>text";
    line += QString(200000, '<');
    storage.setString(line);
    colour(storage, parser.get());
    EXPECT_EQ(styleAt(storage, 0), "markup.tag");
    EXPECT_EQ(styleAt(storage, storage.length() - 1), "markup.tag");
}

} // namespace
