#include "search/MVRegex.h"

#include <gtest/gtest.h>

#include <QStringList>

#include <atomic>
#include <thread>
#include <vector>

namespace {

// The text a match covers, or a marker when there is none.
QString matched(const QString &subject, const std::optional<MVRegexMatch> &match, quint32 group = 0)
{
    if (!match)
        return QStringLiteral("<none>");
    const MVRange range = match->rangeForCapture(group);
    if (range.location >= subject.size())
        return QStringLiteral("<unset>");
    return subject.mid(range.location, range.length);
}

std::shared_ptr<MVRegex> compiled(const QString &pattern, quint32 options = MVRegex::DefaultOptions)
{
    auto regex = MVRegex::initWithPattern(pattern, options);
    EXPECT_TRUE(regex) << pattern.toStdString();
    return regex;
}

} // namespace

TEST(MVRegex, DefaultOptionsAreMultiLineAndExplicitOptionsAreNot)
{
    const QString text = QStringLiteral("#!first\n#@second\r\n#%third\rlast");
    auto byDefault = MVRegex::initWithPattern(QStringLiteral("^#@(\\w+)$"));
    ASSERT_TRUE(byDefault);
    EXPECT_EQ(matched(text, byDefault->copyMatchForString(text), 1), "second");
    // CR alone is a line break too, as in texts with Mac line breaks.
    EXPECT_EQ(matched(text, compiled(QStringLiteral("^#%(\\w+)$"))->copyMatchForString(text), 1), "third");
    EXPECT_EQ(matched(text, compiled(QStringLiteral("^last$"))->copyMatchForString(text)), "last");

    auto singleLine = compiled(QStringLiteral("^#@"), 0);
    EXPECT_FALSE(singleLine->copyMatchForString(text));
    EXPECT_TRUE(compiled(QStringLiteral("^#!"), 0)->copyMatchForString(text));
}

TEST(MVRegex, CaselessAndUTF8Bits)
{
    const QString text = QStringLiteral("<META http-equiv=x charset=ISO-8859-1\">");
    auto sensitive = compiled(QStringLiteral("<meta[^>]+charset=([^\"]*)\""), 0x800);
    EXPECT_FALSE(sensitive->copyMatchForString(text));
    auto caseless = compiled(QStringLiteral("<meta[^>]+charset=([^\"]*)\""), 0x801);
    EXPECT_EQ(matched(text, caseless->copyMatchForString(text), 1), "ISO-8859-1");
    // Case folding reaches beyond ASCII.
    const QString accented = QStringLiteral("CAFÉ ÉTÉ");
    EXPECT_EQ(matched(accented, compiled(QStringLiteral("café"), 0x3)->copyMatchForString(accented)), "CAFÉ");
    EXPECT_EQ(matched(accented, compiled(QStringLiteral("été"), 0x1)->copyMatchForString(accented)), "ÉTÉ");
}

TEST(MVRegex, NotBeginningOfLineAppliesToTheStartOfTheRangeOnly)
{
    const QString text = QStringLiteral("abc\nabc\nabc");
    auto regex = compiled(QStringLiteral("^abc"));
    // Without match-time bits ^ matches at the start of the subject and of a range.
    auto plain = regex->copyMatchForString(text);
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain->rangeForCapture(0), MVMakeRange(0, 3));
    auto midLine = compiled(QStringLiteral("^bc"))->copyMatchForString(text, MVMakeRange(1, 6));
    ASSERT_TRUE(midLine);
    EXPECT_EQ(midLine->rangeForCapture(0), MVMakeRange(1, 2));

    // With 0x80, not at the start of the range, even at offset 0 ...
    auto fromZero = regex->copyMatchForString(text, MVMakeRange(0, text.size()), MVRegex::NotBeginningOfLineOption);
    ASSERT_TRUE(fromZero);
    EXPECT_EQ(fromZero->rangeForCapture(0), MVMakeRange(4, 3));
    // ... nor right after a line break that lies before the range ...
    auto afterBreak = regex->copyMatchForString(text, MVMakeRange(4, 7), 0x80);
    ASSERT_TRUE(afterBreak);
    EXPECT_EQ(afterBreak->rangeForCapture(0), MVMakeRange(8, 3));
    // ... but after a line break inside the range; and 0 clears it again.
    EXPECT_FALSE(regex->copyMatchForString(text, MVMakeRange(4, 3), 0x80));
    auto cleared = regex->copyMatchForString(text, MVMakeRange(4, 3), 0);
    ASSERT_TRUE(cleared);
    EXPECT_EQ(cleared->rangeForCapture(0), MVMakeRange(4, 3));
}

