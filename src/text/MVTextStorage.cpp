#include "text/MVTextStorage.h"

#include "platform/MVNotificationCenter.h"

#include <QVarLengthArray>

#include <algorithm>

namespace {
constexpr char16_t ObjectReplacementCharacter = 0xFFFC;
}

MVTextStorage::MVTextStorage()
{
    _sets.push_back(MVTextAttributes());
    _setIds.insert(MVTextAttributes(), 0);
}

MVTextStorage::MVTextStorage(const QString &text)
    : MVTextStorage()
{
    _buffer.setText(text);
    _runs.clear(text.size(), 0);
}

MVTextStorage::~MVTextStorage() = default;

quint32 MVTextStorage::_intern(const MVTextAttributes &attributes)
{
    const auto it = _setIds.constFind(attributes);
    if (it != _setIds.constEnd())
        return it.value();
    const quint32 id = quint32(_sets.size());
    _sets.push_back(attributes);
    _setIds.insert(attributes, id);
    return id;
}

// ---- characters -----------------------------------------------------------

void MVTextStorage::replaceCharacters(MVRange range, const QString &string)
{
    _replace(range, string, nullptr);
}

void MVTextStorage::replaceCharacters(MVRange range, const QString &string, const MVTextAttributes &attributes)
{
    const quint32 id = _intern(attributes);
    _replace(range, string, &id);
}

void MVTextStorage::replaceCharactersWithAttachment(MVRange range, std::shared_ptr<MVTextAttachment> attachment,
                                                    const MVTextAttributes &attributes)
{
    const quint32 id = _intern(attributes);
    beginEditing();
    _replace(range, QString(QChar(ObjectReplacementCharacter)), &id);
    if (attachment)
        _attachments[qBound<qsizetype>(0, range.location, length() - 1)] = std::move(attachment);
    endEditing();
}

void MVTextStorage::setString(const QString &string, const MVTextAttributes &attributes)
{
    const MVRange old{0, length()};
    _buffer.setText(string);
    _runs.clear(string.size(), _intern(attributes));
    _attachments.clear();
    _edited(EditedCharacters | EditedAttributes, old, string.size() - old.length);
}

void MVTextStorage::setBuffer(MVTextBuffer &&buffer, const MVTextAttributes &attributes)
{
    const MVRange old{0, length()};
    _buffer = std::move(buffer);
    buffer = MVTextBuffer();
    _runs.clear(_buffer.length(), _intern(attributes));
    _attachments.clear();
    _edited(EditedCharacters | EditedAttributes, old, _buffer.length() - old.length);
}

void MVTextStorage::_replace(MVRange range, const QString &string, const quint32 *id)
{
    const qsizetype from = qBound<qsizetype>(0, range.location, length());
    const qsizetype to = qBound<qsizetype>(from, range.end(), length());
    const MVRange old{from, to - from};
    if (old.length == 0 && string.isEmpty())
        return;
    quint32 newId = 0;
    if (id) {
        newId = *id;
    } else if (old.length > 0) {
        newId = _runs.idAt(from);
    } else if (from > 0) {
        newId = _runs.idAt(from - 1);
    } else if (length() > 0) {
        newId = _runs.idAt(0);
    }
    _buffer.replace(old, string);
    _runs.remove(old.location, old.length);
    _runs.insert(old.location, string.size(), newId);
    _shiftAttachments(old, string.size());
    _edited(EditedCharacters | (id ? EditedAttributes : 0), old, string.size() - old.length);
}

