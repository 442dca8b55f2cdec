#pragma once

#include "platform/MVRange.h"

#include <QChar>

#include <optional>

class MVTextScanner;

// Finds the partner of a tag for renaming both together: the closing tag of
// an opening one and the reverse, by a count of the tags of the same name
// in between (case-insensitive in HTML, exact in XML). Comments, the
// contents of script and style elements and PHP blocks are skipped. The
// walk is bounded, so a page without the partner costs at most a megabyte
// of reading.
namespace MVPairedTag {

struct Tag
{
    MVRange name;       // the name's characters
    bool closing = false;
};

bool isNameCharacter(QChar c);

// The complete tag whose name holds range (an insertion at either end of
// the name counts); nothing when range reaches outside the name.
std::optional<Tag> tagAround(MVTextScanner &text, MVRange range);
// The partner's name range; nothing for a void or self-closed tag, or when
// none is found within the bounds.
std::optional<MVRange> partnerOf(MVTextScanner &text, const Tag &tag, bool xml);
}
