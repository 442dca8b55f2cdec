#pragma once

#include "platform/MVRange.h"
#include "text/MVTextAttributes.h"

#include <memory>

class MVParser;
class MVTextStorage;
class MVTheme;

// The colouring steps of a highlighting view that need no widget: which
// range an edit re-parses, the colouring of a range with a parser and its
// sub-parsers, and which parser is active at a location. A view, a test or a
// benchmark drives them the same way.
class MVSyntaxColouring
{
public:
    // The range to parse after a change whose new text is range: the lines
    // of the change, reaching back to the start of any quote or block
    // comment (the MultiLine attribute) that touches the character before
    // those lines or lies between it and the change. It never reaches past
    // the line of the change's end.
    static MVRange rangeToHighlightForRange(const MVTextStorage &storage, MVRange range);

    // Puts the standard attributes on range and removes the multi-line mark;
    // then, when parser is given, parses the range with it and each range it
    // hands on with that sub-parser (one level deep). One editing batch.
    static void syntaxHighlight(MVRange range, MVTextStorage &storage, const MVTextAttributes &standardAttributes,
                                const MVParser *parser);

    // The parser at a location: the sub-parser of parser whose last opener
    // before the location has no closer after it that the sub-parser sees as
    // one (outside its strings and comments, MVParser::regionEnd), else
    // parser itself. The sub-parser found gets the theme.
    static MVParser *checkForOpenSpecialsBefore(MVParser *parser, const MVTextStorage &storage, qsizetype location,
                                               const std::shared_ptr<MVTheme> &theme);
};
