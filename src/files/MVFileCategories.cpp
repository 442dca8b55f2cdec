#include "files/MVFileCategories.h"

#include "files/DataListFile.h"
#include "language/MVBundle.h"
#include "platform/MVLog.h"
#include "platform/MVNotificationCenter.h"

#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>

#include <algorithm>

namespace {

const QString TextKey = QStringLiteral("Text");
const QString ImageKey = QStringLiteral("Image");
const QString IgnorableKey = QStringLiteral("Ignorable");
const QString FileName = QStringLiteral("fileCategories");

// Answers from files this small say little about other files of their kind
// (an empty file "is" text): they are not kept for the extension.
constexpr qint64 SmallestCachedFile = 256;
constexpr int ProbeTimeoutMs = 2000;

} // namespace

const QString MVFileCategories::ChangedNotification = QStringLiteral("MVFileCategoriesChangedNotification");

MVFileCategories &MVFileCategories::sharedCategories()
{
    static MVFileCategories shared;
    static const bool resolverInstalled = (installBundleResolver(), true);
    (void)resolverInstalled;
    return shared;
}

void MVFileCategories::installBundleResolver()
{
    MVBundle::setFileCategoryResolver([](const QString &title) -> std::optional<QStringList> {
        MVFileCategories &categories = sharedCategories();
        std::lock_guard lock(categories._lock);
        if (const CategoryPtr category = categories.categoryForTitle(title))
            return category->typeTitles();
        return std::nullopt;
    });
}

MVFileCategories::MVFileCategories(const QString &sourcePath, const QString &commitPath)
    : _sourcePath(sourcePath), _commitPath(commitPath)
{
}

MVFileCategories::~MVFileCategories()
{
    // Categories that outlive the registry no longer report to it.
    for (const CategoryList *list : {&_textCategories, &_imageCategories}) {
        for (const CategoryPtr &category : *list)
            category->_registry = nullptr;
    }
}

void MVFileCategories::_loadIfNeeded()
{
    std::lock_guard lock(_lock);
    if (_loaded)
        return;
    _loaded = true;
    const std::optional<QVariant> read = DataListFile::read(FileName, _sourcePath, QMetaType::QVariantMap,
                                                            QStringLiteral("FILE CATEGORIES"));
    if (!read)
        return;
    const QVariantMap plist = read->toMap();
    // Text before image: where both claim an extension, the image category wins.
    _loadCategories(plist.value(TextKey), _textCategories);
    _loadCategories(plist.value(ImageKey), _imageCategories);
    const QVariant ignorable = plist.value(IgnorableKey);
    if (ignorable.typeId() == QMetaType::QVariantList) {
        for (const QVariant &extension : ignorable.toList()) {
            if (extension.typeId() == QMetaType::QString && !extension.toString().isEmpty())
                _ignoreTypes.insert(extension.toString());
        }
    }
}

void MVFileCategories::_loadCategories(const QVariant &definitions, CategoryList &list)
{
    if (definitions.typeId() != QMetaType::QVariantMap)
        return;
    const QVariantMap map = definitions.toMap();
    for (auto it = map.begin(); it != map.end(); ++it) {
        if (it.key().isEmpty() || it.value().typeId() != QMetaType::QVariantMap)
            continue;
        auto category = std::make_shared<MVFileCategory>(it.key(), it.value().toMap(), this);
        _insertSorted(list, category);
        for (const QString &extension : category->typeTitles())
            _extensions[extension] = category;
    }
}

void MVFileCategories::_insertSorted(CategoryList &list, const CategoryPtr &category)
{
    const auto at = std::find_if(list.begin(), list.end(),
                                 [&](const CategoryPtr &existing) { return existing->compare(*category) > 0; });
    list.insert(at, category);
}

QVariantMap MVFileCategories::plistRepresentation()
{
    _loadIfNeeded();
    std::lock_guard lock(_lock);
    QVariantMap text, image;
    for (const CategoryPtr &category : _textCategories)
        text.insert(category->title(), category->plistRepresentation());
    for (const CategoryPtr &category : _imageCategories)
        image.insert(category->title(), category->plistRepresentation());
    QVariantMap plist;
    plist.insert(TextKey, text);
    plist.insert(ImageKey, image);
    plist.insert(IgnorableKey, ignoreTypes());
    return plist;
}

bool MVFileCategories::commit(QString *error)
{
    if (!DataListFile::write(plistRepresentation(), FileName, _commitPath, error))
        return false;
    MVNotificationCenter::defaultCenter().post(ChangedNotification, this);
    return true;
}

