#include "documents/MVFileDocument.h"

#include "documents/MVFileDocumentDelegate.h"
#include "documents/MVFileView.h"
#include "documents/MVImageFileView.h"
#include "files/MVFile.h"
#include "files/MVFileCategories.h"
#include "language/MVBundle.h"
#include "language/MVBundleRepository.h"
#include "platform/MVAtomicFile.h"
#include "platform/MVLog.h"
#include "platform/MVMainThread.h"
#include "platform/MVNotificationCenter.h"
#include "platform/MVStringTable.h"
#include "platform/MVUserDefaults.h"
#include "text/MVTextStorage.h"
#include "text/MVUndoManager.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString EncodingKey = QStringLiteral("MVFileEncoding");
const QString BundleKey = QStringLiteral("MVFileBundle");
// The encodings the user chose with Reopen Using Encoding, as a list of
// pairs [path, encoding name], the latest first, so that the file opens the
// same way next time.
const QString ChosenEncodingsKey = QStringLiteral("MVChosenFileEncodings");
constexpr qsizetype ChosenEncodingsKept = 200;
// How much of a file's start is looked at for NUL bytes.
constexpr qsizetype TextProbeSize = 8 * 1024;

MVStringEncoding chosenEncodingForPath(const QString &path)
{
    if (path.isEmpty())
        return 0;
    for (const QVariant &item : MVUserDefaults::standard().arrayForKey(ChosenEncodingsKey)) {
        const QVariantList pair = item.toList();
        if (pair.size() == 2 && pair[0].toString() == path)
            return FileEncodings::encodingFromString(pair[1].toString());
    }
    return 0;
}

void rememberChosenEncoding(const QString &path, MVStringEncoding encoding)
{
    if (path.isEmpty())
        return;
    QVariantList kept{QVariant(QVariantList{path, FileEncodings::stringFromEncoding(encoding)})};
    for (const QVariant &item : MVUserDefaults::standard().arrayForKey(ChosenEncodingsKey)) {
        const QVariantList pair = item.toList();
        if (pair.size() == 2 && pair[0].toString() != path && kept.size() < ChosenEncodingsKept)
            kept << item;
    }
    MVUserDefaults::standard().setObject(ChosenEncodingsKey, kept);
}

QString saveFailureSuggestion()
{
    return MVLocalizedString(
        QStringLiteral("Please check that you have write permissions and that your file encoding is valid."));
}

} // namespace

MVFileDocument::MVFileDocument() = default;

MVFileDocument::~MVFileDocument()
{
    if (HTMLView *view = textView()) {
        view->setInterfaceDelegate(nullptr);
        view->setOuterDelegate(nullptr);
        view->undoManager()->setChangeHandler({});
    }
    if (_file)
        _file->setDocument(nullptr);
}

// ---- reading and the view ---------------------------------------------------

bool MVFileDocument::readFromFile(const QString &path, MVError *error)
{
    auto fail = [&](const QString &why) {
        if (error)
            *error = MVError::morvel(0, QStringLiteral("The document “%1” could not be opened.").arg(QFileInfo(path).fileName()), why);
        return false;
    };
    const QFileInfo info(path);
    if (!info.exists())
        return fail(QStringLiteral("The file does not exist."));
    if (!info.isFile())
        return fail(QStringLiteral("It is not a regular file."));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return fail(file.errorString());
    QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return fail(file.errorString());
    _setFileName(info.absoluteFilePath(), false);
    _diskStamp = _stampForPath(fileName());
    _readOnly = !MVImageFileView::canDisplayPath(fileName()) && !looksLikeText(fileName(), bytes.left(TextProbeSize));
    if (_fileView) {
        // Already shown: the new bytes replace the text, not undoably.
        MVError loadError;
        const bool loaded = _fileView->loadFromData(bytes, fileName(), fileConfigurationValueForKey(EncodingKey).toUInt(),
                                                    QString(), &loadError);
        if (!loaded) {
            if (error)
                *error = loadError;
            return false;
        }
        _forcedEdited = false;
        _savedRevision = _currentRevision();
        _refreshEditedMark();
        return true;
    }
    _loadedData = std::move(bytes);
    _hasLoadedData = true;
    return true;
}

