#include "remote/MVListingDate.h"

#include <QString>

#include <algorithm>

namespace {

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool allDigits(QByteArrayView word, qsizetype minimum, qsizetype maximum)
{
    if (word.size() < minimum || word.size() > maximum)
        return false;
    return std::all_of(word.begin(), word.end(), isDigit);
}

// Removes a suffix if the word ends in it and something is left.
QByteArrayView withoutSuffix(QByteArrayView word, QByteArrayView suffix)
{
    if (word.size() > suffix.size() && word.endsWith(suffix))
        return word.first(word.size() - suffix.size());
    return word;
}

// Digits and separators in the given shape: 'd' a digit, anything else itself.
bool hasShape(QByteArrayView word, const char *shape)
{
    qsizetype i = 0;
    for (; shape[i]; ++i) {
        if (i >= word.size())
            return false;
        if (shape[i] == 'd' ? !isDigit(word[i]) : word[i] != shape[i])
            return false;
    }
    return i == word.size();
}

// Month abbreviations and names as ls and FTP servers print them, lower
// case, without a trailing full stop.
const char *const asciiMonths[] = {
    // English
    "jan", "feb", "mar", "apr", "may", "jun", "jul", "aug", "sep", "oct", "nov", "dec", "sept",
    // German
    "mrz", "mai", "okt", "dez",
    // French
    "janv", "fevr", "mars", "avr", "juin", "juil", "aout",
    // Spanish, Italian, Portuguese
    "ene", "abr", "ago", "dic", "gen", "mag", "giu", "lug", "set", "ott", "fev", "out",
    // Dutch, Polish, Swedish
    "mrt", "mei", "sty", "lut", "kwi", "maj", "cze", "lip", "sie", "wrz", "lis", "gru",
};

const char16_t *const otherMonths[] = {
    u"mär", u"févr", u"déc", u"août", u"paź",
    // Russian
    u"янв", u"фев", u"мар", u"апр", u"мая", u"май", u"июн", u"июл", u"авг", u"сен", u"окт", u"ноя", u"дек",
};

bool isAsciiMonth(QByteArrayView word)
{
    if (word.size() < 3 || word.size() > 5)
        return false;
    char lower[6] = {};
    for (qsizetype i = 0; i < word.size(); ++i) {
        const char c = word[i];
        if (c >= 'A' && c <= 'Z')
            lower[i] = char(c - 'A' + 'a');
        else if (c >= 'a' && c <= 'z')
            lower[i] = c;
        else
            return false;
    }
    return std::any_of(std::begin(asciiMonths), std::end(asciiMonths),
                       [&](const char *month) { return QByteArrayView(month) == QByteArrayView(lower, word.size()); });
}

} // namespace

bool MVListingDate::isMonth(QByteArrayView word)
{
    word = withoutSuffix(word, ".");
    // "11月" and "11월" in Chinese, Japanese and Korean listings.
    for (QByteArrayView suffix : {QByteArrayView("\xe6\x9c\x88"), QByteArrayView("\xec\x9b\x94")}) {
        if (word.size() > suffix.size() && word.endsWith(suffix)) {
            const QByteArrayView number = word.first(word.size() - suffix.size());
            return allDigits(number, 1, 2);
        }
    }
    if (isAsciiMonth(word))
        return true;
    if (word.size() < 4 || word.size() > 12 || std::all_of(word.begin(), word.end(), [](char c) { return uchar(c) < 0x80; }))
        return false;
    const QString text = QString::fromUtf8(word).toLower();
    return std::any_of(std::begin(otherMonths), std::end(otherMonths),
                       [&](const char16_t *month) { return text == QStringView(month); });
}

bool MVListingDate::isDay(QByteArrayView word)
{
    word = withoutSuffix(withoutSuffix(withoutSuffix(word, "."), "\xe6\x97\xa5"), "\xec\x9d\xbc");
    return allDigits(word, 1, 2);
}

bool MVListingDate::isTime(QByteArrayView word)
{
    if (word.size() > 8 && word[8] == '.') { // seconds with a fraction
        if (!allDigits(word.sliced(9), 1, 9))
            return false;
        word = word.first(8);
    }
    return hasShape(word, "d:dd") || hasShape(word, "dd:dd") || hasShape(word, "dd:dd:dd");
}

bool MVListingDate::isYear(QByteArrayView word)
{
    return allDigits(withoutSuffix(word, "\xe5\xb9\xb4"), 4, 4);
}

int MVListingDate::wordsAt(const QList<QByteArrayView> &words, qsizetype first)
{
    const qsizetype count = words.size() - first;
    if (count <= 0)
        return 0;
    auto word = [&](qsizetype i) { return first + i < words.size() ? words[first + i] : QByteArrayView(); };
    const QByteArrayView a = word(0);
    const QByteArrayView b = word(1);
    const QByteArrayView c = word(2);
    const bool timeOrYear = count >= 3 && (isTime(c) || isYear(c));
    // "Nov 25 06:29", "Sep  9  2001", "11月 25 06:29"
    if (timeOrYear && isMonth(a) && isDay(b))
        return 3;
    // "25. Nov 06:29", "25 nov. 2001"
    if (timeOrYear && isDay(a) && isMonth(b))
        return 3;
    // "2024-01-05", with a time, and with seconds a zone: "… 14:33:00.000000000 +0100"
    const bool fullDate = hasShape(a, "dddd-dd-dd") || hasShape(a, "dd.dd.dddd") || hasShape(a, "dd/dd/dddd")
        || hasShape(a, "dddd/dd/dd") || hasShape(a, "dd-dd-dddd") || hasShape(a, "dd.dd.dd");
    if (fullDate || hasShape(a, "dd-dd")) {
        if (count >= 2 && isTime(b)) {
            if (b.size() >= 8 && count >= 3 && (hasShape(c, "+dddd") || hasShape(c, "-dddd")))
                return 3;
            return 2;
        }
        return fullDate ? 1 : 0;
    }
    return 0;
}