TEST(MVRegex, RangesAreAbsoluteAndLimitTheSearch)
{
    const QString text = QStringLiteral("one=1; two=2; three=3");
    auto regex = compiled(QStringLiteral("(\\w+)=(\\d)"));
    auto second = regex->copyMatchForString(text, MVMakeRange(5, 10));
    ASSERT_TRUE(second);
    EXPECT_EQ(second->rangeForCapture(0), MVMakeRange(7, 5));
    EXPECT_EQ(second->rangeForCapture(1), MVMakeRange(7, 3));
    EXPECT_EQ(second->rangeForCapture(2), MVMakeRange(11, 1));
    // A match may not run past the end of the range.
    EXPECT_FALSE(regex->copyMatchForString(text, MVMakeRange(14, 6)));
    // $ matches at the end of the range.
    auto last = compiled(QStringLiteral("\\w+$"))->copyMatchForString(text, MVMakeRange(0, 9));
    ASSERT_TRUE(last);
    EXPECT_EQ(last->rangeForCapture(0), MVMakeRange(7, 2));

    // The callers' loop: each search starts at the end of the last match.
    QStringList names;
    MVRange range{0, text.size()};
    while (auto match = regex->copyMatchForString(text, range)) {
        names << matched(text, match, 1);
        const qsizetype end = match->rangeForCapture(0).end();
        range = MVMakeRange(end, text.size() - end);
    }
    EXPECT_EQ(names, QStringList({"one", "two", "three"}));
}

TEST(MVRegex, GroupsCountAndMissingGroups)
{
    // Tag context style: the optional last group decides count.
    auto tag = compiled(QStringLiteral("<(\\w+)( +(\\w+))?( *= *(\"([^\"]*)\"?)?)?$"));
    const QString bare = QStringLiteral("<img");
    auto short_ = tag->copyMatchForString(bare);
    ASSERT_TRUE(short_);
    EXPECT_EQ(short_->count(), 2u);
    const QString full = QStringLiteral("<img src=\"a.png\"");
    auto long_ = tag->copyMatchForString(full);
    ASSERT_TRUE(long_);
    EXPECT_EQ(long_->count(), 7u);
    EXPECT_EQ(matched(full, long_, 3), "src");
    EXPECT_EQ(matched(full, long_, 6), "a.png");

    // A group below count that took no part: not found, length 0.
    auto alternatives = compiled(QStringLiteral("(a)|(b)(c)"));
    const QString subject = QStringLiteral("xbc");
    auto bc = alternatives->copyMatchForString(subject);
    ASSERT_TRUE(bc);
    EXPECT_EQ(bc->count(), 4u);
    const MVRange missing = bc->rangeForCapture(1);
    EXPECT_EQ(missing.length, 0);
    EXPECT_GE(missing.location, subject.size());
    EXPECT_GE(missing.end(), subject.size()); // the tag code's test
    EXPECT_EQ(matched(subject, bc, 3), "c");
    EXPECT_EQ(bc->rangeForCapture(40), MVRange::notFound());

    // Groups are numbered by their opening parenthesis, nesting included,
    // and non-capturing groups do not count.
    const QString header = QStringLiteral("%%%{MVKey=some value}%%%");
    auto numbered = compiled(QStringLiteral(
        "%%%\\{((M)(V)((K)(e)(y)))(?:=)((?:[a-z]+ )?(\\w+))\\}%%%"));
    auto parts = numbered->copyMatchForString(header);
    ASSERT_TRUE(parts);
    EXPECT_EQ(matched(header, parts, 1), "MVKey");
    EXPECT_EQ(matched(header, parts, 4), "Key");
    EXPECT_EQ(matched(header, parts, 8), "some value");
    EXPECT_EQ(matched(header, parts, 9), "value");
}

