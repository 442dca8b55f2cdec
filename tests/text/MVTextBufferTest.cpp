#include "text/MVTextBuffer.h"

#include <gtest/gtest.h>

#include <QRandomGenerator>

namespace {

// The reference: a plain string with line starts found by a linear scan.
std::vector<qsizetype> referenceLineStarts(const QString &text)
{
    std::vector<qsizetype> starts{0};
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text.at(i).unicode();
        if (c == u'\n' || c == 0x2028 || c == 0x2029 || (c == u'\r' && (i + 1 == text.size() || text.at(i + 1) != u'\n')))
            starts.push_back(i + 1);
    }
    return starts;
}

void expectSameAsReference(const MVTextBuffer &buffer, const QString &reference)
{
    ASSERT_EQ(buffer.length(), reference.size());
    ASSERT_EQ(buffer.string(), reference);
    const std::vector<qsizetype> starts = referenceLineStarts(reference);
    ASSERT_EQ(buffer.lineCount(), qsizetype(starts.size()));
    qsizetype longest = 0;
    for (qsizetype line = 0; line < qsizetype(starts.size()); ++line) {
        ASSERT_EQ(buffer.lineStart(line), starts[line]) << "line " << line;
        // A line that is not the last ends with its terminator: CR LF or one unit.
        qsizetype contentsEnd = reference.size();
        if (line + 1 < qsizetype(starts.size())) {
            const qsizetype next = starts[line + 1];
            const bool crlf = next - 2 >= starts[line] && reference.at(next - 2) == u'\r' && reference.at(next - 1) == u'\n';
            contentsEnd = next - (crlf ? 2 : 1);
        }
        ASSERT_EQ(buffer.lineContentsEnd(line), contentsEnd) << "line " << line;
        longest = qMax(longest, contentsEnd - starts[line]);
    }
    ASSERT_EQ(buffer.longestLineLength(), longest);
    qsizetype line = 0;
    for (qsizetype position = 0; position <= reference.size(); ++position) {
        while (line + 1 < qsizetype(starts.size()) && starts[line + 1] <= position)
            ++line;
        ASSERT_EQ(buffer.lineForPosition(position), line) << "position " << position;
    }
}

// Texts made of few distinct units so that CR LF pairs and every kind of
// line end turn up often, also across block boundaries.
QString randomText(QRandomGenerator &random, qsizetype length)
{
    static const char16_t alphabet[] = {u'a', u'b', u'\r', u'\n', u'\r', u'\n', 0x2028, 0x2029, 0xFFFC, u' ', 0xD83D, 0xDE00};
    QString text(length, Qt::Uninitialized);
    for (qsizetype i = 0; i < length; ++i)
        text[i] = QChar(alphabet[random.bounded(int(std::size(alphabet)))]);
    return text;
}

} // namespace

TEST(MVTextBuffer, KeepsEveryLineBreakAsItsOwnCharacters)
{
    const QString text = QStringLiteral("a\r\nb\rc\nd") + QChar(0x2028) + u'e' + QChar(0x2029) + QChar(0xFDD0)
                         + QChar(0xFDD1) + QChar(0xFFFC) + QStringLiteral("\r");
    MVTextBuffer buffer(text);
    EXPECT_EQ(buffer.string(), text);
    // CR LF is one terminator but two units.
    EXPECT_EQ(buffer.lineCount(), 7);
    EXPECT_EQ(buffer.lineStart(1), 3);
    EXPECT_EQ(buffer.lineContentsEnd(0), 1);
    EXPECT_EQ(buffer.lineEnd(0), 3);
    EXPECT_EQ(buffer.lineStart(6), text.size());
    EXPECT_EQ(buffer.lineForPosition(text.size()), 6);
    EXPECT_EQ(buffer.lineForPosition(2), 0); // between CR and LF
}

TEST(MVTextBuffer, LineRangeForRangeTakesWholeLines)
{
    MVTextBuffer buffer(u"one\r\ntwo\nthree");
    EXPECT_EQ(buffer.lineRangeForRange({1, 0}), (MVRange{0, 5}));
    EXPECT_EQ(buffer.lineRangeForRange({5, 0}), (MVRange{5, 4}));
    // A range ending at a line start does not take that line.
    EXPECT_EQ(buffer.lineRangeForRange({1, 4}), (MVRange{0, 5}));
    EXPECT_EQ(buffer.lineRangeForRange({2, 5}), (MVRange{0, 9}));
    EXPECT_EQ(buffer.lineRangeForRange({14, 0}), (MVRange{9, 5}));
    EXPECT_EQ(MVTextBuffer().lineRangeForRange({0, 0}), (MVRange{0, 0}));
}

