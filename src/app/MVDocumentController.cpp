#include "app/MVDocumentController.h"

#include "app/Defaults.h"
#include "app/MVApplicationShell.h"
#include "app/MVSetupConfigurationDirectories.h"
#include "platform/MVLog.h"
#include "platform/MVMainThread.h"
#include "platform/MVUserDefaults.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QObject>
#include <QUrl>

#include <algorithm>
#include <limits>

namespace {

const QString RecentKey = QStringLiteral("MVRecentDocuments");
constexpr int MaxRecent = 20;
// Files above this size are opened from a link only after the user agreed.
constexpr qint64 LargeFileFromLink = 256LL * 1024 * 1024;

// The leading decimal digits of a text; 0 if there are none.
qint64 leadingNumber(const QString &text)
{
    qint64 value = 0;
    for (QChar c : text) {
        if (!c.isDigit() || c.unicode() > 0x7F)
            break;
        if (value > (std::numeric_limits<qint64>::max() - 9) / 10)
            break;
        value = value * 10 + (c.unicode() - '0');
    }
    return value;
}

} // namespace

MVDocumentController &MVDocumentController::sharedController()
{
    static MVDocumentController controller;
    return controller;
}

MVDocumentController::~MVDocumentController()
{
    waitForStartupItems();
}

void MVDocumentController::initializeClass()
{
    Defaults::resetDefaults(true);
}

void MVDocumentController::registerDocumentClass(MVDocumentKind kind, DocumentFactory factory)
{
    _factories[kind] = std::move(factory);
}

void MVDocumentController::applicationWillFinishLaunching()
{
    _initDefaults();
}

void MVDocumentController::_initDefaults()
{
    MVUserDefaults &store = MVUserDefaults::standard();
    if (!store.hasValue(QStringLiteral("mvSnippetsLocation")))
        store.setObject(QStringLiteral("mvSnippetsLocation"), Defaults::appSupportPathForFile(QStringLiteral("snippets")));
    if (!store.hasValue(QStringLiteral("mvUserScriptsLocation")))
        store.setObject(QStringLiteral("mvUserScriptsLocation"), Defaults::appSupportPathForFile(QStringLiteral("userscripts")));
}

bool MVDocumentController::applicationOpenFiles(const QStringList &paths)
{
    int successes = 0;
    for (const QString &path : paths) {
        if (openDocumentWithContentsOfFile(path, true))
            ++successes;
    }
    if (successes >= paths.size()) {
        _filesLoaded = true;
        return true;
    }
    return false;
}

void MVDocumentController::applicationDidFinishLaunching()
{
    MVUserDefaults &store = MVUserDefaults::standard();
    if (store.boolForKey(QStringLiteral("MVShowSiteManager"))) {
        showProjectManager();
        // The manager shows even when paths were opened, but behind them:
        // the last document opened stays in front.
        if (_shell && !_documents.empty())
            _shell->showDocumentWindow(_documents.back().get());
    }
    // The information window appears once for each new version.
    const QString version = QCoreApplication::applicationVersion();
    if (store.stringForKey(QStringLiteral("mvDisplayInfoView")) != version && _shell) {
        store.setObject(QStringLiteral("mvDisplayInfoView"), version);
        _shell->showInfoWindow();
    }
    // The configuration tree is made off the main thread; every lookup falls
    // back to the application's resources until it is there.
    if (!_configurationThread.joinable())
        _configurationThread = std::thread([this] { _checkConfiguration(); });
}

void MVDocumentController::_checkConfiguration()
{
    MVSetupConfigurationDirectories setup;
    if (setup.needsToRun())
        setup.run();
}

void MVDocumentController::waitForStartupItems()
{
    if (_configurationThread.joinable())
        _configurationThread.join();
}

void MVDocumentController::handleArguments(const QStringList &arguments)
{
    QStringList paths;
    for (const QString &argument : arguments) {
        if (argument.startsWith(QStringLiteral("mvdt:"), Qt::CaseInsensitive))
            handleURL(argument);
        else if (!argument.isEmpty())
            paths << argument;
    }
    if (!paths.isEmpty())
        applicationOpenFiles(paths);
}

MVDocumentKind MVDocumentController::documentKindForPath(const QString &path, const QString &type) const
{
    const QFileInfo info(path);
    if (info.isDir())
        return MVDocumentKind::Project;
    const QString extension = type.isEmpty() ? info.suffix() : type;
    if (extension == QStringLiteral("mvproj"))
        return MVDocumentKind::Project;
    return MVUserDefaults::standard().boolForKey(QStringLiteral("MVUseTabs")) ? MVDocumentKind::MultiFile
                                                                             : MVDocumentKind::SingleFile;
}

