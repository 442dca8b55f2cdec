#include "text/MVAttributeRuns.h"

MVAttributeRuns::MVAttributeRuns()
{
    clear();
}

void MVAttributeRuns::clear(qsizetype length, quint32 id)
{
    _blocks.clear();
    _blocks.emplace_back();
    if (length > 0) {
        _blocks[0].runs.push_back(Run{length, id});
        _blocks[0].length = length;
    }
    _length = length;
    _dirty = true;
}

qsizetype MVAttributeRuns::runCount() const
{
    qsizetype count = 0;
    for (const Block &block : _blocks)
        count += qsizetype(block.runs.size());
    return count;
}

void MVAttributeRuns::_rebuild() const
{
    _tree.rebuild(qsizetype(_blocks.size()), [this](qsizetype i) { return _blocks[i].length; });
    _dirty = false;
}

void MVAttributeRuns::_addLength(qsizetype block, qsizetype delta)
{
    _blocks[block].length += delta;
    _length += delta;
    if (!_dirty)
        _tree.add(block, delta);
}

MVAttributeRuns::Place MVAttributeRuns::_locate(qsizetype position) const
{
    if (_dirty)
        _rebuild();
    qint64 before = 0;
    qsizetype block = _tree.upperBound(position, &before);
    if (block >= qsizetype(_blocks.size())) {
        // At the end: behind the last run.
        block = qsizetype(_blocks.size()) - 1;
        before = _length - _blocks[block].length;
        return Place{block, qsizetype(_blocks[block].runs.size()), _length};
    }
    const std::vector<Run> &runs = _blocks[block].runs;
    qsizetype start = before;
    for (qsizetype i = 0; i < qsizetype(runs.size()); ++i) {
        if (position < start + runs[i].length)
            return Place{block, i, start};
        start += runs[i].length;
    }
    return Place{block, qsizetype(runs.size()), start};
}

quint32 MVAttributeRuns::idAt(qsizetype position, MVRange *run) const
{
    if (position < 0 || position >= _length) {
        if (run)
            *run = MVRange{0, 0};
        return 0;
    }
    const Place place = _locate(position);
    const Run &found = _blocks[place.block].runs[place.run];
    if (run)
        *run = MVRange{place.runStart, found.length};
    return found.id;
}

void MVAttributeRuns::_splitBlockIfFull(qsizetype block)
{
    if (qsizetype(_blocks[block].runs.size()) <= MaxRunsPerBlock)
        return;
    Block &full = _blocks[block];
    const qsizetype half = qsizetype(full.runs.size()) / 2;
    Block second;
    second.runs.assign(full.runs.begin() + half, full.runs.end());
    full.runs.resize(half);
    for (const Run &run : second.runs)
        second.length += run.length;
    full.length -= second.length;
    _blocks.insert(_blocks.begin() + block + 1, std::move(second));
    _dirty = true;
}

MVAttributeRuns::Place MVAttributeRuns::_split(qsizetype position)
{
    Place place = _locate(position);
    if (place.runStart == position)
        return place;
    std::vector<Run> &runs = _blocks[place.block].runs;
    Run &run = runs[place.run];
    const qsizetype head = position - place.runStart;
    const Run tail{run.length - head, run.id};
    run.length = head;
    runs.insert(runs.begin() + place.run + 1, tail);
    if (qsizetype(runs.size()) > MaxRunsPerBlock) {
        _splitBlockIfFull(place.block);
        return _locate(position);
    }
    return Place{place.block, place.run + 1, position};
}

void MVAttributeRuns::_mergeAround(qsizetype block, qsizetype run)
{
    if (block < 0 || block >= qsizetype(_blocks.size()))
        return;
    std::vector<Run> &runs = _blocks[block].runs;
    qsizetype first = qMax<qsizetype>(0, run - 1);
    while (first + 1 < qsizetype(runs.size()) && first <= run + 1) {
        if (runs[first].id == runs[first + 1].id) {
            runs[first].length += runs[first + 1].length;
            runs.erase(runs.begin() + first + 1);
        } else {
            ++first;
        }
    }
}

void MVAttributeRuns::_removeEmptyBlocks()
{
    if (_blocks.size() <= 1)
        return;
    for (qsizetype i = qsizetype(_blocks.size()) - 1; i >= 0 && _blocks.size() > 1; --i) {
        if (_blocks[i].runs.empty()) {
            _blocks.erase(_blocks.begin() + i);
            _dirty = true;
        }
    }
}

