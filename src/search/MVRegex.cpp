#include "search/MVRegex.h"

#define PCRE2_CODE_UNIT_WIDTH 0
#include <pcre2.h>

#include <algorithm>

namespace {

// Limits for one match. A user's pattern such as (a+)+$ can backtrack for
// ever; the match limit turns that into "no match" within a fraction of a
// second. The JIT stack is generous so that deep but legitimate patterns
// (long alternations over long lines) do not fail; if it still runs out, the
// interpreter gets a second try.
constexpr uint32_t MatchLimit = 10'000'000;
constexpr uint32_t HeapLimitKiB = 64 * 1024;
constexpr size_t JitStackStart = 32 * 1024;
constexpr size_t JitStackMax = 16 * 1024 * 1024;
constexpr uint32_t MinimumPairs = 16;

uint32_t compileOptions(quint32 options)
{
    // Always UTF: strings are UTF-16 and byte data is UTF-8. Invalid text (a
    // lone surrogate, a broken byte sequence) must neither fail the match nor
    // be re-validated on every call, which is what MATCH_INVALID_UTF gives.
    uint32_t result = PCRE2_UTF | PCRE2_MATCH_INVALID_UTF;
    if (options & MVRegex::CaselessOption)
        result |= PCRE2_CASELESS;
    if (options & MVRegex::MultilineOption)
        result |= PCRE2_MULTILINE;
    return result;
}

template<int Width>
struct Pcre;

// The library's functions and types of one code unit width under the same
// names, so that the matching code below is written once for UTF-16 strings
// and UTF-8 bytes.
#define MV_PCRE_WIDTH(W) \
    template<> \
    struct Pcre<W> \
    { \
        using Code = pcre2_code_##W; \
        using MatchData = pcre2_match_data_##W; \
        using MatchContext = pcre2_match_context_##W; \
        using CompileContext = pcre2_compile_context_##W; \
        using JitStack = pcre2_jit_stack_##W; \
        using Unit = PCRE2_UCHAR##W; \
        static constexpr auto compile = pcre2_compile_##W; \
        static constexpr auto jitCompile = pcre2_jit_compile_##W; \
        static constexpr auto match = pcre2_match_##W; \
        static constexpr auto matchDataCreate = pcre2_match_data_create_##W; \
        static constexpr auto matchDataFree = pcre2_match_data_free_##W; \
        static constexpr auto ovectorPointer = pcre2_get_ovector_pointer_##W; \
        static constexpr auto matchContextCreate = pcre2_match_context_create_##W; \
        static constexpr auto matchContextFree = pcre2_match_context_free_##W; \
        static constexpr auto setMatchLimit = pcre2_set_match_limit_##W; \
        static constexpr auto setHeapLimit = pcre2_set_heap_limit_##W; \
        static constexpr auto jitStackCreate = pcre2_jit_stack_create_##W; \
        static constexpr auto jitStackFree = pcre2_jit_stack_free_##W; \
        static constexpr auto jitStackAssign = pcre2_jit_stack_assign_##W; \
        static constexpr auto compileContextCreate = pcre2_compile_context_create_##W; \
        static constexpr auto setNewline = pcre2_set_newline_##W; \
    };

MV_PCRE_WIDTH(16)
MV_PCRE_WIDTH(8)
#undef MV_PCRE_WIDTH

// Line breaks for ^ and $ in multi-line mode: CR, LF and CR LF, so that texts
// with any of the three line-break kinds behave alike. Compile contexts are
// only read during a compile, so one per width serves every thread.
template<int Width>
const typename Pcre<Width>::CompileContext *compileContext()
{
    using P = Pcre<Width>;
    static typename P::CompileContext *const context = [] {
        typename P::CompileContext *created = P::compileContextCreate(nullptr);
        P::setNewline(created, PCRE2_NEWLINE_ANYCRLF);
        return created;
    }();
    return context;
}

template<int Width>
typename Pcre<Width>::Code *compileCode(const typename Pcre<Width>::Unit *units, size_t length, quint32 options, bool jit)
{
    using P = Pcre<Width>;
    int errorCode = 0;
    PCRE2_SIZE errorOffset = 0;
    typename P::Code *code = P::compile(units, length, compileOptions(options), &errorCode, &errorOffset,
                                        const_cast<typename P::CompileContext *>(compileContext<Width>()));
    if (code && jit)
        P::jitCompile(code, PCRE2_JIT_COMPLETE); // without JIT the interpreter runs
    return code;
}

// The working memory of matches on one thread: match data large enough for
// the patterns seen so far, a match context with the limits, a JIT stack.
// A thread runs one match at a time, so this is memory of the call.
template<int Width>
struct ThreadState
{
    using P = Pcre<Width>;
    typename P::MatchData *data = nullptr;
    uint32_t pairs = 0;
    typename P::MatchContext *context = nullptr;
    typename P::JitStack *stack = nullptr;

    ThreadState()
    {
        context = P::matchContextCreate(nullptr);
        P::setMatchLimit(context, MatchLimit);
        P::setHeapLimit(context, HeapLimitKiB);
        stack = P::jitStackCreate(JitStackStart, JitStackMax, nullptr);
        if (stack)
            P::jitStackAssign(context, nullptr, stack);
    }
    ~ThreadState()
    {
        if (data)
            P::matchDataFree(data);
        if (stack)
            P::jitStackFree(stack);
        P::matchContextFree(context);
    }
    ThreadState(const ThreadState &) = delete;
    ThreadState &operator=(const ThreadState &) = delete;

    typename P::MatchData *dataFor(uint32_t neededPairs)
    {
        if (pairs < neededPairs) {
            if (data)
                P::matchDataFree(data);
            pairs = std::max(neededPairs, MinimumPairs);
            data = P::matchDataCreate(pairs, nullptr);
            if (!data)
                pairs = 0;
        }
        return data;
    }

