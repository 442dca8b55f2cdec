#include "text/MVTextBuffer.h"

#include <algorithm>

MVTextBuffer::MVTextBuffer()
{
    _blocks.emplace_back();
}

MVTextBuffer::MVTextBuffer(QStringView text)
    : MVTextBuffer()
{
    append(text);
}

void MVTextBuffer::_indexBlock(Block &block)
{
    block.lineStarts.clear();
    const char16_t *data = reinterpret_cast<const char16_t *>(block.text.constData());
    const qsizetype size = block.text.size();
    for (qsizetype i = 0; i < size; ++i) {
        const char16_t c = data[i];
        if (c > u'\r' && c != 0x2028 && c != 0x2029)
            continue;
        if (c == u'\n' || c == 0x2028 || c == 0x2029 || (c == u'\r' && (i + 1 == size || data[i + 1] != u'\n')))
            block.lineStarts.push_back(quint16(i + 1));
    }
}

void MVTextBuffer::_rebuildIndex() const
{
    _unitTree.rebuild(qsizetype(_blocks.size()), [this](qsizetype i) { return _blocks[i].text.size(); });
    _lineTree.rebuild(qsizetype(_blocks.size()), [this](qsizetype i) { return qsizetype(_blocks[i].lineStarts.size()); });
    _indexDirty = false;
}

qsizetype MVTextBuffer::_blockAt(qsizetype position, qsizetype *blockStart) const
{
    if (_indexDirty)
        _rebuildIndex();
    qint64 before = 0;
    qsizetype block = _unitTree.upperBound(position, &before);
    if (block >= qsizetype(_blocks.size())) {
        // At (or past) the end: the last block, at its end.
        block = qsizetype(_blocks.size()) - 1;
        before = _length - _blocks.back().text.size();
    }
    *blockStart = before;
    return block;
}

qsizetype MVTextBuffer::memoryUsage() const
{
    qsizetype bytes = qsizetype(sizeof(*this)) + qsizetype(_blocks.capacity() * sizeof(Block));
    for (const Block &block : _blocks)
        bytes += block.text.capacity() * 2 + qsizetype(block.lineStarts.capacity() * sizeof(quint16)) + 32;
    bytes += 2 * qsizetype(_blocks.size() + 1) * qsizetype(sizeof(qint64));
    return bytes;
}

QStringView MVTextBuffer::view(MVRange range, QString &scratch) const
{
    const qsizetype from = qBound<qsizetype>(0, range.location, _length);
    const qsizetype to = qBound<qsizetype>(from, range.location + range.length, _length);
    if (to == from)
        return QStringView();
    qsizetype start = 0;
    const qsizetype block = _blockAt(from, &start);
    const QString &text = _blocks[block].text;
    if (to - start <= text.size())
        return QStringView(text).mid(from - start, to - from);
    scratch.resize(to - from);
    char16_t *out = reinterpret_cast<char16_t *>(scratch.data());
    forEachPiece(MVRange{from, to - from}, [&out](QStringView piece) {
        std::copy(piece.utf16(), piece.utf16() + piece.size(), out);
        out += piece.size();
        return true;
    });
    return QStringView(scratch);
}

QChar MVTextBuffer::characterAt(qsizetype index) const
{
    if (index < 0 || index >= _length)
        return QChar();
    qsizetype start = 0;
    const qsizetype block = _blockAt(index, &start);
    return _blocks[block].text.at(index - start);
}

QString MVTextBuffer::substring(MVRange range) const
{
    const qsizetype from = qBound<qsizetype>(0, range.location, _length);
    const qsizetype to = qBound<qsizetype>(from, range.location + range.length, _length);
    QString result;
    result.reserve(to - from);
    forEachPiece(MVRange{from, to - from}, [&result](QStringView piece) {
        result.append(piece);
        return true;
    });
    return result;
}

QString MVTextBuffer::string() const
{
    return substring(MVRange{0, _length});
}

void MVTextBuffer::setText(QStringView text)
{
    _blocks.clear();
    _blocks.emplace_back();
    _length = 0;
    _lineStarts = 0;
    _indexDirty = true;
    append(text);
}

