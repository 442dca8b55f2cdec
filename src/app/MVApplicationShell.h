#pragma once

#include "platform/MVError.h"

#include <QString>
#include <QStringList>

class MVDocument;

// What the application controller needs of the windows: the project
// manager, alerts, panels and a window for each document. The window shell
// implements it; the controller holds it without owning it.
class MVApplicationShell
{
public:
    virtual ~MVApplicationShell() = default;

    virtual void showProjectManager() = 0;
    virtual void closeProjectManager() = 0;
    // An alert on the project manager's window (shown first if needed).
    virtual void alertOnProjectManager(const QString &message, const QString &informativeText) = 0;
    // Shows an error with its recovery options, on a document's window or alone.
    virtual void presentError(const MVError &error, MVDocument *document) = 0;

    // Makes and shows the window of a document, or brings it to the front.
    virtual void showDocumentWindow(MVDocument *document) = 0;
    // Closes the window of a document that is being removed.
    virtual void closeDocumentWindow(MVDocument *document) = 0;

    // Save / Don't Save / Cancel for one edited document: 0, 1 or 2.
    virtual int askToSaveChanges(MVDocument *document) = 0;

    // Asks before a file that does not look like text is opened as text (it
    // opens read-only); true to open it. Text files and images open at once.
    virtual bool shouldOpenFile(const QString &path) = 0;

    // Asks before a very large file is opened from a link.
    virtual bool confirmOpeningLargeFile(const QString &path, qint64 size) = 0;

    // The window about this version, shown once after each new version.
    virtual void showInfoWindow() = 0;

    // A modal open panel that can also choose directories; empty on cancel.
    virtual QStringList runModalOpenPanel() = 0;
};
