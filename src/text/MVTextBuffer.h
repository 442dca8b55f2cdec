#pragma once

#include "platform/MVRange.h"
#include "text/MVFenwickTree.h"

#include <QString>
#include <QStringView>

#include <vector>

// The characters of one text, as UTF-16 code units kept exactly as given:
// CR, LF, CR LF, U+2028, U+2029, U+FFFC and every other unit are ordinary
// characters; nothing is converted on the way in or out.
//
// The text is held in blocks of a few thousand units. Each block knows where
// lines start inside it, and two prefix-sum trees over the blocks (units and
// line starts) find the block of a position or of a line in O(log n). An edit
// touches only the blocks it covers, so typing into a 100 MB text moves a few
// kilobytes. A CR LF pair is never split between two blocks, so each block's
// line starts depend on its own characters only.
//
// Lines end after LF, CR, CR LF, U+2028 and U+2029. A text of n terminators
// has n + 1 lines; a text that ends with a terminator ends with an empty line.
class MVTextBuffer
{
public:
    MVTextBuffer();
    explicit MVTextBuffer(QStringView text);

    qsizetype length() const { return _length; }
    bool isEmpty() const { return _length == 0; }

    // The unit at index; a null character outside the text.
    QChar characterAt(qsizetype index) const;
    QString substring(MVRange range) const;
    // The whole text as one string (a copy: prefer substring on large texts).
    QString string() const;
    // The characters of range (clipped to the text) as one view: straight
    // into the buffer when they lie in one block, else copied into scratch,
    // whose memory is reused. Valid until the buffer or scratch changes.
    QStringView view(MVRange range, QString &scratch) const;

    // Calls fn(QStringView) for the consecutive pieces that make up the range,
    // in order, without copying. Stops early if fn returns false.
    template <typename Fn>
    void forEachPiece(MVRange range, Fn fn) const
    {
        if (range.length <= 0)
            return;
        qsizetype start = 0;
        qsizetype block = _blockAt(range.location, &start);
        qsizetype position = range.location;
        const qsizetype end = range.end();
        while (position < end && block < qsizetype(_blocks.size())) {
            const QString &text = _blocks[block].text;
            const qsizetype from = position - start;
            const qsizetype to = qMin<qsizetype>(text.size(), end - start);
            if (to > from) {
                if (!fn(QStringView(text).mid(from, to - from)))
                    return;
            }
            position = start + to;
            start += text.size();
            ++block;
        }
    }

    void setText(QStringView text);
    // Appends at the end; the fast way to fill a buffer piece by piece while
    // decoding a file.
    void append(QStringView text);
    // Replaces the characters of range (clipped to the text) with text.
    void replace(MVRange range, QStringView text);

    // One replacement of many: range in the text as it is before any of them.
    struct Edit
    {
        MVRange range;
        QString text;
    };
    // Makes every edit at once, in one pass over the text that lays the
    // blocks out afresh: the cost is the length of the text plus the new
    // characters, whatever the number of edits. The edits are in ascending
    // order and do not overlap (an edit that starts before the end of the one
    // before it, or lies beyond the text, and every edit after it, is left
    // out). Each old block is let go as soon as it has been read, so the text
    // is never held twice. Returns the number of edits made.
    qsizetype replaceRanges(const std::vector<Edit> &edits);

    // Lines.
    qsizetype lineCount() const;
    // Start of a line; length() for a line past the end.
    qsizetype lineStart(qsizetype line) const;
    // The line that holds position (0-based); the last line for length().
    qsizetype lineForPosition(qsizetype position) const;
    // Start of the next line (or the text's end): the end with the terminator.
    qsizetype lineEnd(qsizetype line) const;
    // The end of a line's characters before its terminator.
    qsizetype lineContentsEnd(qsizetype line) const;
    // The whole lines that touch range, terminators included. A non-empty
    // range that ends at a line start does not take the line after it.
    MVRange lineRangeForRange(MVRange range) const;

    // Length of the longest line without its terminator, by one pass over
    // the text (for the width of a view after loading).
    qsizetype longestLineLength() const;

    static bool isLineTerminator(char16_t c)
    {
        return c == u'\n' || c == u'\r' || c == 0x2028 || c == 0x2029;
    }

    // Number of blocks (for tests and benchmarks).
    qsizetype blockCount() const { return qsizetype(_blocks.size()); }
    // Bytes held by the buffer, roughly (for benchmarks).
    qsizetype memoryUsage() const;

private:
    struct Block
    {
        QString text;
        // Offsets inside the block at which a line starts (1 ... size).
        std::vector<quint16> lineStarts;
    };

    static constexpr qsizetype TargetBlockSize = 8192;
    static constexpr qsizetype MaxBlockSize = 16384;
    static constexpr qsizetype MinBlockSize = 2048;

    static void _indexBlock(Block &block);
    qsizetype _blockAt(qsizetype position, qsizetype *blockStart) const;
    void _rebuildIndex() const;
    void _replaceBlocks(qsizetype first, qsizetype last, QString content);
    void _joinCrLfAt(qsizetype block);
    void _appendBlocks(QStringView text);
    class BlockWriter;

    std::vector<Block> _blocks;
    qsizetype _length = 0;
    qsizetype _lineStarts = 0;
    mutable MVFenwickTree _unitTree;
    mutable MVFenwickTree _lineTree;
    mutable bool _indexDirty = true;
};
