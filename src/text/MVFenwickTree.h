#pragma once

#include <QtGlobal>

#include <vector>

// Prefix sums over a sequence of counts with O(log n) update, prefix query
// and search. The text buffer and the attribute runs keep one per block list
// so that a position finds its block without walking all blocks before it.
class MVFenwickTree
{
public:
    MVFenwickTree() = default;

    // Rebuilds from the given counts in O(n).
    template <typename Getter>
    void rebuild(qsizetype count, Getter valueAt)
    {
        _tree.assign(count + 1, 0);
        for (qsizetype i = 0; i < count; ++i) {
            _tree[i + 1] += valueAt(i);
            const qsizetype parent = (i + 1) + ((i + 1) & -(i + 1));
            if (parent <= count)
                _tree[parent] += _tree[i + 1];
        }
        _top = 1;
        while (_top * 2 <= count)
            _top *= 2;
    }

    qsizetype size() const { return qsizetype(_tree.size()) - 1; }

    void add(qsizetype index, qint64 delta)
    {
        for (qsizetype i = index + 1; i < qsizetype(_tree.size()); i += i & -i)
            _tree[i] += delta;
    }

    // Sum of the counts before index.
    qint64 prefix(qsizetype index) const
    {
        qint64 sum = 0;
        for (qsizetype i = index; i > 0; i -= i & -i)
            sum += _tree[i];
        return sum;
    }

    // The first index whose inclusive prefix sum exceeds target, with the sum
    // before it in *before; size() when the total does not exceed target.
    qsizetype upperBound(qint64 target, qint64 *before) const
    {
        qsizetype pos = 0;
        qint64 sum = 0;
        const qsizetype n = size();
        for (qsizetype step = _top; step > 0; step /= 2) {
            const qsizetype next = pos + step;
            if (next <= n && sum + _tree[next] <= target) {
                pos = next;
                sum += _tree[next];
            }
        }
        if (before)
            *before = sum;
        return pos;
    }

private:
    std::vector<qint64> _tree{0};
    qsizetype _top = 1;
};
