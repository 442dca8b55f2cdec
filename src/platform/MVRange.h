#pragma once

#include <QtGlobal>

// A location and a length in 16-bit code units of a QString (or in bytes for
// UTF-8 data). "Not found" is the largest location with length 0, so that it
// loses every comparison of locations that scans rely on.
inline constexpr qsizetype MVNotFound = 0x7FFFFFFFFFFFFFFF;

struct MVRange
{
    qsizetype location = 0;
    qsizetype length = 0;

    constexpr qsizetype end() const { return location + length; }
    constexpr bool isNotFound() const { return location == MVNotFound; }
    constexpr bool contains(qsizetype index) const { return index >= location && index < end(); }
    friend constexpr bool operator==(const MVRange &, const MVRange &) = default;

    static constexpr MVRange notFound() { return MVRange{MVNotFound, 0}; }
};

constexpr MVRange MVMakeRange(qsizetype location, qsizetype length)
{
    return MVRange{location, length};
}

// The overlap of two ranges; an empty range at the later start when they do not meet.
constexpr MVRange MVIntersectionRange(MVRange a, MVRange b)
{
    const qsizetype start = a.location > b.location ? a.location : b.location;
    const qsizetype end = a.end() < b.end() ? a.end() : b.end();
    return end > start ? MVRange{start, end - start} : MVRange{start, 0};
}

constexpr MVRange MVUnionRange(MVRange a, MVRange b)
{
    const qsizetype start = a.location < b.location ? a.location : b.location;
    const qsizetype end = a.end() > b.end() ? a.end() : b.end();
    return MVRange{start, end - start};
}
