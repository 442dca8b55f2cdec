#pragma once

#include "platform/MVRange.h"
#include "text/MVFenwickTree.h"

#include <QtGlobal>

#include <functional>
#include <vector>

// Runs of attribute-set ids over a text: each run is a length and an id. The
// runs are kept in blocks of at most a few hundred, with a prefix-sum tree
// over the blocks' lengths, so finding the run of a position costs O(log n)
// and changing a range costs the runs it covers, at any number of runs.
// Neighbouring runs with the same id are merged where an edit touches them.
class MVAttributeRuns
{
public:
    struct Run
    {
        qsizetype length;
        quint32 id;
    };

    MVAttributeRuns();

    qsizetype length() const { return _length; }
    qsizetype runCount() const;

    // The id at position and the run around it (not necessarily the longest:
    // equal runs in different blocks are not joined). position < length().
    quint32 idAt(qsizetype position, MVRange *run = nullptr) const;

    // Text edits: length units at position get id; a range goes away.
    void insert(qsizetype position, qsizetype length, quint32 id);
    void remove(qsizetype position, qsizetype length);

    // Gives every run in range the id that map(old id) returns.
    void apply(MVRange range, const std::function<quint32(quint32)> &map);
    void set(MVRange range, quint32 id);

    // Calls fn(range, id) for the runs across range, clipped to it, in order.
    // Stops when fn returns false.
    void forEachRun(MVRange range, const std::function<bool(MVRange, quint32)> &fn) const;

    void clear(qsizetype length = 0, quint32 id = 0);

    // Replaces every run of range with runs, whose lengths add up to the
    // range's length (the range is clipped to the text; so are the runs; a
    // shortfall keeps the last id). One pass over the blocks the range
    // covers, whatever the number of runs: the way to write the colours of a
    // whole parse at once. runs serves as scratch space and is left in an
    // unspecified state.
    void replace(MVRange range, std::vector<Run> &runs);

    // Reads the runs in order from a position on, without copying them.
    // Valid until the runs change.
    class Reader
    {
    public:
        Reader(const MVAttributeRuns &runs, qsizetype position);
        // The run under the reader: its id and where it ends (the text's
        // length, with id 0, past the last run).
        quint32 id() const { return _id; }
        qsizetype end() const { return _end; }
        void next();

    private:
        void _load();
        const MVAttributeRuns &_runs;
        qsizetype _block;
        qsizetype _run;
        qsizetype _end;
        quint32 _id = 0;
    };

private:
    struct Block
    {
        std::vector<Run> runs;
        qsizetype length = 0;
    };
    struct Place
    {
        qsizetype block;
        qsizetype run;
        qsizetype runStart;
    };

    static constexpr qsizetype MaxRunsPerBlock = 256;
    // Runs per block when blocks are laid out afresh: room to grow before a
    // block splits.
    static constexpr qsizetype FreshRunsPerBlock = 192;

    Place _locate(qsizetype position) const;
    // Makes a run start at position (0 < position < length) and gives its place.
    Place _split(qsizetype position);
    void _splitBlockIfFull(qsizetype block);
    void _mergeAround(qsizetype block, qsizetype run);
    void _removeEmptyBlocks();
    void _rebuild() const;
    void _addLength(qsizetype block, qsizetype delta);

    std::vector<Block> _blocks;
    qsizetype _length = 0;
    mutable MVFenwickTree _tree;
    mutable bool _dirty = true;
};
