#include "files/MVFileCategory.h"

#include "files/MVFileCategories.h"

#include <algorithm>

namespace {

const QString TypesKey = QStringLiteral("types");
const QString InsertKey = QStringLiteral("insertWhenDragged");

// Locks the registry that holds the category, if there is one.
class RegistryLock
{
public:
    explicit RegistryLock(MVFileCategories *registry) : _registry(registry)
    {
        if (_registry)
            _registry->lock().lock();
    }
    ~RegistryLock()
    {
        if (_registry)
            _registry->lock().unlock();
    }
    RegistryLock(const RegistryLock &) = delete;
    RegistryLock &operator=(const RegistryLock &) = delete;

private:
    MVFileCategories *_registry;
};

} // namespace

MVFileCategory::MVFileCategory(const QString &title, const QVariantMap &definition, MVFileCategories *registry)
    : _registry(registry), _title(title)
{
    const QVariant insert = definition.value(InsertKey);
    if (insert.typeId() == QMetaType::QVariantMap)
        _insertWhenDragged = insert.toMap();
    const QVariant types = definition.value(TypesKey);
    if (types.typeId() != QMetaType::QVariantList && types.typeId() != QMetaType::QStringList)
        return;
    for (const QVariant &type : types.toList()) {
        if (type.typeId() != QMetaType::QString)
            continue;
        const QString extension = type.toString();
        if (extension.isEmpty() || hasType(extension))
            continue;
        const auto at = std::find_if(_types.begin(), _types.end(), [&](const TypePtr &existing) {
            return QString::compare(existing->title(), extension, Qt::CaseInsensitive) > 0;
        });
        _types.insert(at, std::make_shared<MVFileCategoryType>(extension, this));
    }
}

MVFileCategory::~MVFileCategory() = default;

std::shared_ptr<MVFileCategory> MVFileCategory::copy() const
{
    RegistryLock lock(_registry);
    return std::make_shared<MVFileCategory>(_title, plistRepresentation());
}

int MVFileCategory::compare(const MVFileCategory &other) const
{
    return QString::compare(title(), other.title(), Qt::CaseInsensitive);
}

QVariantMap MVFileCategory::plistRepresentation() const
{
    RegistryLock lock(_registry);
    QVariantMap plist;
    plist.insert(TypesKey, typeTitles());
    if (!_insertWhenDragged.isEmpty())
        plist.insert(InsertKey, _insertWhenDragged);
    return plist;
}

QString MVFileCategory::title() const
{
    RegistryLock lock(_registry);
    return _title;
}

void MVFileCategory::setTitle(const QString &title)
{
    RegistryLock lock(_registry);
    _title = title;
}

QVariantMap MVFileCategory::insertWhenDragged() const
{
    RegistryLock lock(_registry);
    return _insertWhenDragged;
}

void MVFileCategory::setInsertWhenDragged(const QVariantMap &insert)
{
    RegistryLock lock(_registry);
    _insertWhenDragged = insert;
}

bool MVFileCategory::hasType(const QString &extension) const
{
    RegistryLock lock(_registry);
    return std::any_of(_types.begin(), _types.end(), [&](const TypePtr &type) { return type->title() == extension; });
}

bool MVFileCategory::addType(const QString &extension)
{
    RegistryLock lock(_registry);
    if (extension.isEmpty() || hasType(extension))
        return false;
    const auto at = std::find_if(_types.begin(), _types.end(), [&](const TypePtr &type) {
        return QString::compare(type->title(), extension, Qt::CaseInsensitive) > 0;
    });
    insertObjectInTypesAtIndex(std::make_shared<MVFileCategoryType>(extension, this), at - _types.begin());
    return true;
}

QStringList MVFileCategory::typeTitles() const
{
    RegistryLock lock(_registry);
    QStringList titles;
    for (const TypePtr &type : _types)
        titles.append(type->title());
    return titles;
}

std::vector<MVFileCategory::TypePtr> MVFileCategory::types() const
{
    RegistryLock lock(_registry);
    return _types;
}

qsizetype MVFileCategory::countOfTypes() const
{
    RegistryLock lock(_registry);
    return static_cast<qsizetype>(_types.size());
}

MVFileCategory::TypePtr MVFileCategory::objectInTypesAtIndex(qsizetype index) const
{
    RegistryLock lock(_registry);
    if (index < 0 || index >= countOfTypes())
        return nullptr;
    return _types[static_cast<size_t>(index)];
}

void MVFileCategory::insertObjectInTypesAtIndex(const TypePtr &type, qsizetype index)
{
    if (!type || type->title().isEmpty())
        return;
    RegistryLock lock(_registry);
    index = std::clamp<qsizetype>(index, 0, countOfTypes());
    type->setParent(this);
    _types.insert(_types.begin() + index, type);
    _noteAdded(type->title());
}

void MVFileCategory::removeObjectFromTypes(const TypePtr &type)
{
    RegistryLock lock(_registry);
    const auto found = std::find(_types.begin(), _types.end(), type);
    if (found != _types.end())
        removeObjectFromTypesAtIndex(found - _types.begin());
}

void MVFileCategory::removeObjectFromTypesAtIndex(qsizetype index)
{
    RegistryLock lock(_registry);
    if (index < 0 || index >= countOfTypes())
        return;
    const TypePtr removed = _types[static_cast<size_t>(index)];
    _types.erase(_types.begin() + index);
    removed->setParent(nullptr);
    _noteRemoved(removed->title());
}

void MVFileCategory::replaceObjectInTypesAtIndex(qsizetype index, const TypePtr &type)
{
    if (!type || type->title().isEmpty())
        return;
    RegistryLock lock(_registry);
    if (index < 0 || index >= countOfTypes())
        return;
    const TypePtr old = std::exchange(_types[static_cast<size_t>(index)], type);
    old->setParent(nullptr);
    type->setParent(this);
    _noteRemoved(old->title());
    _noteAdded(type->title());
}

void MVFileCategory::_noteAdded(const QString &extension)
{
    if (_registry)
        _registry->noteExtensionAddedToCategory(extension, this);
}

void MVFileCategory::_noteRemoved(const QString &extension)
{
    if (_registry)
        _registry->noteExtensionRemovedFromCategory(extension, this);
}
