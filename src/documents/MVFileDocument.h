#pragma once

#include "app/MVDocument.h"
#include "editing/HTMLView.h"
#include "files/FileEncodings.h"
#include "files/MVFileNodeDocument.h"
#include "text/MVTextViewDelegate.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <cstdint>
#include <functional>
#include <memory>

class MVFile;
class MVFileDocumentDelegate;
class MVFileView;
class QWidget;

// The document of one open file: it owns the view of the content, loads it
// through the encodings, saves it atomically, keeps the per-file settings,
// follows changes made outside and tells its window everything through its
// delegate. The edited mark follows the undo manager's revision: the
// document is edited whenever the undo position differs from the one saved.
class MVFileDocument : public MVDocument,
                       public MVFileNodeDocument,
                       public HTMLViewDelegate,
                       public MVTextViewDelegate
{
public:
    using Completion = std::function<void(bool succeeded)>;

    MVFileDocument();
    ~MVFileDocument() override;

    static QString becameActiveNotification() { return QStringLiteral("MVFileBecameActive"); }
    static QString willCloseNotification() { return QStringLiteral("MVFileWillClose"); }
    static QString didSaveNotification() { return QStringLiteral("MVFileDidSave"); }

    MVDocumentKind kind() const override { return MVDocumentKind::SingleFile; }
    // Reads the file's bytes; they are decoded when the view is made.
    bool readFromFile(const QString &path, MVError *error) override;
    bool isDocumentEdited() const override;
    void selectRange(MVRange range) override;
    bool save(MVError *error) override;

    MVFileDocumentDelegate *delegate() const { return _delegate; }
    void setDelegate(MVFileDocumentDelegate *delegate) { _delegate = delegate; }

    // The tree node, or null (a lone window, or a file deleted on disk).
    const std::shared_ptr<MVFile> &file() const { return _file; }
    void setFile(const std::shared_ptr<MVFile> &file);
    QString uuid() const;
    QString titleForLists() const;
    virtual bool isMultiFile() const { return true; }
    QVariantMap plistRepresentationForProject() const;

    // The view, made and loaded at the first call; its widget goes into the window.
    QWidget *viewWithSuggestedFrame();
    MVFileView *fileView() const { return _fileView.get(); }
    HTMLView *textView() const;
    // The last range asked for by selectRange, clamped to the text.
    MVRange requestedSelection() const { return _selection; }

    // Per-file settings: the project's (none yet) or the document's own, kept
    // in memory under the file's key.
    virtual QVariant configurationValueForKey(const QString &key, const QString &fileKey) const;
    virtual void setConfigurationValue(const QVariant &value, const QString &key, const QString &fileKey);
    QVariant fileConfigurationValueForKey(const QString &key) const;
    void setFileConfigurationValue(const QVariant &value, const QString &key);
    QString fileKey() const;

    // The view's encoding if it has one, else the one stored for the file.
    MVStringEncoding encoding() const;

    // Saving. The completion runs with the outcome once the file is written
    // (or the save was refused or cancelled). A save of an untitled document
    // asks for a path first.
    void saveDocument(Completion completion = {});
    void saveDocumentAs(const QString &path, Completion completion = {});
    void saveDocumentForClose();
    void saveDocumentForForceClose();
    bool isSaving() const { return _saving; }
    // Whether Save can write anything (images have no text to save, and a
    // file that is not text is only ever shown).
    bool canSave() const;
    // A file that does not look like text, opened to be looked at: its view
    // takes no typing and it is never saved.
    bool isReadOnly() const { return _readOnly; }
    // Whether a file looks like text to edit: no NUL byte among its first
    // 8 KiB (UTF-16 aside) and a text category by its extension or contents.
    // Images are not text, but they have a view of their own.
    static bool looksLikeText(const QString &path);
    static bool looksLikeText(const QString &path, const QByteArray &start);

    // Reads the file again into the view; not undoable.
    bool revert(MVError *error);
    void reloadContentsFromString(const QString &string, const QString &actionName);
    // Reopens with the named encoding, asking first if there are unsaved changes.
    void reopenUsingEncoding(const QString &name);

    void activate();
    void deactivate();
    // Posts the closing notification and lets the view go.
    void close();
    bool hasActivated() const { return _hasActivated; }
    // The user chose the language by hand: extensions no longer change it.
    void setCustomBundleIdentifier(const QString &bundleIdentifier);

    // From the node.
    void fileContentsDisappeared() override;
    void filePathDidChange() override;
    void fileContentChangeFinished() override;
    void fileContentsChangedExternally() override;

    // From the text view.
    void htmlViewHadError(HTMLView *view, const MVError &error, bool critical) override;
    bool textViewShouldChangeTextInRange(MVTextView *view, MVRange range, const QString &replacement) override;
    void textDidChange(MVTextView *view) override;
    void textViewDidChangeSelection(MVTextView *view, MVRange oldRange) override;

    // Marks the document edited although the text is unchanged (a text that
    // exists only in memory, such as one whose file was deleted).
    void markEdited();

protected:
    // Moves the name and, for a real move, the per-file record.
    void _setFileName(const QString &path, bool moveRecord);

private:
    struct DiskStamp
    {
        bool valid = false;
        quint64 device = 0;
        quint64 inode = 0;
        qint64 size = 0;
        qint64 mtimeNanoseconds = 0;
        bool operator==(const DiskStamp &other) const = default;
    };
    static DiskStamp _stampForPath(const QString &path);

    void _presentError(const MVError &error);
    void _refreshEditedMark();
    std::uint64_t _currentRevision() const;
    void _encodeForSave(const std::function<void(std::optional<QByteArray>, MVStringEncoding)> &next);
    void _save(const QString &path, bool saveAs, Completion completion);
    void _continueSave(const QString &path, bool saveAs, const QByteArray &bytes, MVStringEncoding encoding,
                       std::uint64_t revision, const Completion &finish);
    void _write(const QString &path, bool saveAs, const QByteArray &bytes, MVStringEncoding encoding,
                std::uint64_t revision, Completion completion);
    void _reallyReopenUsingEncoding(MVStringEncoding encoding);

    MVFileDocumentDelegate *_delegate = nullptr;
    std::shared_ptr<MVFile> _file;
    QString _cachedUUID;
    QVariantMap _localConfiguration;
    std::unique_ptr<MVFileView> _fileView;
    QByteArray _loadedData;
    bool _hasLoadedData = false;
    DiskStamp _diskStamp;
    MVRange _selection{0, 0};

    std::uint64_t _savedRevision = 0;
    std::uint64_t _revisionAtSaveStart = 0;
    bool _forcedEdited = false;
    bool _reportedEdited = false;
    bool _customBundle = false;
    bool _saving = false;
    bool _saveForClose = false;
    bool _hasActivated = false;
    bool _readOnly = false;
};