void MVAttributeRuns::insert(qsizetype position, qsizetype length, quint32 id)
{
    if (length <= 0)
        return;
    position = qBound<qsizetype>(0, position, _length);
    if (_length == 0) {
        clear(length, id);
        return;
    }
    Place place = _locate(position);
    std::vector<Run> &runs = _blocks[place.block].runs;
    // Grow a run of the same id that the position touches.
    if (place.run < qsizetype(runs.size()) && runs[place.run].id == id) {
        runs[place.run].length += length;
        _addLength(place.block, length);
        return;
    }
    if (place.runStart == position && place.run > 0 && runs[place.run - 1].id == id) {
        runs[place.run - 1].length += length;
        _addLength(place.block, length);
        return;
    }
    if (place.runStart != position)
        place = _split(position);
    std::vector<Run> &target = _blocks[place.block].runs;
    target.insert(target.begin() + place.run, Run{length, id});
    _addLength(place.block, length);
    _splitBlockIfFull(place.block);
}

void MVAttributeRuns::remove(qsizetype position, qsizetype length)
{
    position = qBound<qsizetype>(0, position, _length);
    length = qBound<qsizetype>(0, length, _length - position);
    if (length == 0)
        return;
    const qsizetype end = position + length;
    if (end < _length)
        _split(end);
    Place place = position > 0 ? _split(position) : _locate(0);
    qsizetype remaining = length;
    qsizetype block = place.block;
    qsizetype run = place.run;
    while (remaining > 0) {
        std::vector<Run> &runs = _blocks[block].runs;
        if (run >= qsizetype(runs.size())) {
            ++block;
            run = 0;
            continue;
        }
        remaining -= runs[run].length;
        _addLength(block, -runs[run].length);
        runs.erase(runs.begin() + run);
    }
    // Join the runs on both sides of the cut if they now meet with equal ids.
    _mergeAround(place.block, place.run);
    _removeEmptyBlocks();
}

void MVAttributeRuns::apply(MVRange range, const std::function<quint32(quint32)> &map)
{
    const qsizetype from = qBound<qsizetype>(0, range.location, _length);
    const qsizetype to = qBound<qsizetype>(from, range.end(), _length);
    if (to == from)
        return;
    if (to < _length)
        _split(to);
    const Place place = from > 0 ? _split(from) : _locate(0);
    qsizetype position = from;
    qsizetype block = place.block;
    qsizetype run = place.run;
    qsizetype lastBlock = block;
    while (position < to) {
        std::vector<Run> &runs = _blocks[block].runs;
        if (run >= qsizetype(runs.size())) {
            ++block;
            run = 0;
            continue;
        }
        runs[run].id = map(runs[run].id);
        position += runs[run].length;
        lastBlock = block;
        ++run;
    }
    // Merge equal neighbours in the blocks touched, including the edges.
    for (qsizetype b = place.block; b <= lastBlock; ++b) {
        std::vector<Run> &runs = _blocks[b].runs;
        qsizetype out = 0;
        for (qsizetype i = 1; i < qsizetype(runs.size()); ++i) {
            if (runs[i].id == runs[out].id)
                runs[out].length += runs[i].length;
            else
                runs[++out] = runs[i];
        }
        if (!runs.empty())
            runs.resize(out + 1);
    }
}

void MVAttributeRuns::set(MVRange range, quint32 id)
{
    const qsizetype from = qBound<qsizetype>(0, range.location, _length);
    const qsizetype to = qBound<qsizetype>(from, range.end(), _length);
    if (to == from)
        return;
    if (to - from > 64) {
        // Long ranges: one run in place of all, in one pass over the blocks.
        std::vector<Run> runs{Run{to - from, id}};
        replace(MVRange{from, to - from}, runs);
        return;
    }
    apply(MVRange{from, to - from}, [id](quint32) { return id; });
}

void MVAttributeRuns::forEachRun(MVRange range, const std::function<bool(MVRange, quint32)> &fn) const
{
    const qsizetype from = qBound<qsizetype>(0, range.location, _length);
    const qsizetype to = qBound<qsizetype>(from, range.end(), _length);
    if (to == from)
        return;
    Place place = _locate(from);
    qsizetype start = place.runStart;
    qsizetype block = place.block;
    qsizetype run = place.run;
    while (start < to && block < qsizetype(_blocks.size())) {
        const std::vector<Run> &runs = _blocks[block].runs;
        if (run >= qsizetype(runs.size())) {
            ++block;
            run = 0;
            continue;
        }
        const qsizetype runFrom = qMax(start, from);
        const qsizetype runTo = qMin(start + runs[run].length, to);
        if (!fn(MVRange{runFrom, runTo - runFrom}, runs[run].id))
            return;
        start += runs[run].length;
        ++run;
    }
}