qsizetype MVTextStorage::replaceCharactersInRanges(const std::vector<MVTextBuffer::Edit> &edits)
{
    // The attributes the new texts take, read before anything changes.
    std::vector<quint32> ids;
    ids.reserve(edits.size());
    for (qsizetype end = 0; ids.size() < edits.size();) {
        const MVRange range = edits[ids.size()].range;
        if (range.location < end || range.length < 0 || range.end() > length())
            break;
        end = range.end();
        if (range.length > 0)
            ids.push_back(_runs.idAt(range.location));
        else if (range.location > 0)
            ids.push_back(_runs.idAt(range.location - 1));
        else
            ids.push_back(length() > 0 ? _runs.idAt(0) : 0);
    }
    const qsizetype made = _buffer.replaceRanges(edits);
    Q_ASSERT(made == qsizetype(ids.size()));
    if (made == 0)
        return 0;
    // From the last edit back, so that the earlier positions still hold.
    qsizetype delta = 0;
    for (qsizetype i = made - 1; i >= 0; --i) {
        const MVTextBuffer::Edit &edit = edits[size_t(i)];
        _runs.remove(edit.range.location, edit.range.length);
        _runs.insert(edit.range.location, edit.text.size(), ids[size_t(i)]);
        delta += edit.text.size() - edit.range.length;
    }
    if (!_attachments.empty()) {
        // One walk over the attachments and the edits together.
        std::map<qsizetype, std::shared_ptr<MVTextAttachment>> moved;
        qsizetype shift = 0;
        qsizetype next = 0;
        for (auto &[position, attachment] : _attachments) {
            while (next < made && edits[size_t(next)].range.end() <= position) {
                shift += edits[size_t(next)].text.size() - edits[size_t(next)].range.length;
                ++next;
            }
            const MVRange range = next < made ? edits[size_t(next)].range : MVRange{MVNotFound, 0};
            if (next < made && range.location <= position && position < range.end())
                continue;
            moved.emplace_hint(moved.end(), position + shift, std::move(attachment));
        }
        _attachments = std::move(moved);
    }
    const MVRange first = edits.front().range;
    const MVRange last = edits[size_t(made - 1)].range;
    _edited(EditedCharacters, MVRange{first.location, last.end() - first.location}, delta);
    return made;
}

void MVTextStorage::_shiftAttachments(MVRange oldRange, qsizetype newLength)
{
    if (_attachments.empty())
        return;
    auto it = _attachments.lower_bound(oldRange.location);
    while (it != _attachments.end() && it->first < oldRange.end())
        it = _attachments.erase(it);
    const qsizetype delta = newLength - oldRange.length;
    if (delta == 0 || it == _attachments.end())
        return;
    std::vector<std::pair<qsizetype, std::shared_ptr<MVTextAttachment>>> moved;
    for (auto move = it; move != _attachments.end(); ++move)
        moved.emplace_back(move->first + delta, std::move(move->second));
    _attachments.erase(it, _attachments.end());
    for (auto &entry : moved)
        _attachments.emplace_hint(_attachments.end(), entry.first, std::move(entry.second));
}

// ---- attributes -----------------------------------------------------------

// A few recent sets and their ids in front of the interning table: the runs
// of one parse use a handful of distinct sets over and over.
struct MVTextStorage::InternCache
{
    static constexpr size_t Size = 64;
    struct Entry
    {
        MVTextAttributes attributes;
        quint32 id = 0;
        bool used = false;
    };
    Entry entries[Size];

    quint32 id(MVTextStorage &storage, const MVTextAttributes &attributes)
    {
        Entry &entry = entries[qHash(attributes) % Size];
        if (!entry.used || !(entry.attributes == attributes)) {
            entry.attributes = attributes;
            entry.id = storage._intern(attributes);
            entry.used = true;
        }
        return entry.id;
    }
};

namespace {

void appendRun(std::vector<MVAttributeRuns::Run> &runs, qsizetype length, quint32 id)
{
    if (!runs.empty() && runs.back().id == id)
        runs.back().length += length;
    else
        runs.push_back(MVAttributeRuns::Run{length, id});
}

// Ids by a fixed-size key of numbers: a small open-addressed table that
// forgets on collisions, which only costs a recomputation.
class MVCombinationCache
{
public:
    explicit MVCombinationCache(size_t keySize)
        : _keySize(keySize)
        , _keys(Slots * keySize)
        , _ids(Slots, Empty)
    {
    }

