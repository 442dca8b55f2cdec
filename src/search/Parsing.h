#pragma once

#include "platform/MVRange.h"

#include <QChar>
#include <QString>
#include <QStringView>

// Small scanners of the parsers: escapes, counted occurrences, quotes.
namespace Parsing {

// Whether the character at index is escaped: an odd number of escape
// characters stand directly before it. Index 0 is never escaped.
bool characterIsEscapedAtIndex(QStringView string, qsizetype index, QChar escapeCharacter);

// The number of occurrences of what in range that are not escaped. The walk
// goes backwards; below an occurrence it goes on below the escape characters
// directly in front of it. With anchored, only occurrences that end exactly
// where the walk stands count, so the walk stops at the first gap (the
// occurrences that end the range). An empty what counts 0.
qsizetype countOfInstancesOf(QStringView string, QStringView what, MVRange range, QChar escapeCharacter,
                             bool anchored);

// Whether location lies inside quotes counted from relativeTo: an odd number
// of unescaped double quotes (backslash escapes) in between; when that
// number is even and checkSingle is set, the same for single quotes.
bool locationInQuotes(QStringView string, qsizetype location, qsizetype relativeTo, bool checkSingle);
bool locationInQuotes(QStringView string, qsizetype location, bool checkSingle);
bool locationInQuotes(QStringView string, qsizetype location);

// The string without blanks before "=" and before a double quote, outside
// double quotes: `name = "x"` becomes `name="x"`.
QString stripImproperFormatting(QStringView string);

} // namespace Parsing