TEST(MVRegex, TheDialect)
{
    struct Case
    {
        const char *pattern;
        const char *subject;
        const char *expected; // group 0, or group 1 when the pattern has groups
    };
    const Case cases[] = {
        {R"x(%%%\{MVTidyName=([^\}]+)\}%%%)x", "x %%%{MVTidyName=Clean up}%%% y", "Clean up"},
        {R"x([a-zA-Z0-9@\.\?_\(\)-]+)x", "  user@host.example(1)-x  ", "user@host.example(1)-x"},
        {R"x(([^\r\n;\}]+))x", "color: red; x", "color: red"},
        {R"x([-bcdlpsw?]([rwx-]{9}))x", "drwxr-xr-x 2 a b", "rwxr-xr-x"},
        {R"x([\w\d\-_>]+)x", "  a->b_c-1 ", "a->b_c-1"},
        {R"x(( *= *("([^"]*)"?)?)?$)x", "href = \"x", " = \"x"},
        {R"x([A-Z][a-z]{2} {1,2}[0-9]{1,2} {1,2}[0-9:]{4,6})x", "-rw 1 Jan  5 12:30 f", "Jan  5 12:30"},
        {R"x([0-9]{2}-[0-9]{2}-[0-9]{2} {2,})x", "10-03-24  08:00PM", "10-03-24  "},
        {R"x(^(([1-5][0-5][0-9][^0-9])|(ls)|(total)|(Listing)))x", "junk\ntotal 12", "total"},
        {R"x((?:[a-zA-Z]+ )?(\w+))x", "static int", "int"},
        {R"x(^\w+://)x", "http://host/", "http://"},
        {R"x( (.*)$)x", "250 OK done", "OK done"},
        // Beyond the program's own literals: what bundles and users may write.
        {R"x((?<!\\)"(.*?)")x", R"x(\"no\" "yes" "more")x", "yes"},
        {R"x(<(\w+)>.*?</\1>)x", "<b>x</i></b></b>", "b"},
        {R"x((?i)select\s+\*)x", "SeLeCt   * from", "SeLeCt   *"},
        {R"x(\p{Lu}\p{Ll}+)x", "hello Émile", "Émile"},
    };
    for (const Case &c : cases) {
        const QString pattern = QString::fromUtf8(c.pattern);
        const QString subject = QString::fromUtf8(c.subject);
        auto regex = MVRegex::initWithPattern(pattern);
        ASSERT_TRUE(regex) << c.pattern;
        auto match = regex->copyMatchForString(subject);
        EXPECT_EQ(matched(subject, match, match && match->count() > 1 ? 1 : 0), QString::fromUtf8(c.expected))
            << c.pattern;
    }
}

TEST(MVRegex, InvalidPatternsGiveNullAndNeverAbort)
{
    const QStringList invalid = {
        "(", "a)", "[a-", "a{2,1}", "\\", "(?<name", "*a", "a**", "(?<=a+)b", "\\k<none>", "[z-a]", "(?P<1>x)",
        QString(QChar(0xD800)) + "x",
    };
    for (const QString &pattern : invalid) {
        EXPECT_FALSE(MVRegex::validPattern(pattern)) << pattern.toStdString();
        EXPECT_FALSE(MVRegex::initWithPattern(pattern)) << pattern.toStdString();
        EXPECT_FALSE(MVRegex::initWithPattern(pattern, 0x803)) << pattern.toStdString();
    }
    EXPECT_TRUE(MVRegex::validPattern(QString()));
    EXPECT_TRUE(MVRegex::validPattern(QStringLiteral("^(\\w+)\\s*=\\s*(.*?)$")));
}

TEST(MVRegex, UnitsOfStringsAndOfUTF8Data)
{
    // U+1F600 takes two 16-bit units and four bytes; é takes one unit and two bytes.
    const QString text = QStringLiteral("é😀 <title>Café 😀</title>");
    auto regex = compiled(QStringLiteral("<title>(.*?)</title>"));
    auto inString = regex->copyMatchForString(text);
    ASSERT_TRUE(inString);
    EXPECT_EQ(inString->rangeForCapture(0).location, 4);
    EXPECT_EQ(matched(text, inString, 1), QStringLiteral("Café 😀"));
    EXPECT_EQ(inString->rangeForCapture(1).length, 7);

    const QByteArray bytes = text.toUtf8();
    auto inData = regex->copyMatchForUTF8Data(bytes, MVMakeRange(0, bytes.size()));
    ASSERT_TRUE(inData);
    EXPECT_EQ(inData->rangeForCapture(0).location, 7);
    const MVRange value = inData->rangeForCapture(1);
    EXPECT_EQ(bytes.mid(value.location, value.length), QStringLiteral("Café 😀").toUtf8());

    // One character is one code point, whether it takes one unit or two.
    auto single = compiled(QStringLiteral("^(.)(.)"))->copyMatchForString(text);
    ASSERT_TRUE(single);
    EXPECT_EQ(single->rangeForCapture(2), MVMakeRange(1, 2));

    // A byte range in the middle of the data gives absolute offsets.
    auto words = compiled(QStringLiteral("\\w+"));
    auto later = words->copyMatchForUTF8Data(bytes, MVMakeRange(8, bytes.size() - 8));
    ASSERT_TRUE(later);
    EXPECT_EQ(later->rangeForCapture(0), MVMakeRange(8, 5));
}

