#pragma once

#include "files/FileEncodings.h"

#include <QString>
#include <QVariantMap>

#include <memory>

class HTMLView;
class MVFileDocument;
class QWidget;

// The view of a file's content inside a document: text or image. The
// document owns it; its main widget goes into the window, which owns the
// widget once it has been placed there.
class MVFileView
{
public:
    explicit MVFileView(MVFileDocument *document);
    virtual ~MVFileView();
    MVFileView(const MVFileView &) = delete;
    MVFileView &operator=(const MVFileView &) = delete;

    // The first kind of view that can show the document's file.
    static std::unique_ptr<MVFileView> createViewForDocument(MVFileDocument *document);

    static bool canDisplayPath(const QString &path) { (void)path; return true; }
    MVFileDocument *document() const { return _document; }

    virtual QWidget *mainView() const = 0;
    // Nothing in the base: only text views have one.
    virtual HTMLView *textView() const { return nullptr; }
    // Called once when the document closes; the view keeps its widget alive
    // until the window removes it.
    virtual void close() {}
    // What a project remembers of the view besides the path.
    virtual QVariantMap plistRepresentationForProject() const { return {}; }

    // Loading; false with *error when nothing could be read.
    virtual bool loadFromPath(const QString &path, MVStringEncoding storedEncoding, const QString &actionName,
                              MVError *error) = 0;
    virtual bool loadFromData(const QByteArray &data, const QString &path, MVStringEncoding storedEncoding,
                              const QString &actionName, MVError *error) = 0;
    virtual void loadFromString(const QString &string, const QString &actionName) { (void)string; (void)actionName; }

    virtual MVStringEncoding stringEncoding() const { return 0; }
    virtual void setStringEncoding(MVStringEncoding encoding) { (void)encoding; }

private:
    MVFileDocument *_document;
};
