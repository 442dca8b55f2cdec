#pragma once

#include "files/MVFileCategory.h"

#include <QSet>
#include <QString>
#include <QStringList>

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

// What kind of file an extension or a path is: text, image, unknown or
// ignorable. Categories come from "fileCategories.plist" (the user's copy
// first) at first use; a path whose extension no category names is asked
// about by its contents through /usr/bin/file, once per extension.
//
// Used from the main thread and from workers: every access goes through one
// recursive lock, which is not held while /usr/bin/file runs.
class MVFileCategories
{
public:
    enum Type { Text = 0, Image = 1, Unknown = 2, Ignorable = 3 };
    using CategoryPtr = std::shared_ptr<MVFileCategory>;
    using CategoryList = std::vector<CategoryPtr>;

    // Posted after a successful commit, with the registry as object.
    static const QString ChangedNotification;

    // The registry of the program; the first call also lets language bundles
    // find the extensions of a category by its title.
    static MVFileCategories &sharedCategories();
    // Makes language bundles resolve category titles through the shared
    // registry. Safe to call more than once; call before bundles load.
    static void installBundleResolver();

    // A registry over the file at sourcePath (by default the user's copy, else
    // the application's), committed to commitPath (by default the user's copy).
    explicit MVFileCategories(const QString &sourcePath = QString(), const QString &commitPath = QString());
    ~MVFileCategories();
    MVFileCategories(const MVFileCategories &) = delete;
    MVFileCategories &operator=(const MVFileCategories &) = delete;

    // Writes everything atomically as an XML property list and posts the
    // notification; false (and nothing posted) if the write failed.
    bool commit(QString *error = nullptr);
    QVariantMap plistRepresentation();

    CategoryList textCategories();
    CategoryList imageCategories();
    // Sorted without regard to case.
    QStringList ignoreTypes();
    void addIgnorableType(const QString &extension);
    void removeIgnorableType(const QString &extension);

    // A new, empty category in the text list (type 0) or the image list (1),
    // at its sorted place. Nothing for the types 2 and 3, an empty title or a
    // title the list already has.
    CategoryPtr addCategoryWithTitle(const QString &title, int type);
    // Refuses the types 2 and 3; false if the category is not in the list.
    bool removeCategory(const CategoryPtr &category, int type);

    // Nothing for an ignorable extension, even one a category lists.
    CategoryPtr categoryForExtension(const QString &extension);
    bool extensionIsCategory(const QString &extension, const QString &title);
    // Text list first, then image list, without regard to case.
    CategoryPtr categoryForTitle(const QString &title);
    QStringList typesForCategory(const QString &title);

    // By the extension alone; an empty extension is nothing, type 2 included.
    bool extensionIsType(const QString &extension, int type);
    // By the extension, then for text and image by the file's contents.
    bool pathIsType(const QString &path, int type);
    // The contents, as /usr/bin/file describes them. With useCache the answer
    // for the extension is taken from, and kept in, the per-extension caches;
    // without, the file itself is asked (for whatever is about to write it).
    bool pathIsText(const QString &path, bool useCache = true);
    bool pathIsImage(const QString &path, bool useCache = true);

    // Kept in step by MVFileCategory.
    void noteExtensionAddedToCategory(const QString &extension, MVFileCategory *category);
    void noteExtensionRemovedFromCategory(const QString &extension, MVFileCategory *category);

    // The extension of the last path component: what follows its last dot,
    // empty for a name without one or that starts with its only dot.
    static QString extensionOfPath(const QString &path);
    // What /usr/bin/file says of the contents, or nothing when it could not
    // tell (a missing file, a dangling link, a failure, a time-out). Links are
    // resolved first. cacheable is false for answers that must not stand for
    // a whole extension (very small or empty files).
    static std::optional<QString> describeContents(const QString &path, bool *cacheable = nullptr);

    std::recursive_mutex &lock() { return _lock; }

private:
    enum class Probe { Text, Image };
    void _loadIfNeeded();
    void _loadCategories(const QVariant &definitions, CategoryList &list);
    static void _insertSorted(CategoryList &list, const CategoryPtr &category);
    bool _pathIs(const QString &path, Probe probe, bool useCache);

    std::recursive_mutex _lock;
    QString _sourcePath;
    QString _commitPath;
    bool _loaded = false;
    CategoryList _textCategories;
    CategoryList _imageCategories;
    QSet<QString> _ignoreTypes;
    std::optional<QStringList> _sortedIgnoreTypes;
    std::map<QString, std::weak_ptr<MVFileCategory>> _extensions;
    QSet<QString> _cachedTextTypes;
    QSet<QString> _cachedNegativeTextTypes;
    QSet<QString> _cachedImageTypes;
    QSet<QString> _cachedNegativeImageTypes;
};
