#include "language/MVBundle.h"

#include "app/Defaults.h"
#include "language/MVBundleDefinition.h"
#include "language/MVDefinitionRegistry.h"
#include "language/MVParser.h"
#include "platform/MVLog.h"
#include "platform/MVPropertyList.h"

#include <QDir>
#include <QFileInfo>
#include <QUuid>

#include <filesystem>

namespace {

const QString IdentifierKey = QStringLiteral("CFBundleIdentifier");
const QString NameKey = QStringLiteral("CFBundleName");
const QString VersionKey = QStringLiteral("CFBundleVersion");
const QString HideKey = QStringLiteral("hide-in-list");
const QString TooltipKey = QStringLiteral("tooltip");
const QString CategoriesKey = QStringLiteral("file-categories");
const QString TypesKey = QStringLiteral("file-types");

std::mutex s_resolverMutex;
MVBundle::CategoryResolver s_resolver;

MVBundle::CategoryResolver resolver()
{
    std::lock_guard lock(s_resolverMutex);
    return s_resolver;
}

QStringList stringList(const QVariant &value)
{
    QStringList result;
    for (const QVariant &entry : value.toList()) {
        if (entry.typeId() == QMetaType::QString)
            result.append(entry.toString());
    }
    return result;
}

// A definition file of the language; nothing if it is absent. A file that
// is there but cannot be used adds its path and the reason to problems.
std::optional<QVariant> readDefinition(const QString &path, QMetaType::Type rootType, QStringList &problems)
{
    if (!QFileInfo::exists(path))
        return std::nullopt;
    QString error;
    auto value = MVPropertyList::readFile(path, &error);
    if (!value) {
        MVLog::line(QStringLiteral("BUNDLE FILE NOT READABLE: %1: %2").arg(path, error));
        problems.append(QStringLiteral("%1: %2").arg(path, error));
        return std::nullopt;
    }
    if (value->typeId() != rootType) {
        MVLog::line(QStringLiteral("BUNDLE FILE OF THE WRONG ROOT TYPE: %1").arg(path));
        problems.append(QStringLiteral("%1: the file holds a %2 where a %3 belongs")
                            .arg(path, QString::fromLatin1(value->typeName()),
                                 QString::fromLatin1(QMetaType(rootType).name())));
        return std::nullopt;
    }
    return value;
}

std::filesystem::path fsPath(const QString &path)
{
    return std::filesystem::path(QFile::encodeName(path).toStdString());
}

bool removeTree(const QString &path, QString *error)
{
    std::error_code ec;
    std::filesystem::remove_all(fsPath(path), ec); // never follows links
    if (ec && error)
        *error = QStringLiteral("could not remove %1: %2").arg(path, QString::fromStdString(ec.message()));
    return !ec;
}

bool renamePath(const QString &from, const QString &to, QString *error)
{
    std::error_code ec;
    std::filesystem::rename(fsPath(from), fsPath(to), ec);
    if (ec && error)
        *error = QStringLiteral("could not move %1 to %2: %3").arg(from, to, QString::fromStdString(ec.message()));
    return !ec;
}

bool pathExists(const QString &path)
{
    std::error_code ec;
    return std::filesystem::exists(std::filesystem::symlink_status(fsPath(path), ec));
}

bool isInsideDirectory(const QString &path, const QString &directory)
{
    const QString dir = QDir::cleanPath(QFileInfo(directory).absoluteFilePath()) + QLatin1Char('/');
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath()).startsWith(dir);
}

} // namespace

MVBundle::MVBundle() = default;

MVBundle::~MVBundle() = default;

std::shared_ptr<MVBundle> MVBundle::initWithPath(const QString &path, bool lazily, QString *error)
{
    auto fail = [error, &path](const QString &reason) -> std::shared_ptr<MVBundle> {
        if (error)
            *error = QStringLiteral("%1: %2").arg(path, reason);
        return nullptr;
    };
    if (!QFileInfo(path).isDir())
        return fail(QStringLiteral("not a directory"));
    const QString infoPath = path + QStringLiteral("/Contents/Info.plist");
    QString reason;
    const auto info = MVPropertyList::readDictionary(infoPath, &reason);
    if (!info)
        return fail(QStringLiteral("Contents/Info.plist is not readable: %1").arg(reason));
    const QVariant identifier = info->value(IdentifierKey);
    if (identifier.typeId() != QMetaType::QString || identifier.toString().isEmpty())
        return fail(QStringLiteral("Contents/Info.plist has no CFBundleIdentifier string"));

    std::shared_ptr<MVBundle> bundle(new MVBundle);
    bundle->_path = path;
    bundle->_info = *info;
    bundle->_bundleIdentifier = identifier.toString();
    bundle->_title = info->value(NameKey).toString();
    bundle->_hideInList = info->value(HideKey).toBool();
    bundle->_loadFileCategories(stringList(info->value(CategoriesKey)));
    // The indexer depends on preferences: read it again when they close.
    MVBundle *raw = bundle.get();
    bundle->_prefsClosed = MVObservation(QStringLiteral("MorvelPrefsClosed"), nullptr,
                                         [raw](const MVNotification &) { raw->loadCodeIndexer(); });
    if (!lazily)
        bundle->loadDefinitions();
    return bundle;
}

