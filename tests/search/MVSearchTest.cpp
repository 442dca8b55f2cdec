#include "search/MVSearch.h"
#include "search/MVSearchEnumerator.h"
#include "search/MVSearchResult.h"

#include "support/TestEnvironment.h"

#include <gtest/gtest.h>

namespace {

MVSearch expression(const QString &pattern, const QString &replacement = QString(), bool caseSensitive = true)
{
    MVSearch search = MVSearch::initWithExpressionString(pattern, caseSensitive);
    search.setReplaceString(replacement);
    return search;
}

MVSearch plain(const QString &text, const QString &replacement = QString(), bool caseSensitive = false)
{
    MVSearch search = MVSearch::initWithSearchString(text);
    search.setCaseSensitive(caseSensitive);
    search.setReplaceString(replacement);
    return search;
}

QString replacedAll(const MVSearch &search, QString text, int *count = nullptr)
{
    const int n = search.replaceAllInString(text);
    if (count)
        *count = n;
    return text;
}

QString expanded(const QString &pattern, const QString &subject, const QString &replacement)
{
    const auto result = expression(pattern).replacementForString(subject, replacement);
    return result ? *result : QStringLiteral("<none>");
}

} // namespace

TEST(MVSearch, TheCaseFlagReachesOnlyTheFirstPattern)
{
    EXPECT_TRUE(MVSearch().findAllForString(QStringLiteral("anything")).empty());
    MVSearch caseless = MVSearch::initWithExpressionString(QStringLiteral("ab+"), false);
    EXPECT_EQ(caseless.firstMatchInString(u"xABBy"), MVMakeRange(1, 3));

    // A new pattern is compiled with the default options: the case flag of
    // the search does not reach it. The same text again keeps the pattern.
    const MVRegex *before = caseless.expression().get();
    caseless.setSearchString(QStringLiteral("ab+"));
    EXPECT_EQ(caseless.expression().get(), before);
    caseless.setSearchString(QStringLiteral("cd"));
    EXPECT_TRUE(caseless.firstMatchInString(u"CD").isNotFound());
    caseless.setSearchExpression(QString());
    EXPECT_FALSE(caseless.isRegularExpression());
}

TEST(MVSearch, InvalidPatternFindsNothingAndReplacesNothing)
{
    EXPECT_FALSE(MVSearch::validRegexSearch(QStringLiteral("(unclosed")));
    EXPECT_TRUE(MVSearch::validRegexSearch(QStringLiteral("(closed)")));
    EXPECT_TRUE(MVSearch::validRegexReplace(QStringLiteral("(((\\")));

    MVSearch broken = expression(QStringLiteral("(unclosed"), QStringLiteral("X"));
    EXPECT_FALSE(broken.matchesString(u"(unclosed"));
    EXPECT_TRUE(broken.findAllForString(QStringLiteral("(unclosed")).empty());
    int count = -1;
    EXPECT_EQ(replacedAll(broken, QStringLiteral("(unclosed"), &count), QStringLiteral("(unclosed"));
    EXPECT_EQ(count, 0);
    EXPECT_FALSE(broken.replacementForString(u"(unclosed"));
}