std::shared_ptr<MVDocument> MVDocumentController::makeDocumentWithContentsOfFile(const QString &path,
                                                                                 const QString &type, MVError *error)
{
    const MVDocumentKind kind = documentKindForPath(path, type);
    const auto factory = _factories.find(kind);
    if (factory == _factories.end()) {
        if (error)
            *error = MVError::morvel(0, QStringLiteral("The document “%1” could not be opened.").arg(QFileInfo(path).fileName()),
                                     QStringLiteral("This kind of document cannot be opened yet."));
        return nullptr;
    }
    std::shared_ptr<MVDocument> document = factory->second();
    if (!document || !document->readFromFile(path, error))
        return nullptr;
    return document;
}

MVDocument *MVDocumentController::_openedDocumentForPath(const QString &canonicalPath) const
{
    for (const auto &document : _documents) {
        if (document->showsPath(canonicalPath))
            return document.get();
    }
    return nullptr;
}

MVDocument *MVDocumentController::openDocumentWithContentsOfFile(const QString &path, bool display)
{
    const int howToOpen = static_cast<int>(MVUserDefaults::standard().integerForKey(QStringLiteral("MVHowToOpenFiles")));
    if (_shell)
        _shell->closeProjectManager();

    const QFileInfo info(path);
    const bool exists = info.exists();
    const bool isDirectory = info.isDir();
    if (!exists && _shell) {
        _shell->showProjectManager();
        // The same alert serves projects and plain files: it names the path.
        _shell->alertOnProjectManager(QObject::tr("Unable to open “%1”: it does not exist.").arg(path),
                                      QObject::tr("Check the path, or the project directory and configuration."));
    }

    const QString canonical = MVCanonicalPath(path);
    // A file not open yet that is not text is opened only when the user says so.
    if (_shell && exists && !isDirectory && !_openedDocumentForPath(canonical) && !_shell->shouldOpenFile(path))
        return nullptr;

    // An open project that contains the path takes it; with "open in the
    // front window", so does the front tabbed window.
    MVDocument *found = nullptr;
    MVDocument *owner = nullptr;
    for (const auto &document : std::vector(_documents)) {
        if (document->kind() == MVDocumentKind::Project && document->canOpenFile(path)) {
            found = isDirectory ? document.get() : document->openFileAtPath(path);
        } else if (howToOpen == 1 && !isDirectory && exists && document->kind() == MVDocumentKind::MultiFile
                   && document->activeDocument() == currentDocument()) {
            found = document->openFileAtPath(path);
        }
        if (found) {
            owner = document.get();
            break;
        }
    }
    if (found) {
        if (_shell && display)
            _shell->showDocumentWindow(owner);
        return found;
    }

    if (MVDocument *open = _openedDocumentForPath(canonical)) {
        if (_shell && display)
            _shell->showDocumentWindow(open);
        return open;
    }

    MVError error;
    std::shared_ptr<MVDocument> document = makeDocumentWithContentsOfFile(path, QString(), &error);
    if (!document) {
        if (_shell && exists)
            _shell->presentError(error.isNull() ? MVError::morvel(0, QStringLiteral("The document could not be opened.")) : error,
                                 nullptr);
        return nullptr;
    }
    addDocument(document);
    noteRecentDocument(path);
    if (_shell && display)
        _shell->showDocumentWindow(document.get());
    return document.get();
}

std::shared_ptr<MVDocument> MVDocumentController::makeUntitledDocument()
{
    const auto factory = _factories.find(MVDocumentKind::SingleFile);
    return factory == _factories.end() ? nullptr : factory->second();
}

MVDocument *MVDocumentController::openUntitledDocumentAndDisplay()
{
    if (_shell)
        _shell->closeProjectManager();
    std::shared_ptr<MVDocument> document = makeUntitledDocument();
    if (!document)
        return nullptr;
    addDocument(document);
    if (_shell)
        _shell->showDocumentWindow(document.get());
    return document.get();
}

void MVDocumentController::addDocument(const std::shared_ptr<MVDocument> &document)
{
    if (document && std::find(_documents.begin(), _documents.end(), document) == _documents.end())
        _documents.push_back(document);
}

void MVDocumentController::removeDocument(MVDocument *document)
{
    const auto it = std::find_if(_documents.begin(), _documents.end(),
                                 [document](const auto &d) { return d.get() == document; });
    if (it == _documents.end())
        return;
    // Keep the document alive until it is out of the list and its window gone.
    const std::shared_ptr<MVDocument> keep = *it;
    _documents.erase(it);
    if (_shell)
        _shell->closeDocumentWindow(keep.get());
    if (_documents.empty() && MVUserDefaults::standard().boolForKey(QStringLiteral("MVShowSiteManager")))
        showProjectManager();
}