std::shared_ptr<MVBundle> MVBundle::initWithTitle(const QString &title, const QString &parseIdentifier)
{
    std::shared_ptr<MVBundle> bundle(new MVBundle);
    bundle->_title = title;
    bundle->_bundleIdentifier = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    bundle->_parser = std::make_shared<MVParser>(bundle.get(), parseIdentifier);
    MVBundle *raw = bundle.get();
    bundle->_prefsClosed = MVObservation(QStringLiteral("MorvelPrefsClosed"), nullptr,
                                         [raw](const MVNotification &) { raw->loadCodeIndexer(); });
    return bundle;
}

void MVBundle::loadDefinitions()
{
    {
        std::lock_guard lock(_mutex);
        _definitionProblems.clear();
    }
    loadParser();
    loadCodeHinting();
    loadCodeCompletion();
    loadCodeIndexer();
}

void MVBundle::loadParser()
{
    if (path().isEmpty())
        return;
    const QString contents = path() + QStringLiteral("/Contents/");
    QStringList problems;
    const auto syntax = readDefinition(contents + QStringLiteral("syntax.plist"), QMetaType::QVariantMap, problems);
    if (!syntax) {
        _noteProblems(problems);
        return;
    }
    // Made without the lock: a parser may ask its bundle questions.
    auto parser = MVDefinitionRegistry::makeParser(this, syntax->toMap());
    if (const auto codenav = readDefinition(contents + QStringLiteral("codenav.plist"), QMetaType::QVariantList, problems))
        parser->setCodeNavParser(MVDefinitionRegistry::makeCodeNavParser(codenav->toList(), parser.get()));
    _noteProblems(problems);
    std::lock_guard lock(_mutex);
    _parser = std::move(parser);
}

void MVBundle::_noteProblems(const QStringList &problems)
{
    if (problems.isEmpty())
        return;
    std::lock_guard lock(_mutex);
    _definitionProblems.append(problems);
}

QStringList MVBundle::definitionProblems() const
{
    std::lock_guard lock(_mutex);
    return _definitionProblems;
}

void MVBundle::loadCodeHinting()
{
    if (path().isEmpty())
        return;
    QStringList problems;
    const auto plist = readDefinition(path() + QStringLiteral("/Contents/hinting.plist"), QMetaType::QVariantMap, problems);
    _noteProblems(problems);
    auto hinting = plist ? MVDefinitionRegistry::makeCodeHinting(this, plist->toMap()) : nullptr;
    std::lock_guard lock(_mutex);
    _codeHinting = std::move(hinting);
}

void MVBundle::loadCodeCompletion()
{
    {
        std::lock_guard lock(_mutex);
        _codeCompletion.reset();
    }
    if (path().isEmpty())
        return;
    QStringList problems;
    const auto plist = readDefinition(path() + QStringLiteral("/Contents/completion.plist"), QMetaType::QVariantMap, problems);
    _noteProblems(problems);
    auto completion = plist ? MVDefinitionRegistry::makeCodeCompletion(this, plist->toMap()) : nullptr;
    std::lock_guard lock(_mutex);
    _codeCompletion = std::move(completion);
}

void MVBundle::loadCodeIndexer()
{
    {
        std::lock_guard lock(_mutex);
        _codeIndexer.reset();
    }
    if (path().isEmpty())
        return;
    QStringList problems;
    const auto plist = readDefinition(path() + QStringLiteral("/Contents/indexer.plist"), QMetaType::QVariantMap, problems);
    _noteProblems(problems);
    auto indexer = plist ? MVDefinitionRegistry::makeCodeIndexer(this, plist->toMap()) : nullptr;
    std::lock_guard lock(_mutex);
    _codeIndexer = std::move(indexer);
}

void MVBundle::_loadFileCategories(const QStringList &titles)
{
    const CategoryResolver resolve = resolver();
    QStringList kept;
    QStringList types;
    for (const QString &title : titles) {
        if (!resolve) {
            kept.append(title);
            continue;
        }
        if (const auto categoryTypes = resolve(title)) {
            kept.append(title);
            types += *categoryTypes;
        }
    }
    if (types.isEmpty())
        types = stringList(_info.value(TypesKey));
    std::lock_guard lock(_mutex);
    _fileCategories = kept;
    _fileTypes = types;
}