QWidget *MVFileDocument::viewWithSuggestedFrame()
{
    if (_fileView)
        return _fileView->mainView();
    _fileView = MVFileView::createViewForDocument(this);
    if (HTMLView *view = textView()) {
        view->setInterfaceDelegate(this);
        view->setOuterDelegate(this);
        view->setEditable(!_readOnly);
        // The extension picks a language first; a language chosen for the file wins.
        view->setPath(fileName());
        const QString chosen = fileConfigurationValueForKey(BundleKey).toString();
        if (!chosen.isEmpty()) {
            if (auto bundle = MVBundleRepository::sharedRepository().bundleForBundleIdentifier(chosen)) {
                view->setBundle(bundle);
                _customBundle = true;
            }
        }
        view->undoManager()->setChangeHandler([this] { _refreshEditedMark(); });
    }
    MVError error;
    bool loaded = true;
    const MVStringEncoding stored = fileConfigurationValueForKey(EncodingKey).toUInt();
    if (_hasLoadedData) {
        loaded = _fileView->loadFromData(_loadedData, fileName(), stored, QString(), &error);
        _loadedData = QByteArray();
        _hasLoadedData = false;
    } else if (!fileName().isEmpty() && QFileInfo::exists(fileName())) {
        loaded = _fileView->loadFromPath(fileName(), stored, QString(), &error);
        _diskStamp = _stampForPath(fileName());
    }
    if (!loaded)
        _presentError(error);
    _savedRevision = _currentRevision();
    _reportedEdited = isDocumentEdited();
    if (HTMLView *view = textView()) {
        const MVRange clamped = MVIntersectionRange(_selection, MVRange{0, view->textStorage()->length()});
        _selection = clamped.location == MVNotFound ? MVRange{0, 0} : clamped;
        view->setSelectedRange(_selection);
    }
    return _fileView->mainView();
}

HTMLView *MVFileDocument::textView() const
{
    return _fileView ? _fileView->textView() : nullptr;
}

void MVFileDocument::selectRange(MVRange range)
{
    const qsizetype length = textView() ? textView()->textStorage()->length() : _loadedData.size();
    const qsizetype location = std::clamp<qsizetype>(range.location, 0, length);
    _selection = MVMakeRange(location, std::clamp<qsizetype>(range.length, 0, length - location));
    if (HTMLView *view = textView()) {
        view->setSelectedRange(_selection);
        view->scrollRangeToVisible(_selection);
    }
}

void MVFileDocument::setFile(const std::shared_ptr<MVFile> &file)
{
    if (_file == file)
        return;
    if (_file)
        _file->setDocument(nullptr);
    _file = file;
    if (_file) {
        _file->setDocument(this);
        _setFileName(_file->path(), false);
    }
}

QString MVFileDocument::uuid() const
{
    if (!_cachedUUID.isEmpty() || !_file)
        return _cachedUUID;
    return _file->uuid();
}

QString MVFileDocument::titleForLists() const
{
    return QStringLiteral("%1 %2 %3").arg(displayName(), QString(QChar(0x2014)), QFileInfo(fileName()).path());
}

QVariantMap MVFileDocument::plistRepresentationForProject() const
{
    if (!_file)
        return {};
    QVariantMap result = _fileView ? _fileView->plistRepresentationForProject() : QVariantMap();
    result.insert(QStringLiteral("path"), _file->pathFromRoot());
    return result;
}

// ---- settings --------------------------------------------------------------

QString MVFileDocument::fileKey() const
{
    return _file ? _file->pathFromRoot() : fileName();
}