MVFileCategories::CategoryList MVFileCategories::textCategories()
{
    _loadIfNeeded();
    std::lock_guard lock(_lock);
    return _textCategories;
}

MVFileCategories::CategoryList MVFileCategories::imageCategories()
{
    _loadIfNeeded();
    std::lock_guard lock(_lock);
    return _imageCategories;
}

QStringList MVFileCategories::ignoreTypes()
{
    _loadIfNeeded();
    std::lock_guard lock(_lock);
    if (!_sortedIgnoreTypes) {
        QStringList sorted(_ignoreTypes.begin(), _ignoreTypes.end());
        std::sort(sorted.begin(), sorted.end(), [](const QString &a, const QString &b) {
            const int order = QString::compare(a, b, Qt::CaseInsensitive);
            return order != 0 ? order < 0 : a < b;
        });
        _sortedIgnoreTypes = sorted;
    }
    return *_sortedIgnoreTypes;
}

void MVFileCategories::addIgnorableType(const QString &extension)
{
    if (extension.isEmpty())
        return;
    _loadIfNeeded();
    std::lock_guard lock(_lock);
    _ignoreTypes.insert(extension);
    _sortedIgnoreTypes.reset();
}

void MVFileCategories::removeIgnorableType(const QString &extension)
{
    _loadIfNeeded();
    std::lock_guard lock(_lock);
    _ignoreTypes.remove(extension);
    _sortedIgnoreTypes.reset();
}

MVFileCategories::CategoryPtr MVFileCategories::addCategoryWithTitle(const QString &title, int type)
{
    if ((type != Text && type != Image) || title.isEmpty())
        return nullptr;
    _loadIfNeeded();
    std::lock_guard lock(_lock);
    CategoryList &list = type == Text ? _textCategories : _imageCategories;
    const bool taken = std::any_of(list.begin(), list.end(), [&](const CategoryPtr &category) {
        return QString::compare(category->title(), title, Qt::CaseInsensitive) == 0;
    });
    if (taken)
        return nullptr;
    auto category = std::make_shared<MVFileCategory>(title, QVariantMap(), this);
    _insertSorted(list, category);
    return category;
}

bool MVFileCategories::removeCategory(const CategoryPtr &category, int type)
{
    if ((type != Text && type != Image) || !category)
        return false;
    _loadIfNeeded();
    std::lock_guard lock(_lock);
    CategoryList &list = type == Text ? _textCategories : _imageCategories;
    const auto found = std::find(list.begin(), list.end(), category);
    if (found == list.end())
        return false;
    list.erase(found);
    for (const QString &extension : category->typeTitles())
        noteExtensionRemovedFromCategory(extension, category.get());
    category->_registry = nullptr;
    return true;
}

void MVFileCategories::noteExtensionAddedToCategory(const QString &extension, MVFileCategory *category)
{
    std::lock_guard lock(_lock);
    if (category && !extension.isEmpty())
        _extensions[extension] = category->weak_from_this();
}

void MVFileCategories::noteExtensionRemovedFromCategory(const QString &extension, MVFileCategory *category)
{
    std::lock_guard lock(_lock);
    const auto found = _extensions.find(extension);
    if (found == _extensions.end() || found->second.lock().get() != category)
        return;
    _extensions.erase(found);
    // Another category that lists it takes over, in the order of loading.
    for (const CategoryList *list : {&_textCategories, &_imageCategories}) {
        for (const CategoryPtr &other : *list) {
            if (other.get() != category && other->hasType(extension))
                _extensions[extension] = other;
        }
    }
}

MVFileCategories::CategoryPtr MVFileCategories::categoryForExtension(const QString &extension)
{
    _loadIfNeeded();
    std::lock_guard lock(_lock);
    if (extension.isEmpty() || _ignoreTypes.contains(extension))
        return nullptr;
    const auto found = _extensions.find(extension);
    return found == _extensions.end() ? nullptr : found->second.lock();
}

bool MVFileCategories::extensionIsCategory(const QString &extension, const QString &title)
{
    const CategoryPtr category = categoryForExtension(extension);
    return category && category->title() == title;
}

MVFileCategories::CategoryPtr MVFileCategories::categoryForTitle(const QString &title)
{
    _loadIfNeeded();
    std::lock_guard lock(_lock);
    for (const CategoryList *list : {&_textCategories, &_imageCategories}) {
        for (const CategoryPtr &category : *list) {
            if (QString::compare(category->title(), title, Qt::CaseInsensitive) == 0)
                return category;
        }
    }
    return nullptr;
}

QStringList MVFileCategories::typesForCategory(const QString &title)
{
    const CategoryPtr category = categoryForTitle(title);
    return category ? category->typeTitles() : QStringList();
}