    quint32 *find(const quint32 *key)
    {
        const size_t slot = _slot(key);
        if (_ids[slot] == Empty || !std::equal(key, key + _keySize, &_keys[slot * _keySize]))
            return nullptr;
        return &_ids[slot];
    }
    quint32 *insert(const quint32 *key, quint32 id)
    {
        const size_t slot = _slot(key);
        std::copy(key, key + _keySize, &_keys[slot * _keySize]);
        _ids[slot] = id;
        return &_ids[slot];
    }

private:
    static constexpr size_t Slots = 256;
    static constexpr quint32 Empty = 0xFFFFFFFF;
    size_t _slot(const quint32 *key) const
    {
        quint64 hash = 0;
        for (size_t i = 0; i < _keySize; ++i)
            hash = (hash ^ key[i]) * 0x9E3779B97F4A7C15ull;
        return size_t(hash >> 56) % Slots;
    }
    size_t _keySize;
    std::vector<quint32> _keys;
    std::vector<quint32> _ids;
};

// The run buffer is kept between bulk writes while they stay large (typing
// in a long minified line reuses it instead of faulting it in on each
// keystroke), and given back after a small one or beyond a limit.
constexpr size_t KeptRuns = size_t(1) << 22;
constexpr size_t SmallBuffer = 65536;

} // namespace

void MVTextStorage::_replaceRuns(MVRange range)
{
    _runs.replace(range, _newRuns);
    const size_t capacity = _newRuns.capacity();
    if (capacity > KeptRuns || (capacity > SmallBuffer && _newRuns.size() < capacity / 8))
        std::vector<MVAttributeRuns::Run>().swap(_newRuns);
    else
        _newRuns.clear();
    _edited(EditedAttributes, range, 0);
}

void MVTextStorage::setAttributeRuns(MVRange range, const std::vector<AttributeRun> &runs)
{
    const MVRange clipped = MVIntersectionRange(range, MVRange{0, length()});
    if (clipped.length == 0)
        return;
    InternCache cache;
    _newRuns.clear();
    for (const auto &[runLength, attributes] : runs) {
        if (runLength > 0)
            appendRun(_newRuns, runLength, cache.id(*this, attributes));
    }
    _replaceRuns(clipped);
}

