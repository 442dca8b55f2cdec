#include "remote/MVTerminalText.h"

#include "platform/MVStringTable.h"

namespace {

// Windows-1252 for 0x80-0x9F; the unassigned 0x81, 0x8D, 0x8F, 0x90 and
// 0x9D map to the control characters of the same value.
constexpr char16_t kHighControls[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

char16_t fallbackCharacter(unsigned char byte)
{
    if (byte >= 0x80 && byte < 0xA0)
        return kHighControls[byte - 0x80];
    return char16_t(byte);
}

// Length of the valid UTF-8 sequence at p (1 to 4), 0 if invalid or cut
// short by end; *codePoint receives its value.
int validSequence(const unsigned char *p, const unsigned char *end, char32_t *codePoint)
{
    const unsigned char b0 = p[0];
    int length;
    char32_t value;
    char32_t minimum;
    if (b0 < 0x80) {
        *codePoint = b0;
        return 1;
    } else if (b0 >= 0xC2 && b0 <= 0xDF) {
        length = 2; value = b0 & 0x1F; minimum = 0x80;
    } else if (b0 >= 0xE0 && b0 <= 0xEF) {
        length = 3; value = b0 & 0x0F; minimum = 0x800;
    } else if (b0 >= 0xF0 && b0 <= 0xF4) {
        length = 4; value = b0 & 0x07; minimum = 0x10000;
    } else {
        return 0;
    }
    if (end - p < length)
        return 0;
    for (int i = 1; i < length; ++i) {
        if ((p[i] & 0xC0) != 0x80)
            return 0;
        value = (value << 6) | (p[i] & 0x3F);
    }
    if (value < minimum || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF))
        return 0;
    *codePoint = value;
    return length;
}

} // namespace

QString MVTerminalText::decode(QByteArrayView bytes)
{
    QString text;
    text.resize(bytes.size());
    char16_t *out = reinterpret_cast<char16_t *>(text.data());
    qsizetype count = 0;
    const auto *p = reinterpret_cast<const unsigned char *>(bytes.data());
    const auto *end = p + bytes.size();
    while (p < end) {
        if (*p < 0x80) {
            out[count++] = *p++;
            continue;
        }
        char32_t codePoint = 0;
        const int length = validSequence(p, end, &codePoint);
        if (length == 0) {
            out[count++] = fallbackCharacter(*p++);
        } else if (codePoint >= 0x10000) {
            // Four bytes give two code units: there is always room.
            out[count++] = char16_t(0xD800 + ((codePoint - 0x10000) >> 10));
            out[count++] = char16_t(0xDC00 + ((codePoint - 0x10000) & 0x3FF));
            p += length;
        } else {
            out[count++] = char16_t(codePoint);
            p += length;
        }
    }
    text.truncate(count);
    return text;
}

qsizetype MVTerminalText::unfinishedSuffixLength(QByteArrayView bytes)
{
    const auto *data = reinterpret_cast<const unsigned char *>(bytes.data());
    const qsizetype size = bytes.size();
    // Look back at most three bytes for the lead byte of a sequence.
    for (qsizetype back = 1; back <= 3 && back <= size; ++back) {
        const unsigned char b = data[size - back];
        if ((b & 0xC0) == 0x80)
            continue;
        int needed = 0;
        if (b >= 0xC2 && b <= 0xDF)
            needed = 2;
        else if (b >= 0xE0 && b <= 0xEF)
            needed = 3;
        else if (b >= 0xF0 && b <= 0xF4)
            needed = 4;
        if (needed <= back)
            return 0;
        // The second byte of E0, ED, F0 and F4 sequences has a narrower range.
        if (back >= 2) {
            const unsigned char b1 = data[size - back + 1];
            if ((b == 0xE0 && b1 < 0xA0) || (b == 0xED && b1 > 0x9F) || (b == 0xF0 && b1 < 0x90) || (b == 0xF4 && b1 > 0x8F))
                return 0;
        }
        return back;
    }
    return 0;
}

QString MVTerminalText::refusalForCommand(const QString &command)
{
    for (const QChar c : command) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7F)
            return MVLocalizedString(QStringLiteral("The command holds a control character and was not sent."));
    }
    if (command.toUtf8().size() > MaximumCommandBytes)
        return MVLocalizedString(QStringLiteral("The command is longer than %1 bytes and was not sent.")).arg(MaximumCommandBytes);
    return {};
}

QString MVTerminalDecoder::decode(QByteArrayView chunk)
{
    QByteArray bytes = _pending;
    bytes.append(chunk);
    const qsizetype keep = MVTerminalText::unfinishedSuffixLength(bytes);
    _pending = bytes.right(keep);
    bytes.chop(keep);
    return MVTerminalText::decode(bytes);
}
