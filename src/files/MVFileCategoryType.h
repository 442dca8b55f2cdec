#pragma once

#include <QString>

#include <memory>

class MVFileCategory;

// One extension of a file category. Its parent is the category that lists it.
class MVFileCategoryType
{
public:
    MVFileCategoryType(const QString &title, MVFileCategory *parent) : _title(title), _parent(parent) {}

    const QString &title() const { return _title; }
    MVFileCategory *parent() const { return _parent; }
    void setParent(MVFileCategory *parent) { _parent = parent; }
    // A copy with no parent.
    std::shared_ptr<MVFileCategoryType> copy() const { return std::make_shared<MVFileCategoryType>(_title, nullptr); }
    // Case-insensitive order of the titles.
    int compare(const MVFileCategoryType &other) const
    {
        return QString::compare(_title, other._title, Qt::CaseInsensitive);
    }

private:
    QString _title;
    MVFileCategory *_parent;
};
