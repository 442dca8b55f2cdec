#pragma once

#include "platform/MVRange.h"
#include "search/MVRegex.h"
#include "search/MVSearchResult.h"

#include <QByteArray>
#include <QString>
#include <QStringView>

#include <memory>
#include <optional>
#include <vector>

class MVSearchTextView;

// One search with its replacement: a plain string or a compiled regular
// expression, a case flag and a replacement template. Cheap to copy (the
// compiled pattern is shared), so callers usually make one per action.
//
// Replacement templates: "$n" and "(n)" stand for group n of the match
// ("$" or "(x)" without a number for the whole match), a backslash keeps the
// character after it as it is ("\$", "\(", "\\"), everything else is
// literal. A group that took no part in the match gives nothing. A "(" with
// no ")" after it ends the expansion: the rest of the template stays as
// written. Only the ASCII characters $, ( and \ are markers.
class MVSearch
{
public:
    // Match-time option word given to the pattern; the default keeps ^ from
    // matching at the start of a searched range.
    static constexpr quint32 DefaultOptions = MVRegex::NotBeginningOfLineOption;

    // No pattern and no search string: finds nothing.
    MVSearch();
    // A regular-expression search on an existing, shared pattern.
    static MVSearch initWithExpression(std::shared_ptr<MVRegex> expression);
    // A regular-expression search compiled multi-line, and caseless unless
    // caseSensitive. A pattern that does not compile gives a search that
    // finds nothing (and still counts as a regular-expression search).
    static MVSearch initWithExpressionString(const QString &expression, bool caseSensitive);
    // A plain search, case-insensitive until setCaseSensitive(true).
    static MVSearch initWithSearchString(const QString &string);

    // Replaces the pattern, compiled with the default options (the case
    // flag does not reach it); a null string clears it. The same text as the
    // current pattern changes nothing.
    void setSearchExpression(const QString &expression);
    // On a regular-expression search, the same as setSearchExpression;
    // otherwise the plain search string.
    void setSearchString(const QString &string);
    void setReplaceString(const QString &string) { _replace = string; }
    const QString &replaceString() const { return _replace; }
    // The pattern of a regular-expression search, else the plain string.
    QString searchString() const;
    bool isRegularExpression() const { return _isRegex; }
    const std::shared_ptr<MVRegex> &expression() const { return _regex; }
    bool caseSensitive() const { return _caseSensitive; }
    // Applies to plain searches; a compiled pattern keeps its own options.
    void setCaseSensitive(bool caseSensitive) { _caseSensitive = caseSensitive; }
    quint32 options() const { return _options; }
    void setOptions(quint32 options) { _options = options; }

    static bool validRegexSearch(const QString &pattern);
    // Every replacement template is accepted.
    static bool validRegexReplace(const QString &replacement);

    // Finding. Ranges are in the subject's 16-bit units; not found is
    // MVRange::notFound(). Without a range the whole subject is searched as
    // text of its own (^ matches at its start); with a range the option word
    // applies. reverse finds the last occurrence of a plain search; a
    // regular expression always gives the first match of the range.
    bool matchesString(QStringView string) const;
    MVRange firstMatchInString(QStringView string) const;
    MVRange firstMatchInString(QStringView string, MVRange range) const;
    MVRange firstMatchInString(QStringView string, MVRange range, bool reverse) const;
    // The same, with the groups of a regular-expression match in *match.
    MVRange firstMatchInString(QStringView string, MVRange range, bool reverse, MVRegexMatch *match) const;

    // Every match, in order. An empty match is not found again: the next
    // search starts one character after it (a surrogate pair or a CR LF
    // counts as one character there).
    std::vector<MVRange> findAllForString(const QString &string) const;
    std::vector<MVSearchResult> findAllForStringAsResults(const QString &string) const;

    // The same over a text view's full text (folded text included), which is
    // fetched on the main thread while the calling thread waits; the search
    // itself runs on the calling thread.
    std::vector<MVRange> findAllForTextView(MVSearchTextView &view) const;
    std::vector<MVSearchResult> findAllForTextViewAsResults(MVSearchTextView &view) const;

    // One match and what replaces it.
    struct Replacement
    {
        MVRange range;
        QString text;
    };
    // Every match of string with its replacement, in order: what Replace
    // All changes, without building the new text.
    std::vector<Replacement> replacementsInString(const QString &string) const;
    // Replaces every match in string, building the new text in one pass;
    // each replacement is expanded from the groups of its own match.
    // Returns the number of replacements.
    int replaceAllInString(QString &string) const;
    // Replaces ranges found earlier (ascending, as found before any change).
    // Stops at the first range that lies beyond the text. With doubleCheck,
    // a range whose text no longer matches is left alone (the text may have
    // changed since the search). A regular-expression range is expanded only
    // from a match that covers exactly that range; a range that the pattern
    // no longer matches that way is left alone, never filled with the raw
    // template. Returns the number of replacements.
    int replaceRanges(const std::vector<MVRange> &ranges, QString &string, bool doubleCheck = false) const;

    // The replacement for a matched text on its own: the template expanded
    // from the first match of the pattern in that text, or the template as
    // written for a plain search. Nothing when the pattern does not match
    // the text (so that a raw template never reaches the user's text).
    std::optional<QString> replacementForString(QStringView matchedText) const;
    std::optional<QString> replacementForString(QStringView matchedText, const QString &replacement) const;
    // The replacement for a range of string that should be exactly one
    // match: for a regular expression, expanded from the match that covers
    // exactly that range, seen in its context; for a plain search, the
    // template when the range's text is the search string. Nothing when the
    // range is not such a match.
    std::optional<QString> replacementForRange(QStringView string, MVRange range) const;
    // The template expanded from a match in subject (absolute ranges).
    static QString replacementForMatch(QStringView subject, const MVRegexMatch &match, QStringView replacement);

    // Byte subjects (UTF-8). Only the pattern is used; a plain search finds
    // nothing here. The enumeration of byte subjects yields nothing, so the
    // "all" operations are no-ops.
    MVRange firstMatchInUTF8Data(const QByteArray &data, MVRange range) const;
    std::vector<MVRange> findAllForUTF8Data(const QByteArray &data) const;
    int replaceAllInUTF8Data(QByteArray &data) const;
    int replaceRangesInUTF8Data(const std::vector<MVRange> &ranges, QByteArray &data) const;
    // The bytes matched again; on a match, the references written in the
    // bytes themselves are expanded from that match.
    QByteArray replacementForUTF8Bytes(const char *bytes, qsizetype length) const;

    // One step of the byte walk: 0 drops the byte, 1 copies it, 2 closes a
    // reference that started at *context. *context is MVNotFound between
    // references.
    static int _replacementParseStep(qsizetype index, qint16 character, qsizetype *context);

private:
    static void _appendReplacementForMatch(QString &result, QStringView subject, const MVRegexMatch &match,
                                           QStringView replacement);
    std::optional<QString> _replacementForMatchedRange(QStringView string, MVRange range) const;
    MVRange _plainMatch(QStringView string, MVRange range, bool reverse) const;

    std::shared_ptr<MVRegex> _regex;
    QString _search;
    QString _replace;
    bool _isRegex = false;
    bool _caseSensitive = false;
    quint32 _options = DefaultOptions;
};
