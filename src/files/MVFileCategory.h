#pragma once

#include "files/MVFileCategoryType.h"

#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <memory>
#include <vector>

class MVFileCategories;

// A named set of extensions ("CSS": css) with what a drop of such a file
// inserts into a text. Changes of the extensions are told to the registry
// that holds the category, under its lock.
class MVFileCategory : public std::enable_shared_from_this<MVFileCategory>
{
public:
    using TypePtr = std::shared_ptr<MVFileCategoryType>;

    // The definition: "types" (list of extensions) and "insertWhenDragged"
    // (dictionary, kept as it is). Entries of "types" that are not non-empty
    // strings are left out, as are repeats. The registry is told of the
    // types by whoever adds the category to it.
    MVFileCategory(const QString &title, const QVariantMap &definition, MVFileCategories *registry = nullptr);
    ~MVFileCategory();
    MVFileCategory(const MVFileCategory &) = delete;
    MVFileCategory &operator=(const MVFileCategory &) = delete;

    // A copy outside any registry.
    std::shared_ptr<MVFileCategory> copy() const;
    // Case-insensitive order of the titles.
    int compare(const MVFileCategory &other) const;
    QVariantMap plistRepresentation() const;

    QString title() const;
    void setTitle(const QString &title);
    QVariantMap insertWhenDragged() const;
    void setInsertWhenDragged(const QVariantMap &insert);

    // Adds an extension at its sorted place; false if it is empty or listed.
    bool addType(const QString &extension);
    QStringList typeTitles() const;
    std::vector<TypePtr> types() const;
    qsizetype countOfTypes() const;
    TypePtr objectInTypesAtIndex(qsizetype index) const;
    void insertObjectInTypesAtIndex(const TypePtr &type, qsizetype index);
    void removeObjectFromTypes(const TypePtr &type);
    void removeObjectFromTypesAtIndex(qsizetype index);
    void replaceObjectInTypesAtIndex(qsizetype index, const TypePtr &type);
    bool hasType(const QString &extension) const;

    MVFileCategories *registry() const { return _registry; }

private:
    friend class MVFileCategories;
    void _noteAdded(const QString &extension);
    void _noteRemoved(const QString &extension);

    MVFileCategories *_registry;
    QString _title;
    QVariantMap _insertWhenDragged;
    std::vector<TypePtr> _types;
};
