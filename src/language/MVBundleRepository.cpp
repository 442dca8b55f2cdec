#include "language/MVBundleRepository.h"

#include "app/Defaults.h"
#include "language/MVBundle.h"
#include "language/MVParser.h"
#include "platform/MVLog.h"
#include "platform/MVUserDefaults.h"
#include "platform/MVUserNotices.h"

#include <QObject>

#include <algorithm>

namespace {

const QString HiddenBundlesKey = QStringLiteral("MVHiddenBundles");
const QString FallbackIdentifier = QStringLiteral("text.html");

QString extensionOfPath(const QString &path)
{
    const QString name = path.section(QLatin1Char('/'), -1);
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot > 0 ? name.mid(dot + 1) : QString();
}

} // namespace

MVBundleRepository &MVBundleRepository::sharedRepository()
{
    static MVBundleRepository repository;
    return repository;
}

MVBundleRepository::MVBundleRepository() = default;
MVBundleRepository::~MVBundleRepository() = default;

void MVBundleRepository::_loadBundlesIfNeeded()
{
    // Also after every language was hidden: the empty map is loaded again.
    if (_bundlesByID.isEmpty() && !_loading)
        _loadBundles();
}

void MVBundleRepository::_loadBundles()
{
    _loading = true;
    _hiddenBundles.clear();
    for (const QVariant &value : MVUserDefaults::standard().arrayForKey(HiddenBundlesKey)) {
        if (value.typeId() == QMetaType::QString)
            _hiddenBundles.insert(value.toString());
    }
    _loadProblems.clear();
    const QString userBundles = Defaults::appSupportPathForFileInDirectory(QString(), QStringLiteral("Bundles"));
    auto isUsers = [&userBundles](const QString &path) { return path.startsWith(userBundles + QLatin1Char('/')); };
    // The user's copies that could not be read, by identifier: each stands
    // aside for the shipped copy, and is used only if there is none.
    QMap<QString, std::shared_ptr<MVBundle>> brokenUserCopies;
    QStringList loadedPaths;
    for (const QString &path : Defaults::pathsForResourcesOfType(QStringLiteral("mvbundle"), QStringLiteral("Bundles"))) {
        // A directory inside a language belongs to that language.
        if (std::any_of(loadedPaths.cbegin(), loadedPaths.cend(),
                        [&path](const QString &outer) { return path.startsWith(outer + QLatin1Char('/')); }))
            continue;
        QString error;
        auto bundle = MVBundle::initWithPath(path, true, &error);
        if (!bundle) {
            _loadProblems.append(error);
            MVLog::line(QStringLiteral("LANGUAGE SKIPPED: %1").arg(error));
            if (isUsers(path))
                MVUserNotices::post(QObject::tr("A language folder of yours could not be read and is not used."),
                                    error);
            continue;
        }
        loadedPaths.append(path);
        const QString id = bundle->bundleIdentifier();
        if (_bundlesByID.contains(id) || _hiddenBundles.contains(id))
            continue;
        bundle->loadDefinitions();
        if (isUsers(path) && !bundle->definitionProblems().isEmpty()) {
            if (!brokenUserCopies.contains(id))
                brokenUserCopies.insert(id, bundle);
            continue;
        }
        _enterBundle(bundle);
    }
    for (const auto &broken : std::as_const(brokenUserCopies)) {
        const bool shipped = _bundlesByID.contains(broken->bundleIdentifier());
        if (!shipped)
            _enterBundle(broken);
        const QString title = broken->title().isEmpty() ? broken->bundleIdentifier() : broken->title();
        MVUserNotices::post(
            shipped ? QObject::tr("Your copy of the language “%1” could not be read; the copy that comes with Morvel "
                                  "is used instead.").arg(title)
                    : QObject::tr("Your copy of the language “%1” could not be read in full.").arg(title),
            broken->definitionProblems().join(QLatin1Char('\n')));
    }
    refreshBundleFileTypes();
    // Second pass: parsers that refer to other languages find them now.
    for (const auto &bundle : std::as_const(_bundlesByID)) {
        if (const auto parser = bundle->parser())
            parser->finishLoad(*this);
    }
    _loading = false;
}

