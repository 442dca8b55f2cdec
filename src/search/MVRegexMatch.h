#pragma once

#include "platform/MVRange.h"

#include <QVarLengthArray>

// The result of one successful match: the range of the whole match (group 0)
// and of every capture group up to the highest one that took part. A plain
// value with no link to the pattern or the subject.
class MVRegexMatch
{
public:
    MVRegexMatch() = default;

    // The range of a group; 0 is the whole match. A group that took no part,
    // or a number at or beyond count(), gives MVRange::notFound() (a location
    // beyond any subject, length 0).
    MVRange rangeForCapture(quint32 group) const
    {
        return group < quint32(_ranges.size()) ? _ranges[group] : MVRange::notFound();
    }

    // One more than the number of the highest group that took part.
    quint32 count() const { return quint32(_ranges.size()); }

private:
    friend class MVRegex;
    QVarLengthArray<MVRange, 6> _ranges;
};
