#include "files/MVFileFilters.h"

#include "files/DataListFile.h"

#include <algorithm>

namespace {

const QString FileName = QStringLiteral("siteViewFiles");

} // namespace

MVFileFilters &MVFileFilters::sharedFilters()
{
    static MVFileFilters filters;
    return filters;
}

MVFileFilters::MVFileFilters(const QString &sourcePath, const QString &commitPath)
    : _sourcePath(sourcePath), _commitPath(commitPath)
{
    static const char *const patterns[] = {
        R"((\.DS_Store$)|(\.Morvel$)|(\.mvproj$)|(\.tmp_Morvel))",
        R"((\.svn$)|(\.git$)|(CVS$)|(\.gitignore)|(\.cvsignore))",
    };
    for (const char *pattern : patterns)
        _defaultFilters.push_back(MVFileFilter::filterWithPattern(QString::fromLatin1(pattern)));
}

void MVFileFilters::_loadIfNeeded() const
{
    // With the mutex held.
    if (_loaded)
        return;
    _loaded = true;
    const std::optional<QVariant> plist = DataListFile::read(FileName, _sourcePath, QMetaType::QVariantList,
                                                             QStringLiteral("FILE FILTERS"));
    if (!plist)
        return;
    for (const QVariant &entry : plist->toList()) {
        if (entry.typeId() == QMetaType::QVariantMap)
            _filters.push_back(MVFileFilter::filterWithPlist(entry.toMap()));
    }
}

bool MVFileFilters::commit(QString *error)
{
    QVariantList plist;
    for (const FilterPtr &filter : filters())
        plist.append(filter->plistRepresentation());
    if (!DataListFile::write(plist, FileName, _commitPath, error))
        return false;
    setModified(false);
    return true;
}

bool MVFileFilters::modified() const
{
    std::lock_guard lock(_mutex);
    _loadIfNeeded();
    return _modified || std::any_of(_filters.begin(), _filters.end(), [](const FilterPtr &f) { return f->modified(); });
}

void MVFileFilters::setModified(bool modified)
{
    std::lock_guard lock(_mutex);
    _loadIfNeeded();
    _modified = modified;
    if (!modified) {
        for (const FilterPtr &filter : _filters)
            filter->setModified(false);
    }
}

bool MVFileFilters::stringMatchesFilters(const QString &name) const
{
    std::vector<FilterPtr> user;
    {
        std::lock_guard lock(_mutex);
        _loadIfNeeded();
        user = _filters;
    }
    for (const FilterPtr &filter : user) {
        if (filter->matchesString(name))
            return true;
    }
    for (const FilterPtr &filter : _defaultFilters) {
        if (filter->matchesString(name))
            return true;
    }
    return false;
}

QVariantList MVFileFilters::filterArray(const QVariantList &list, const QString &key) const
{
    QVariantList kept;
    for (const QVariant &entry : list) {
        if (!stringMatchesFilters(entry.toMap().value(key).toString()))
            kept.append(entry);
    }
    return kept;
}

std::vector<MVFileFilters::FilterPtr> MVFileFilters::filters() const
{
    std::lock_guard lock(_mutex);
    _loadIfNeeded();
    return _filters;
}

qsizetype MVFileFilters::countOfFilters() const
{
    std::lock_guard lock(_mutex);
    _loadIfNeeded();
    return static_cast<qsizetype>(_filters.size());
}

MVFileFilters::FilterPtr MVFileFilters::objectInFiltersAtIndex(qsizetype index) const
{
    std::lock_guard lock(_mutex);
    _loadIfNeeded();
    if (index < 0 || index >= static_cast<qsizetype>(_filters.size()))
        return nullptr;
    return _filters[static_cast<size_t>(index)];
}

void MVFileFilters::insertObjectInFiltersAtIndex(const FilterPtr &filter, qsizetype index)
{
    if (!filter)
        return;
    std::lock_guard lock(_mutex);
    _loadIfNeeded();
    index = std::clamp<qsizetype>(index, 0, static_cast<qsizetype>(_filters.size()));
    _filters.insert(_filters.begin() + index, filter);
    _modified = true;
}

void MVFileFilters::removeObjectFromFiltersAtIndex(qsizetype index)
{
    std::lock_guard lock(_mutex);
    _loadIfNeeded();
    if (index < 0 || index >= static_cast<qsizetype>(_filters.size()))
        return;
    _filters.erase(_filters.begin() + index);
    _modified = true;
}