TEST(MVSearch, PlainSearchIsLiteralWithTheCaseFlagAndBackwards)
{
    const QString text = QStringLiteral("a.c ABC a.c abc");
    MVSearch search = plain(QStringLiteral("a.c"));
    EXPECT_EQ(search.firstMatchInString(text), MVMakeRange(0, 3));
    EXPECT_EQ(search.firstMatchInString(text, {1, text.size() - 1}), MVMakeRange(8, 3));
    EXPECT_EQ(search.firstMatchInString(text, {0, text.size()}, true), MVMakeRange(8, 3));
    EXPECT_EQ(search.firstMatchInString(text, {0, 10}, true), MVMakeRange(0, 3)); // must lie inside the range

    MVSearch abc = plain(QStringLiteral("abc"));
    EXPECT_EQ(abc.findAllForString(text), (std::vector<MVRange>{{4, 3}, {12, 3}}));
    abc.setCaseSensitive(true);
    EXPECT_EQ(abc.findAllForString(text), (std::vector<MVRange>{{12, 3}}));
    EXPECT_EQ(abc.firstMatchInString(text, {0, text.size()}, true), MVMakeRange(12, 3));

    // Case folding beyond ASCII, and locations in 16-bit units after a
    // character outside the basic plane.
    const QString accented = QStringLiteral("😀 Ärger und ärger");
    EXPECT_EQ(plain(QStringLiteral("ÄRGER")).findAllForString(accented), (std::vector<MVRange>{{3, 5}, {13, 5}}));

    // An empty search string finds nothing.
    EXPECT_TRUE(plain(QString()).findAllForString(text).empty());
    EXPECT_TRUE(plain(QStringLiteral("")).firstMatchInString(text).isNotFound());
    // A range beyond the text is clamped.
    EXPECT_EQ(search.firstMatchInString(text, {8, 1000}), MVMakeRange(8, 3));
    EXPECT_TRUE(search.firstMatchInString(text, {1000, 5}).isNotFound());
}

TEST(MVSearch, RegularExpressionRangesAndTheBeginningOfLineOption)
{
    const QString text = QStringLiteral("one\ntwo\nthree");
    MVSearch search = expression(QStringLiteral("^\\w+"));
    // The whole text on its own: ^ matches at its start.
    EXPECT_EQ(search.firstMatchInString(text), MVMakeRange(0, 3));
    // In a range the default option keeps ^ from matching at the range's
    // start, even at offset 0 of the text.
    EXPECT_EQ(search.firstMatchInString(text, {0, text.size()}), MVMakeRange(4, 3));
    EXPECT_EQ(search.findAllForString(text), (std::vector<MVRange>{{4, 3}, {8, 5}}));
    search.setOptions(0);
    EXPECT_EQ(search.findAllForString(text), (std::vector<MVRange>{{0, 3}, {4, 3}, {8, 5}}));

    // reverse has no effect on a regular expression: Find Previous over a
    // range with three matches gives the first of them.
    MVSearch word = expression(QStringLiteral("t\\w+"));
    EXPECT_EQ(word.firstMatchInString(text, {0, text.size()}, true), MVMakeRange(4, 3));
}

TEST(MVSearch, EnumerationStepsOverEmptyMatchesAndEnds)
{
    // Trailing blanks before every line end (LF, CR LF, CR and the text's end).
    const QString text = QStringLiteral("a  \nb\t\r\nc\rd ");
    MVSearch trailing = expression(QStringLiteral("[ \\t]*$"));
    const std::vector<MVRange> ranges = trailing.findAllForString(text);
    ASSERT_FALSE(ranges.empty());
    EXPECT_EQ(ranges.front(), MVMakeRange(1, 2));
    int count = 0;
    trailing.setReplaceString(QString());
    const QString cleaned = replacedAll(trailing, text, &count);
    EXPECT_EQ(cleaned, QStringLiteral("a\nb\r\nc\rd"));

    // An empty match never lands between CR and LF, nor between the two
    // units of a surrogate pair.
    const QString pairs = QStringLiteral("x\r\n😀y");
    const auto empties = expression(QStringLiteral("")).findAllForString(pairs);
    for (const MVRange &range : empties) {
        EXPECT_EQ(range.length, 0);
        EXPECT_NE(range.location, 2) << "between CR and LF";
        EXPECT_NE(range.location, 4) << "inside a surrogate pair";
    }
    EXPECT_EQ(empties.size(), 4u); // before x, CR, the pair and y
    EXPECT_EQ(replacedAll(expression(QStringLiteral("$"), QStringLiteral(";")), QStringLiteral("a\r\nb\nc")),
              QStringLiteral("a;\r\nb;\nc;"));

    MVSearchEnumerator empty(expression(QStringLiteral("a*")), QString());
    EXPECT_FALSE(empty.nextRange());
}