QVariant MVFileDocument::configurationValueForKey(const QString &key, const QString &fileKey) const
{
    if (key == EncodingKey) {
        // Snippet files are always UTF-16, whatever is stored.
        const QString snippets = MVUserDefaults::standard().stringForKey(QStringLiteral("mvSnippetsLocation"));
        if (!snippets.isEmpty() && fileName().startsWith(QDir::cleanPath(snippets) + QLatin1Char('/')))
            return QVariant::fromValue<qint64>(FileEncodings::UTF16Encoding);
    }
    return _localConfiguration.value(fileKey).toMap().value(key);
}

void MVFileDocument::setConfigurationValue(const QVariant &value, const QString &key, const QString &fileKey)
{
    if (key.isEmpty())
        return;
    auto it = _localConfiguration.find(fileKey);
    if (!value.isValid()) {
        if (it != _localConfiguration.end()) {
            QVariantMap record = it->toMap();
            record.remove(key);
            *it = record;
        }
        return;
    }
    QVariantMap record = it == _localConfiguration.end() ? QVariantMap() : it->toMap();
    record.insert(key, value);
    _localConfiguration.insert(fileKey, record);
}

QVariant MVFileDocument::fileConfigurationValueForKey(const QString &key) const
{
    const QVariant value = configurationValueForKey(key, fileKey());
    if (!value.isValid() && key == EncodingKey) {
        // An encoding chosen for the file in an earlier document.
        if (const MVStringEncoding chosen = chosenEncodingForPath(fileName()))
            return QVariant::fromValue<qint64>(chosen);
    }
    return value;
}

void MVFileDocument::setFileConfigurationValue(const QVariant &value, const QString &key)
{
    setConfigurationValue(value, key, fileKey());
}

MVStringEncoding MVFileDocument::encoding() const
{
    if (_fileView && _fileView->stringEncoding() != 0)
        return _fileView->stringEncoding();
    return fileConfigurationValueForKey(EncodingKey).toUInt();
}

void MVFileDocument::_setFileName(const QString &path, bool moveRecord)
{
    const QString oldKey = fileKey();
    const QVariant record = _localConfiguration.value(oldKey);
    setFileName(path);
    const QString newKey = fileKey();
    if (oldKey == newKey || !record.isValid())
        return;
    // A move takes the record along; a Save As copies it, so the old file
    // keeps its own settings.
    if (moveRecord)
        _localConfiguration.remove(oldKey);
    if (!_localConfiguration.contains(newKey))
        _localConfiguration.insert(newKey, record);
}

void MVFileDocument::setCustomBundleIdentifier(const QString &bundleIdentifier)
{
    auto bundle = MVBundleRepository::sharedRepository().bundleForBundleIdentifier(bundleIdentifier);
    if (!bundle)
        return;
    _customBundle = true;
    setFileConfigurationValue(bundleIdentifier, BundleKey);
    if (HTMLView *view = textView())
        view->setBundle(bundle);
    if (_delegate)
        _delegate->documentStatusChanged(this);
}

bool MVFileDocument::looksLikeText(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return true; // nothing to look at: opening reports the failure
    return looksLikeText(path, file.read(TextProbeSize));
}

bool MVFileDocument::looksLikeText(const QString &path, const QByteArray &start)
{
    // UTF-16 text is full of zero bytes: its mark or its name says what it is.
    const bool utf16Mark = start.startsWith("\xFF\xFE") || start.startsWith("\xFE\xFF");
    if (utf16Mark || FileEncodings::_encodingFromFileName(path) == FileEncodings::UTF16Encoding)
        return true;
    if (start.contains('\0'))
        return false;
    return MVFileCategories::sharedCategories().pathIsType(path, 0);
}

// ---- the edited mark -------------------------------------------------------

std::uint64_t MVFileDocument::_currentRevision() const
{
    HTMLView *view = textView();
    return view ? view->undoManager()->revision() : 0;
}

bool MVFileDocument::isDocumentEdited() const
{
    if (_forcedEdited)
        return true;
    return textView() && _currentRevision() != _savedRevision;
}

void MVFileDocument::markEdited()
{
    _forcedEdited = true;
    _refreshEditedMark();
}

