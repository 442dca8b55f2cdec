#pragma once

#include <QByteArrayView>
#include <QList>

// Finds the date among the blank-separated words of a listing line. Servers
// print it in many ways: "Nov 25 06:29" and "Sep  9  2001" from ls, the same
// in other languages ("25. Nov", "nov.", "11月"), ISO ("2024-01-05 14:33",
// with seconds and zone, or "01-05 14:33"), and numeric ("05.01.2024").
// Month names come from a fixed table of the common languages, so that an
// owner or group word is not taken for a month.
class MVListingDate
{
public:
    // The number of words, beginning with words[first], that make a date;
    // 0 if none does. At most three words are read.
    static int wordsAt(const QList<QByteArrayView> &words, qsizetype first);

    static bool isMonth(QByteArrayView word);
    static bool isDay(QByteArrayView word);
    static bool isTime(QByteArrayView word);
    static bool isYear(QByteArrayView word);
};