void MVTextStorage::applyAttributeOverlay(const MVAttributeOverlay &overlay)
{
    using Addition = MVAttributeOverlay::Addition;
    const std::vector<Addition> &additions = overlay.additions();
    const qsizetype n = length();
    const MVRange base = MVIntersectionRange(overlay.baseRange(), MVRange{0, n});
    qsizetype start = base.length > 0 ? base.location : n;
    qsizetype end = base.length > 0 ? base.end() : 0;

    // Parser marks touch one key that no other addition sets: they can go
    // behind the others, where they form one or two layers instead of one
    // between each region's tokens and the next. Passes: the others, then
    // the marks; or everything in one when some addition mixes the Parser
    // attribute with others.
    const bool reorder = !overlay.hasParserInAdditions();
    auto inPass = [&](const Addition &addition, int pass) {
        return !reorder || overlay.isParserMark(addition.set) == (pass == 1);
    };
    // Layers: stretches of the additions of a pass whose ranges follow one
    // another without overlap. Inside a layer the order does not matter, so
    // all layers are walked side by side over the text.
    struct Layer
    {
        int pass;
        size_t next;
        size_t end;
    };
    QVarLengthArray<Layer, 8> layers;
    for (int pass = 0; pass < (reorder ? 2 : 1); ++pass) {
        qsizetype layerEnd = 0;
        bool open = false;
        for (size_t i = 0; i < additions.size(); ++i) {
            const Addition &addition = additions[i];
            if (!inPass(addition, pass))
                continue;
            const qsizetype from = qMax<qsizetype>(0, addition.from);
            const qsizetype to = qMin(n, addition.from + qsizetype(addition.length));
            if (to <= from)
                continue;
            if (!open || from < layerEnd) {
                layers.append(Layer{pass, i, i});
                layerEnd = 0;
                open = true;
            }
            layers.back().end = i + 1;
            layerEnd = qMax(layerEnd, to);
            start = qMin(start, from);
            end = qMax(end, to);
        }
    }
    if (end <= start)
        return;

    _newRuns.clear();
    // Room for every piece at once: growing by copies would touch the memory
    // twice, and memory reserved but not written costs nothing.
    _newRuns.reserve(qMin(2 * additions.size() + 1024, KeptRuns / 2));
    const quint8 removals = overlay.baseRemovals();
    // What a piece of text becomes depends on its old set, whether the base
    // covers it and the set each layer adds there: remember the id of each
    // such combination, so that a piece costs a lookup of a few numbers.
    const size_t keySize = 2 + size_t(layers.size());
    QVarLengthArray<quint32, 16> key(qsizetype(keySize), 0);
    MVCombinationCache combinations(keySize);
    constexpr quint32 NoSet = 0xFFFFFFFF;
    MVAttributeRuns::Reader old(_runs, start);
    qsizetype position = start;
    while (position < end) {
        while (old.end() <= position && old.end() < n)
            old.next();
        qsizetype boundary = qMin(old.end(), end);
        key[0] = old.id();
        key[1] = 0;
        if (base.length > 0) {
            if (position < base.location) {
                boundary = qMin(boundary, base.location);
            } else if (position < base.end()) {
                boundary = qMin(boundary, base.end());
                key[1] = 1;
            }
        }
        for (qsizetype l = 0; l < layers.size(); ++l) {
            Layer &layer = layers[l];
            key[2 + l] = NoSet;
            // Skip what lies behind (or belongs to the other pass, or lies
            // outside the text).
            while (layer.next < layer.end
                   && (!inPass(additions[layer.next], layer.pass)
                       || additions[layer.next].from + qsizetype(additions[layer.next].length) <= position
                       || additions[layer.next].from >= n))
                ++layer.next;
            if (layer.next == layer.end)
                continue;
            const Addition &addition = additions[layer.next];
            if (addition.from <= position) {
                key[2 + l] = addition.set;
                boundary = qMin(boundary, addition.from + qsizetype(addition.length));
            } else {
                boundary = qMin(boundary, addition.from);
            }
        }
        quint32 *id = combinations.find(key.constData());
        if (!id) {
            MVTextAttributes attributes = _sets[key[0]];
            if (key[1]) {
                attributes.add(overlay.baseAttributes());
                for (quint8 k = 0; k < quint8(MVAttribute::Attachment); ++k) {
                    if (removals & (1u << k))
                        attributes.remove(MVAttribute(k));
                }
            }
            for (size_t l = 2; l < keySize; ++l) {
                if (key[qsizetype(l)] != NoSet)
                    attributes.add(overlay.set(key[qsizetype(l)]));
            }
            id = combinations.insert(key.constData(), _intern(attributes));
        }
        appendRun(_newRuns, boundary - position, *id);
        position = boundary;
    }
    _replaceRuns(MVRange{start, end - start});
}

MVTextAttributes MVTextStorage::attributesAtIndex(qsizetype index, MVRange *effectiveRange) const
{
    if (index < 0 || index >= length()) {
        if (effectiveRange)
            *effectiveRange = MVRange{0, 0};
        return MVTextAttributes();
    }
    return _set(_runs.idAt(index, effectiveRange));
}

void MVTextStorage::setAttributes(const MVTextAttributes &attributes, MVRange range)
{
    const MVRange clipped = MVIntersectionRange(range, MVRange{0, length()});
    if (clipped.length == 0)
        return;
    _runs.set(clipped, _intern(attributes));
    _edited(EditedAttributes, clipped, 0);
}

void MVTextStorage::addAttributes(const MVTextAttributes &attributes, MVRange range)
{
    const MVRange clipped = MVIntersectionRange(range, MVRange{0, length()});
    if (clipped.length == 0 || attributes.isEmpty())
        return;
    // Runs share few distinct sets: remember the last mapping.
    quint32 lastFrom = 0xFFFFFFFF;
    quint32 lastTo = 0;
    _runs.apply(clipped, [&](quint32 id) {
        if (id != lastFrom) {
            MVTextAttributes merged = _sets[id];
            merged.add(attributes);
            lastFrom = id;
            lastTo = _intern(merged);
        }
        return lastTo;
    });
    _edited(EditedAttributes, clipped, 0);
}

