#pragma once

#include "search/MVRegexMatch.h"

#include <QByteArrayView>
#include <QString>

#include <memory>
#include <mutex>
#include <optional>

struct pcre2_real_code_8;
struct pcre2_real_code_16;

// An immutable compiled regular expression in the Perl-compatible dialect.
// Strings are matched as UTF-16 where they stand, UTF-8 data as bytes where it
// stands; neither is copied or transcoded. One pattern may be matched from
// several threads at once: all working memory belongs to the calling thread.
//
// Option bits (compile time unless noted):
//   0x1   caseless
//   0x2   multi-line: ^ and $ also match at line breaks (CR, LF or CR LF)
//   0x80  at match time: the start of the searched range is not a line start
//   0x800 subject and pattern are UTF-8; always the case here, since strings
//         are matched as UTF-16 and byte data as UTF-8, so the bit is accepted
//         and changes nothing
// Other bits are ignored.
class MVRegex
{
public:
    static constexpr quint32 CaselessOption = 0x1;
    static constexpr quint32 MultilineOption = 0x2;
    static constexpr quint32 NotBeginningOfLineOption = 0x80;
    static constexpr quint32 UTF8Option = 0x800;
    static constexpr quint32 DefaultOptions = MultilineOption;

    // Whether the pattern compiles.
    static bool validPattern(const QString &pattern);

    // A compiled pattern, or null if it does not compile. Never aborts.
    static std::shared_ptr<MVRegex> initWithPattern(const QString &pattern);
    static std::shared_ptr<MVRegex> initWithPattern(const QString &pattern, quint32 options);

    ~MVRegex();
    MVRegex(const MVRegex &) = delete;
    MVRegex &operator=(const MVRegex &) = delete;

    const QString &pattern() const { return _pattern; }
    quint32 options() const { return _options; }

    // The first match in the string, or in the range of it; locations are
    // absolute 16-bit indexes of the string. The range is matched as a subject
    // of its own: ^ matches at its start unless options has 0x80, and text
    // outside it is invisible to look-behind. A range beyond the string is
    // clamped. No match, or a pattern that ran out of its limits, gives null.
    std::optional<MVRegexMatch> copyMatchForString(const QString &string) const;
    std::optional<MVRegexMatch> copyMatchForString(const QString &string, MVRange range) const;
    std::optional<MVRegexMatch> copyMatchForString(const QString &string, MVRange range, quint32 options) const;
    // The same over raw UTF-16 units.
    std::optional<MVRegexMatch> copyMatchForCharacters(const char16_t *characters, qsizetype length, MVRange range,
                                                       quint32 options = 0) const;

    // The first match inside the byte range of UTF-8 data; locations are
    // absolute byte offsets. Invalid UTF-8 never matches a character but does
    // not stop the search.
    std::optional<MVRegexMatch> copyMatchForUTF8Data(QByteArrayView data, MVRange range) const;

private:
    MVRegex(QString pattern, quint32 options, pcre2_real_code_16 *code, quint32 captureCount);
    pcre2_real_code_8 *_code8() const;
    // A match from the offsets pairs of the engine, relative to location.
    static MVRegexMatch _matchFromOffsets(const size_t *offsets, int count, qsizetype location);

    QString _pattern;
    quint32 _options;
    quint32 _captureCount;
    pcre2_real_code_16 *_code16;
    mutable std::once_flag _code8Once;
    mutable pcre2_real_code_8 *_code8Compiled = nullptr;
};
