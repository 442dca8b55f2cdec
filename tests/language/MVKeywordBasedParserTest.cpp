#include "ColouringTestSupport.h"

#include "language/MVComment.h"
#include "language/MVKeyword.h"
#include "language/parsers/MVKeywordBasedParser.h"

#include <gtest/gtest.h>

using namespace ColouringTest;

namespace {

QVariantMap scriptSyntax()
{
    return QVariantMap{
        {"format-type", "keyword"},
        {"format-id", "test.script"},
        {"keyword-characters", "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_$"},
        {"keywords", QVariantMap{{"keyword", QStringList{"if", "return"}}, {"constant.language", QStringList{"null"}}}},
        {"regex-keywords",
         QVariantList{QVariantMap{{"id", "constant.numeric"}, {"keyword", "[0-9]+"}},
                      QVariantMap{{"id", "variable"}, {"keyword", "(unclosed"}}}},
        {"quotes", QVariantMap{{"single", "string.single"}, {"double", "string.double"}}},
        {"comments",
         QVariantList{QVariantMap{{"begin", "//"}, {"id", "comment.line"}},
                      QVariantMap{{"begin", "/*"}, {"end", "*/"}, {"id", "comment.block"}}}},
    };
}

class KeywordParserTest : public ::testing::Test
{
protected:
    KeywordParserTest() { setSyntax(scriptSyntax()); }

    void setSyntax(const QVariantMap &syntax)
    {
        parser = std::make_shared<MVKeywordBasedParser>(nullptr, syntax);
        parser->setTheme(styleTheme());
    }
    QString colourText(const QString &text)
    {
        storage.setString(text);
        colour(storage, parser.get());
        return tokens(storage);
    }