TEST(MVSearch, ResultsCarryAPreviewOfTheirLine)
{
    const QString longLine = QString(60, u'x') + QStringLiteral("MATCH") + QString(60, u'y');
    const QString text = QStringLiteral("first line\nthe MATCH here\n") + longLine;
    const auto results = plain(QStringLiteral("match")).findAllForStringAsResults(text);
    ASSERT_EQ(results.size(), 2u);

    // Near the line start the preview starts at the line.
    const MVSearchPreview &near = results[0].attributedString();
    EXPECT_EQ(results[0].range(), MVMakeRange(15, 5));
    EXPECT_EQ(near.string, QStringLiteral("the MATCH here\n") + longLine.left(34));
    EXPECT_EQ(near.string.mid(near.match.location, near.match.length), QStringLiteral("MATCH"));

    // Far from it, 40 units on either side.
    const MVSearchPreview &far = results[1].attributedString();
    EXPECT_EQ(far.string, QString(40, u'x') + QStringLiteral("MATCH") + QString(40, u'y'));
    EXPECT_EQ(far.match, MVMakeRange(40, 5));

    const auto formats = far.formats();
    ASSERT_EQ(formats.size(), 2);
    EXPECT_EQ(formats[1].start, 40);
    EXPECT_TRUE(formats[1].format.font().bold());

    // The edges never split a surrogate pair.
    const QString emoji = QString(19, u'a') + QStringLiteral("😀") + QString(39, u'b') + QStringLiteral("M") +
                          QString(39, u'c') + QStringLiteral("😀");
    MVSearchResult cut({60, 1}, emoji);
    EXPECT_TRUE(cut.attributedString().string.startsWith(u'b'));
    EXPECT_TRUE(cut.attributedString().string.endsWith(QStringLiteral("c😀")));
    EXPECT_EQ(cut.attributedString().string.mid(cut.attributedString().match.location, 1), QStringLiteral("M"));
}

TEST(MVSearchTemplate, GroupReferencesParenthesesAndEscapes)
{
    struct Case
    {
        const char *pattern, *subject, *replacement, *expected;
    };
    const Case cases[] = {
        {R"((\w+)=(\d+)?)", "width=20", "$2:$1", "20:width"},
        {R"((\w+)=(\d+)?)", "width=20", "[$0]", "[width=20]"},
        // A bare $ at the end, or before a non-digit, is the whole match.
        {R"((\w+)=(\d+)?)", "width=20", "<$", "<width=20"},
        {R"((\w+)=(\d+)?)", "width=20", "$x", "width=20x"},
        // A group that took no part, or that does not exist, gives nothing.
        {R"((\w+)=(\d+)?)", "width=", "[$2]", "[]"},
        {"(a)", "a", "$1$2", "a"},
        {"(a)", "a", "$99999999999999999999", ""},
        // Multi-digit references, and inserted text is never scanned again.
        {"(a)(b)(c)(d)(e)(f)(g)(h)(i)(j)(k)", "abcdefghijk", "$11$1x", "kax"},
        {"(.*)", R"($1(1)\)", "<$1>", R"(<$1(1)\>)"},
        // (n) is a reference too; text in parentheses that is not a number reads as 0.
        {R"((\w+)-(\w+))", "left-right", "(2)+(1)", "right+left"},
        {R"((\w+)-(\w+))", "left-right", "f(abc)", "fleft-right"},
        {R"((\w+)-(\w+))", "left-right", "( 2)", "right"},
        {R"((\w+)-(\w+))", "left-right", "(-1)", ""},
        // A ( with no ) ends the expansion: the rest stays as written.
        {R"((\w+)-(\w+))", "left-right", "$1 (x $2", "left (x $2"},
        // A backslash keeps the next character as it is and vanishes at the end.
        {R"((\w+)-(\w+))", "left-right", R"(\$1 \(2) \\ \n\)", R"($1 (2) \ n)"},
        // Only the ASCII markers count.
        {R"((\w+)-(\w+))", "left-right", "Ĥ1Ĩ2)Ŝ Ф用作 $2", "Ĥ1Ĩ2)Ŝ Ф用作 right"},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(expanded(QString::fromUtf8(c.pattern), QString::fromUtf8(c.subject), QString::fromUtf8(c.replacement)),
                  QString::fromUtf8(c.expected))
            << c.replacement;
    }
}

