#pragma once

#include "platform/MVRange.h"
#include "text/MVAttributeOverlay.h"
#include "text/MVAttributeRuns.h"
#include "text/MVTextAttachment.h"
#include "text/MVTextAttributes.h"
#include "text/MVTextBuffer.h"

#include <QHash>
#include <QString>

#include <functional>
#include <map>
#include <memory>
#include <vector>

// The styled text of one editing view: the characters (MVTextBuffer), runs
// of attribute sets over them, and the attachments of folds.
//
// Every change is reported: outside a beginEditing/endEditing pair at once,
// inside one when the outermost pair ends. Reporting sets editedMask,
// editedRange (in the new text) and changeInLength, calls the editing
// observers and posts MVTextStorageDidProcessEditingNotification, then
// clears the three.
class MVTextStorage
{
public:
    enum EditedMask { EditedAttributes = 1, EditedCharacters = 2 };

    MVTextStorage();
    explicit MVTextStorage(const QString &text);
    ~MVTextStorage();
    MVTextStorage(const MVTextStorage &) = delete;
    MVTextStorage &operator=(const MVTextStorage &) = delete;

    static QString didProcessEditingNotification() { return QStringLiteral("MVTextStorageDidProcessEditingNotification"); }

    // Characters.
    const MVTextBuffer &buffer() const { return _buffer; }
    qsizetype length() const { return _buffer.length(); }
    // The whole text (a copy: prefer substring on large texts).
    QString string() const { return _buffer.string(); }
    QString substring(MVRange range) const { return _buffer.substring(range); }
    QStringView view(MVRange range, QString &scratch) const { return _buffer.view(range, scratch); }
    QChar characterAt(qsizetype index) const { return _buffer.characterAt(index); }
    MVRange lineRangeForRange(MVRange range) const { return _buffer.lineRangeForRange(range); }

    // Replaces characters. The new characters take the attributes of the
    // first replaced one or, for an insertion, of the character before it
    // (or after it at the start).
    void replaceCharacters(MVRange range, const QString &string);
    // The same with the attributes given.
    void replaceCharacters(MVRange range, const QString &string, const MVTextAttributes &attributes);
    // Replaces range by one U+FFFC carrying the attachment.
    void replaceCharactersWithAttachment(MVRange range, std::shared_ptr<MVTextAttachment> attachment,
                                         const MVTextAttributes &attributes = MVTextAttributes());
    // Replaces many ranges at once, in one pass over the text (see
    // MVTextBuffer::replaceRanges for the order the edits must be in). Each
    // new text takes the attributes as replaceCharacters gives them; an
    // attachment inside a replaced range goes. One change is reported, over
    // the range from the first edit to the end of the last. Returns the
    // number of edits made.
    qsizetype replaceCharactersInRanges(const std::vector<MVTextBuffer::Edit> &edits);
    // Replaces the whole text, dropping every attribute and attachment.
    void setString(const QString &string, const MVTextAttributes &attributes = MVTextAttributes());
    // The same with a buffer filled elsewhere (a file decoded piece by piece),
    // so that a large text is never held twice.
    void setBuffer(MVTextBuffer &&buffer, const MVTextAttributes &attributes = MVTextAttributes());