void MVFileDocument::_refreshEditedMark()
{
    const bool edited = isDocumentEdited();
    if (edited == _reportedEdited)
        return;
    _reportedEdited = edited;
    if (_delegate)
        _delegate->documentNeedsRefresh(this);
}

// ---- saving ----------------------------------------------------------------

bool MVFileDocument::canSave() const
{
    return textView() != nullptr && !_readOnly;
}

bool MVFileDocument::save(MVError *)
{
    // Questions and errors go to the delegate; a presenter that answers at
    // once lets the outcome be known here.
    auto outcome = std::make_shared<int>(-1);
    saveDocument([outcome](bool succeeded) { *outcome = succeeded ? 1 : 0; });
    return *outcome == 1;
}

void MVFileDocument::saveDocument(Completion completion)
{
    if (fileName().isEmpty()) {
        const QString path = _delegate ? _delegate->runSavePanelForDocument(this) : QString();
        if (path.isEmpty()) {
            if (completion)
                completion(false);
            return;
        }
        _save(path, true, std::move(completion));
        return;
    }
    if (!isDocumentEdited() && !_saving && QFileInfo::exists(fileName())) {
        // Nothing to write: the file keeps its bytes (line breaks included).
        if (completion)
            completion(true);
        return;
    }
    _save(fileName(), false, std::move(completion));
}

void MVFileDocument::saveDocumentAs(const QString &path, Completion completion)
{
    _save(QFileInfo(path).absoluteFilePath(), true, std::move(completion));
}

void MVFileDocument::saveDocumentForClose()
{
    _saveForClose = true;
    saveDocument([this](bool succeeded) {
        if (!succeeded)
            _saveForClose = false;
    });
}

void MVFileDocument::saveDocumentForForceClose()
{
    const QString path = _delegate ? _delegate->runSavePanelForDocument(this) : QString();
    if (path.isEmpty())
        return; // cancelled: the detached document stays open with its text
    std::weak_ptr<MVDocument> weak = weak_from_this();
    saveDocumentAs(path, [weak](bool succeeded) {
        auto self = std::static_pointer_cast<MVFileDocument>(weak.lock());
        if (self && succeeded && self->_delegate)
            self->_delegate->documentShouldForceClose(self.get());
    });
}

void MVFileDocument::_encodeForSave(const std::function<void(std::optional<QByteArray>, MVStringEncoding)> &next)
{
    HTMLView *view = textView();
    MVStringEncoding encoding = this->encoding();
    if (encoding == 0)
        encoding = FileEncodings::defaultEncoding();
    const QString text = view->fullString();
    const FileEncodings::ByteOrderMark mark = view->byteOrderMark();
    if (auto bytes = FileEncodings::dataUsingEncodingStrictly(text, encoding, mark)) {
        next(std::move(bytes), encoding);
        return;
    }
    // Some characters do not exist in the encoding: ask before writing anything.
    const QString name = FileEncodings::stringFromEncoding(encoding);
    MVError question = MVError::morvel(
        16, MVLocalizedString(QStringLiteral("Some characters cannot be saved in %1.")).arg(name),
        MVLocalizedString(QStringLiteral("Save them replaced by “?”, save the file as UTF-8 instead, or cancel "
                                         "and change the text or the encoding.")));
    question.setEscapeOption(2);
    question.setRecoveryOptions({MVLocalizedString(QStringLiteral("Save with replacements")),
                                 MVLocalizedString(QStringLiteral("Save as UTF-8")),
                                 MVLocalizedString(QStringLiteral("Cancel"))},
                                [weak = weak_from_this(), next, text, encoding, mark](int choice) {
                                    auto self = std::static_pointer_cast<MVFileDocument>(weak.lock());
                                    if (!self)
                                        return;
                                    if (choice == 0) {
                                        MVStringEncoding used = encoding;
                                        MVError warning;
                                        auto bytes = FileEncodings::dataUsingEncoding(text, &used, &warning, mark);
                                        if (!bytes)
                                            self->_presentError(warning);
                                        next(std::move(bytes), used);
                                    } else if (choice == 1) {
                                        const auto utf8Mark = mark == FileEncodings::ByteOrderMark::UTF8
                                                                  ? mark
                                                                  : FileEncodings::ByteOrderMark::None;
                                        next(FileEncodings::dataUsingEncodingStrictly(text, FileEncodings::UTF8Encoding, utf8Mark),
                                             FileEncodings::UTF8Encoding);
                                    } else {
                                        next(std::nullopt, 0);
                                    }
                                });
    question.setUserInfo(QStringLiteral("NSStringEncodingErrorKey"), QVariant::fromValue<qint64>(encoding));
    _presentError(question);
}

