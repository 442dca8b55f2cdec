#include "shell/MVEncodingMenu.h"

#include "app/Defaults.h"
#include "platform/MVPropertyList.h"

#include <QMenu>

QList<MVEncodingMenu::Entry> MVEncodingMenu::entriesFromFile(const QString &path)
{
    QList<Entry> result;
    if (path.isEmpty())
        return result;
    const std::optional<QVariant> plist = MVPropertyList::readFile(path);
    if (!plist || plist->typeId() != QMetaType::QVariantList)
        return result;
    for (const QVariant &item : plist->toList()) {
        if (item.typeId() == QMetaType::QString) {
            if (!result.isEmpty() && !result.last().title.isEmpty())
                result << Entry{};
            continue;
        }
        const QVariantMap map = item.toMap();
        const QString full = map.value(QStringLiteral("full")).toString();
        const QString shortName = map.value(QStringLiteral("short")).toString();
        if (full.isEmpty() || shortName.isEmpty())
            continue;
        result << Entry{QStringLiteral("%1 (%2)").arg(full, shortName), shortName};
    }
    if (!result.isEmpty() && result.last().title.isEmpty())
        result.removeLast();
    return result;
}

QList<MVEncodingMenu::Entry> MVEncodingMenu::entries()
{
    static const QList<Entry> cached = entriesFromFile(
        Defaults::pathForResource(QStringLiteral("charsets"), QStringLiteral("plist"), QStringLiteral("data")));
    return cached;
}

void MVEncodingMenu::addItemsToMenu(QMenu *menu, const std::function<void(const QString &)> &reopen)
{
    for (const Entry &entry : entries()) {
        if (entry.title.isEmpty()) {
            menu->addSeparator();
            continue;
        }
        QAction *action = menu->addAction(entry.title);
        action->setData(entry.shortName);
        const QString name = entry.shortName;
        QObject::connect(action, &QAction::triggered, menu, [reopen, name] { reopen(name); });
    }
}
