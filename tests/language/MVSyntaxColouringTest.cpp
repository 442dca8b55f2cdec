#include "ColouringTestSupport.h"

#include "language/parsers/MVKeywordBasedParser.h"

#include <gtest/gtest.h>

using namespace ColouringTest;

namespace {

class IncrementalColouringTest : public ::testing::Test
{
protected:
    IncrementalColouringTest()
    {
        parser = std::make_shared<MVKeywordBasedParser>(
            nullptr,
            QVariantMap{{"keyword-characters", "abcdefghijklmnopqrstuvwxyz"},
                        {"keywords", QVariantMap{{"keyword", QStringList{"if"}}}},
                        {"quotes", QVariantMap{{"double", "string"}}},
                        {"comments", QVariantList{QVariantMap{{"begin", "/*"}, {"end", "*/"}, {"id", "comment"}}}}});
        parser->setTheme(styleTheme());
    }
    // Replaces range as typing does and re-colours by the incremental rule.
    void edit(MVRange range, const QString &text)
    {
        storage.replaceCharacters(range, text);
        const MVRange changed{range.location, text.size()};
        MVSyntaxColouring::syntaxHighlight(MVSyntaxColouring::rangeToHighlightForRange(storage, changed), storage,
                                           standardAttributes(), parser.get());
    }
    MVRange rangeFor(MVRange change) { return MVSyntaxColouring::rangeToHighlightForRange(storage, change); }

    std::shared_ptr<MVKeywordBasedParser> parser;
    MVTextStorage storage;
};

TEST_F(IncrementalColouringTest, AnEditReparsesItsOwnLines)
{
    storage.setString("if\nab\nif");
    colour(storage, parser.get());
    EXPECT_EQ(rangeFor(MVRange{0, 1}), (MVRange{0, 3}));
    EXPECT_EQ(rangeFor(MVRange{4, 0}), (MVRange{3, 3}));
    edit(MVRange{3, 2}, "if");
    EXPECT_EQ(tokens(storage), "if=keyword|if=keyword|if=keyword");
}

TEST_F(IncrementalColouringTest, TokensSpanningLinesAreReparsedFromTheirStart)
{
    storage.setString("x /* a\nb\nc */ if\nd");
    colour(storage, parser.get());
    // Typing on the third line reaches back to the comment's opener.
    EXPECT_EQ(rangeFor(MVRange{10, 1}), (MVRange{0, 17}));
    // A line after the one where the comment ended is not affected.
    EXPECT_EQ(rangeFor(MVRange{17, 1}), (MVRange{17, 1}));
    edit(MVRange{9, 0}, "z");
    EXPECT_EQ(tokens(storage), "/* a\nb\nzc */=comment|if=keyword");
}

TEST_F(IncrementalColouringTest, ForwardsTheParseStopsAtTheLineOfTheChange)
{
    storage.setString("a\nif\nif");
    colour(storage, parser.get());
    edit(MVRange{0, 1}, "/*");
    // Only the edited line turns into a comment; the lines below wait.
    EXPECT_EQ(tokens(storage), "/*\n=comment|if=keyword|if=keyword");
    // Removing the opener recolours its own line only.
    edit(MVRange{0, 2}, QString());
    EXPECT_EQ(tokens(storage), "if=keyword|if=keyword");
}

TEST_F(IncrementalColouringTest, ColouringIsNoTextEditAndOffLeavesPlainText)
{
    storage.setString("if \"x\"");
    int characterEdits = 0;
    storage.addEditingObserver([&](const MVTextStorage &s) {
        if (s.editedMask() & MVTextStorage::EditedCharacters)
            ++characterEdits;
    });
    colour(storage, parser.get());
    EXPECT_EQ(characterEdits, 0);
    EXPECT_EQ(tokens(storage), "if=keyword|\"x\"=string");
    // Without a parser (highlighting off) the range goes back to plain colours.
    MVSyntaxColouring::syntaxHighlight(MVRange{0, storage.length()}, storage, standardAttributes(), nullptr);
    EXPECT_EQ(tokens(storage), QString());
    EXPECT_EQ(multiLineMarks(storage), "......");
}

TEST(SignificantRangeTest, WhereTabJumps)
{
    const QString text = "a [*x*] \"\" [*cur] b\n[*cur]";
    EXPECT_EQ(MVParser::nextSignificantRangeInString(text, MVRange{0, 0}), (MVRange{11, 6}));
    EXPECT_EQ(MVParser::nextSignificantRangeInString("a [*x*] \"\" b", MVRange{0, 0}), (MVRange{9, 0}));
    EXPECT_EQ(MVParser::nextSignificantRangeInString("a [*x*] b", MVRange{0, 1}), (MVRange{2, 5}));
    // A placeholder without its end on the line is no stop.
    EXPECT_TRUE(MVParser::nextSignificantRangeInString("a [*x\n*]", MVRange{0, 0}).isNotFound());
}

} // namespace
