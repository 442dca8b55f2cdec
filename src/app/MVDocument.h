#pragma once

#include "platform/MVError.h"
#include "platform/MVRange.h"

#include <QString>

#include <memory>
#include <vector>

class QWidget;

// The kinds of document the controller chooses between for a path.
enum class MVDocumentKind {
    SingleFile, // one file in a window of its own
    MultiFile,  // a tabbed window over several file documents
    Project,    // a project: the tabbed window with a file tree
};

// A document the controller keeps in its list: it knows its file, whether it
// has unsaved changes, and the window that shows it. The window is made by
// the application's shell; the document never builds widgets itself.
class MVDocument : public std::enable_shared_from_this<MVDocument>
{
public:
    virtual ~MVDocument() = default;

    virtual MVDocumentKind kind() const = 0;

    // Reads the document from a path; false with an error when it cannot.
    virtual bool readFromFile(const QString &path, MVError *error) = 0;

    // The path of the file, or empty for an untitled document.
    QString fileName() const { return _fileName; }
    void setFileName(const QString &path) { _fileName = path; }
    virtual QString displayName() const;

    virtual bool isDocumentEdited() const { return false; }
    // The documents of one file that this one shows: itself, or its tabs.
    virtual std::vector<MVDocument *> openDocuments() { return {this}; }

    // The document that has the user's attention: itself, or the active tab.
    virtual MVDocument *activeDocument() { return this; }
    // True if a path lies inside what this document shows (projects only).
    virtual bool canOpenFile(const QString &path) const;
    // Opens a path inside this document (as a tab); nothing if it cannot.
    virtual MVDocument *openFileAtPath(const QString &path);
    // True if the document shows the file at this canonical path.
    virtual bool showsPath(const QString &canonicalPath) const;

    // The window that shows the document, once made.
    QWidget *windowForSheet() const { return _window; }
    void setWindow(QWidget *window) { _window = window; }

    // Selects a range of the text and scrolls it into view; the text view
    // clamps it to the text. Documents without text ignore it.
    virtual void selectRange(MVRange range) { (void)range; }

    // Saves through the document's own rules; true if nothing needed saving.
    virtual bool save(MVError *error);

private:
    QString _fileName;
    QWidget *_window = nullptr;
};
