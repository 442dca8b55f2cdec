#pragma once

#include "text/MVTextViewDelegate.h"

#include <QMainWindow>

#include <memory>

class MVDocument;
class MVFileDocument;
class MVFileTreeModel;
class MVShell;
class MVTextView;
class QLabel;
class QTabWidget;
class QTreeView;

// The window of a document: a tab per file (or one view for a single file),
// the project tree for a project, and the status bar with position,
// encoding, line break and language.
class MVDocumentWindow : public QMainWindow, public MVTextViewDelegate
{
public:
    MVDocumentWindow(MVShell *shell, MVDocument *document);
    ~MVDocumentWindow() override;

    // Rebuilds tabs and status from the document.
    void refresh();
    // The document is leaving: closing the window must not remove it again.
    void detachDocument() { _document = nullptr; }
    MVDocument *document() const { return _document; }
    QTabWidget *tabs() const { return _tabs; }
    QTreeView *treeView() const { return _tree; }
    MVTextView *currentTextView() const;

    // The text stays as loaded until editing and saving are in place.
    bool textViewShouldChangeTextInRange(MVTextView *view, MVRange range, const QString &replacement) override;
    void textViewDidChangeSelection(MVTextView *view, MVRange oldRange) override;

protected:
    void closeEvent(QCloseEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    MVTextView *_viewFor(MVFileDocument *file);
    MVFileDocument *_activeFile() const;
    MVFileDocument *_fileShownBy(QWidget *view) const;
    void _updateStatus();
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
};
