#include "platform/MVStringTable.h"

#include "platform/MVLog.h"
#include "platform/MVPropertyList.h"

#include <QFileInfo>

MVStringTable &MVStringTable::sharedTable()
{
    static MVStringTable table;
    return table;
}

void MVStringTable::loadFromFile(const QString &path)
{
    QString error;
    auto entries = MVPropertyList::readDictionary(path, &error);
    if (!entries) {
        MVLog::line(QStringLiteral("STRING TABLE UNREADABLE: %1").arg(error));
        return;
    }
    _entries = *entries;
}

void MVStringTable::setEntries(const QVariantMap &entries)
{
    _entries = entries;
}

QString MVStringTable::text(const QString &key) const
{
    const QVariant v = _entries.value(key);
    return v.typeId() == QMetaType::QString ? v.toString() : key;
}

QString MVLocalizedString(const QString &key)
{
    return MVStringTable::sharedTable().text(key);
}