void MVTextStorage::addAttribute(MVAttribute key, quint64 value, MVRange range)
{
    MVTextAttributes attributes;
    switch (key) {
    case MVAttribute::Parser: attributes.setParser(reinterpret_cast<const void *>(quintptr(value))); break;
    case MVAttribute::MultiLine: attributes.setMultiLine(); break;
    case MVAttribute::ForegroundColor: attributes.setForeground(QColor::fromRgba(QRgb(value))); break;
    case MVAttribute::BackgroundColor: attributes.setBackground(QColor::fromRgba(QRgb(value))); break;
    case MVAttribute::FontTraits: attributes.setTraits(quint8(value)); break;
    case MVAttribute::Attachment: return; // attachments come with their character
    }
    addAttributes(attributes, range);
}

void MVTextStorage::removeAttribute(MVAttribute key, MVRange range)
{
    const MVRange clipped = MVIntersectionRange(range, MVRange{0, length()});
    if (clipped.length == 0)
        return;
    if (key == MVAttribute::Attachment) {
        auto it = _attachments.lower_bound(clipped.location);
        while (it != _attachments.end() && it->first < clipped.end())
            it = _attachments.erase(it);
    } else {
        quint32 lastFrom = 0xFFFFFFFF;
        quint32 lastTo = 0;
        _runs.apply(clipped, [&](quint32 id) {
            if (id != lastFrom) {
                MVTextAttributes reduced = _sets[id];
                reduced.remove(key);
                lastFrom = id;
                lastTo = _intern(reduced);
            }
            return lastTo;
        });
    }
    _edited(EditedAttributes, clipped, 0);
}

MVAttributeValue MVTextStorage::attribute(MVAttribute key, qsizetype index, MVRange *effectiveRange) const
{
    if (index < 0 || index >= length()) {
        if (effectiveRange)
            *effectiveRange = MVRange{0, 0};
        return {};
    }
    if (key == MVAttribute::Attachment)
        return attribute(key, index, effectiveRange, MVRange{0, length()});
    return _set(_runs.idAt(index, effectiveRange)).value(key);
}

MVAttributeValue MVTextStorage::attribute(MVAttribute key, qsizetype index, MVRange *longest, MVRange limit) const
{
    if (index < 0 || index >= length()) {
        if (longest)
            *longest = MVRange{0, 0};
        return {};
    }
    const qsizetype limitStart = qMax<qsizetype>(0, limit.location);
    const qsizetype limitEnd = qMin(length(), limit.end());
    if (key == MVAttribute::Attachment) {
        const auto it = _attachments.find(index);
        if (it != _attachments.end()) {
            if (longest)
                *longest = MVIntersectionRange(MVRange{index, 1}, MVRange{limitStart, limitEnd - limitStart});
            return MVAttributeValue{true, quint64(quintptr(it->second.get()))};
        }
        if (longest) {
            // The stretch without attachments around index.
            auto after = _attachments.upper_bound(index);
            qsizetype end = after == _attachments.end() ? length() : after->first;
            qsizetype start = 0;
            if (after != _attachments.begin()) {
                auto before = std::prev(after);
                start = before->first + 1;
            }
            start = qMax(start, limitStart);
            end = qMin(end, limitEnd);
            *longest = MVRange{start, qMax<qsizetype>(0, end - start)};
        }
        return {};
    }

    MVRange run;
    const MVAttributeValue value = _set(_runs.idAt(index, &run)).value(key);
    if (!longest)
        return value;
    qsizetype start = run.location;
    while (start > limitStart) {
        MVRange previous;
        if (_set(_runs.idAt(start - 1, &previous)).value(key) != value)
            break;
        start = previous.location;
    }
    qsizetype end = run.end();
    if (end < limitEnd) {
        _runs.forEachRun(MVRange{end, limitEnd - end}, [&](MVRange next, quint32 id) {
            if (_set(id).value(key) != value)
                return false;
            end = next.end();
            return true;
        });
    }
    start = qMax(start, limitStart);
    end = qMin(end, limitEnd);
    *longest = MVRange{start, qMax<qsizetype>(0, end - start)};
    return value;
}

void MVTextStorage::forEachRun(MVRange range, const std::function<bool(MVRange, const MVTextAttributes &)> &fn) const
{
    _runs.forEachRun(range, [&](MVRange run, quint32 id) { return fn(run, _sets[id]); });
}

// ---- attachments ----------------------------------------------------------