TEST(MVTextBuffer, AppendingInPiecesAcrossManyBlocks)
{
    QString text;
    for (int i = 0; i < 20000; ++i)
        text += QStringLiteral("line %1 with some text\r\n").arg(i);
    MVTextBuffer buffer;
    // Appending in odd pieces must give the same as one piece, also when a
    // piece ends between CR and LF.
    for (qsizetype position = 0; position < text.size(); position += 777)
        buffer.append(QStringView(text).mid(position, 777));
    EXPECT_GT(buffer.blockCount(), 10);
    expectSameAsReference(buffer, text);
}

TEST(MVTextBuffer, RandomEditsMatchAPlainString)
{
    QRandomGenerator random(20261122);
    for (int round = 0; round < 6; ++round) {
        QString reference = randomText(random, random.bounded(40000));
        MVTextBuffer buffer(reference);
        for (int step = 0; step < 1500; ++step) {
            const qsizetype location = random.bounded(int(reference.size() + 1));
            qsizetype length = 0;
            const int kind = random.bounded(10);
            if (kind < 3)
                length = random.bounded(int(qMin<qsizetype>(4, reference.size() - location) + 1));
            else if (kind < 4)
                length = random.bounded(int(reference.size() - location + 1));
            const qsizetype insertLength = kind < 8 ? random.bounded(4) : random.bounded(30000);
            const QString text = randomText(random, insertLength);
            buffer.replace({location, length}, text);
            reference.replace(location, length, text);
            ASSERT_EQ(buffer.length(), reference.size());
            if (step % 100 == 0) {
                expectSameAsReference(buffer, reference);
                // Spot checks of pieces and single units.
                if (!reference.isEmpty()) {
                    const qsizetype at = random.bounded(int(reference.size()));
                    ASSERT_EQ(buffer.characterAt(at), reference.at(at));
                    ASSERT_EQ(buffer.substring({at, 5000}), reference.mid(at, 5000));
                }
            }
        }
        expectSameAsReference(buffer, reference);
    }
}

TEST(MVTextBuffer, ReplacingManyRangesInOnePassMatchesAPlainString)
{
    QRandomGenerator random(20261125);
    for (int round = 0; round < 8; ++round) {
        const QString before = randomText(random, round == 0 ? 0 : random.bounded(60000));
        MVTextBuffer buffer(before);
        // Ascending edits of every kind: insertions (also at the very end),
        // deletions, replacements longer than a block, edits back to back.
        std::vector<MVTextBuffer::Edit> edits;
        for (qsizetype at = 0; at <= before.size();) {
            const qsizetype length = random.bounded(int(qMin<qsizetype>(round % 2 ? 3 : 300, before.size() - at) + 1));
            const int size = random.bounded(10) == 0 ? random.bounded(20000) : random.bounded(4);
            edits.push_back({MVRange{at, length}, randomText(random, size)});
            at += length + (random.bounded(3) == 0 ? 0 : random.bounded(5000)) + (length == 0 ? 1 : 0);
        }
        QString reference = before;
        for (auto it = edits.rbegin(); it != edits.rend(); ++it)
            reference.replace(it->range.location, it->range.length, it->text);
        ASSERT_EQ(buffer.replaceRanges(edits), qsizetype(edits.size()));
        expectSameAsReference(buffer, reference);
        // Edits go on working on the blocks laid out afresh.
        buffer.replace({reference.size() / 2, 3}, u"x\r");
        reference.replace(reference.size() / 2, 3, QStringLiteral("x\r"));
        expectSameAsReference(buffer, reference);
    }
    // An edit that overlaps the one before, and every edit after it, is left out.
    MVTextBuffer buffer(u"one two three");
    EXPECT_EQ(buffer.replaceRanges({{MVRange{0, 3}, QStringLiteral("1")}, {MVRange{2, 3}, QStringLiteral("2")}, {MVRange{8, 5}, QStringLiteral("3")}}), 1);
    EXPECT_EQ(buffer.string(), QStringLiteral("1 two three"));
}