TEST(MVRegex, BrokenTextNeitherCrashesNorStopsTheSearch)
{
    // Lone surrogates in a string: the rest of the text still matches, and
    // the broken unit itself is never part of a match.
    QString text = QStringLiteral("ab") + QChar(0xD800) + QStringLiteral("cd") + QChar(0xDC00) + QStringLiteral("ef");
    auto letters = compiled(QStringLiteral("[a-z]+"));
    auto second = letters->copyMatchForString(text, MVMakeRange(2, text.size() - 2));
    ASSERT_TRUE(second);
    EXPECT_EQ(second->rangeForCapture(0), MVMakeRange(3, 2));
    auto anything = compiled(QStringLiteral("d.e"));
    EXPECT_FALSE(anything->copyMatchForString(text));
    EXPECT_TRUE(compiled(QStringLiteral("ef$"))->copyMatchForString(text));

    // Invalid UTF-8: stray continuation bytes, a truncated sequence, an
    // overlong form, a byte range that cuts a character in two.
    const QByteArray bytes = QByteArray("x\x80\xBFword\xC3") + QByteArray("\xC0\xAF=", 3) + QByteArray("é ok");
    auto inData = letters->copyMatchForUTF8Data(bytes, MVMakeRange(0, bytes.size()));
    ASSERT_TRUE(inData);
    EXPECT_EQ(inData->rangeForCapture(0), MVMakeRange(0, 1));
    auto word = compiled(QStringLiteral("w\\w+"))->copyMatchForUTF8Data(bytes, MVMakeRange(1, bytes.size() - 1));
    ASSERT_TRUE(word);
    EXPECT_EQ(word->rangeForCapture(0), MVMakeRange(3, 4));
    const qsizetype eAcute = bytes.indexOf("é");
    auto ok = letters->copyMatchForUTF8Data(bytes, MVMakeRange(eAcute + 1, bytes.size() - eAcute - 1));
    ASSERT_TRUE(ok);
    EXPECT_EQ(ok->rangeForCapture(0), MVMakeRange(bytes.size() - 2, 2));
}

TEST(MVRegex, EdgesOfSubjectsAndRanges)
{
    auto anything = compiled(QStringLiteral("x*"));
    auto empty = anything->copyMatchForString(QString());
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->rangeForCapture(0), MVMakeRange(0, 0));
    EXPECT_TRUE(anything->copyMatchForUTF8Data(QByteArrayView(), MVMakeRange(0, 0)));
    EXPECT_FALSE(compiled(QStringLiteral("x"))->copyMatchForString(QString()));

    // Ranges beyond the subject are clamped rather than read past its end.
    const QString text = QStringLiteral("abcx");
    auto x = compiled(QStringLiteral("x"));
    auto clamped = x->copyMatchForString(text, MVMakeRange(2, 1000));
    ASSERT_TRUE(clamped);
    EXPECT_EQ(clamped->rangeForCapture(0), MVMakeRange(3, 1));
    EXPECT_FALSE(x->copyMatchForString(text, MVMakeRange(100, 5)));
    EXPECT_FALSE(x->copyMatchForString(text, MVMakeRange(-3, 2)));
    EXPECT_FALSE(x->copyMatchForUTF8Data(QByteArray("abcx"), MVMakeRange(5, 1)));

    // A match outlives its pattern and its subject.
    std::optional<MVRegexMatch> kept;
    {
        auto temporary = compiled(QStringLiteral("c(x)"));
        kept = temporary->copyMatchForString(QStringLiteral("abcx"));
    }
    ASSERT_TRUE(kept);
    EXPECT_EQ(kept->rangeForCapture(1), MVMakeRange(3, 1));
}

