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
        {QStringLiteral("format-type"), QStringLiteral("keyword")},
        {QStringLiteral("format-id"), QStringLiteral("test.script")},
        {QStringLiteral("keyword-characters"), QStringLiteral("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_$")},
        {QStringLiteral("keywords"),
         QVariantMap{{QStringLiteral("keyword"), QStringList{QStringLiteral("if"), QStringLiteral("return")}},
                     {QStringLiteral("constant.language"), QStringList{QStringLiteral("null")}}}},
        {QStringLiteral("regex-keywords"),
         QVariantList{QVariantMap{{QStringLiteral("id"), QStringLiteral("constant.numeric")},
                                  {QStringLiteral("keyword"), QStringLiteral("[0-9]+")}},
                      QVariantMap{{QStringLiteral("id"), QStringLiteral("variable")},
                                  {QStringLiteral("keyword"), QStringLiteral("(unclosed")}}}},
        {QStringLiteral("quotes"),
         QVariantMap{{QStringLiteral("single"), QStringLiteral("string.single")},
                     {QStringLiteral("double"), QStringLiteral("string.double")}}},
        {QStringLiteral("comments"),
         QVariantList{QVariantMap{{QStringLiteral("begin"), QStringLiteral("//")}, {QStringLiteral("id"), QStringLiteral("comment.line")}},
                      QVariantMap{{QStringLiteral("begin"), QStringLiteral("/*")},
                                  {QStringLiteral("end"), QStringLiteral("*/")},
                                  {QStringLiteral("id"), QStringLiteral("comment.block")}}}},
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
    EXPECT_EQ(colourText(QStringLiteral("if (x) return null; // done\n/* a\nb */ 42 x42")),
              QStringLiteral("if=keyword|return=keyword|null=constant.language|// done=comment.line|"
                             "/* a\nb */=comment.block|42=constant.numeric"));
    // The whole range is marked as parsed by this parser.
    for (qsizetype i = 0; i < storage.length(); ++i)
        ASSERT_EQ(storage.attributesAtIndex(i).parser(), parser.get()) << i;
}

TEST_F(KeywordParserTest, TokensHideWhatIsInsideThem)
{
    EXPECT_EQ(colourText(QStringLiteral("'if // no' /* 'return' */ \"/* x */\" if")),
              QStringLiteral("'if // no'=string.single|/* 'return' */=comment.block|\"/* x */\"=string.double|if=keyword"));
}

TEST_F(KeywordParserTest, EscapesInStrings)
{
    // An odd run of backslashes escapes the quote; an even run does not.
    EXPECT_EQ(colourText(QStringLiteral("'a\\'b' if '\\\\' if")),
              QStringLiteral("'a\\'b'=string.single|if=keyword|'\\\\'=string.single|if=keyword"));
    // An escaped quote as the last character of the range still closes.
    EXPECT_EQ(colourText(QStringLiteral("x 'abc\\'")), QStringLiteral("'abc\\'=string.single"));
}

TEST_F(KeywordParserTest, UnterminatedTokensRunToTheEndOfTheRange)
{
    EXPECT_EQ(colourText(QStringLiteral("if 'open\nreturn")), QStringLiteral("if=keyword|'open\nreturn=string.single"));
    EXPECT_EQ(colourText(QStringLiteral("/* open\nif")), QStringLiteral("/* open\nif=comment.block"));
    // Parsing only the first line ends the string at that line's end.
    storage.setString(QStringLiteral("'open\nreturn"));
    MVSyntaxColouring::syntaxHighlight(MVRange{0, 6}, storage, standardAttributes(), parser.get());
    EXPECT_EQ(tokens(storage), QStringLiteral("'open\n=string.single"));
}

TEST_F(KeywordParserTest, StringsAndBlockCommentsCarryTheMultiLineMark)
{
    colourText(QStringLiteral("'a' // b\n/*c*/ if"));
    EXPECT_EQ(multiLineMarks(storage), QStringLiteral("mmm......mmmmm..."));
}

TEST_F(KeywordParserTest, LineCommentEndsAtTheLineEndOrTheRangeEnd)
{
    storage.setString(QStringLiteral("x // comment\r\nif"));
    colour(storage, parser.get());
    // The CR of CR LF stays inside the comment; the LF does not.
    EXPECT_EQ(tokens(storage), QStringLiteral("// comment\r=comment.line|if=keyword"));
    // A range that ends inside the line (an embedded region) ends the comment.
    storage.setString(QStringLiteral("x // comment\r\nif"));
    MVSyntaxColouring::syntaxHighlight(MVRange{0, 6}, storage, standardAttributes(), parser.get());
    EXPECT_EQ(tokens(storage), QStringLiteral("// c=comment.line"));
}

TEST_F(KeywordParserTest, CaseRules)
{
    EXPECT_EQ(colourText(QStringLiteral("IF Return")), QStringLiteral("IF=keyword|Return=keyword"));
    QVariantMap syntax = scriptSyntax();
    syntax.insert(QStringLiteral("case-sensitive"), true);
    setSyntax(syntax);
    EXPECT_EQ(colourText(QStringLiteral("IF if")), QStringLiteral("if=keyword"));
    EXPECT_TRUE(parser->plistRepresentation().value(QStringLiteral("case-sensitive")).toBool());
}

TEST_F(KeywordParserTest, PatternsMustCoverTheWholeWord)
{
    // "12ab" matches [0-9]+ only in part; a pattern that does not compile never matches.
    EXPECT_EQ(colourText(QStringLiteral("12ab 7 (unclosed")), QStringLiteral("7=constant.numeric"));
}

