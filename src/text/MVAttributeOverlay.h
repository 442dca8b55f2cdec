#pragma once

#include "platform/MVRange.h"
#include "text/MVTextAttributes.h"

#include <initializer_list>
#include <vector>

// Attribute changes over ranges of a storage, gathered first and then
// written in one pass by MVTextStorage::applyAttributeOverlay: a parser fills
// one while it scans, instead of splitting the storage's runs token by token.
//
// The result is the same as making the changes one by one, in this order:
// the base change over its range (add one set, then remove some keys), then
// every addition in the order given. Parser marks are additions of the
// Parser attribute alone.
//
// Additions refer to a small table of the distinct sets added, so that one
// costs 16 bytes. The buffer keeps its memory when cleared while colourings
// stay large, so that typing in a long line allocates nothing.
class MVAttributeOverlay
{
public:
    struct Addition
    {
        qsizetype from;
        quint32 length;
        quint32 set;
    };

    MVAttributeOverlay();

    void clear();
    // Makes room for count additions.
    void reserve(qsizetype count) { _additions.reserve(size_t(qMax<qsizetype>(0, count))); }
    bool isEmpty() const { return _base.length == 0 && _additions.empty(); }

    // The first change: over range, add attributes and then remove the keys
    // in remove.
    void setBase(MVRange range, const MVTextAttributes &attributes, std::initializer_list<MVAttribute> remove = {});
    // Adds attributes over range (empty ranges and sets are dropped).
    void add(const MVTextAttributes &attributes, MVRange range)
    {
        if (range.length <= 0 || attributes.isEmpty())
            return;
        const quint32 set = _setIndex(attributes);
        qsizetype from = range.location;
        qsizetype left = range.length;
        while (left > 0) {
            const quint32 length = quint32(qMin<qsizetype>(left, 0x7fffffff));
            _additions.push_back(Addition{from, length, set});
            from += length;
            left -= length;
        }
    }
    // Marks range as parsed by parser (the Parser attribute).
    void addParser(const void *parser, MVRange range);

    MVRange baseRange() const { return _base; }
    const MVTextAttributes &baseAttributes() const { return _baseAttributes; }
    quint8 baseRemovals() const { return _baseRemovals; }
    const std::vector<Addition> &additions() const { return _additions; }
    const MVTextAttributes &set(quint32 index) const { return _sets[index]; }
    // Whether the set is a parser mark: the Parser attribute and nothing else.
    bool isParserMark(quint32 index) const { return _marks[index]; }
    // Whether some addition sets the Parser attribute together with others:
    // parser marks then cannot be moved behind the other additions.
    bool hasParserInAdditions() const { return _parserInAdditions; }

private:
    quint32 _setIndex(const MVTextAttributes &attributes)
    {
        // Parsers add the same few sets over and over, usually from the same
        // place: remember where each address was last found.
        const size_t slot = (quintptr(&attributes) >> 3) % RecentSize;
        const quint32 recent = _recent[slot];
        if (recent < _sets.size() && _sets[recent] == attributes)
            return recent;
        return _recent[slot] = _findOrAddSet(attributes);
    }
    quint32 _findOrAddSet(const MVTextAttributes &attributes);

    static constexpr size_t RecentSize = 64;
    MVRange _base{0, 0};
    MVTextAttributes _baseAttributes;
    quint8 _baseRemovals = 0;
    std::vector<Addition> _additions;
    std::vector<MVTextAttributes> _sets;
    std::vector<bool> _marks;
    quint32 _recent[RecentSize];
    bool _parserInAdditions = false;
};