TEST(MVSearchTemplate, PlainSearchesReplaceLiterally)
{
    MVSearch search = plain(QStringLiteral("a"), QStringLiteral("$1(0)\\"));
    EXPECT_EQ(*search.replacementForString(u"a"), QStringLiteral("$1(0)\\"));
    EXPECT_EQ(replacedAll(search, QStringLiteral("bab")), QStringLiteral("b$1(0)\\b"));
    // A null template counts as empty.
    EXPECT_EQ(*plain(QStringLiteral("a")).replacementForString(u"a"), QString());
    EXPECT_EQ(replacedAll(expression(QStringLiteral("a")), QStringLiteral("bab")), QStringLiteral("bb"));
}

TEST(MVSearchReplace, ReplaceAllExpandsFromEachOriginalMatch)
{
    int count = 0;
    EXPECT_EQ(replacedAll(expression(QStringLiteral("(\\d+)px"), QStringLiteral("$1em")),
                          QStringLiteral("a: 10px; b: 2px; c: auto"), &count),
              QStringLiteral("a: 10em; b: 2em; c: auto"));
    EXPECT_EQ(count, 2);

    // A pattern that needs its context: look-ahead past the match and ^.
    // Expanding from the matched text alone would fail; the original
    // match's groups are used instead.
    EXPECT_EQ(replacedAll(expression(QStringLiteral("(\\d+)(?=px)"), QStringLiteral("<$1>")),
                          QStringLiteral("10px 20em 30px")),
              QStringLiteral("<10>px 20em <30>px"));
    // With the default options ^ is a line start after a break only.
    MVSearch lineStarts = expression(QStringLiteral("^(\\w)"), QStringLiteral("-$1"));
    EXPECT_EQ(replacedAll(lineStarts, QStringLiteral("ab\ncd\r\nef")), QStringLiteral("ab\n-cd\r\n-ef"));

    // Replacements longer and shorter than their matches.
    EXPECT_EQ(replacedAll(plain(QStringLiteral("ab"), QStringLiteral("XYZW")), QStringLiteral("abcabab")),
              QStringLiteral("XYZWcXYZWXYZW"));
    EXPECT_EQ(replacedAll(plain(QStringLiteral("abc"), QStringLiteral("-")), QStringLiteral("abcXabcabc")),
              QStringLiteral("-X--"));
    // No match leaves the string alone.
    QString unchanged = QStringLiteral("nothing");
    EXPECT_EQ(plain(QStringLiteral("z")).replaceAllInString(unchanged), 0);
    EXPECT_EQ(unchanged, QStringLiteral("nothing"));
}

