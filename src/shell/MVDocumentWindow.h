#pragma once

#include <QMainWindow>

class MVDocument;
class MVFileDocument;
class MVShell;
class QLabel;
class QPlainTextEdit;
class QTabWidget;

// The window of a document: a tab per file (or one view for a single file)
// and the status bar with position, encoding, line break and language.
class MVDocumentWindow : public QMainWindow
{
public:
    MVDocumentWindow(MVShell *shell, MVDocument *document);

    // Rebuilds tabs and status from the document.
    void refresh();
    // The document is leaving: closing the window must not remove it again.
    void detachDocument() { _document = nullptr; }
    MVDocument *document() const { return _document; }
    QTabWidget *tabs() const { return _tabs; }

protected:
    void closeEvent(QCloseEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    QPlainTextEdit *_viewFor(MVFileDocument *file);
    MVFileDocument *_activeFile() const;
    void _updateStatus();

    MVShell *_shell;
    MVDocument *_document;
    QTabWidget *_tabs;
    QLabel *_position;
    QLabel *_encoding;
    QLabel *_lineBreak;
    QLabel *_language;
};
