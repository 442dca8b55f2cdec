#pragma once

#include <QList>
#include <QString>

#include <functional>

class QMenu;

// The menu of encodings to reopen a file with, built from "charsets.plist":
// a list whose strings are separators and whose dictionaries give an item
// "full (short)" that stands for the encoding named "short".
class MVEncodingMenu
{
public:
    struct Entry
    {
        QString title;     // empty for a separator
        QString shortName; // the encoding's name in the table
    };

    // The entries of the file; nothing for a missing or malformed file, and
    // dictionaries without both names are skipped.
    static QList<Entry> entriesFromFile(const QString &path);
    // The application's list (the user's copy first).
    static QList<Entry> entries();
    // Adds the entries to the menu; choosing one calls reopen with its name.
    static void addItemsToMenu(QMenu *menu, const std::function<void(const QString &shortName)> &reopen);
};