    static ThreadState &current()
    {
        thread_local ThreadState state;
        return state;
    }
};

pcre2_code_16 *compileString(const QString &pattern, quint32 options, bool jit)
{
    return compileCode<16>(reinterpret_cast<PCRE2_SPTR16>(pattern.utf16()), size_t(pattern.size()), options, jit);
}

template<int Width>
std::optional<MVRegexMatch> runMatch(const typename Pcre<Width>::Code *code, quint32 captureCount,
                                     const typename Pcre<Width>::Unit *subject, qsizetype subjectLength,
                                     MVRange range, quint32 matchOptions,
                                     MVRegexMatch (*makeMatch)(const size_t *, int, qsizetype))
{
    using P = Pcre<Width>;
    if (!code)
        return std::nullopt;
    static const typename P::Unit empty[1] = {0};
    if (!subject || subjectLength < 0)
        subject = empty, subjectLength = 0;
    const qsizetype location = std::clamp<qsizetype>(range.location, 0, subjectLength);
    const qsizetype length = std::clamp<qsizetype>(range.length, 0, subjectLength - location);

    ThreadState<Width> &state = ThreadState<Width>::current();
    typename P::MatchData *data = state.dataFor(captureCount + 1);
    if (!data)
        return std::nullopt;
    // The range is the subject, so that ^ at its start is governed by NOTBOL
    // alone, whatever character precedes it.
    const uint32_t options = (matchOptions & MVRegex::NotBeginningOfLineOption) ? PCRE2_NOTBOL : 0;
    int rc = P::match(code, subject + location, PCRE2_SIZE(length), 0, options, data, state.context);
    if (rc == PCRE2_ERROR_JIT_STACKLIMIT)
        rc = P::match(code, subject + location, PCRE2_SIZE(length), 0, options | PCRE2_NO_JIT, data, state.context);
    if (rc <= 0)
        return std::nullopt;

    return makeMatch(P::ovectorPointer(data), rc, location);
}

} // namespace

bool MVRegex::validPattern(const QString &pattern)
{
    pcre2_code_16 *code = compileString(pattern, DefaultOptions, false);
    if (!code)
        return false;
    pcre2_code_free_16(code);
    return true;
}

std::shared_ptr<MVRegex> MVRegex::initWithPattern(const QString &pattern)
{
    return initWithPattern(pattern, DefaultOptions);
}

std::shared_ptr<MVRegex> MVRegex::initWithPattern(const QString &pattern, quint32 options)
{
    pcre2_code_16 *code = compileString(pattern, options, true);
    if (!code)
        return nullptr;
    uint32_t captureCount = 0;
    pcre2_pattern_info_16(code, PCRE2_INFO_CAPTURECOUNT, &captureCount);
    return std::shared_ptr<MVRegex>(new MVRegex(pattern, options, code, captureCount));
}

MVRegex::MVRegex(QString pattern, quint32 options, pcre2_real_code_16 *code, quint32 captureCount)
    : _pattern(std::move(pattern)), _options(options), _captureCount(captureCount), _code16(code)
{
}

MVRegex::~MVRegex()
{
    pcre2_code_free_16(_code16);
    if (_code8Compiled)
        pcre2_code_free_8(_code8Compiled);
}

pcre2_real_code_8 *MVRegex::_code8() const
{
    // Compiled on first use: most patterns are never asked about bytes.
    std::call_once(_code8Once, [this] {
        const QByteArray utf8 = _pattern.toUtf8();
        _code8Compiled = compileCode<8>(reinterpret_cast<PCRE2_SPTR8>(utf8.constData()), size_t(utf8.size()),
                                        _options, true);
    });
    return _code8Compiled;
}

std::optional<MVRegexMatch> MVRegex::copyMatchForString(const QString &string) const
{
    return copyMatchForCharacters(reinterpret_cast<const char16_t *>(string.utf16()), string.size(),
                                  MVRange{0, string.size()}, 0);
}

std::optional<MVRegexMatch> MVRegex::copyMatchForString(const QString &string, MVRange range) const
{
    return copyMatchForCharacters(reinterpret_cast<const char16_t *>(string.utf16()), string.size(), range, 0);
}

std::optional<MVRegexMatch> MVRegex::copyMatchForString(const QString &string, MVRange range, quint32 options) const
{
    return copyMatchForCharacters(reinterpret_cast<const char16_t *>(string.utf16()), string.size(), range, options);
}

std::optional<MVRegexMatch> MVRegex::copyMatchForCharacters(const char16_t *characters, qsizetype length,
                                                            MVRange range, quint32 options) const
{
    return runMatch<16>(_code16, _captureCount, reinterpret_cast<PCRE2_SPTR16>(characters), length, range, options,
                        &_matchFromOffsets);
}

std::optional<MVRegexMatch> MVRegex::copyMatchForUTF8Data(QByteArrayView data, MVRange range) const
{
    return runMatch<8>(_code8(), _captureCount, reinterpret_cast<PCRE2_SPTR8>(data.data()), data.size(), range, 0,
                       &_matchFromOffsets);
}

MVRegexMatch MVRegex::_matchFromOffsets(const size_t *offsets, int count, qsizetype location)
{
    MVRegexMatch match;
    match._ranges.resize(count);
    for (int group = 0; group < count; ++group) {
        const size_t start = offsets[2 * group];
        const size_t end = offsets[2 * group + 1];
        if (start == PCRE2_UNSET)
            match._ranges[group] = MVRange::notFound();
        else
            match._ranges[group] = MVRange{location + qsizetype(start), end > start ? qsizetype(end - start) : 0};
    }
    return match;
}