void MVBundle::_loadFileTypes()
{
    QStringList titles;
    {
        std::lock_guard lock(_mutex);
        titles = _fileCategories;
    }
    _loadFileCategories(titles);
}

void MVBundle::setFileCategories(const QStringList &titles)
{
    _loadFileCategories(titles);
}

QStringList MVBundle::fileCategories() const
{
    std::lock_guard lock(_mutex);
    return _fileCategories;
}

QStringList MVBundle::fileTypes() const
{
    std::lock_guard lock(_mutex);
    return _fileTypes;
}

int MVBundle::compareTitle(const MVBundle &other) const
{
    return QString::compare(title(), other.title(), Qt::CaseInsensitive);
}

QString MVBundle::path() const
{
    std::lock_guard lock(_mutex);
    return _path;
}

QString MVBundle::identifier() const
{
    const auto p = parser();
    return p ? p->identifier() : QString();
}

QString MVBundle::title() const
{
    std::lock_guard lock(_mutex);
    return _title;
}

QString MVBundle::tooltip() const
{
    std::lock_guard lock(_mutex);
    return _info.value(TooltipKey).toString();
}

QString MVBundle::version() const
{
    std::lock_guard lock(_mutex);
    const QVariant version = _info.value(VersionKey);
    return version.typeId() == QMetaType::QString ? version.toString() : QStringLiteral("1.0");
}

QVariant MVBundle::objectForInfoDictionaryKey(const QString &key) const
{
    std::lock_guard lock(_mutex);
    return _info.value(key);
}

std::shared_ptr<MVParser> MVBundle::parser() const
{
    std::lock_guard lock(_mutex);
    return _parser;
}

void MVBundle::setParser(std::shared_ptr<MVParser> parser)
{
    std::lock_guard lock(_mutex);
    _parser = std::move(parser);
}

std::shared_ptr<MVBundleDefinition> MVBundle::codeNavParser() const
{
    const auto p = parser();
    return p ? p->codeNavParser() : nullptr;
}

void MVBundle::setCodeNavParser(std::shared_ptr<MVBundleDefinition> navigator)
{
    if (const auto p = parser())
        p->setCodeNavParser(std::move(navigator));
}

void MVBundle::setCodeCompletion(std::shared_ptr<MVBundleDefinition> completion)
{
    std::lock_guard lock(_mutex);
    _codeCompletion = std::move(completion);
}

std::shared_ptr<MVBundleDefinition> MVBundle::_definition(const std::shared_ptr<MVBundleDefinition> &field) const
{
    std::lock_guard lock(_mutex);
    return field;
}

QString MVBundle::pathForResource(const QString &name, const QString &type) const
{
    const QString base = path();
    if (base.isEmpty() || name.isEmpty() || name.contains(QLatin1Char('/')))
        return QString();
    const QString file = type.isEmpty() ? name : name + QLatin1Char('.') + type;
    const QString candidate = base + QStringLiteral("/Contents/Resources/") + file;
    return QFileInfo(candidate).isFile() ? candidate : QString();
}

QImage MVBundle::imageNamed(const QString &name)
{
    {
        std::lock_guard lock(_mutex);
        const auto it = _imageDict.constFind(name);
        if (it != _imageDict.constEnd())
            return *it;
    }
    const QFileInfo info(name);
    const QString file = pathForResource(info.completeBaseName(), info.suffix());
    QImage image;
    if (file.isEmpty() || !image.load(file))
        return QImage();
    std::lock_guard lock(_mutex);
    _imageDict.insert(name, image);
    return image;
}

void MVBundle::setFileCategoryResolver(CategoryResolver resolve)
{
    std::lock_guard lock(s_resolverMutex);
    s_resolver = std::move(resolve);
}

QString MVBundle::cleanDirectoryName(const QString &title)
{
    QString name;
    for (QChar c : title) {
        if (c == QLatin1Char('/') || c == QLatin1Char('\\') || c.unicode() < 0x20 || c.unicode() == 0x7f)
            name += QLatin1Char('-');
        else
            name += c;
    }
    name = name.trimmed();
    while (name.startsWith(QLatin1Char('.')))
        name.remove(0, 1);
    name = name.trimmed().left(120);
    if (name.isEmpty())
        name = QStringLiteral("Language");
    return name + QStringLiteral(".mvbundle");
}

