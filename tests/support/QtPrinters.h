#pragma once

// Lets GoogleTest print Qt strings and lists readably in failure messages.
#include <QString>
#include <QStringList>

#include <ostream>

QT_BEGIN_NAMESPACE
inline void PrintTo(const QString &s, std::ostream *os)
{
    *os << '"' << s.toStdString() << '"';
}

inline void PrintTo(const QStringList &list, std::ostream *os)
{
    *os << "{";
    for (qsizetype i = 0; i < list.size(); ++i)
        *os << (i ? ",\n  \"" : "\n  \"") << list[i].toStdString() << '"';
    *os << "\n}";
}
QT_END_NAMESPACE