bool MVFileCategories::extensionIsType(const QString &extension, int type)
{
    if (extension.isEmpty())
        return false;
    _loadIfNeeded();
    std::lock_guard lock(_lock);
    switch (type) {
    case Text:
    case Image: {
        const CategoryPtr category = categoryForExtension(extension);
        if (!category)
            return false;
        const CategoryList &list = type == Text ? _textCategories : _imageCategories;
        return std::find(list.begin(), list.end(), category) != list.end();
    }
    case Ignorable:
        return _ignoreTypes.contains(extension);
    case Unknown:
        return !extensionIsType(extension, Text) && !extensionIsType(extension, Image)
            && !extensionIsType(extension, Ignorable);
    default:
        return false;
    }
}

bool MVFileCategories::pathIsType(const QString &path, int type)
{
    const QString extension = extensionOfPath(path);
    if (extensionIsType(extension, type))
        return true;
    switch (type) {
    case Text:
        return pathIsText(path);
    case Image:
        return pathIsImage(path);
    case Unknown:
        if (extension.isEmpty() || pathIsType(path, Text) || pathIsType(path, Image))
            return false;
        return !pathIsType(path, Ignorable);
    case Ignorable:
    default:
        return false;
    }
}

bool MVFileCategories::pathIsText(const QString &path, bool useCache)
{
    return _pathIs(path, Probe::Text, useCache);
}

bool MVFileCategories::pathIsImage(const QString &path, bool useCache)
{
    return _pathIs(path, Probe::Image, useCache);
}

bool MVFileCategories::_pathIs(const QString &path, Probe probe, bool useCache)
{
    const QString extension = extensionOfPath(path);
    QSet<QString> &positive = probe == Probe::Text ? _cachedTextTypes : _cachedImageTypes;
    QSet<QString> &negative = probe == Probe::Text ? _cachedNegativeTextTypes : _cachedNegativeImageTypes;
    if (useCache && !extension.isEmpty()) {
        std::lock_guard lock(_lock);
        if (positive.contains(extension))
            return true;
        if (negative.contains(extension))
            return false;
    }
    // The lock is not held while the process runs: other threads go on.
    bool cacheable = false;
    const std::optional<QString> description = describeContents(path, &cacheable);
    if (!description)
        return false;
    bool answer;
    if (probe == Probe::Image) {
        answer = description->contains(QLatin1String("image"), Qt::CaseInsensitive);
    } else {
        answer = description->contains(QLatin1String("text"), Qt::CaseInsensitive)
            || description->contains(QLatin1String("unicode"), Qt::CaseInsensitive)
            || description->contains(QLatin1String("empty"), Qt::CaseInsensitive);
    }
    if (useCache && cacheable && !extension.isEmpty()) {
        std::lock_guard lock(_lock);
        (answer ? positive : negative).insert(extension);
    }
    return answer;
}

QString MVFileCategories::extensionOfPath(const QString &path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    const QString name = path.mid(slash + 1);
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    if (dot <= 0)
        return QString();
    return name.mid(dot + 1);
}

std::optional<QString> MVFileCategories::describeContents(const QString &path, bool *cacheable)
{
    if (cacheable)
        *cacheable = false;
    // A link is asked about as its target; a dangling one tells nothing.
    const QFileInfo info(path);
    const QString target = info.isSymLink() ? info.canonicalFilePath() : info.absoluteFilePath();
    const QFileInfo resolved(target);
    if (target.isEmpty() || !resolved.exists())
        return std::nullopt;

    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
    process.setProcessEnvironment(environment);
    process.setProgram(QStringLiteral("/usr/bin/file"));
    // Brief output has no file name to strip; -E makes a file that cannot be
    // read a failure instead of a description.
    process.setArguments({QStringLiteral("-b"), QStringLiteral("-E"), QStringLiteral("--"), target});
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(QIODevice::ReadOnly);
    if (!process.waitForStarted(ProbeTimeoutMs)) {
        MVLog::line(QStringLiteral("FILE PROBE FAILED: %1").arg(process.errorString()));
        return std::nullopt;
    }
    if (!process.waitForFinished(ProbeTimeoutMs)) {
        process.kill();
        process.waitForFinished(ProbeTimeoutMs);
        MVLog::line(QStringLiteral("FILE PROBE TIMED OUT: %1").arg(target));
        return std::nullopt;
    }
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        return std::nullopt;
    const QString description = QString::fromUtf8(process.readAllStandardOutput()).trimmed();
    if (cacheable)
        *cacheable = resolved.isFile() && resolved.size() >= SmallestCachedFile;
    return description;
}