MVAttributeRuns::Reader::Reader(const MVAttributeRuns &runs, qsizetype position)
    : _runs(runs)
{
    if (position >= runs._length || position < 0) {
        _block = qsizetype(runs._blocks.size());
        _run = 0;
        _end = runs._length;
        return;
    }
    const Place place = runs._locate(position);
    _block = place.block;
    _run = place.run;
    _end = place.runStart;
    _load();
}

void MVAttributeRuns::Reader::_load()
{
    while (_block < qsizetype(_runs._blocks.size()) && _run >= qsizetype(_runs._blocks[_block].runs.size())) {
        ++_block;
        _run = 0;
    }
    if (_block >= qsizetype(_runs._blocks.size())) {
        _end = _runs._length;
        _id = 0;
        return;
    }
    const Run &run = _runs._blocks[_block].runs[_run];
    _end += run.length;
    _id = run.id;
}

void MVAttributeRuns::Reader::next()
{
    if (_block >= qsizetype(_runs._blocks.size()))
        return;
    ++_run;
    _load();
}

void MVAttributeRuns::replace(MVRange range, std::vector<Run> &runs)
{
    const qsizetype from = qBound<qsizetype>(0, range.location, _length);
    const qsizetype to = qBound<qsizetype>(from, range.end(), _length);
    if (to == from)
        return;
    // Cut the runs at both ends of the range, so that it covers whole runs.
    if (to < _length)
        _split(to);
    if (from > 0)
        _split(from);
    const Place first = _locate(from);
    const Place last = to < _length ? _locate(to) : Place{qsizetype(_blocks.size()) - 1, qsizetype(_blocks.back().runs.size()), _length};
    // The runs of the blocks concerned: those before the range in the first
    // block, the new ones (clipped to the range, equal neighbours joined),
    // those after it in the last.
    qsizetype left = to - from;
    qsizetype kept = 0;
    for (size_t i = 0; i < runs.size() && left > 0; ++i) {
        const Run run = runs[i];
        const qsizetype length = qMin(run.length, left);
        if (length <= 0)
            continue;
        if (kept > 0 && runs[kept - 1].id == run.id)
            runs[kept - 1].length += length;
        else
            runs[kept++] = Run{length, run.id};
        left -= length;
    }
    runs.resize(kept);
    if (left > 0) {
        if (runs.empty())
            runs.push_back(Run{left, 0});
        else
            runs.back().length += left;
    }
    const std::vector<Run> &firstRuns = _blocks[first.block].runs;
    qsizetype prefix = first.run;
    if (prefix > 0 && firstRuns[prefix - 1].id == runs.front().id) {
        runs.front().length += firstRuns[prefix - 1].length;
        --prefix;
    }
    runs.insert(runs.begin(), firstRuns.begin(), firstRuns.begin() + prefix);
    const std::vector<Run> &lastRuns = _blocks[last.block].runs;
    qsizetype suffix = last.run;
    if (suffix < qsizetype(lastRuns.size()) && lastRuns[suffix].id == runs.back().id) {
        runs.back().length += lastRuns[suffix].length;
        ++suffix;
    }
    runs.insert(runs.end(), lastRuns.begin() + suffix, lastRuns.end());
    std::vector<Run> &all = runs;

    // Lay the runs out over as many blocks as before when they fit, so that
    // an edit of a few lines keeps the block list and its tree as they are.
    const qsizetype oldCount = last.block - first.block + 1;
    const qsizetype total = qsizetype(all.size());
    qsizetype count = oldCount;
    if (total > oldCount * MaxRunsPerBlock || total < oldCount)
        count = qMax<qsizetype>(1, (total + FreshRunsPerBlock - 1) / FreshRunsPerBlock);
    if (count > oldCount) {
        _blocks.insert(_blocks.begin() + last.block + 1, size_t(count - oldCount), Block());
        _dirty = true;
    } else if (count < oldCount) {
        _blocks.erase(_blocks.begin() + first.block + count, _blocks.begin() + last.block + 1);
        _dirty = true;
    }
    qsizetype next = 0;
    for (qsizetype b = 0; b < count; ++b) {
        const qsizetype end = total * (b + 1) / count;
        Block &block = _blocks[first.block + b];
        // A little room to spare, so that rewriting the same stretch again
        // with a run more or less keeps the memory.
        if (qsizetype(block.runs.capacity()) < end - next)
            block.runs.reserve(size_t(qMin(MaxRunsPerBlock + 1, end - next + 16)));
        block.runs.assign(all.begin() + next, all.begin() + end);
        qsizetype length = 0;
        for (const Run &run : block.runs)
            length += run.length;
        if (!_dirty)
            _tree.add(first.block + b, length - block.length);
        block.length = length;
        next = end;
    }
}