std::shared_ptr<MVTextAttachment> MVTextStorage::attachmentAtIndex(qsizetype index) const
{
    const auto it = _attachments.find(index);
    return it == _attachments.end() ? nullptr : it->second;
}

std::shared_ptr<MVTextAttachment> MVTextStorage::attachmentForRange(MVRange range) const
{
    return std::make_shared<MVTextAttachment>(fullStringInRange(range));
}

std::shared_ptr<MVTextAttachment> MVTextStorage::firstAttachmentInRange(MVRange range) const
{
    const auto it = _attachments.lower_bound(qMax<qsizetype>(0, range.location));
    if (it == _attachments.end())
        return nullptr;
    if (it->first == range.location || it->first < range.end())
        return it->second;
    return nullptr;
}

std::shared_ptr<MVTextAttachment> MVTextStorage::previousAttachmentBeforeIndex(qsizetype index, MVRange *range) const
{
    auto it = _attachments.upper_bound(index);
    if (it == _attachments.begin()) {
        if (range)
            *range = MVRange::notFound();
        return nullptr;
    }
    --it;
    if (range)
        *range = MVRange{it->first, 1};
    return it->second;
}

std::shared_ptr<MVTextAttachment> MVTextStorage::nextAttachmentAfterIndex(qsizetype index, MVRange *range) const
{
    const auto it = index >= length() ? _attachments.end() : _attachments.lower_bound(index);
    if (it == _attachments.end()) {
        if (range)
            *range = MVRange::notFound();
        return nullptr;
    }
    if (range)
        *range = MVRange{it->first, 1};
    return it->second;
}

template <typename Replace>
QString MVTextStorage::_stringWithAttachments(MVRange range, Replace replacement) const
{
    const MVRange clipped = MVIntersectionRange(range, MVRange{0, length()});
    QString result;
    result.reserve(clipped.length);
    qsizetype position = clipped.location;
    for (auto it = _attachments.lower_bound(clipped.location); it != _attachments.end() && it->first < clipped.end(); ++it) {
        result += _buffer.substring(MVRange{position, it->first - position});
        result += replacement(*it->second);
        position = it->first + 1;
    }
    result += _buffer.substring(MVRange{position, clipped.end() - position});
    return result;
}

QString MVTextStorage::fullStringInRange(MVRange range) const
{
    return _stringWithAttachments(range, [](const MVTextAttachment &a) { return a.string(); });
}

QString MVTextStorage::stringWithoutAttachmentsInRange(MVRange range) const
{
    return _stringWithAttachments(range, [](const MVTextAttachment &) { return MVTextAttachment::emptyRepresentation(); });
}

// ---- editing --------------------------------------------------------------

void MVTextStorage::beginEditing()
{
    ++_editingLevel;
}

void MVTextStorage::endEditing()
{
    if (_editingLevel == 0)
        return;
    if (--_editingLevel == 0 && _editedMask != 0)
        _processEditing();
}

void MVTextStorage::_edited(int mask, MVRange oldRange, qsizetype delta)
{
    if (_editedMask == 0) {
        _editedRange = MVRange{oldRange.location, oldRange.length + delta};
        _changeInLength = delta;
    } else {
        MVRange united = MVUnionRange(_editedRange, oldRange);
        united.length += delta;
        _editedRange = united;
        _changeInLength += delta;
    }
    _editedMask |= mask;
    if (_editingLevel == 0 && !_processing)
        _processEditing();
}

void MVTextStorage::_processEditing()
{
    _processing = true;
    // Observers may be removed while they run: go over a copy.
    const auto observers = _observers;
    for (const auto &entry : observers)
        entry.second(*this);
    MVNotificationCenter::defaultCenter().post(didProcessEditingNotification(), this);
    _processing = false;
    _editedMask = 0;
    _editedRange = MVRange{MVNotFound, 0};
    _changeInLength = 0;
}

int MVTextStorage::addEditingObserver(EditingObserver observer)
{
    const int token = _nextObserver++;
    _observers.emplace_back(token, std::move(observer));
    return token;
}

void MVTextStorage::removeEditingObserver(int token)
{
    std::erase_if(_observers, [token](const auto &entry) { return entry.first == token; });
}