void MVFileDocument::_save(const QString &path, bool saveAs, Completion completion)
{
    auto finish = [completion](bool succeeded) {
        if (completion)
            completion(succeeded);
    };
    if (_saving) {
        // One save at a time: the last one is still waiting for its upload.
        finish(false);
        return;
    }
    if (_readOnly) {
        // Its bytes are shown through a decoding and with the breaks of
        // their own: writing them back could only damage the file.
        MVError error = MVError::morvel(
            17, MVLocalizedString(QStringLiteral("The document “%1” could not be saved.")).arg(displayName()),
            MVLocalizedString(QStringLiteral("It is not a text file, and it was opened read-only.")));
        error.setUserInfo(QStringLiteral("NSURL"), path);
        _presentError(error);
        finish(false);
        return;
    }
    if (!textView()) {
        // Nothing but text is ever written: an image keeps its bytes as they
        // are, and a document whose view was never made has nothing to save.
        if (!saveAs && _fileView && MVImageFileView::canDisplayPath(fileName())) {
            finish(true);
            return;
        }
        MVError error = MVError::morvel(17, MVLocalizedString(QStringLiteral("The document “%1” could not be saved.")).arg(displayName()),
                                        saveFailureSuggestion());
        error.setUserInfo(QStringLiteral("NSURL"), path);
        _presentError(error);
        finish(false);
        return;
    }
    // The revision the written text stands for; later typing keeps the mark.
    const std::uint64_t revision = _currentRevision();
    std::weak_ptr<MVDocument> weak = weak_from_this();
    _encodeForSave([weak, path, saveAs, revision, finish](std::optional<QByteArray> bytes, MVStringEncoding encoding) {
        auto self = std::static_pointer_cast<MVFileDocument>(weak.lock());
        if (!self || !bytes) {
            finish(false);
            return;
        }
        self->_continueSave(path, saveAs, *bytes, encoding, revision, finish);
    });
}

void MVFileDocument::_continueSave(const QString &path, bool saveAs, const QByteArray &bytes,
                                   MVStringEncoding encoding, std::uint64_t revision, const Completion &finish)
{
    std::weak_ptr<MVDocument> weak = weak_from_this();
    if (!saveAs) {
        // Another program may have written the file since we read it.
        const DiskStamp now = _stampForPath(path);
        if (_diskStamp.valid && now.valid && !(now == _diskStamp)) {
            MVError question = MVError::morvel(
                5, MVLocalizedString(QStringLiteral("File Changed on Disk")),
                MVLocalizedString(QStringLiteral("%1 has been changed by another application since it was opened. "
                                                 "Saving replaces those changes with yours."))
                    .arg(displayName()));
            const QByteArray data = bytes;
            question.setEscapeOption(1);
            question.setRecoveryOptions({MVLocalizedString(QStringLiteral("Save Anyway")), MVLocalizedString(QStringLiteral("Cancel"))},
                                        [weak, path, data, encoding, revision, finish](int choice) {
                                            auto self = std::static_pointer_cast<MVFileDocument>(weak.lock());
                                            if (self && choice == 0)
                                                self->_write(path, false, data, encoding, revision, finish);
                                            else
                                                finish(false);
                                        });
            _presentError(question);
            return;
        }
    }
    _write(path, saveAs, bytes, encoding, revision, finish);
}