QString MVBundle::_destinationForCommit() const
{
    const QString userBundles = Defaults::tildePath() + QStringLiteral("/Bundles");
    const QString current = path();
    // A language from the user's folder is written where it is.
    if (!current.isEmpty() && isInsideDirectory(current, userBundles))
        return current;
    const QString name = current.isEmpty() ? cleanDirectoryName(title()) : QFileInfo(current).fileName();
    const QString base = name.chopped(QStringLiteral(".mvbundle").size());
    QString candidate = userBundles + QLatin1Char('/') + name;
    for (int counter = 2; pathExists(candidate); ++counter) {
        // The user's copy of this very language may be replaced; the directory
        // of another language never is.
        const auto info = MVPropertyList::readDictionary(candidate + QStringLiteral("/Contents/Info.plist"));
        if (info && info->value(IdentifierKey).toString() == _bundleIdentifier)
            break;
        candidate = userBundles + QLatin1Char('/') + base + QStringLiteral(" %1.mvbundle").arg(counter);
    }
    return candidate;
}

bool MVBundle::commit(QString *error)
{
    QString reason;
    const QString destination = _destinationForCommit();
    QString backup;
    if (pathExists(destination)) {
        backup = destination + QStringLiteral(".backup");
        if (!removeTree(backup, &reason) || !renamePath(destination, backup, &reason)) {
            MVLog::line(QStringLiteral("BUNDLE COMMIT FAILED: %1").arg(reason));
            if (error)
                *error = reason;
            return false;
        }
    }
    const QString source = backup.isEmpty() ? path() : backup;
    const QString contents = destination + QStringLiteral("/Contents");

    bool ok = QDir().mkpath(contents);
    if (!ok)
        reason = QStringLiteral("could not create %1").arg(contents);
    if (ok && !source.isEmpty() && QFileInfo(source).isDir()) {
        // Everything of the old directory first: resources, files this
        // program does not write, and keys it does not know survive.
        std::error_code ec;
        std::filesystem::copy(fsPath(source), fsPath(destination),
                              std::filesystem::copy_options::recursive | std::filesystem::copy_options::copy_symlinks
                                  | std::filesystem::copy_options::overwrite_existing,
                              ec);
        if (ec) {
            ok = false;
            reason = QStringLiteral("could not copy %1: %2").arg(source, QString::fromStdString(ec.message()));
        }
    }
    if (ok)
        ok = _writeInfoPlistToPath(contents, source, &reason);
    if (ok)
        ok = _writeDefinitionsToPath(contents, &reason);

    if (!ok) {
        MVLog::line(QStringLiteral("BUNDLE COMMIT FAILED: %1: %2").arg(destination, reason));
        if (error)
            *error = reason;
        // Put the previous directory back; keep the backup if that fails.
        QString restoreError;
        bool restored = !pathExists(destination) || removeTree(destination, &restoreError);
        if (restored && !backup.isEmpty())
            restored = renamePath(backup, destination, &restoreError);
        if (!restored)
            MVLog::line(QStringLiteral("BUNDLE COMMIT COULD NOT RESTORE %1: %2").arg(destination, restoreError));
        return false;
    }
    {
        std::lock_guard lock(_mutex);
        if (_path.isEmpty())
            _path = destination;
    }
    if (!backup.isEmpty())
        removeTree(backup, nullptr);
    return true;
}

bool MVBundle::_writeInfoPlistToPath(const QString &contents, const QString &sourcePath, QString *error) const
{
    QVariantMap info;
    if (!sourcePath.isEmpty()) {
        if (auto onDisk = MVPropertyList::readDictionary(sourcePath + QStringLiteral("/Contents/Info.plist")))
            info = *onDisk;
    }
    if (info.isEmpty()) {
        std::lock_guard lock(_mutex);
        info = _info;
    }
    info.insert(IdentifierKey, _bundleIdentifier);
    info.insert(VersionKey, version());
    const QString name = title();
    if (!name.isEmpty())
        info.insert(NameKey, name);
    info.insert(TypesKey, fileTypes());
    info.insert(CategoriesKey, fileCategories());
    QString reason;
    if (!MVPropertyList::writeFile(info, contents + QStringLiteral("/Info.plist"), MVPropertyList::BinaryFormat,
                                   &reason)) {
        if (error)
            *error = QStringLiteral("could not write Info.plist: %1").arg(reason);
        return false;
    }
    return true;
}

bool MVBundle::_writeDefinitionsToPath(const QString &contents, QString *error) const
{
    const std::shared_ptr<MVBundleDefinition> steps[] = {parser(), codeIndexer(), codeCompletion()};
    const char *names[] = {"syntax", "indexer", "completion"};
    for (int i = 0; i < 3; ++i) {
        if (steps[i] && !steps[i]->commitToPath(contents)) {
            if (error)
                *error = QStringLiteral("could not write the %1 definition").arg(QLatin1String(names[i]));
            return false;
        }
    }
    return true;
}