    // Attributes.
    MVTextAttributes attributesAtIndex(qsizetype index, MVRange *effectiveRange = nullptr) const;
    void setAttributes(const MVTextAttributes &attributes, MVRange range);
    void addAttributes(const MVTextAttributes &attributes, MVRange range);
    void removeAttribute(MVAttribute key, MVRange range);
    // Adds one attribute: a pointer for Parser, a QRgb for the colours,
    // trait bits for FontTraits; MultiLine needs no value.
    void addAttribute(MVAttribute key, quint64 value, MVRange range);
    // The value at index (nothing at or past the end, with the range {0, 0}),
    // and a range around index with that same value.
    MVAttributeValue attribute(MVAttribute key, qsizetype index, MVRange *effectiveRange = nullptr) const;
    // The same with the longest such range, clipped to limit.
    MVAttributeValue attribute(MVAttribute key, qsizetype index, MVRange *longestEffectiveRange, MVRange limit) const;
    // Replaces the attributes of range in one pass: runs are (length, set)
    // pairs in order from the range's start; their lengths should add up to
    // the range's (a shortfall keeps the last set, an excess is cut off).
    using AttributeRun = std::pair<qsizetype, MVTextAttributes>;
    void setAttributeRuns(MVRange range, const std::vector<AttributeRun> &runs);
    // Makes the changes of the overlay, as if made one by one in its order,
    // in one pass over the runs concerned; one change is reported for the
    // whole range touched.
    void applyAttributeOverlay(const MVAttributeOverlay &overlay);
    // Calls fn(range, attributes) for the runs across range, in order.
    void forEachRun(MVRange range, const std::function<bool(MVRange, const MVTextAttributes &)> &fn) const;
    qsizetype runCount() const { return _runs.runCount(); }

    // Attachments.
    std::shared_ptr<MVTextAttachment> attachmentAtIndex(qsizetype index) const;
    // A new attachment holding the full text of range.
    std::shared_ptr<MVTextAttachment> attachmentForRange(MVRange range) const;
    // The attachment at the range's start; else the first one inside the range.
    std::shared_ptr<MVTextAttachment> firstAttachmentInRange(MVRange range) const;
    // The attachment at index or the nearest before it, with its range.
    std::shared_ptr<MVTextAttachment> previousAttachmentBeforeIndex(qsizetype index, MVRange *range) const;
    // The attachment at index or the nearest after it; nothing at or past the end.
    std::shared_ptr<MVTextAttachment> nextAttachmentAfterIndex(qsizetype index, MVRange *range) const;
    qsizetype attachmentCount() const { return qsizetype(_attachments.size()); }

    // The text of range with each attachment replaced by its text: the text
    // as it is on disk.
    QString fullStringInRange(MVRange range) const;
    QString fullString() const { return fullStringInRange(MVRange{0, length()}); }
    // The same with each attachment replaced by one blank, so that locations
    // are those of the storage.
    QString stringWithoutAttachmentsInRange(MVRange range) const;

    // Batching and what the last edit did.
    void beginEditing();
    void endEditing();
    int editingLevel() const { return _editingLevel; }
    int editedMask() const { return _editedMask; }
    MVRange editedRange() const { return _editedRange; }
    qsizetype changeInLength() const { return _changeInLength; }

    using EditingObserver = std::function<void(const MVTextStorage &)>;
    int addEditingObserver(EditingObserver observer);
    void removeEditingObserver(int token);

private:
    quint32 _intern(const MVTextAttributes &attributes);
    struct InternCache;
    void _replaceRuns(MVRange range);
    const MVTextAttributes &_set(quint32 id) const { return _sets[id]; }
    void _replace(MVRange range, const QString &string, const quint32 *id);
    void _edited(int mask, MVRange oldRange, qsizetype delta);
    void _processEditing();
    void _shiftAttachments(MVRange oldRange, qsizetype newLength);
    template <typename Replace>
    QString _stringWithAttachments(MVRange range, Replace replacement) const;

    MVTextBuffer _buffer;
    MVAttributeRuns _runs;
    std::vector<MVTextAttributes> _sets;
    QHash<MVTextAttributes, quint32> _setIds;
    std::map<qsizetype, std::shared_ptr<MVTextAttachment>> _attachments;
    // Scratch space of the bulk writes, kept between calls.
    std::vector<MVAttributeRuns::Run> _newRuns;

    int _editingLevel = 0;
    int _editedMask = 0;
    MVRange _editedRange{MVNotFound, 0};
    qsizetype _changeInLength = 0;
    bool _processing = false;
    std::vector<std::pair<int, EditingObserver>> _observers;
    int _nextObserver = 1;
};
