#pragma once

#include "platform/MVRange.h"
#include "search/MVSearch.h"
#include "search/MVSearchResult.h"

#include <QByteArray>
#include <QString>

#include <optional>

// Walks the matches of one search over one subject, front to back. Each
// search starts where the last match ended; after an empty match it starts
// one character further (a surrogate pair and a CR LF count as one), so a
// pattern that can match nothing, such as "[ \t]*$", still comes to an end.
//
// A byte subject yields nothing: byte data is only ever matched once, with
// MVSearch::firstMatchInUTF8Data.
class MVSearchEnumerator
{
public:
    MVSearchEnumerator(MVSearch search, QString string);
    MVSearchEnumerator(MVSearch search, QByteArray utf8Data);

    // The next match, or nothing at the end; with match, the groups of a
    // regular-expression match (absolute in the subject).
    std::optional<MVRange> nextRange(MVRegexMatch *match = nullptr);
    // The next match with its preview.
    std::optional<MVSearchResult> nextResult();

private:
    MVSearch _search;
    QString _string;
    QByteArray _data;
    MVRange _range;
    bool _started = false;
};