TEST(MVSearchReplace, ReplaceRangesKeepsOffsetsAndGuardsStaleRanges)
{
    MVSearch search = expression(QStringLiteral("(\\w+)@(\\w+)"), QStringLiteral("$2 at $1"));
    QString text = QStringLiteral("mail a@b, then cc@dd and x@yy.");
    const std::vector<MVRange> ranges = search.findAllForString(text);
    ASSERT_EQ(ranges.size(), 3u);
    EXPECT_EQ(search.replaceRanges(ranges, text), 3);
    EXPECT_EQ(text, QStringLiteral("mail b at a, then dd at cc and yy at x."));

    // The text changed since the search: doubleCheck leaves ranges whose text
    // no longer matches, and a range beyond the text ends the work.
    QString changed = QStringLiteral("mail a@b, then cc-dd and x@y");
    EXPECT_EQ(search.replaceRanges(ranges, changed, true), 1);
    EXPECT_EQ(changed, QStringLiteral("mail b at a, then cc-dd and x@y"));

    // Without doubleCheck a range that the pattern no longer matches exactly
    // is still never filled with the raw template.
    QString shifted = QStringLiteral("mail a@b, th@n cc@dd and x@yy.");
    std::vector<MVRange> stale = {{4, 4}, {15, 5}};
    EXPECT_EQ(search.replaceRanges(stale, shifted), 1);
    EXPECT_EQ(shifted, QStringLiteral("mail a@b, th@n dd at cc and x@yy."));
    EXPECT_FALSE(shifted.contains(QStringLiteral("$2")));

    // A plain search replaces ranges without looking, unless asked to.
    QString plainText = QStringLiteral("one two three");
    MVSearch word = plain(QStringLiteral("two"), QStringLiteral("2"));
    EXPECT_EQ(word.replaceRanges({{0, 3}, {4, 3}}, plainText, true), 1);
    EXPECT_EQ(plainText, QStringLiteral("one 2 three"));
    EXPECT_EQ(word.replaceRanges({{0, 3}}, plainText), 1);
    EXPECT_EQ(plainText, QStringLiteral("2 2 three"));
    EXPECT_EQ(word.replaceRanges({}, plainText), 0);
}

TEST(MVSearchReplace, ByteSubjects)
{
    MVSearch search = expression(QStringLiteral("é(\\w)"), QStringLiteral("<$1>"));
    const QByteArray data = QStringLiteral("café bébé").toUtf8();
    EXPECT_EQ(search.firstMatchInUTF8Data(data, {0, data.size()}), MVMakeRange(7, 3));
    // The enumeration over bytes yields nothing, so "all" changes nothing.
    EXPECT_TRUE(search.findAllForUTF8Data(data).empty());
    QByteArray copy = data;
    EXPECT_EQ(search.replaceAllInUTF8Data(copy), 0);
    EXPECT_EQ(copy, data);
    EXPECT_TRUE(plain(QStringLiteral("a")).firstMatchInUTF8Data(data, {0, data.size()}).isNotFound());

    // The byte template is written in the bytes themselves: "$1" followed
    // by a non-digit closes the reference.
    MVSearch dollar = expression(QStringLiteral("\\$(\\d)(\\w)"), QStringLiteral("unused"));
    EXPECT_EQ(dollar.replacementForUTF8Bytes("$1x", 3), QByteArray("$11"));
    EXPECT_EQ(dollar.replacementForUTF8Bytes("$2y", 3), QByteArray("$2y"));
    MVSearch paren = expression(QStringLiteral("\\((\\d)\\)(\\w*)"), QStringLiteral("unused"));
    EXPECT_EQ(paren.replacementForUTF8Bytes("(2)ab", 5), QByteArray("2abab"));
    // No match: the template as UTF-8, or nothing without one.
    EXPECT_EQ(dollar.replacementForUTF8Bytes("zz", 2), QByteArray("unused"));
    EXPECT_TRUE(expression(QStringLiteral("q")).replacementForUTF8Bytes("zz", 2).isNull());
    // A reference to a group that took no part reads nothing.
    MVSearch optional = expression(QStringLiteral("\\((\\d)\\)(x)?"));
    EXPECT_EQ(optional.replacementForUTF8Bytes("(2)", 3), QByteArray("2"));

    QByteArray text("(1)a (2)b");
    EXPECT_EQ(paren.replaceRangesInUTF8Data({{0, 3}, {5, 3}}, text), 2);
    EXPECT_EQ(text, QByteArray("11a 2b"));
}
