#pragma once

#include "files/MVFileFilter.h"

#include <QString>
#include <QVariantList>

#include <memory>
#include <mutex>
#include <vector>

// Decides which names are hidden from every file list: the user's filters
// from "siteViewFiles.plist" (the user's copy first, loaded at first use),
// then two fixed filters that are always on (our own bookkeeping files and
// the version-control directories). Safe to ask from several threads.
class MVFileFilters
{
public:
    using FilterPtr = std::shared_ptr<MVFileFilter>;

    static MVFileFilters &sharedFilters();

    // Filters from the list at sourcePath (by default the user's copy, else
    // the application's), committed to commitPath (by default the user's copy).
    explicit MVFileFilters(const QString &sourcePath = QString(), const QString &commitPath = QString());
    MVFileFilters(const MVFileFilters &) = delete;
    MVFileFilters &operator=(const MVFileFilters &) = delete;

    // Writes the user's filters atomically; on success nothing is modified any more.
    bool commit(QString *error = nullptr);
    // True if the list or any filter in it changed.
    bool modified() const;
    // Setting false also clears the mark of every filter.
    void setModified(bool modified);

    // True if the name is hidden: by a user's filter, else by a fixed one.
    bool stringMatchesFilters(const QString &name) const;
    // The entries (dictionaries) whose value for the key is not hidden.
    QVariantList filterArray(const QVariantList &list, const QString &key) const;
    // The same for any list, with the name of an entry given by nameOf.
    template <typename T, typename NameOf>
    std::vector<T> filterArray(const std::vector<T> &list, NameOf nameOf) const
    {
        std::vector<T> kept;
        for (const T &entry : list) {
            if (!stringMatchesFilters(nameOf(entry)))
                kept.push_back(entry);
        }
        return kept;
    }

    // The user's filters.
    std::vector<FilterPtr> filters() const;
    qsizetype countOfFilters() const;
    FilterPtr objectInFiltersAtIndex(qsizetype index) const;
    void insertObjectInFiltersAtIndex(const FilterPtr &filter, qsizetype index);
    void removeObjectFromFiltersAtIndex(qsizetype index);
    // The fixed filters, which cannot be edited or turned off.
    const std::vector<FilterPtr> &defaultFilters() const { return _defaultFilters; }

private:
    void _loadIfNeeded() const;

    QString _sourcePath;
    QString _commitPath;
    mutable std::mutex _mutex;
    mutable bool _loaded = false;
    mutable std::vector<FilterPtr> _filters;
    std::vector<FilterPtr> _defaultFilters;
    bool _modified = false;
};