void MVFileDocument::_write(const QString &path, bool saveAs, const QByteArray &bytes, MVStringEncoding encoding,
                            std::uint64_t revision, Completion completion)
{
    HTMLView *view = textView();
    QString why;
    if (!MVAtomicFile::write(path, bytes, &why)) {
        MVError error = MVError::morvel(17,
                                        MVLocalizedString(QStringLiteral("The document “%1” could not be saved: %2"))
                                            .arg(QFileInfo(path).fileName(), why),
                                        saveFailureSuggestion());
        error.setUserInfo(QStringLiteral("NSURL"), path);
        if (view)
            view->breakUndoCoalescing();
        _presentError(error);
        completion(false);
        return;
    }
    if (view && view->stringEncoding() != encoding)
        view->setStringEncoding(encoding);
    _revisionAtSaveStart = revision;
    _saving = true;
    if (saveAs) {
        _setFileName(path, false);
        if (_file) {
            std::shared_ptr<MVFile> node = _delegate ? _delegate->documentBackingFileWillChangeToPath(this, path) : nullptr;
            const QVariant record = _localConfiguration.value(fileKey());
            _file->setDocument(nullptr);
            _file = node;
            if (_file) {
                _file->setDocument(this);
                if (record.isValid() && !_localConfiguration.contains(fileKey()))
                    _localConfiguration.insert(fileKey(), record);
            }
        }
        _cachedUUID.clear();
        if (view && !_customBundle) {
            const QString bundleBefore = view->bundle() ? view->bundle()->bundleIdentifier() : QString();
            view->setPath(path);
            const QString bundleAfter = view->bundle() ? view->bundle()->bundleIdentifier() : QString();
            if (bundleAfter != bundleBefore && !bundleAfter.isEmpty())
                setFileConfigurationValue(bundleAfter, BundleKey);
        }
    }
    if (encoding != 0)
        setFileConfigurationValue(QVariant::fromValue<qint64>(encoding), EncodingKey);
    _diskStamp = _stampForPath(path);
    if (view)
        view->breakUndoCoalescing();
    // The node renews its watch, so our own write is not taken for a change
    // from outside; with nothing to upload it finishes the save at once.
    if (_file)
        _file->contentsDidChange();
    else
        fileContentChangeFinished();
    MVNotificationCenter::defaultCenter().post(didSaveNotification(), this);
    if (_delegate) {
        _delegate->documentNeedsRefresh(this);
        _delegate->documentStatusChanged(this);
    }
    completion(true);
}

void MVFileDocument::fileContentChangeFinished()
{
    if (!_saving)
        return;
    _saving = false;
    _savedRevision = _revisionAtSaveStart;
    if (_savedRevision == _currentRevision())
        _forcedEdited = false;
    _refreshEditedMark();
    if (_saveForClose) {
        _saveForClose = false;
        if (_delegate)
            _delegate->documentSaveForCloseFinished(this);
    }
}