std::shared_ptr<MVDocument> MVDocumentController::documentFor(MVDocument *document) const
{
    for (const auto &d : _documents) {
        if (d.get() == document)
            return d;
    }
    return nullptr;
}

MVDocument *MVDocumentController::currentDocument() const
{
    return _current.lock().get();
}

void MVDocumentController::setCurrentDocument(MVDocument *document)
{
    _current = document ? document->weak_from_this() : std::weak_ptr<MVDocument>();
}

bool MVDocumentController::reviewUnsavedDocuments()
{
    // One question for each edited file: every tab of a tabbed window counts.
    for (const auto &document : std::vector(_documents)) {
        for (MVDocument *file : document->openDocuments()) {
            if (!file->isDocumentEdited())
                continue;
            const int answer = _shell ? _shell->askToSaveChanges(file) : 2;
            if (answer == 2)
                return false;
            if (answer == 0) {
                MVError error;
                if (!file->save(&error)) {
                    if (_shell)
                        _shell->presentError(error, document.get());
                    return false;
                }
            }
        }
    }
    return true;
}

void MVDocumentController::handleURL(const QString &url)
{
    const QUrl parsed(url, QUrl::StrictMode);
    if (!parsed.isValid() || parsed.scheme() != QStringLiteral("mvdt") || parsed.host() != QStringLiteral("open"))
        return;
    // The query is taken as written: no percent-decoding.
    const qsizetype question = url.indexOf(QLatin1Char('?'));
    if (question < 0)
        return;
    QString query = url.mid(question + 1);
    const qsizetype fragment = query.indexOf(QLatin1Char('#'));
    if (fragment >= 0)
        query.truncate(fragment);
    openBasedOnQuery(query);
}

void MVDocumentController::openBasedOnQuery(const QString &query)
{
    QMap<QString, QString> values;
    for (const QString &piece : query.split(QLatin1Char('&'))) {
        const qsizetype equals = piece.indexOf(QLatin1Char('='));
        if (equals < 0)
            return; // a piece without "=" voids the whole link
        values.insert(piece.left(equals), piece.mid(equals + 1));
    }
    if (!values.contains(QStringLiteral("file")))
        return;
    const QString path = values.value(QStringLiteral("file"));
    // A link may only open an existing regular file.
    const QFileInfo info(path);
    if (!info.exists() || !info.isFile())
        return;
    if (info.size() > LargeFileFromLink && _shell && !_shell->confirmOpeningLargeFile(path, info.size()))
        return;
    MVDocument *document = openDocumentWithContentsOfFile(path, true);
    if (!document || !values.contains(QStringLiteral("range")))
        return;
    const QStringList parts = values.value(QStringLiteral("range")).split(QLatin1Char(','));
    if (parts.size() != 2)
        return;
    MVDocument *target = document->activeDocument();
    if (target)
        target->selectRange(MVMakeRange(leadingNumber(parts[0]), leadingNumber(parts[1])));
}

QStringList MVDocumentController::recentDocuments() const
{
    QStringList paths;
    for (const QVariant &v : MVUserDefaults::standard().arrayForKey(RecentKey)) {
        if (v.typeId() == QMetaType::QString)
            paths << v.toString();
    }
    return paths;
}

void MVDocumentController::noteRecentDocument(const QString &path)
{
    const QString absolute = QFileInfo(path).absoluteFilePath();
    QStringList paths = recentDocuments();
    paths.removeAll(absolute);
    paths.prepend(absolute);
    while (paths.size() > MaxRecent)
        paths.removeLast();
    MVUserDefaults::standard().setObject(RecentKey, QVariant(paths).toList());
}

void MVDocumentController::clearRecentDocuments()
{
    MVUserDefaults::standard().removeObject(RecentKey);
}

void MVDocumentController::newDocument()
{
    openUntitledDocumentAndDisplay();
}

void MVDocumentController::openDocument()
{
    if (!_shell)
        return;
    for (const QString &path : _shell->runModalOpenPanel())
        openDocumentWithContentsOfFile(path, true);
}

void MVDocumentController::showProjectManager()
{
    if (_shell)
        _shell->showProjectManager();
}

void MVDocumentController::editSnippets()
{
    openDocumentWithContentsOfFile(Defaults::appSupportPathForFile(QStringLiteral("snippets")), true);
}

void MVDocumentController::editUserScripts()
{
    openDocumentWithContentsOfFile(Defaults::appSupportPathForFile(QStringLiteral("userscripts")), true);
}
