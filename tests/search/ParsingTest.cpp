#include "search/Parsing.h"

#include "support/TestEnvironment.h"

#include <gtest/gtest.h>

using namespace Parsing;

TEST(Parsing, CharacterIsEscapedCountsTheEscapesDirectlyBefore)
{
    const QString text = QStringLiteral(R"(a"b\"c\\"d\\\"e)");
    EXPECT_FALSE(characterIsEscapedAtIndex(text, 1, u'\\')); // a"
    EXPECT_TRUE(characterIsEscapedAtIndex(text, 4, u'\\'));  // \"
    EXPECT_FALSE(characterIsEscapedAtIndex(text, 8, u'\\')); // \\"
    EXPECT_TRUE(characterIsEscapedAtIndex(text, 13, u'\\')); // \\\"
    EXPECT_FALSE(characterIsEscapedAtIndex(text, 0, u'\\'));
    EXPECT_FALSE(characterIsEscapedAtIndex(QStringLiteral("\\"), 0, u'\\'));
    // Another escape character, and an index at the end.
    EXPECT_TRUE(characterIsEscapedAtIndex(QStringLiteral("a%"), 2, u'%'));
    EXPECT_FALSE(characterIsEscapedAtIndex(QString(), 5, u'\\'));
}

TEST(Parsing, CountOfInstancesSkipsEscapedOccurrences)
{
    const QString text = QStringLiteral(R"("a" "b\"c" d)");
    const MVRange all{0, text.size()};
    EXPECT_EQ(countOfInstancesOf(text, u"\"", all, u'\\', false), 4);
    EXPECT_EQ(countOfInstancesOf(text, u"\"", {2, 6}, u'\\', false), 2); // quotes at 2 and 4; 7 is escaped
    EXPECT_EQ(countOfInstancesOf(text, u"\"", {0, 0}, u'\\', false), 0);
    EXPECT_EQ(countOfInstancesOf(text, u"", all, u'\\', false), 0);
    EXPECT_EQ(countOfInstancesOf(QString(), u"\"", all, u'\\', false), 0);
    // Escaped escapes do not escape.
    EXPECT_EQ(countOfInstancesOf(QStringLiteral(R"(\\"x\\\")"), u"\"", {0, 8}, u'\\', false), 1);
    // Longer needles, also escaped ones.
    const QString words = QStringLiteral(R"(ab\ab ab)");
    EXPECT_EQ(countOfInstancesOf(words, u"ab", {0, words.size()}, u'\\', false), 2);
    EXPECT_EQ(countOfInstancesOf(QStringLiteral("*/ */*/"), u"*/", {0, 7}, u'\\', false), 3);
    // A range past the end is clamped.
    EXPECT_EQ(countOfInstancesOf(text, u"\"", {9, 100}, u'\\', false), 1);
}

TEST(Parsing, AnchoredCountsOnlyTheOccurrencesThatEndTheRange)
{
    EXPECT_EQ(countOfInstancesOf(QStringLiteral(R"(abc"")"), u"\"", {0, 5}, u'\\', true), 2);
    EXPECT_EQ(countOfInstancesOf(QStringLiteral(R"(a"b")"), u"\"", {0, 4}, u'\\', true), 1);
    EXPECT_EQ(countOfInstancesOf(QStringLiteral(R"(a"b)"), u"\"", {0, 3}, u'\\', true), 0);
    // An escaped occurrence does not count, and the walk goes on below its
    // escape character.
    EXPECT_EQ(countOfInstancesOf(QStringLiteral(R"(""\")"), u"\"", {0, 4}, u'\\', true), 2);
    EXPECT_EQ(countOfInstancesOf(QStringLiteral("x-->-->"), u"-->", {0, 7}, u'\\', true), 2);
    EXPECT_EQ(countOfInstancesOf(QStringLiteral("x-->-->y"), u"-->", {0, 8}, u'\\', true), 0);
}

TEST(Parsing, LocationInQuotes)
{
    const QString text = QStringLiteral(R"(x = "a \" b" + 'c d' + "it's")");
    const qsizetype inDouble = text.indexOf(u'b');
    const qsizetype afterDouble = text.indexOf(u'+');
    const qsizetype inSingle = text.indexOf(u'c');
    const qsizetype inApostrophe = text.lastIndexOf(u's');
    EXPECT_TRUE(locationInQuotes(text, inDouble));
    EXPECT_FALSE(locationInQuotes(text, afterDouble));
    EXPECT_FALSE(locationInQuotes(text, inSingle));
    EXPECT_TRUE(locationInQuotes(text, inSingle, true));
    EXPECT_FALSE(locationInQuotes(text, afterDouble, true));
    // Inside double quotes the single quotes are not consulted.
    EXPECT_TRUE(locationInQuotes(text, inApostrophe, true));
    // Counted from a later start, the quote before it does not count.
    EXPECT_FALSE(locationInQuotes(text, inDouble, inDouble - 1, false));
    EXPECT_TRUE(locationInQuotes(text, afterDouble, inDouble, false));
    EXPECT_FALSE(locationInQuotes(text, 0));
    EXPECT_FALSE(locationInQuotes(text, 3, 10, true));
}

TEST(Parsing, StripImproperFormatting)
{
    EXPECT_EQ(stripImproperFormatting(u"<a href = \"x = y\" title  =\"a \\\" =b\">"),
              QStringLiteral("<a href=\"x = y\" title=\"a \\\" =b\">"));
    EXPECT_EQ(stripImproperFormatting(u"a b"), QStringLiteral("a b"));
    EXPECT_EQ(stripImproperFormatting(u"  "), QStringLiteral("  "));
    EXPECT_EQ(stripImproperFormatting(u""), QString());
}