MVFileDocument::DiskStamp MVFileDocument::_stampForPath(const QString &path)
{
    DiskStamp stamp;
    struct stat st {};
    if (path.isEmpty() || ::stat(QFile::encodeName(path).constData(), &st) != 0)
        return stamp;
    stamp.valid = true;
    stamp.device = st.st_dev;
    stamp.inode = st.st_ino;
    stamp.size = st.st_size;
    stamp.mtimeNanoseconds = qint64(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
    return stamp;
}

// ---- reverting and reopening -------------------------------------------------

bool MVFileDocument::revert(MVError *error)
{
    if (fileName().isEmpty())
        return false;
    if (!_fileView) {
        MVError readError;
        if (!readFromFile(fileName(), error ? error : &readError))
            return false;
        return true;
    }
    if (!_fileView->loadFromPath(fileName(), fileConfigurationValueForKey(EncodingKey).toUInt(), QString(), error))
        return false;
    _diskStamp = _stampForPath(fileName());
    _forcedEdited = false;
    _savedRevision = _currentRevision();
    _refreshEditedMark();
    if (_delegate)
        _delegate->documentStatusChanged(this);
    return true;
}

void MVFileDocument::reloadContentsFromString(const QString &string, const QString &actionName)
{
    if (_fileView)
        _fileView->loadFromString(string, actionName);
    _refreshEditedMark();
}

void MVFileDocument::reopenUsingEncoding(const QString &name)
{
    const MVStringEncoding encoding = FileEncodings::encodingFromString(name);
    if (encoding == 0 || fileName().isEmpty())
        return;
    if (!isDocumentEdited()) {
        _reallyReopenUsingEncoding(encoding);
        return;
    }
    MVError question = MVError::morvel(
        12, MVLocalizedString(QStringLiteral("File has unsaved changes")),
        MVLocalizedString(QStringLiteral("Would you like to save your changes before reopening the file? The changes "
                                         "will be saved using the new encoding.")));
    question.setUserInfo(QStringLiteral("NSStringEncodingErrorKey"), QVariant::fromValue<qint64>(encoding));
    std::weak_ptr<MVDocument> weak = weak_from_this();
    question.setEscapeOption(2);
    question.setRecoveryOptions({MVLocalizedString(QStringLiteral("Save Changes")),
                                 MVLocalizedString(QStringLiteral("Discard Changes")),
                                 MVLocalizedString(QStringLiteral("Cancel"))},
                                [weak, encoding](int choice) {
                                    auto self = std::static_pointer_cast<MVFileDocument>(weak.lock());
                                    if (!self)
                                        return;
                                    if (choice == 1) {
                                        self->_reallyReopenUsingEncoding(encoding);
                                    } else if (choice == 0 && self->_fileView) {
                                        // Reopen only after a successful save; otherwise the
                                        // old encoding comes back and the text stays.
                                        const MVStringEncoding old = self->_fileView->stringEncoding();
                                        self->_fileView->setStringEncoding(encoding);
                                        self->saveDocument([weak, encoding, old](bool succeeded) {
                                            auto doc = std::static_pointer_cast<MVFileDocument>(weak.lock());
                                            if (!doc)
                                                return;
                                            if (succeeded) {
                                                doc->_reallyReopenUsingEncoding(encoding);
                                            } else if (doc->_fileView) {
                                                doc->_fileView->setStringEncoding(old);
                                                if (doc->_delegate)
                                                    doc->_delegate->documentStatusChanged(doc.get());
                                            }
                                        });
                                    }
                                });
    _presentError(question);
}

void MVFileDocument::_reallyReopenUsingEncoding(MVStringEncoding encoding)
{
    setFileConfigurationValue(QVariant::fromValue<qint64>(encoding), EncodingKey);
    rememberChosenEncoding(fileName(), encoding);
    MVError error;
    if (!revert(&error)) {
        _presentError(error);
        return;
    }
    if (_delegate)
        _delegate->documentShowsWarning(
            this, MVLocalizedString(QStringLiteral("Opened using %1")).arg(FileEncodings::stringFromEncoding(this->encoding())));
}

// ---- changes from outside ----------------------------------------------------

void MVFileDocument::fileContentsChangedExternally()
{
    // A deletion also changes the file's attributes (its link count) just
    // before it goes: its removal is reported on its own.
    if (!_stampForPath(fileName()).valid)
        return;
    if (!isDocumentEdited()) {
        MVError error;
        if (!revert(&error))
            _presentError(error);
        return;
    }
    if (_delegate)
        _delegate->activateDocument(this);
    MVError question = MVError::morvel(
        5, MVLocalizedString(QStringLiteral("File Changed Externally")),
        MVLocalizedString(QStringLiteral("The contents of %1 have been changed by another application, but there are "
                                         "also unsaved changes in Morvel. Would you like to revert the file to disk or "
                                         "keep the Morvel changes?"))
            .arg(displayName()));
    std::weak_ptr<MVDocument> weak = weak_from_this();
    question.setEscapeOption(0);
    question.setRecoveryOptions({MVLocalizedString(QStringLiteral("Keep Morvel Changes")), MVLocalizedString(QStringLiteral("Revert"))},
                                [weak](int choice) {
                                    auto self = std::static_pointer_cast<MVFileDocument>(weak.lock());
                                    if (!self)
                                        return;
                                    if (choice == 1) {
                                        MVError error;
                                        if (!self->revert(&error))
                                            self->_presentError(error);
                                    } else {
                                        // The user has seen the change and keeps the text: a
                                        // later save need not ask about it again.
                                        self->_diskStamp = _stampForPath(self->fileName());
                                    }
                                });
    _presentError(question);
}

void MVFileDocument::fileContentsDisappeared()
{
    if (_file) {
        _cachedUUID = _file->uuid();
        _file->setDocument(nullptr);
        _file.reset();
    }
    _diskStamp = DiskStamp();
    // The text now exists only here.
    markEdited();
    MVError question = MVError::morvel(
        6, MVLocalizedString(QStringLiteral("Local File Removed")),
        MVLocalizedString(QStringLiteral("%1 has been deleted on disk. If you don't save the contents now, they will be lost."))
            .arg(displayName()));
    std::weak_ptr<MVDocument> weak = weak_from_this();
    question.setEscapeOption(0);
    question.setRecoveryOptions({MVLocalizedString(QStringLiteral("Save File")), MVLocalizedString(QStringLiteral("Don't Save"))},
                                [weak](int choice) {
                                    auto self = std::static_pointer_cast<MVFileDocument>(weak.lock());
                                    if (!self)
                                        return;
                                    if (choice == 0) {
                                        MVMainThread::async([weak] {
                                            if (auto doc = std::static_pointer_cast<MVFileDocument>(weak.lock()))
                                                doc->saveDocumentForForceClose();
                                        });
                                    } else if (self->_delegate) {
                                        self->_delegate->documentShouldForceClose(self.get());
                                    }
                                });
    if (_delegate)
        _delegate->documentNeedsRefresh(this);
    _presentError(question);
}

void MVFileDocument::filePathDidChange()
{
    if (!_file)
        return;
    _setFileName(_file->path(), true);
    if (HTMLView *view = textView()) {
        if (!_customBundle)
            view->setPath(fileName());
    }
    if (_delegate) {
        _delegate->documentNeedsRefresh(this);
        _delegate->documentStatusChanged(this);
    }
}

// ---- activation and closing ------------------------------------------------

void MVFileDocument::activate()
{
    if (_delegate)
        _delegate->documentStatusChanged(this);
    MVNotificationCenter::defaultCenter().post(becameActiveNotification(), this);
    _hasActivated = true;
}

void MVFileDocument::deactivate()
{
}

void MVFileDocument::close()
{
    MVNotificationCenter::defaultCenter().post(willCloseNotification(), this);
    if (_fileView)
        _fileView->close();
    if (_file) {
        _cachedUUID = _file->uuid();
        _file->setDocument(nullptr);
        _file.reset();
    }
}

// ---- from the view ---------------------------------------------------------

void MVFileDocument::_presentError(const MVError &error)
{
    if (error.isNull())
        return;
    if (_delegate)
        _delegate->presentErrorAlert(error);
    else
        MVLog::line(error.logLine());
}

void MVFileDocument::htmlViewHadError(HTMLView *, const MVError &error, bool critical)
{
    if (critical)
        _presentError(error);
    else if (_delegate)
        _delegate->documentShowsWarning(this, error.localizedDescription());
}

bool MVFileDocument::textViewShouldChangeTextInRange(MVTextView *, MVRange, const QString &)
{
    return true;
}

void MVFileDocument::textDidChange(MVTextView *)
{
    _refreshEditedMark();
}

void MVFileDocument::textViewDidChangeSelection(MVTextView *view, MVRange)
{
    _selection = view->selectedRange();
    if (_delegate)
        _delegate->documentStatusChanged(this);
}
