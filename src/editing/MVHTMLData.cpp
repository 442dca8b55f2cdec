#include "editing/MVHTMLData.h"

#include "app/Defaults.h"
#include "platform/MVLog.h"
#include "platform/MVPropertyList.h"

#include <QFileInfo>

#include <optional>

namespace {

std::optional<QHash<QString, int>> &tagTable()
{
    static std::optional<QHash<QString, int>> table;
    return table;
}

std::optional<QHash<QChar, QString>> &characterTable()
{
    static std::optional<QHash<QChar, QString>> table;
    return table;
}

QString dataPath(const QString &name)
{
    return Defaults::pathForResource(name, QStringLiteral("plist"), QStringLiteral("data"));
}

const QHash<QString, int> &tags()
{
    auto &table = tagTable();
    if (!table) {
        table.emplace();
        const QString path = dataPath(QStringLiteral("specialTagFormatting"));
        QString error;
        const auto plist = path.isEmpty() ? std::nullopt : MVPropertyList::readDictionary(path, &error);
        if (!plist) {
            MVLog::line(QStringLiteral("NO TAG FORMATTING TABLE (%1), EVERY TAG IS INLINE").arg(path.isEmpty() ? QStringLiteral("missing") : error));
        } else {
            for (auto it = plist->cbegin(); it != plist->cend(); ++it) {
                bool ok = false;
                const int kind = it.value().toInt(&ok);
                if (ok)
                    table->insert(it.key().toLower(), kind);
            }
        }
    }
    return *table;
}

} // namespace

namespace MVHTMLData {

int tagKind(const QString &name, bool xml)
{
    const int kind = tags().value(name.toLower(), Inline);
    if (kind == NoClosingTag)
        return kind;
    if (xml)
        return Inline;
    return kind == Empty || kind == Block ? kind : Inline;
}

bool hasTagKind(const QString &name)
{
    return tags().contains(name.toLower());
}

const QHash<QChar, QString> &specialCharacters()
{
    auto &table = characterTable();
    if (table)
        return *table;
    table.emplace();
    const QString path = dataPath(QStringLiteral("specialCharacters"));
    QString error;
    const auto plist = path.isEmpty() ? std::nullopt : MVPropertyList::readDictionary(path, &error);
    if (!plist) {
        MVLog::line(QStringLiteral("NO SPECIAL CHARACTERS TABLE (%1), NO ENTITIES ARE TYPED").arg(path.isEmpty() ? QStringLiteral("missing") : error));
        return *table;
    }
    for (auto group = plist->cbegin(); group != plist->cend(); ++group) {
        if (group.key() == QLatin1String("Accents"))
            continue;
        for (const QVariant &entry : group.value().toList()) {
            const QVariantMap map = entry.toMap();
            const QString appearance = map.value(QStringLiteral("appearance")).toString();
            const QString value = map.value(QStringLiteral("value")).toString();
            // One character outside ASCII: a table entry for "&" or "<"
            // would turn markup into text.
            if (appearance.size() != 1 || appearance.front().unicode() < 0x80 || value.isEmpty())
                continue;
            table->insert(appearance.front(), value);
        }
    }
    return *table;
}

void reset()
{
    tagTable().reset();
    characterTable().reset();
}

} // namespace MVHTMLData
