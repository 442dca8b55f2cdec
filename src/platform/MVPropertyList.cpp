#include "platform/MVPropertyList.h"

#include "platform/MVAtomicFile.h"

#include <QDateTime>
#include <QFile>
#include <QTimeZone>

#include <plist/plist.h>

#include <cstdlib>
#include <limits>
#include <memory>

namespace {

// Seconds between the Unix epoch and the property-list epoch, 2001-01-01.
constexpr qint64 PlistEpochOffset = 978307200;
// Nesting deeper than this is refused rather than recursed into.
constexpr int MaxDepth = 512;

struct PlistDeleter
{
    void operator()(void *node) const { plist_free(static_cast<plist_t>(node)); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

QString takeString(char *raw)
{
    const QString s = raw ? QString::fromUtf8(raw) : QString();
    std::free(raw);
    return s;
}

std::optional<QVariant> toVariant(plist_t node, int depth)
{
    if (!node || depth > MaxDepth)
        return std::nullopt;
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        uint8_t v = 0;
        plist_get_bool_val(node, &v);
        return QVariant(v != 0);
    }
    case PLIST_UINT: {
        uint64_t v = 0;
        plist_get_uint_val(node, &v);
        // The library keeps integers unsigned; negative values come back by the cast.
        return QVariant(static_cast<qint64>(v));
    }
    case PLIST_UID: {
        uint64_t v = 0;
        plist_get_uid_val(node, &v);
        return QVariant(static_cast<qint64>(v));
    }
    case PLIST_REAL: {
        double v = 0;
        plist_get_real_val(node, &v);
        return QVariant(v);
    }
    case PLIST_STRING: {
        // By pointer and length: the copying accessor asserts that the text
        // holds no NUL byte, so a hostile file would end the process.
        uint64_t length = 0;
        const char *text = plist_get_string_ptr(node, &length);
        return QVariant(text ? QString::fromUtf8(text, static_cast<qsizetype>(length)) : QString());
    }
    case PLIST_KEY: {
        char *raw = nullptr;
        plist_get_key_val(node, &raw);
        return QVariant(takeString(raw));
    }
    case PLIST_DATA: {
        char *raw = nullptr;
        uint64_t length = 0;
        plist_get_data_val(node, &raw, &length);
        QByteArray bytes(raw, raw ? static_cast<qsizetype>(length) : 0);
        std::free(raw);
        return QVariant(bytes);
    }
    case PLIST_DATE: {
        int32_t sec = 0, usec = 0;
        plist_get_date_val(node, &sec, &usec);
        const qint64 ms = (static_cast<qint64>(sec) + PlistEpochOffset) * 1000 + usec / 1000;
        return QVariant(QDateTime::fromMSecsSinceEpoch(ms, Qt::UTC));
    }
    case PLIST_ARRAY: {
        QVariantList list;
        const uint32_t size = plist_array_get_size(node);
        list.reserve(size);
        for (uint32_t i = 0; i < size; ++i) {
            auto item = toVariant(plist_array_get_item(node, i), depth + 1);
            if (!item)
                return std::nullopt;
            list.append(std::move(*item));
        }
        return QVariant(list);
    }
    case PLIST_DICT: {
        QVariantMap map;
        plist_dict_iter it = nullptr;
        plist_dict_new_iter(node, &it);
        if (!it)
            return QVariant(map);
        for (;;) {
            char *key = nullptr;
            plist_t value = nullptr;
            plist_dict_next_item(node, it, &key, &value);
            if (!value) {
                std::free(key);
                break;
            }
            const QString k = takeString(key);
            auto v = toVariant(value, depth + 1);
            if (!v) {
                std::free(it);
                return std::nullopt;
            }
            map.insert(k, std::move(*v));
        }
        std::free(it);
        return QVariant(map);
    }
    default:
        return std::nullopt;
    }
}

plist_t fromVariant(const QVariant &value, int depth, QString *error)
{
    if (depth > MaxDepth) {
        if (error)
            *error = QStringLiteral("nesting too deep");
        return nullptr;
    }
    switch (value.typeId()) {
    case QMetaType::Bool:
        return plist_new_bool(value.toBool() ? 1 : 0);
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
        return plist_new_uint(static_cast<uint64_t>(value.toLongLong()));
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        return plist_new_uint(value.toULongLong());
    case QMetaType::Double:
    case QMetaType::Float:
        return plist_new_real(value.toDouble());
    case QMetaType::QString:
        return plist_new_string(value.toString().toUtf8().constData());
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        return plist_new_data(bytes.constData(), static_cast<uint64_t>(bytes.size()));
    }
    case QMetaType::QDateTime:
    case QMetaType::QDate: {
        const qint64 ms = value.toDateTime().toMSecsSinceEpoch();
        const qint64 sec = ms / 1000 - PlistEpochOffset;
        if (sec < std::numeric_limits<int32_t>::min() || sec > std::numeric_limits<int32_t>::max()) {
            if (error)
                *error = QStringLiteral("date out of range");
            return nullptr;
        }
        return plist_new_date(static_cast<int32_t>(sec), static_cast<int32_t>((ms % 1000) * 1000));
    }
    case QMetaType::QStringList:
    case QMetaType::QVariantList: {
        PlistPtr array(plist_new_array());
        for (const QVariant &item : value.toList()) {
            plist_t child = fromVariant(item, depth + 1, error);
            if (!child)
                return nullptr;
            plist_array_append_item(array.get(), child);
        }
        return array.release();
    }
    case QMetaType::QVariantMap:
    case QMetaType::QVariantHash: {
        PlistPtr dict(plist_new_dict());
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            plist_t child = fromVariant(it.value(), depth + 1, error);
            if (!child)
                return nullptr;
            plist_dict_set_item(dict.get(), it.key().toUtf8().constData(), child);
        }
        return dict.release();
    }
    default:
        if (error)
            *error = QStringLiteral("value of type %1 has no property-list form")
                         .arg(QString::fromLatin1(value.metaType().name() ? value.metaType().name() : "invalid"));
        return nullptr;
    }
}

