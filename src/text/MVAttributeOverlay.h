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
// The buffer keeps its memory when cleared, so one overlay can serve every
// colouring of a view.
class MVAttributeOverlay
{
public:
    struct Addition
    {
        qsizetype from;
        qsizetype to;
        MVTextAttributes attributes;
    };

    void clear();
    bool isEmpty() const { return _base.length == 0 && _additions.empty(); }

    // The first change: over range, add attributes and then remove the keys
    // in remove.
    void setBase(MVRange range, const MVTextAttributes &attributes, std::initializer_list<MVAttribute> remove = {});
    // Adds attributes over range (empty ranges and sets are dropped).
    void add(const MVTextAttributes &attributes, MVRange range)
    {
        if (range.length <= 0 || attributes.isEmpty())
            return;
        _additions.push_back(Addition{range.location, range.end(), attributes});
        if (attributes.has(MVAttribute::Parser) && !isParserMark(attributes))
            _parserInAdditions = true;
    }
    // Marks range as parsed by parser (the Parser attribute).
    void addParser(const void *parser, MVRange range);

    MVRange baseRange() const { return _base; }
    const MVTextAttributes &baseAttributes() const { return _baseAttributes; }
    quint8 baseRemovals() const { return _baseRemovals; }
    const std::vector<Addition> &additions() const { return _additions; }
    // Whether some addition sets the Parser attribute together with others:
    // parser marks then cannot be moved behind the other additions.
    bool hasParserInAdditions() const { return _parserInAdditions; }
    // A set with the Parser attribute and nothing else.
    static bool isParserMark(const MVTextAttributes &attributes)
    {
        return attributes.has(MVAttribute::Parser) && !attributes.has(MVAttribute::MultiLine)
               && !attributes.has(MVAttribute::ForegroundColor) && !attributes.has(MVAttribute::BackgroundColor)
               && !attributes.has(MVAttribute::FontTraits);
    }

private:
    MVRange _base{0, 0};
    MVTextAttributes _baseAttributes;
    quint8 _baseRemovals = 0;
    std::vector<Addition> _additions;
    bool _parserInAdditions = false;
};
