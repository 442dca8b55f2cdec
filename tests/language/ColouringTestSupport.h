#pragma once

#include "language/MVParser.h"
#include "language/MVResourceChecker.h"
#include "language/MVSyntaxColouring.h"
#include "language/MVTheme.h"
#include "text/MVTextStorage.h"

#include <QHash>
#include <QStringList>
#include <QVariantList>

#include <memory>

namespace ColouringTest {

// A theme that gives every standard style its own colour, so that a colour
// on the text names the style that put it there.
inline const QHash<QRgb, QString> &styleOfColour();

inline QColor colourOfStyle(qsizetype index)
{
    return QColor(0x10, int(index >> 8) & 0xff, int(index & 0xff));
}

inline std::shared_ptr<MVTheme> styleTheme()
{
    QVariantList styles;
    const QStringList &ids = MVResourceChecker::standardStyleIdentifiers();
    for (qsizetype i = 0; i < ids.size(); ++i)
        styles.append(QVariantMap{{"id", ids[i]}, {"foreground", colourOfStyle(i + 1).name()}});
    return MVTheme::initWithPlist(QVariantMap{
        {"id", "test.styles"},
        {"format-title", "Styles"},
        {"global-settings",
         QVariantMap{{"background", "#ffffff"},
                     {"foreground", "#000000"},
                     {"insertion-point", "#000000"},
                     {"invisibles", "#888888"},
                     {"selection", "#ccddff"}}},
        {"styles", styles},
    });
}

inline const QHash<QRgb, QString> &styleOfColour()
{
    static const QHash<QRgb, QString> map = [] {
        QHash<QRgb, QString> result;
        const QStringList &ids = MVResourceChecker::standardStyleIdentifiers();
        for (qsizetype i = 0; i < ids.size(); ++i)
            result.insert(colourOfStyle(i + 1).rgba(), ids[i]);
        return result;
    }();
    return map;
}

inline MVTextAttributes standardAttributes()
{
    return MVTextAttributes().setForeground(Qt::black).setBackground(Qt::white);
}

// The style at a location: its identifier, or "-" for plain text.
inline QString styleAt(const MVTextStorage &storage, qsizetype index)
{
    const MVTextAttributes attributes = storage.attributesAtIndex(index);
    if (!attributes.has(MVAttribute::ForegroundColor) || attributes.foreground() == QColor(Qt::black).rgba())
        return QStringLiteral("-");
    return styleOfColour().value(attributes.foreground(), "?");
}

// The coloured pieces of the text in order, "text=style" separated by "|",
// where neighbouring characters of one style form one piece.
inline QString tokens(const MVTextStorage &storage)
{
    QStringList pieces;
    qsizetype start = 0;
    while (start < storage.length()) {
        const QString style = styleAt(storage, start);
        qsizetype end = start + 1;
        while (end < storage.length() && styleAt(storage, end) == style)
            ++end;
        if (style != "-")
            pieces << storage.substring(MVRange{start, end - start}) + '=' + style;
        start = end;
    }
    return pieces.join('|');
}

// Which characters carry the multi-line mark, as a string of "m" and ".".
inline QString multiLineMarks(const MVTextStorage &storage)
{
    QString marks;
    for (qsizetype i = 0; i < storage.length(); ++i)
        marks += storage.attributesAtIndex(i).isMultiLine() ? 'm' : '.';
    return marks;
}

// Colours a whole text with a parser as a view does on loading.
inline void colour(MVTextStorage &storage, const MVParser *parser)
{
    MVSyntaxColouring::syntaxHighlight(MVRange{0, storage.length()}, storage, standardAttributes(), parser);
}

} // namespace ColouringTest