void MVTextBuffer::append(QStringView text)
{
    if (text.isEmpty())
        return;
    // Fill the last block up to the target size first, then add new blocks.
    Block &last = _blocks.back();
    if (last.text.size() < TargetBlockSize) {
        qsizetype take = qMin(text.size(), TargetBlockSize - last.text.size());
        if (take < text.size() && text.at(take - 1) == u'\r' && text.at(take) == u'\n')
            ++take;
        _lineStarts -= qsizetype(last.lineStarts.size());
        last.text.append(text.left(take));
        _indexBlock(last);
        _lineStarts += qsizetype(last.lineStarts.size());
        _length += take;
        text = text.mid(take);
    } else if (last.text.endsWith(u'\r') && text.front() == u'\n') {
        _lineStarts -= qsizetype(last.lineStarts.size());
        last.text.append(u'\n');
        _indexBlock(last);
        _lineStarts += qsizetype(last.lineStarts.size());
        _length += 1;
        text = text.mid(1);
    }
    _appendBlocks(text);
    _indexDirty = true;
}

void MVTextBuffer::_appendBlocks(QStringView text)
{
    while (!text.isEmpty()) {
        qsizetype take = qMin(text.size(), TargetBlockSize);
        if (take < text.size() && text.at(take - 1) == u'\r' && text.at(take) == u'\n')
            ++take;
        Block block;
        block.text = text.left(take).toString();
        _indexBlock(block);
        _lineStarts += qsizetype(block.lineStarts.size());
        _length += take;
        _blocks.push_back(std::move(block));
        text = text.mid(take);
    }
}

// Lays out a text written piece by piece into blocks of the target size,
// never cutting a CR LF pair.
class MVTextBuffer::BlockWriter
{
public:
    explicit BlockWriter(std::vector<Block> &blocks) : _blocks(blocks) { _pending.reserve(TargetBlockSize * 2); }

    void append(QStringView text)
    {
        while (!text.isEmpty()) {
            const qsizetype take = qMin(text.size(), TargetBlockSize * 2 - _pending.size());
            _pending.append(text.left(take));
            text = text.mid(take);
            if (_pending.size() >= TargetBlockSize * 2)
                _flush(false);
        }
    }

    void finish() { _flush(true); }

    qsizetype length = 0;
    qsizetype lineStarts = 0;

private:
    void _flush(bool all)
    {
        QStringView rest(_pending);
        while (rest.size() >= TargetBlockSize && (all || rest.size() > TargetBlockSize)) {
            qsizetype take = TargetBlockSize;
            // A CR at the cut keeps its LF; a CR at the very end waits for
            // the next piece, which may start with one.
            if (rest.at(take - 1) == u'\r' && (take == rest.size() ? !all : rest.at(take) == u'\n'))
                ++take;
            if (take > rest.size())
                break;
            _push(rest.left(take));
            rest = rest.mid(take);
        }
        if (all && (!rest.isEmpty() || _blocks.empty()))
            _push(rest);
        _pending = rest.toString();
        if (all)
            _pending.clear();
    }

    void _push(QStringView text)
    {
        Block block;
        block.text = text.toString();
        _indexBlock(block);
        length += text.size();
        lineStarts += qsizetype(block.lineStarts.size());
        _blocks.push_back(std::move(block));
    }

    std::vector<Block> &_blocks;
    QString _pending;
};

qsizetype MVTextBuffer::replaceRanges(const std::vector<Edit> &edits)
{
    // The edits that can be made: in order, without overlap, inside the text.
    size_t usable = 0;
    for (qsizetype end = 0; usable < edits.size(); ++usable) {
        const MVRange range = edits[usable].range;
        if (range.location < end || range.length < 0 || range.end() > _length)
            break;
        end = range.end();
    }
    if (usable == 0)
        return 0;

    std::vector<Block> old = std::move(_blocks);
    _blocks = std::vector<Block>();
    _blocks.reserve(old.size() + old.size() / 8);
    BlockWriter writer(_blocks);
    size_t next = 0;
    qsizetype skip = 0; // characters of the current edit's range still to pass over
    qsizetype start = 0;
    for (Block &block : old) {
        const QStringView text(block.text);
        qsizetype at = 0;
        while (at < text.size()) {
            if (skip > 0) {
                const qsizetype passed = qMin(skip, text.size() - at);
                at += passed;
                skip -= passed;
                continue;
            }
            if (next < usable && edits[next].range.location <= start + at) {
                writer.append(edits[next].text);
                skip = edits[next].range.length;
                ++next;
                continue;
            }
            const qsizetype until = next < usable ? qMin(text.size(), edits[next].range.location - start) : text.size();
            writer.append(text.mid(at, until - at));
            at = until;
        }
        start += text.size();
        block = Block();
    }
    // Insertions at the very end.
    for (; next < usable; ++next)
        writer.append(edits[next].text);
    writer.finish();
    _length = writer.length;
    _lineStarts = writer.lineStarts;
    _indexDirty = true;
    return qsizetype(usable);
}

