#include "text/MVAttributeOverlay.h"

void MVAttributeOverlay::clear()
{
    _base = MVRange{0, 0};
    _baseAttributes = MVTextAttributes();
    _baseRemovals = 0;
    // A whole large text may have passed through: keep the memory of an
    // edit's worth of additions only.
    if (_additions.capacity() > 65536)
        std::vector<Addition>().swap(_additions);
    else
        _additions.clear();
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
