#pragma once

#include "platform/MVError.h"

#include <QString>

#include <memory>

class MVFile;
class MVFileDocument;

// What a file document needs from the window that shows it. The document
// never touches a widget: titles, the status bar, alerts and panels all go
// through here, so one document class serves a lone window and a tab.
class MVFileDocumentDelegate
{
public:
    virtual ~MVFileDocumentDelegate() = default;

    // The title, edited mark or tool tip of the document's tab changed.
    virtual void documentNeedsRefresh(MVFileDocument *document) = 0;
    // Position, encoding, line break or language changed: redraw the status bar.
    virtual void documentStatusChanged(MVFileDocument *document) { (void)document; }
    // A passing warning for the status bar ("Opened using macintosh").
    virtual void documentShowsWarning(MVFileDocument *document, const QString &text) { (void)document; (void)text; }
    // A read on a worker started, went on (loadingProgress) or ended
    // (isLoading false): show or hide the progress line.
    virtual void documentLoadingChanged(MVFileDocument *document) { (void)document; }
    // Bring the document's tab forward.
    virtual void activateDocument(MVFileDocument *document) { (void)document; }
    // Shows an error; choosing one of its recovery options calls it back.
    virtual void presentErrorAlert(const MVError &error) = 0;
    // A Save As moved the document: the node for the new path, or null.
    virtual std::shared_ptr<MVFile> documentBackingFileWillChangeToPath(MVFileDocument *document, const QString &path)
    {
        (void)document;
        (void)path;
        return nullptr;
    }
    // A save asked for by closing has finished.
    virtual void documentSaveForCloseFinished(MVFileDocument *document) { (void)document; }
    // Close the document's tab without further questions.
    virtual void documentShouldForceClose(MVFileDocument *document) = 0;
    // A modal save panel; the chosen path, or empty on cancel.
    virtual QString runSavePanelForDocument(MVFileDocument *document) { (void)document; return QString(); }
};