TEST_F(KeywordParserTest, TiesBetweenCandidates)
{
    // A comment opener that starts with a keyword character is never found.
    QVariantMap syntax = scriptSyntax();
    syntax.insert(QStringLiteral("comments"),
                  QVariantList{QVariantMap{{QStringLiteral("begin"), QStringLiteral("rem")},
                                           {QStringLiteral("id"), QStringLiteral("comment")}},
                               QVariantMap{{QStringLiteral("begin"), QStringLiteral("'--")},
                                           {QStringLiteral("id"), QStringLiteral("comment")}}});
    setSyntax(syntax);
    // "rem" is a word; "'--" loses against the string at the same place.
    EXPECT_EQ(colourText(QStringLiteral("rem if\n'--' if")), QStringLiteral("if=keyword|'--'=string.single|if=keyword"));
}

TEST_F(KeywordParserTest, EarliestCommentWinsAndTheFirstInTheListBreaksTies)
{
    QVariantMap syntax = scriptSyntax();
    syntax.insert(QStringLiteral("comments"),
                  QVariantList{QVariantMap{{QStringLiteral("begin"), QStringLiteral("--")},
                                           {QStringLiteral("id"), QStringLiteral("comment.line")}},
                               QVariantMap{{QStringLiteral("begin"), QStringLiteral("<!--")},
                                           {QStringLiteral("end"), QStringLiteral("-->")},
                                           {QStringLiteral("id"), QStringLiteral("comment.block")}},
                               QVariantMap{{QStringLiteral("begin"), QStringLiteral("#")},
                                           {QStringLiteral("id"), QStringLiteral("comment.doc")}}});
    setSyntax(syntax);
    // "<!--" does not lie completely before "--", so the line comment wins;
    // "#" lies before "--" and wins.
    EXPECT_EQ(colourText(QStringLiteral("<!-- a --> if\n# x -- y\nif")),
              QStringLiteral("-- a --> if=comment.line|# x -- y=comment.doc|if=keyword"));
}

TEST_F(KeywordParserTest, NoQuotesNoKeywordCharacters)
{
    QVariantMap syntax = scriptSyntax();
    syntax.insert(QStringLiteral("quotes"), QVariantMap());
    syntax.remove(QStringLiteral("keyword-characters"));
    setSyntax(syntax);
    EXPECT_FALSE(parser->usesSingleQuotes());
    // Without keyword characters no word is found; comments still are.
    EXPECT_EQ(colourText(QStringLiteral("if 'x' // c")), QStringLiteral("// c=comment.line"));
}

TEST_F(KeywordParserTest, IdentifiersRoundTrip)
{
    const QVariantList identifiers = parser->identifiers();
    ASSERT_EQ(identifiers.size(), 4);
    EXPECT_EQ(identifiers[0].toMap().value(QStringLiteral("title")).toString(), QStringLiteral("constant.language"));
    // A word with a non-keyword character becomes a pattern.
    QVariantList edited = identifiers;
    edited.append(QVariantMap{{QStringLiteral("title"), QStringLiteral("type")},
                              {QStringLiteral("keywords"), QVariantList{QVariantMap{{QStringLiteral("title"), QStringLiteral("str.*")}},
                                                                        QVariantMap{{QStringLiteral("title"), QStringLiteral("int")}}}}});
    parser->setIdentifiers(edited);
    EXPECT_EQ(colourText(QStringLiteral("int string if")), QStringLiteral("int=type|string=type|if=keyword"));
    const QVariantMap plist = parser->plistRepresentation();
    EXPECT_EQ(plist.value(QStringLiteral("keywords")).toMap().value(QStringLiteral("type")).toStringList(),
              QStringList{QStringLiteral("int")});
    EXPECT_EQ(plist.value(QStringLiteral("regex-keywords")).toList().size(), 3);

    // The written form reads back to the same colouring.
    setSyntax(plist);
    EXPECT_EQ(colourText(QStringLiteral("int string if 'a' /*b*/")),
              QStringLiteral("int=type|string=type|if=keyword|'a'=string.single|/*b*/=comment.block"));
}

TEST_F(KeywordParserTest, ManyCommentsAndStringsStayLinear)
{
    // Openers of a form that never occurs must not be searched again per
    // token: 200k tokens parse in one pass (a quadratic scan would not end
    // within the test's lifetime).
    QString text;
    for (int i = 0; i < 50000; ++i)
        text += QStringLiteral("if 'a' // c\n");
    storage.setString(text);
    colour(storage, parser.get());
    EXPECT_EQ(styleAt(storage, text.size() - 2), QStringLiteral("comment.line"));
    EXPECT_EQ(styleAt(storage, text.size() - 12), QStringLiteral("keyword"));
}

TEST_F(KeywordParserTest, LargeBadInputsColourWithoutHanging)
{
    // An unclosed block comment at the start of a large text is one comment.
    QString text = QStringLiteral("/* never closed\n");
    while (text.size() < 4'000'000)
        text += QStringLiteral("if (a) return 'x'; // c\n");
    storage.setString(text);
    colour(storage, parser.get());
    EXPECT_EQ(styleAt(storage, text.size() - 1), QStringLiteral("comment.block"));
    EXPECT_LE(storage.runCount(), 4);

    // One line of 2 M characters of minified script.
    QString line;
    while (line.size() < 2'000'000)
        line += QStringLiteral("if(a){return\"x\"+b;}var d='y';");
    storage.setString(line);
    colour(storage, parser.get());
    EXPECT_EQ(styleAt(storage, line.size() - 4), QStringLiteral("string.single"));
    EXPECT_EQ(styleAt(storage, line.size() - 29), QStringLiteral("keyword"));
}

} // namespace