    std::shared_ptr<MVKeywordBasedParser> parser;
    MVTextStorage storage;
};

TEST_F(KeywordParserTest, ColoursWordsStringsAndComments)
{
    const std::pair<const char *, const char *> cases[] = {
        {"if (x) return null; // done\n/* a\nb */ 42 x42",
         "if=keyword|return=keyword|null=constant.language|// done=comment.line|/* a\nb */=comment.block|"
         "42=constant.numeric"},
        // Tokens hide what is inside them.
        {"'if // no' /* 'return' */ \"/* x */\" if",
         "'if // no'=string.single|/* 'return' */=comment.block|\"/* x */\"=string.double|if=keyword"},
        // An odd run of backslashes escapes the quote; an even run does not;
        // an escaped quote as the last character of the range still closes.
        {"'a\\'b' if '\\\\' if", "'a\\'b'=string.single|if=keyword|'\\\\'=string.single|if=keyword"},
        {"x 'abc\\'", "'abc\\'=string.single"},
        // Unterminated tokens run to the end of the range.
        {"if 'open\nreturn", "if=keyword|'open\nreturn=string.single"},
        {"/* open\nif", "/* open\nif=comment.block"},
        // Case-insensitive by default.
        {"IF Return", "IF=keyword|Return=keyword"},
        // "12ab" matches [0-9]+ only in part; a pattern that does not compile never matches.
        {"12ab 7 (unclosed", "7=constant.numeric"},
    };
    for (const auto &[text, expected] : cases)
        EXPECT_EQ(colourText(text), expected) << text;
    // The whole range is marked as parsed by this parser.
    for (qsizetype i = 0; i < storage.length(); ++i)
        ASSERT_EQ(storage.attributesAtIndex(i).parser(), parser.get()) << i;

    // Parsing only the first line ends the string at that line's end.
    storage.setString("'open\nreturn");
    MVSyntaxColouring::syntaxHighlight(MVRange{0, 6}, storage, standardAttributes(), parser.get());
    EXPECT_EQ(tokens(storage), "'open\n=string.single");
}

TEST_F(KeywordParserTest, StringsAndBlockCommentsCarryTheMultiLineMark)
{
    colourText("'a' // b\n/*c*/ if");
    EXPECT_EQ(multiLineMarks(storage), "mmm......mmmmm...");
}

TEST_F(KeywordParserTest, LineCommentEndsAtTheLineEndOrTheRangeEnd)
{
    storage.setString("x // comment\r\nif");
    colour(storage, parser.get());
    // The CR of CR LF stays inside the comment; the LF does not.
    EXPECT_EQ(tokens(storage), "// comment\r=comment.line|if=keyword");
    // A range that ends inside the line (an embedded region) ends the comment.
    storage.setString("x // comment\r\nif");
    MVSyntaxColouring::syntaxHighlight(MVRange{0, 6}, storage, standardAttributes(), parser.get());
    EXPECT_EQ(tokens(storage), "// c=comment.line");
}

TEST_F(KeywordParserTest, SyntaxVariants)
{
    struct Case
    {
        const char *what;
        QVariantMap changes;
        const char *text;
        const char *expected;
    };
    const Case cases[] = {
        {"case-sensitive", {{"case-sensitive", true}}, "IF if", "if=keyword"},
        // "rem" is a word, so an opener that starts with a keyword character is
        // never found; "'--" loses against the string at the same place.
        {"ties", {{"comments", QVariantList{QVariantMap{{"begin", "rem"}, {"id", "comment"}},
                                            QVariantMap{{"begin", "'--"}, {"id", "comment"}}}}},
         "rem if\n'--' if", "if=keyword|'--'=string.single|if=keyword"},
        // "<!--" does not lie completely before "--", so the line comment wins;
        // "#" lies before "--" and wins.
        {"earliest comment",
         {{"comments", QVariantList{QVariantMap{{"begin", "--"}, {"id", "comment.line"}},
                                    QVariantMap{{"begin", "<!--"}, {"end", "-->"}, {"id", "comment.block"}},
                                    QVariantMap{{"begin", "#"}, {"id", "comment.doc"}}}}},
         "<!-- a --> if\n# x -- y\nif", "-- a --> if=comment.line|# x -- y=comment.doc|if=keyword"},
        // Without keyword characters no word is found; comments still are.
        {"no quotes, no keyword characters", {{"quotes", QVariantMap()}, {"keyword-characters", QVariant()}},
         "if 'x' // c", "// c=comment.line"},
    };
    for (const Case &c : cases) {
        QVariantMap syntax = scriptSyntax();
        for (auto it = c.changes.cbegin(); it != c.changes.cend(); ++it) {
            if (it.value().isValid())
                syntax.insert(it.key(), it.value());
            else
                syntax.remove(it.key());
        }
        setSyntax(syntax);
        EXPECT_EQ(colourText(c.text), c.expected) << c.what;
        // The syntax is written back as it was read.
        EXPECT_EQ(parser->plistRepresentation().value("case-sensitive").toBool(), c.changes.contains("case-sensitive"));
    }
    EXPECT_FALSE(parser->usesSingleQuotes());
}

TEST_F(KeywordParserTest, IdentifiersRoundTrip)
{
    const QVariantList identifiers = parser->identifiers();
    ASSERT_EQ(identifiers.size(), 4);
    EXPECT_EQ(identifiers[0].toMap().value("title").toString(), "constant.language");
    // A word with a non-keyword character becomes a pattern.
    QVariantList edited = identifiers;
    edited.append(QVariantMap{
        {"title", "type"}, {"keywords", QVariantList{QVariantMap{{"title", "str.*"}}, QVariantMap{{"title", "int"}}}}});
    parser->setIdentifiers(edited);
    EXPECT_EQ(colourText("int string if"), "int=type|string=type|if=keyword");
    const QVariantMap plist = parser->plistRepresentation();
    EXPECT_EQ(plist.value("keywords").toMap().value("type").toStringList(), QStringList{"int"});
    EXPECT_EQ(plist.value("regex-keywords").toList().size(), 3);

    // The written form reads back to the same colouring.
    setSyntax(plist);
    EXPECT_EQ(colourText("int string if 'a' /*b*/"),
              "int=type|string=type|if=keyword|'a'=string.single|/*b*/=comment.block");
}

TEST_F(KeywordParserTest, ManyCommentsAndStringsStayLinear)
{
    // Openers of a form that never occurs must not be searched again per
    // token: 200k tokens parse in one pass (a quadratic scan would not end
    // within the test's lifetime).
    QString text;
    for (int i = 0; i < 50000; ++i)
        text += "if 'a' // c\n";
    storage.setString(text);
    colour(storage, parser.get());
    EXPECT_EQ(styleAt(storage, text.size() - 2), "comment.line");
    EXPECT_EQ(styleAt(storage, text.size() - 12), "keyword");
}

TEST_F(KeywordParserTest, LargeBadInputsColourWithoutHanging)
{
    // An unclosed block comment at the start of a large text is one comment.
    QString text = "/* never closed\n";
    while (text.size() < 4'000'000)
        text += "if (a) return 'x'; // c\n";
    storage.setString(text);
    colour(storage, parser.get());
    EXPECT_EQ(styleAt(storage, text.size() - 1), "comment.block");
    EXPECT_LE(storage.runCount(), 4);

    // One line of 2 M characters of minified script.
    QString line;
    while (line.size() < 2'000'000)
        line += "if(a){return\"x\"+b;}var d='y';";
    storage.setString(line);
    colour(storage, parser.get());
    EXPECT_EQ(styleAt(storage, line.size() - 4), "string.single");
    EXPECT_EQ(styleAt(storage, line.size() - 29), "keyword");
}

} // namespace
