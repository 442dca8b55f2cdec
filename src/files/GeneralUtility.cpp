#include "files/GeneralUtility.h"

#include "platform/MVUserDefaults.h"

#include <algorithm>
#include <cstring>

namespace GeneralUtility {
namespace {

LineBreakKind defaultKind()
{
    switch (MVUserDefaults::standard().integerForKey(QStringLiteral("MVLineBreak"))) {
    case 1:
        return MacLineBreak;
    case 2:
        return DOSLineBreak;
    default:
        return UnixLineBreak;
    }
}

// Finds the next CR or LF at or after p; end if none.
inline const char16_t *nextBreak(const char16_t *p, const char16_t *end)
{
    while (p < end && *p != u'\r' && *p != u'\n')
        ++p;
    return p;
}

} // namespace

QString lineBreak()
{
    switch (defaultKind()) {
    case MacLineBreak:
        return QStringLiteral("\r");
    case DOSLineBreak:
        return QStringLiteral("\r\n");
    default:
        return QStringLiteral("\n");
    }
}

QString switchLineBreaks(const QString &string, const QString &lineBreak, const QString &name)
{
    Q_UNUSED(lineBreak);
    LineBreakKind kind;
    if (name.isNull())
        kind = defaultKind();
    else if (name == QLatin1String("Unix"))
        kind = UnixLineBreak;
    else if (name == QLatin1String("Mac"))
        kind = MacLineBreak;
    else
        kind = DOSLineBreak;
    return switchLineBreaks(string, kind);
}

QString switchLineBreaks(const QString &string, LineBreakKind kind)
{
    const auto *begin = reinterpret_cast<const char16_t *>(string.constData());
    const char16_t *const end = begin + string.size();

    // First pass: count the breaks of each form, to know whether anything
    // changes and how long the result is.
    qsizetype pairs = 0, lonelyCR = 0, lonelyLF = 0;
    for (const char16_t *p = nextBreak(begin, end); p < end; p = nextBreak(p, end)) {
        if (*p == u'\r') {
            if (p + 1 < end && p[1] == u'\n') {
                ++pairs;
                p += 2;
                continue;
            }
            ++lonelyCR;
        } else {
            ++lonelyLF;
        }
        ++p;
    }
    qsizetype length = string.size();
    switch (kind) {
    case UnixLineBreak:
        if (pairs == 0 && lonelyCR == 0)
            return string;
        length -= pairs;
        break;
    case MacLineBreak:
        if (pairs == 0 && lonelyLF == 0)
            return string;
        length -= pairs;
        break;
    case DOSLineBreak:
        if (lonelyCR == 0 && lonelyLF == 0)
            return string;
        length += lonelyCR + lonelyLF;
        break;
    }

    // Second pass: copy the runs between breaks, write each break anew.
    QString result(length, Qt::Uninitialized);
    auto *out = reinterpret_cast<char16_t *>(result.data());
    const char16_t *p = begin;
    while (p < end) {
        const char16_t *next = nextBreak(p, end);
        std::memcpy(out, p, size_t(next - p) * sizeof(char16_t));
        out += next - p;
        if (next == end)
            break;
        const bool pair = *next == u'\r' && next + 1 < end && next[1] == u'\n';
        if (pair) {
            if (kind == DOSLineBreak)
                *out++ = u'\r';
            *out++ = u'\n';
            p = next + 2;
            continue;
        }
        switch (kind) {
        case UnixLineBreak:
            *out++ = u'\n';
            break;
        case MacLineBreak:
            *out++ = u'\r';
            break;
        case DOSLineBreak:
            *out++ = u'\r';
            *out++ = u'\n';
            break;
        }
        p = next + 1;
    }
    Q_ASSERT(out == reinterpret_cast<char16_t *>(result.data()) + length);
    return result;
}

std::optional<LineBreakKind> firstLineBreakKind(QStringView text, bool atEnd)
{
    const auto *begin = reinterpret_cast<const char16_t *>(text.data());
    const char16_t *const end = begin + text.size();
    const char16_t *found = nextBreak(begin, end);
    if (found == end)
        return std::nullopt;
    if (*found == u'\n')
        return UnixLineBreak;
    if (found + 1 < end)
        return found[1] == u'\n' ? DOSLineBreak : MacLineBreak;
    return atEnd ? std::optional<LineBreakKind>(MacLineBreak) : std::nullopt;
}

QString tabSpaces()
{
    MVUserDefaults &defaults = MVUserDefaults::standard();
    if (!defaults.boolForKey(QStringLiteral("MVTabsAreSpaces")))
        return QStringLiteral("\t");
    const QString sizeKey = QStringLiteral("MVTabSizeKey");
    const qint64 size = defaults.isNumber(sizeKey) ? defaults.integerForKey(sizeKey) : 4;
    return QString(int(std::clamp<qint64>(size, 1, 64)), QLatin1Char(' '));
}

} // namespace GeneralUtility