bool looksLikeXml(const QByteArray &data)
{
    // Skip a UTF-8 byte-order mark and white space; XML starts with '<'.
    qsizetype i = data.startsWith("\xEF\xBB\xBF") ? 3 : 0;
    while (i < data.size() && (data[i] == ' ' || data[i] == '\t' || data[i] == '\n' || data[i] == '\r'))
        ++i;
    return i < data.size() && data[i] == '<';
}

} // namespace

std::optional<QVariant> MVPropertyList::fromData(const QByteArray &data, QString *error)
{
    auto fail = [error](const QString &why) -> std::optional<QVariant> {
        if (error)
            *error = why;
        return std::nullopt;
    };
    if (data.isEmpty())
        return fail(QStringLiteral("empty property list"));
    if (data.size() > std::numeric_limits<int32_t>::max())
        return fail(QStringLiteral("property list too large"));
    const auto length = static_cast<uint32_t>(data.size());
    plist_t root = nullptr;
    if (plist_is_binary(data.constData(), length)) {
        plist_from_bin(data.constData(), length, &root);
    } else if (looksLikeXml(data)) {
        plist_from_xml(data.constData(), length, &root);
    } else {
        return fail(QStringLiteral("not a property list"));
    }
    PlistPtr owner(root);
    if (!root)
        return fail(QStringLiteral("malformed property list"));
    auto result = toVariant(root, 0);
    if (!result)
        return fail(QStringLiteral("malformed property list"));
    return result;
}

std::optional<QVariant> MVPropertyList::readFile(const QString &path, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = QStringLiteral("%1: %2").arg(path, file.errorString());
        return std::nullopt;
    }
    QString why;
    auto result = fromData(file.readAll(), &why);
    if (!result && error)
        *error = QStringLiteral("%1: %2").arg(path, why);
    return result;
}

std::optional<QVariantMap> MVPropertyList::readDictionary(const QString &path, QString *error)
{
    auto value = readFile(path, error);
    if (!value)
        return std::nullopt;
    if (value->typeId() != QMetaType::QVariantMap) {
        if (error)
            *error = QStringLiteral("%1: the top level is not a dictionary").arg(path);
        return std::nullopt;
    }
    return value->toMap();
}

std::optional<QByteArray> MVPropertyList::toData(const QVariant &plist, Format format, QString *error)
{
    PlistPtr root(fromVariant(plist, 0, error));
    if (!root)
        return std::nullopt;
    char *raw = nullptr;
    uint32_t length = 0;
    if (format == BinaryFormat) {
        plist_to_bin(root.get(), &raw, &length);
        QByteArray bytes(raw, static_cast<qsizetype>(length));
        plist_to_bin_free(raw);
        return bytes;
    }
    plist_to_xml(root.get(), &raw, &length);
    QByteArray bytes(raw, static_cast<qsizetype>(length));
    plist_to_xml_free(raw);
    return bytes;
}

bool MVPropertyList::writeFile(const QVariant &plist, const QString &path, Format format, QString *error)
{
    auto bytes = toData(plist, format, error);
    if (!bytes || bytes->isEmpty()) {
        if (error && error->isEmpty())
            *error = QStringLiteral("cannot serialise property list");
        return false;
    }
    return MVAtomicFile::write(path, *bytes, error);
}
