#include "text/MVAttributeOverlay.h"

#include <algorithm>

namespace {
// Additions are kept between colourings while they stay large (typing in a
// long line reuses the memory instead of faulting it in again on every
// keystroke), and given back after a small one or beyond a limit.
constexpr size_t KeptAdditions = size_t(1) << 21;
constexpr size_t SmallBuffer = 65536;

bool isMark(const MVTextAttributes &attributes)
{
    return attributes.has(MVAttribute::Parser) && !attributes.has(MVAttribute::MultiLine)
           && !attributes.has(MVAttribute::ForegroundColor) && !attributes.has(MVAttribute::BackgroundColor)
           && !attributes.has(MVAttribute::FontTraits);
}
} // namespace

MVAttributeOverlay::MVAttributeOverlay()
{
    std::fill(std::begin(_recent), std::end(_recent), quint32(0xFFFFFFFF));
}

void MVAttributeOverlay::clear()
{
    _base = MVRange{0, 0};
    _baseAttributes = MVTextAttributes();
    _baseRemovals = 0;
    const size_t capacity = _additions.capacity();
    const size_t used = _additions.size();
    if (capacity > KeptAdditions || (used > 0 && capacity > SmallBuffer && used < capacity / 8))
        std::vector<Addition>().swap(_additions);
    else
        _additions.clear();
    _sets.clear();
    _marks.clear();
    std::fill(std::begin(_recent), std::end(_recent), quint32(0xFFFFFFFF));
    _parserInAdditions = false;
}

void MVAttributeOverlay::setBase(MVRange range, const MVTextAttributes &attributes, std::initializer_list<MVAttribute> remove)
{
    _base = range.length > 0 ? range : MVRange{0, 0};
    _baseAttributes = attributes;
    _baseRemovals = 0;
    for (const MVAttribute key : remove)
        _baseRemovals |= quint8(1u << quint8(key));
}

void MVAttributeOverlay::addParser(const void *parser, MVRange range)
{
    add(MVTextAttributes().setParser(parser), range);
}

quint32 MVAttributeOverlay::_findOrAddSet(const MVTextAttributes &attributes)
{
    const auto found = std::find(_sets.begin(), _sets.end(), attributes);
    if (found != _sets.end())
        return quint32(found - _sets.begin());
    _sets.push_back(attributes);
    _marks.push_back(isMark(attributes));
    if (attributes.has(MVAttribute::Parser) && !_marks.back())
        _parserInAdditions = true;
    return quint32(_sets.size() - 1);
}