TEST(MVRegex, RunawayAndDeepPatternsEndWithAnAnswer)
{
    // Catastrophic backtracking stops at the match limit and counts as no
    // match; the thread's matcher stays usable.
    const QString text = QString(40, QLatin1Char('a')) + QLatin1Char('!');
    auto runaway = compiled(QStringLiteral("^(a+)+$"));
    EXPECT_FALSE(runaway->copyMatchForString(text));
    EXPECT_FALSE(runaway->copyMatchForUTF8Data(text.toUtf8(), MVMakeRange(0, text.size())));
    EXPECT_TRUE(compiled(QStringLiteral("a!"))->copyMatchForString(text));

    // A capturing repetition over a long subject needs much stack; it must
    // still be found, by the JIT or by the interpreter.
    QString longText;
    for (int i = 0; i < 200'000; ++i)
        longText += QStringLiteral("ab");
    longText += QLatin1Char('c');
    auto deep = compiled(QStringLiteral("(a|b)*c"));
    auto found = deep->copyMatchForString(longText);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->rangeForCapture(0), MVMakeRange(0, longText.size()));

    // Scanning a long text with no match is not a runaway pattern.
    QString big;
    const QString line = QStringLiteral("<?php echo $value; // a line of an ordinary page ?>\n");
    while (big.size() < 8'000'000)
        big += line;
    auto absent = compiled(QStringLiteral("\\bfunction\\s+(\\w+)\\s*\\("));
    EXPECT_FALSE(absent->copyMatchForString(big));
    big += QStringLiteral("function last() {}");
    auto last = absent->copyMatchForString(big);
    ASSERT_TRUE(last);
    EXPECT_EQ(matched(big, last, 1), "last");
    auto lineStart = compiled(QStringLiteral("^\\s*function"));
    EXPECT_TRUE(lineStart->copyMatchForString(big));
    EXPECT_TRUE(lineStart->copyMatchForUTF8Data(big.toUtf8(), MVMakeRange(0, big.size())));
}

TEST(MVRegex, OnePatternMatchedFromManyThreads)
{
    // Patterns shared by every thread, as process-wide patterns are; the
    // byte form is compiled on first use by whichever thread comes first.
    const auto listing = compiled(QStringLiteral(
        "^([-bcdlpsw?])([rwx-]{9})\\s+(\\d+|\\?)\\s+(\\S+)\\s+(\\S+)\\s+(\\d+)\\s+([A-Z][a-z]{2} {1,2}[0-9]{1,2} {1,2}[0-9:]{4,6}) (.*)$"));
    const auto status = compiled(QStringLiteral("^([1-5][0-5][0-9])[ -]"));
    const auto groups = [](const std::optional<MVRegexMatch> &match) {
        std::vector<MVRange> ranges;
        for (quint32 group = 0; match && group < match->count(); ++group)
            ranges.push_back(match->rangeForCapture(group));
        return ranges;
    };

    std::vector<QString> lines;
    std::vector<std::vector<MVRange>> listed, statuses;
    for (int i = 0; i < 64; ++i) {
        lines.push_back(i % 3 == 0 ? QStringLiteral("%1 Reply number %2").arg(200 + i % 56).arg(i)
                                   : QStringLiteral("-rw-r--r--    1 user     group  %1 Jan  5 12:30 file%2 é😀.html")
                                         .arg(i * 1000)
                                         .arg(i));
        listed.push_back(groups(listing->copyMatchForString(lines.back())));
        statuses.push_back(groups(status->copyMatchForString(lines.back())));
    }

    std::atomic<int> mismatches{0};
    std::atomic<int> byteMatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&, t] {
            for (int round = 0; round < 300; ++round) {
                const size_t i = size_t(round * 7 + t) % lines.size();
                if (groups(listing->copyMatchForString(lines[i])) != listed[i]
                    || groups(status->copyMatchForString(lines[i])) != statuses[i])
                    ++mismatches;
                // In bytes the file name is the same text at other offsets.
                const QByteArray bytes = lines[i].toUtf8();
                const auto inBytes = listing->copyMatchForUTF8Data(bytes, MVMakeRange(0, bytes.size()));
                if (bool(inBytes) != !listed[i].empty())
                    ++mismatches;
                else if (inBytes) {
                    const MVRange name = inBytes->rangeForCapture(8);
                    if (QString::fromUtf8(bytes.mid(name.location, name.length))
                        != lines[i].mid(listed[i][8].location, listed[i][8].length))
                        ++mismatches;
                    ++byteMatches;
                }
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(mismatches.load(), 0);
    EXPECT_GT(byteMatches.load(), 0);
}
