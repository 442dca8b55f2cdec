#pragma once

#include "app/MVDocument.h"
#include "platform/MVCanonicalPath.h"
#include "platform/MVRange.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <map>
#include <memory>
#include <thread>
#include <vector>

class MVApplicationShell;

// The one application-wide object: it registers the defaults, runs the
// launch order, owns the list of open documents, routes every request to
// open a path down one road, and serves the menu actions that need no
// document.
class MVDocumentController
{
public:
    using DocumentFactory = std::function<std::shared_ptr<MVDocument>()>;

    static MVDocumentController &sharedController();
    // Registers the defaults; runs before anything else reads a preference.
    static void initializeClass();

    ~MVDocumentController();

    void setShell(MVApplicationShell *shell) { _shell = shell; }
    MVApplicationShell *shell() const { return _shell; }
    void registerDocumentClass(MVDocumentKind kind, DocumentFactory factory);

    // Launch, in this order: will finish, the paths from the system, did finish.
    void applicationWillFinishLaunching();
    bool applicationOpenFiles(const QStringList &paths);
    void applicationDidFinishLaunching();
    bool filesLoaded() const { return _filesLoaded; }
    // Waits for the configuration thread started at launch.
    void waitForStartupItems();

    // Paths and links handed over by the system or by a second start.
    void handleArguments(const QStringList &arguments);

    // The one road for every open.
    MVDocument *openDocumentWithContentsOfFile(const QString &path, bool display);
    // Makes (but does not add) a document of the class the path calls for.
    std::shared_ptr<MVDocument> makeDocumentWithContentsOfFile(const QString &path, const QString &type, MVError *error);
    std::shared_ptr<MVDocument> makeUntitledDocument();
    MVDocument *openUntitledDocumentAndDisplay();
    // The class that serves a path of a type, before the document is made.
    MVDocumentKind documentKindForPath(const QString &path, const QString &type) const;

    const std::vector<std::shared_ptr<MVDocument>> &documents() const { return _documents; }
    void addDocument(const std::shared_ptr<MVDocument> &document);
    // Takes a document out of the list; with none left, the project manager
    // comes back if the preference says so.
    void removeDocument(MVDocument *document);
    std::shared_ptr<MVDocument> documentFor(MVDocument *document) const;
    // The document whose window has the user's attention (a tab, not its window).
    MVDocument *currentDocument() const;
    void setCurrentDocument(MVDocument *document);

    // Asks to save every edited document; false if the user cancelled.
    bool reviewUnsavedDocuments();

    // mvdt://open?file=...&range=location,length
    void handleURL(const QString &url);
    void openBasedOnQuery(const QString &query);

    QStringList recentDocuments() const;
    void noteRecentDocument(const QString &path);
    void clearRecentDocuments();

    // Menu actions that need no document.
    void newDocument();
    void openDocument();
    void showProjectManager();
    void editSnippets();
    void editUserScripts();

private:
    MVDocumentController() = default;
    void _initDefaults();
    void _checkConfiguration();
    MVDocument *_openedDocumentForPath(const QString &canonicalPath) const;

    MVApplicationShell *_shell = nullptr;
    std::map<MVDocumentKind, DocumentFactory> _factories;
    std::vector<std::shared_ptr<MVDocument>> _documents;
    std::weak_ptr<MVDocument> _current;
    std::thread _configurationThread;
    bool _filesLoaded = false;
};
