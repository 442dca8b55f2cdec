#pragma once

#include "documents/MVFileDocumentDelegate.h"

#include <QMainWindow>

#include <functional>
#include <memory>

class MVDocument;
class MVFileDocument;
class MVFileTreeModel;
class MVShell;
class MVTextView;
class QLabel;
class QProgressBar;
class QTabWidget;
class QTreeView;

// The window of a document: a tab per file (or one view for a single file),
// the project tree for a project, and the status bar with position,
// encoding, line break and language. It is the delegate of every file
// document it shows.
class MVDocumentWindow : public QMainWindow, public MVFileDocumentDelegate
{
public:
    MVDocumentWindow(MVShell *shell, MVDocument *document);
    ~MVDocumentWindow() override;

    // Rebuilds tabs and status from the document.
    void refresh();
    // The document is leaving: closing the window must not remove it again.
    void detachDocument();
    MVDocument *document() const { return _document; }
    QTabWidget *tabs() const { return _tabs; }
    QTreeView *treeView() const { return _tree; }
    MVTextView *currentTextView() const;
    MVFileDocument *activeFileDocument() const;

    // Closes one tab, asking first about unsaved changes; false if the user
    // kept it open.
    bool closeDocumentTab(MVFileDocument *file);

    // The texts of the status bar, for tests and screenshots.
    QString positionText() const;
    QString encodingText() const;
    QString lineBreakText() const;
    QString languageText() const;
    // The progress line of a file still being read ("Opening “name”…"), or
    // empty when it is hidden.
    QString loadingText() const;

    // For tests: answers the save panel instead of showing it.
    static void setSavePanelAnswerForTesting(std::function<QString(MVFileDocument *)> answer);

    // MVFileDocumentDelegate
    void documentNeedsRefresh(MVFileDocument *document) override;
    void documentStatusChanged(MVFileDocument *document) override;
    void documentShowsWarning(MVFileDocument *document, const QString &text) override;
    void documentLoadingChanged(MVFileDocument *document) override;
    void activateDocument(MVFileDocument *document) override;
    void presentErrorAlert(const MVError &error) override;
    std::shared_ptr<MVFile> documentBackingFileWillChangeToPath(MVFileDocument *document, const QString &path) override;
    void documentSaveForCloseFinished(MVFileDocument *document) override;
    void documentShouldForceClose(MVFileDocument *document) override;
    QString runSavePanelForDocument(MVFileDocument *document) override;

protected:
    void closeEvent(QCloseEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    QWidget *_viewFor(MVFileDocument *file);
    MVFileDocument *_fileShownBy(QWidget *view) const;
    int _tabIndexOf(MVFileDocument *file) const;
    std::vector<MVFileDocument *> _fileDocuments() const;
    void _updateTab(MVFileDocument *file);
    void _updateStatus();
    void _updateTitle();
    void _updateLoadingLine();
    void _removeDocument(MVFileDocument *file);
    void _buildProjectTree();
    void _restoreExpansion(const QModelIndex &parent);

    MVShell *_shell;
    MVDocument *_document;
    QTabWidget *_tabs;
    QTreeView *_tree = nullptr;
    MVFileTreeModel *_treeModel = nullptr;
    QLabel *_position;
    QLabel *_encoding;
    QLabel *_lineBreak;
    QLabel *_language;
    QWidget *_loadingLine;
    QLabel *_loadingLabel;
    QProgressBar *_loadingBar;
    MVFileDocument *_activeShown = nullptr;
};
