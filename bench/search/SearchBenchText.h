#pragma once

#include <QString>
#include <QStringList>

// A page of PHP and HTML repeated up to a size: quotes, escapes, tags,
// trailing blanks and non-ASCII letters, as the search benchmarks want them.
inline QString searchBenchText(qsizetype size)
{
    static const QStringList lines = {
        QStringLiteral("<?php"),
        QStringLiteral("// Lists the orders of one customer, newest first.   "),
        QStringLiteral("function listOrders($customer, $limit = 20) {"),
        QStringLiteral("    $query = \"SELECT id, total FROM orders WHERE note = \\\"x\\\" AND customer = ?\";\t"),
        QStringLiteral("    foreach ($db->rows($query, [$customer->id]) as $row) {"),
        QStringLiteral("        echo '<tr><td class=\"id\">' . htmlspecialchars($row['id']) . '</td></tr>';"),
        QStringLiteral("    }"),
        QStringLiteral("    return count($rows) > $limit ? array_slice($rows, 0, $limit) : $rows;  "),
        QStringLiteral("}"),
        QStringLiteral("?>"),
        QStringLiteral("<div id=\"main\" class=\"content wide\"><p>Résumé of the café — naïve &amp; done</p></div>"),
        QStringLiteral("<script>document.querySelectorAll('a.external').forEach(a => a.target = '_blank');</script>"),
    };
    QString text;
    text.reserve(size + 200);
    for (qsizetype i = 0; text.size() < size; ++i) {
        text += lines[i % lines.size()];
        text += QLatin1Char('\n');
    }
    return text;
}