void MVTextBuffer::replace(MVRange range, QStringView text)
{
    const qsizetype from = qBound<qsizetype>(0, range.location, _length);
    const qsizetype to = qBound<qsizetype>(from, range.location + range.length, _length);
    if (from == to && text.isEmpty())
        return;

    qsizetype firstStart = 0;
    const qsizetype first = _blockAt(from, &firstStart);
    qsizetype lastStart = firstStart;
    qsizetype last = first;
    if (to > from && to > firstStart + _blocks[first].text.size())
        last = _blockAt(to - 1, &lastStart);

    const qsizetype fromOffset = from - firstStart;
    const qsizetype toOffset = to - lastStart;

    if (first == last) {
        Block &block = _blocks[first];
        const qsizetype newSize = block.text.size() - (toOffset - fromOffset) + text.size();
        if (newSize <= MaxBlockSize && (newSize >= MinBlockSize || _blocks.size() == 1)) {
            const qsizetype oldLines = qsizetype(block.lineStarts.size());
            const qsizetype oldSize = block.text.size();
            block.text.replace(fromOffset, toOffset - fromOffset, text.data(), text.size());
            _indexBlock(block);
            const qsizetype lineDelta = qsizetype(block.lineStarts.size()) - oldLines;
            _lineStarts += lineDelta;
            _length += newSize - oldSize;
            if (!_indexDirty) {
                _unitTree.add(first, newSize - oldSize);
                _lineTree.add(first, lineDelta);
            }
            _joinCrLfAt(first);
            if (first > 0)
                _joinCrLfAt(first - 1);
            return;
        }
    }

    QString content;
    content.reserve(fromOffset + text.size() + (_blocks[last].text.size() - toOffset));
    content.append(QStringView(_blocks[first].text).left(fromOffset));
    content.append(text);
    content.append(QStringView(_blocks[last].text).mid(toOffset));
    _replaceBlocks(first, last, std::move(content));
}

// Replaces blocks first..last with content, merging a small result into a
// neighbour and cutting a large one into blocks of about the target size.
void MVTextBuffer::_replaceBlocks(qsizetype first, qsizetype last, QString content)
{
    for (qsizetype i = first; i <= last; ++i) {
        _length -= _blocks[i].text.size();
        _lineStarts -= qsizetype(_blocks[i].lineStarts.size());
    }
    if (content.size() < MinBlockSize) {
        if (last + 1 < qsizetype(_blocks.size())) {
            ++last;
            _length -= _blocks[last].text.size();
            _lineStarts -= qsizetype(_blocks[last].lineStarts.size());
            content.append(_blocks[last].text);
        } else if (first > 0) {
            --first;
            _length -= _blocks[first].text.size();
            _lineStarts -= qsizetype(_blocks[first].lineStarts.size());
            content.prepend(_blocks[first].text);
        }
    }

    std::vector<Block> pieces;
    const qsizetype size = content.size();
    const qsizetype count = qMax<qsizetype>(1, (size + TargetBlockSize - 1) / TargetBlockSize);
    const qsizetype pieceSize = (size + count - 1) / count;
    qsizetype position = 0;
    while (position < size || pieces.empty()) {
        qsizetype take = qMin(pieceSize, size - position);
        if (position + take < size && content.at(position + take - 1) == u'\r' && content.at(position + take) == u'\n')
            ++take;
        Block block;
        block.text = content.mid(position, take);
        _indexBlock(block);
        _length += take;
        _lineStarts += qsizetype(block.lineStarts.size());
        pieces.push_back(std::move(block));
        position += take;
        if (size == 0)
            break;
    }
    const bool dropEmpty = size == 0 && qsizetype(_blocks.size()) > last - first + 1;
    _blocks.erase(_blocks.begin() + first, _blocks.begin() + last + 1);
    qsizetype inserted = 0;
    if (!dropEmpty) {
        _blocks.insert(_blocks.begin() + first, std::make_move_iterator(pieces.begin()),
                       std::make_move_iterator(pieces.end()));
        inserted = qsizetype(pieces.size());
    }
    _indexDirty = true;
    const qsizetype after = first + inserted - 1;
    if (after + 1 < qsizetype(_blocks.size()))
        _joinCrLfAt(qMax<qsizetype>(after, 0));
    if (first > 0)
        _joinCrLfAt(first - 1);
}

