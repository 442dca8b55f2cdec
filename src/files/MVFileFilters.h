#pragma once

#include <QRegularExpression>
#include <QString>

#include <mutex>
#include <vector>

// Decides which names are hidden from every file list. Holds the fixed
// filters that are always on (our own bookkeeping files and the
// version-control directories); safe to ask from several threads.
class MVFileFilters
{
public:
    static MVFileFilters &sharedFilters();

    // True if the name is hidden.
    bool stringMatchesFilters(const QString &name) const;

private:
    MVFileFilters();

    std::vector<QRegularExpression> _defaultFilters;
    mutable std::mutex _mutex;
};