void MVBundleRepository::_enterBundle(const std::shared_ptr<MVBundle> &bundle)
{
    _bundlesByID.insert(bundle->bundleIdentifier(), bundle);
    const QString parserID = bundle->identifier();
    if (parserID.isEmpty())
        return;
    if (_bundlesByParser.contains(parserID)) {
        const QString problem = QStringLiteral("%1: the parser identifier %2 is taken by %3")
                                    .arg(bundle->path(), parserID, _bundlesByParser.value(parserID)->path());
        _loadProblems.append(problem);
        MVLog::line(QStringLiteral("LANGUAGE PARSER TAKEN: %1").arg(problem));
    } else {
        _bundlesByParser.insert(parserID, bundle);
    }
}

QStringList MVBundleRepository::loadProblems()
{
    std::lock_guard lock(_lock);
    _loadBundlesIfNeeded();
    return _loadProblems;
}

bool MVBundleRepository::titleOrder(const std::shared_ptr<MVBundle> &a, const std::shared_ptr<MVBundle> &b)
{
    return a->compareTitle(*b) < 0;
}

std::vector<std::shared_ptr<MVBundle>> MVBundleRepository::bundles(const Ordering &ordering)
{
    std::vector<std::shared_ptr<MVBundle>> result;
    {
        std::lock_guard lock(_lock);
        _loadBundlesIfNeeded();
        result.assign(_bundlesByID.cbegin(), _bundlesByID.cend());
    }
    if (ordering)
        std::stable_sort(result.begin(), result.end(), ordering);
    return result;
}

std::shared_ptr<MVBundle> MVBundleRepository::addBundleWithTitle(const QString &title, const QString &parseIdentifier)
{
    std::lock_guard lock(_lock);
    _loadBundlesIfNeeded();
    for (const auto &bundle : std::as_const(_bundlesByID)) {
        if (bundle->title().compare(title, Qt::CaseInsensitive) == 0)
            return bundle;
    }
    if (_bundlesByParser.contains(parseIdentifier))
        return nullptr;
    auto bundle = MVBundle::initWithTitle(title, parseIdentifier);
    _bundlesByID.insert(bundle->bundleIdentifier(), bundle);
    if (!parseIdentifier.isEmpty())
        _bundlesByParser.insert(parseIdentifier, bundle);
    return bundle;
}

bool MVBundleRepository::removeBundle(const std::shared_ptr<MVBundle> &bundle)
{
    if (!bundle || bundle->identifier() == FallbackIdentifier)
        return false;
    std::lock_guard lock(_lock);
    _loadBundlesIfNeeded();
    _hiddenBundles.insert(bundle->bundleIdentifier());
    QStringList hidden(_hiddenBundles.cbegin(), _hiddenBundles.cend());
    hidden.sort();
    MVUserDefaults::standard().setObject(HiddenBundlesKey, QVariant(QVariantList(hidden.cbegin(), hidden.cend())));
    _bundlesByID.remove(bundle->bundleIdentifier());
    for (auto *map : {&_bundlesByFileType, &_bundlesByParser}) {
        for (auto it = map->begin(); it != map->end();) {
            it = it.value() == bundle ? map->erase(it) : std::next(it);
        }
    }
    return true;
}

void MVBundleRepository::refreshBundleFileTypes()
{
    std::lock_guard lock(_lock);
    _bundlesByFileType.clear();
    // _bundlesByID is ordered by bundle identifier: a fixed order, in which
    // the later language wins an extension that two claim.
    for (const auto &bundle : std::as_const(_bundlesByID)) {
        for (const QString &type : bundle->fileTypes())
            _bundlesByFileType.insert(type, bundle);
    }
}

std::shared_ptr<MVBundle> MVBundleRepository::bundleForBundleIdentifier(const QString &bundleIdentifier)
{
    std::lock_guard lock(_lock);
    _loadBundlesIfNeeded();
    return _bundlesByID.value(bundleIdentifier);
}

std::shared_ptr<MVBundle> MVBundleRepository::bundleForIdentifier(const QString &identifier)
{
    if (identifier.isEmpty())
        return nullptr;
    std::lock_guard lock(_lock);
    _loadBundlesIfNeeded();
    return _bundlesByParser.value(identifier);
}

std::shared_ptr<MVBundle> MVBundleRepository::bundleForFileCategory(const QString &, const QString &extension)
{
    std::lock_guard lock(_lock);
    _loadBundlesIfNeeded();
    return _bundlesByFileType.value(extension);
}

std::shared_ptr<MVBundle> MVBundleRepository::bundleForPath(const QString &path)
{
    const QString extension = extensionOfPath(path);
    if (!extension.isEmpty()) {
        if (auto bundle = bundleForFileCategory(QString(), extension))
            return bundle;
    }
    return bundleForIdentifier(FallbackIdentifier);
}