// Keeps a CR LF pair inside one block: moves the LF that starts block + 1
// behind the CR that ends block.
void MVTextBuffer::_joinCrLfAt(qsizetype block)
{
    if (block < 0 || block + 1 >= qsizetype(_blocks.size()))
        return;
    Block &left = _blocks[block];
    Block &right = _blocks[block + 1];
    if (left.text.isEmpty() || right.text.isEmpty() || !left.text.endsWith(u'\r') || right.text.front() != u'\n')
        return;
    const qsizetype oldLines = qsizetype(left.lineStarts.size() + right.lineStarts.size());
    left.text.append(u'\n');
    right.text.remove(0, 1);
    _indexBlock(left);
    _indexBlock(right);
    _lineStarts += qsizetype(left.lineStarts.size() + right.lineStarts.size()) - oldLines;
    if (right.text.isEmpty()) {
        _blocks.erase(_blocks.begin() + block + 1);
        _indexDirty = true;
    } else {
        _indexDirty = true;
    }
}

qsizetype MVTextBuffer::lineCount() const
{
    return _lineStarts + 1;
}

qsizetype MVTextBuffer::lineStart(qsizetype line) const
{
    if (line <= 0)
        return 0;
    if (line > _lineStarts)
        return _length;
    if (_indexDirty)
        _rebuildIndex();
    qint64 before = 0;
    const qsizetype block = _lineTree.upperBound(line - 1, &before);
    Q_ASSERT(block < qsizetype(_blocks.size()));
    return _unitTree.prefix(block) + _blocks[block].lineStarts[line - 1 - before];
}

qsizetype MVTextBuffer::lineForPosition(qsizetype position) const
{
    position = qBound<qsizetype>(0, position, _length);
    qsizetype start = 0;
    const qsizetype block = _blockAt(position, &start);
    const std::vector<quint16> &starts = _blocks[block].lineStarts;
    const auto it = std::upper_bound(starts.begin(), starts.end(), quint16(position - start));
    return _lineTree.prefix(block) + qsizetype(it - starts.begin());
}

qsizetype MVTextBuffer::lineEnd(qsizetype line) const
{
    return lineStart(line + 1);
}

qsizetype MVTextBuffer::lineContentsEnd(qsizetype line) const
{
    const qsizetype start = lineStart(line);
    qsizetype end = lineEnd(line);
    if (end > start && isLineTerminator(characterAt(end - 1).unicode())) {
        --end;
        if (end > start && characterAt(end) == u'\n' && characterAt(end - 1) == u'\r')
            --end;
    }
    return end;
}

MVRange MVTextBuffer::lineRangeForRange(MVRange range) const
{
    const qsizetype from = qBound<qsizetype>(0, range.location, _length);
    const qsizetype to = qBound<qsizetype>(from, range.location + range.length, _length);
    const qsizetype firstLine = lineForPosition(from);
    qsizetype lastLine = firstLine;
    if (to > from)
        lastLine = lineForPosition(to - 1);
    const qsizetype start = lineStart(firstLine);
    return MVRange{start, lineEnd(lastLine) - start};
}

qsizetype MVTextBuffer::longestLineLength() const
{
    qsizetype longest = 0;
    qsizetype current = 0;
    for (const Block &block : _blocks) {
        const char16_t *data = reinterpret_cast<const char16_t *>(block.text.constData());
        for (qsizetype i = 0, size = block.text.size(); i < size; ++i) {
            const char16_t c = data[i];
            if ((c <= u'\r' || c == 0x2028 || c == 0x2029) && isLineTerminator(c)) {
                longest = qMax(longest, current);
                current = 0;
            } else {
                ++current;
            }
        }
    }
    return qMax(longest, current);
}
