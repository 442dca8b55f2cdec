#pragma once

#include <QString>
#include <QVariantMap>

// The keyed table of user texts ("Localizable.plist" among the resources).
// A key that is not in the table stands for itself, so a text written in
// the code as its own key still reads well.
class MVStringTable
{
public:
    static MVStringTable &sharedTable();

    // Loads the table from a property list; an unreadable file leaves it empty.
    void loadFromFile(const QString &path);
    void setEntries(const QVariantMap &entries);

    QString text(const QString &key) const;

private:
    QVariantMap _entries;
};

// The user text for a key.
QString MVLocalizedString(const QString &key);
