#include "files/FileEncodings.h"

#include "app/Defaults.h"
#include "platform/MVStringTable.h"
#include "search/MVRegex.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>

#include <cerrno>
#include <cstring>
#include <iconv.h>

namespace FileEncodings {
namespace {

constexpr MVStringEncoding cf(MVStringEncoding value)
{
    return 0x80000000u + value;
}

struct Entry
{
    const char *name;  // what stringFromEncoding gives
    MVStringEncoding encoding;
    const char *iconvName;
};

// The names are close to the IANA ones. "-i" (implicit direction) variants
// of Arabic and Hebrew have the same bytes as the plain ones; number 0xA05
// is read as EUC-CN, the usual form of GB 2312 files.
constexpr Entry Table[] = {
    {"iso-8859-1", ISOLatin1Encoding, "ISO-8859-1"},
    {"iso-8859-2", cf(0x202), "ISO-8859-2"},
    {"iso-8859-3", cf(0x203), "ISO-8859-3"},
    {"iso-8859-4", cf(0x204), "ISO-8859-4"},
    {"iso-8859-5", cf(0x205), "ISO-8859-5"},
    {"iso-8859-6-i", cf(0x206), "ISO-8859-6"},
    {"iso-8859-7", cf(0x207), "ISO-8859-7"},
    {"iso-8859-8-i", cf(0x208), "ISO-8859-8"},
    {"iso-8859-9", cf(0x209), "ISO-8859-9"},
    {"iso-8859-10", cf(0x20A), "ISO-8859-10"},
    {"iso-8859-11", cf(0x20B), "ISO-8859-11"},
    {"iso-8859-13", cf(0x20D), "ISO-8859-13"},
    {"iso-8859-14", cf(0x20E), "ISO-8859-14"},
    {"iso-8859-15", cf(0x20F), "ISO-8859-15"},
    {"us-ascii", ASCIIEncoding, "ASCII"},
    {"euc-jp", cf(0x920), "EUC-JP"},
    {"shift-jis", cf(0xA01), "SHIFT_JIS"},
    {"iso-2022-jp", cf(0x820), "ISO-2022-JP"},
    {"euc-kr", cf(0x940), "EUC-KR"},
    {"gb2312", cf(0xA05), "EUC-CN"},
    {"big-5", cf(0xA03), "BIG5"},
    {"koi8-r", cf(0xA02), "KOI8-R"},
    {"macintosh", cf(0xA04), "MACINTOSH"},
    {"windows-1250", cf(0x501), "CP1250"},
    {"windows-1251", cf(0x502), "CP1251"},
    {"windows-1252", WindowsLatin1Encoding, "CP1252"},
    {"windows-1253", cf(0x503), "CP1253"},
    {"windows-1254", cf(0x504), "CP1254"},
    {"windows-1255", cf(0x505), "CP1255"},
    {"windows-1256", cf(0x506), "CP1256"},
    {"windows-1257", cf(0x507), "CP1257"},
    {"utf-8", UTF8Encoding, "UTF-8"},
    {"utf-16", UTF16Encoding, "UTF-16"},
};

// Mac Roman has no row of its own: it shares the name "macintosh".
constexpr Entry MacRomanEntry = {"macintosh", MacRomanEncoding, "MACINTOSH"};

const Entry *entryFor(MVStringEncoding encoding)
{
    if (encoding == MacRomanEncoding)
        return &MacRomanEntry;
    for (const Entry &entry : Table) {
        if (entry.encoding == encoding)
            return &entry;
    }
    return nullptr;
}

#if Q_BYTE_ORDER == Q_LITTLE_ENDIAN
constexpr const char *InternalUTF16 = "UTF-16LE";
#else
constexpr const char *InternalUTF16 = "UTF-16BE";
#endif

class Converter
{
public:
    Converter(const char *to, const char *from) : _cd(iconv_open(to, from)) {}
    ~Converter()
    {
        if (isValid())
            iconv_close(_cd);
    }
    Converter(const Converter &) = delete;
    Converter &operator=(const Converter &) = delete;
    bool isValid() const { return _cd != reinterpret_cast<iconv_t>(-1); }
    iconv_t handle() const { return _cd; }

private:
    iconv_t _cd;
};

// Bytes in the named encoding to UTF-16; nothing if any byte sequence is
// invalid or incomplete. Output room is estimated and grown when short.
std::optional<QString> decodeStrictly(const char *bytes, qsizetype length, const char *iconvName, qsizetype estimate)
{
    Converter converter(InternalUTF16, iconvName);
    if (!converter.isValid())
        return std::nullopt;
    QString result;
    result.resize(std::max<qsizetype>(estimate, 16));
    char *in = const_cast<char *>(bytes);
    size_t inLeft = size_t(length);
    qsizetype written = 0;
    for (;;) {
        char *outStart = reinterpret_cast<char *>(result.data()) + written;
        char *out = outStart;
        size_t outLeft = size_t(result.size()) * 2 - size_t(written);
        const size_t converted = inLeft ? iconv(converter.handle(), &in, &inLeft, &out, &outLeft)
                                        : iconv(converter.handle(), nullptr, nullptr, &out, &outLeft);
        const int failure = converted == size_t(-1) ? errno : 0;
        written += out - outStart;
        if (failure == E2BIG) {
            result.resize(result.size() * 2);
            continue;
        }
        if (failure)
            return std::nullopt;
        if (inLeft == 0 && in != nullptr) {
            in = nullptr; // one more round to end any shift state
            continue;
        }
        break;
    }
    result.truncate(qsizetype(written / 2));
    if (result.capacity() > result.size() + result.size() / 4 + 64)
        result.squeeze();
    return result;
}

// UTF-16 units to the named encoding. Strictly, nothing comes back if a
// character cannot be encoded; with replacements such a character becomes
// "?" and *replaced is set. Nothing also if the encoding is unknown.
std::optional<QByteArray> encode(const QString &string, const char *iconvName, bool withReplacements,
                                 bool *replaced = nullptr)
{
    Converter converter(iconvName, InternalUTF16);
    if (!converter.isValid())
        return std::nullopt;
    QByteArray result;
    result.resize(std::max<qsizetype>(string.size() + string.size() / 8, 16));
    char *in = reinterpret_cast<char *>(const_cast<QChar *>(string.constData()));
    size_t inLeft = size_t(string.size()) * 2;
    const char16_t question = u'?';
    qsizetype written = 0;
    bool finishing = false;
    for (;;) {
        char *outStart = result.data() + written;
        char *out = outStart;
        size_t outLeft = size_t(result.size() - written);
        size_t converted;
        if (!finishing)
            converted = iconv(converter.handle(), &in, &inLeft, &out, &outLeft);
        else
            converted = iconv(converter.handle(), nullptr, nullptr, &out, &outLeft);
        const int failure = converted == size_t(-1) ? errno : 0;
        written += out - outStart;
        if (failure == E2BIG) {
            result.resize(result.size() * 2);
            continue;
        }
        if (failure == EILSEQ || failure == EINVAL) {
            if (!withReplacements || finishing)
                return std::nullopt;
            // Skip the character that failed (a surrogate pair counts once)
            // and put the encoding's own "?" in its place.
            const auto *unit = reinterpret_cast<const char16_t *>(in);
            size_t skip = 2;
            if (inLeft >= 4 && QChar::isHighSurrogate(unit[0]) && QChar::isLowSurrogate(unit[1]))
                skip = 4;
            skip = std::min(skip, inLeft);
            in += skip;
            inLeft -= skip;
            char *questionIn = reinterpret_cast<char *>(const_cast<char16_t *>(&question));
            size_t questionLeft = 2;
            for (;;) {
                char *replacementStart = result.data() + written;
                char *replacementOut = replacementStart;
                size_t replacementLeft = size_t(result.size() - written);
                const size_t done =
                    iconv(converter.handle(), &questionIn, &questionLeft, &replacementOut, &replacementLeft);
                written += replacementOut - replacementStart;
                if (done == size_t(-1) && errno == E2BIG) {
                    result.resize(result.size() * 2);
                    continue;
                }
                if (done == size_t(-1))
                    return std::nullopt; // the encoding has no "?" at all
                break;
            }
            if (replaced)
                *replaced = true;
            continue;
        }
        if (failure)
            return std::nullopt;
        if (!withReplacements && converted > 0)
            return std::nullopt; // the converter approximated a character
        if (!finishing) {
            finishing = true; // end any shift state (ISO-2022-JP)
            continue;
        }
        break;
    }
    result.truncate(written);
    return result;
}

// Bytes decoded as the fallback encoding: a character for every byte.
QString macRomanString(const char *bytes, qsizetype length)
{
    static const QString table = [] {
        char all[256];
        for (int i = 0; i < 256; ++i)
            all[i] = char(i);
        std::optional<QString> decoded = decodeStrictly(all, 256, "MACINTOSH", 256);
        return decoded && decoded->size() == 256 ? *decoded : QString::fromLatin1(all, 256);
    }();
    QString result(length, Qt::Uninitialized);
    QChar *out = result.data();
    for (qsizetype i = 0; i < length; ++i)
        out[i] = table[uchar(bytes[i])];
    return result;
}

// Windows-1252 as browsers read it: the bytes the code page leaves
// unassigned stand for the C1 control of the same number.
const QString &windows1252Table()
{
    static const QString table = [] {
        QString result(256, Qt::Uninitialized);
        for (int i = 0; i < 256; ++i) {
            const char byte = char(i);
            std::optional<QString> decoded = decodeStrictly(&byte, 1, "CP1252", 2);
            result[i] = decoded && decoded->size() == 1 ? decoded->at(0) : QChar(i);
        }
        return result;
    }();
    return table;
}

QString windows1252String(const char *bytes, qsizetype length)
{
    const QString &table = windows1252Table();
    QString result(length, Qt::Uninitialized);
    QChar *out = result.data();
    for (qsizetype i = 0; i < length; ++i)
        out[i] = table[uchar(bytes[i])];
    return result;
}

// The reverse of the table. Strictly, nothing if a character is missing;
// with replacements it becomes "?" and *replaced is set.
std::optional<QByteArray> windows1252Bytes(const QString &string, bool withReplacements, bool *replaced = nullptr)
{
    static const QHash<char16_t, char> reverse = [] {
        QHash<char16_t, char> result;
        const QString &table = windows1252Table();
        for (int i = 0; i < 256; ++i)
            result.insert(table[i].unicode(), char(i));
        return result;
    }();
    QByteArray result(string.size(), Qt::Uninitialized);
    char *out = result.data();
    for (qsizetype i = 0; i < string.size(); ++i) {
        const char16_t unit = string[i].unicode();
        if (unit < 0x80) {
            *out++ = char(unit);
            continue;
        }
        const auto found = reverse.constFind(unit);
        if (found != reverse.constEnd()) {
            *out++ = *found;
            continue;
        }
        if (!withReplacements)
            return std::nullopt;
        if (QChar::isHighSurrogate(unit) && i + 1 < string.size() && string[i + 1].isLowSurrogate())
            ++i;
        *out++ = '?';
        if (replaced)
            *replaced = true;
    }
    result.truncate(out - result.data());
    return result;
}

bool isLittleEndianUTF16WithoutMark(const QByteArray &data)
{
    // Text is mostly ASCII, so its zero bytes tell the byte order: high
    // bytes come second in little-endian order.
    const qsizetype limit = std::min<qsizetype>(data.size() & ~qsizetype(1), 4096);
    int zeroFirst = 0, zeroSecond = 0;
    for (qsizetype i = 0; i < limit; i += 2) {
        zeroFirst += data[i] == 0;
        zeroSecond += data[i + 1] == 0;
    }
    return zeroSecond > zeroFirst;
}

// Decodes bytes of a file: the byte-order mark of UTF-8 or UTF-16 is taken
// off and reported.
std::optional<QString> decodeFileBytes(const QByteArray &data, MVStringEncoding encoding, ByteOrderMark *mark)
{
    ByteOrderMark found = ByteOrderMark::None;
    std::optional<QString> text;
    const auto *bytes = reinterpret_cast<const uchar *>(data.constData());
    if (encoding == UTF8Encoding && data.size() >= 3 && bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF) {
        found = ByteOrderMark::UTF8;
        text = decodeStrictly(data.constData() + 3, data.size() - 3, "UTF-8", data.size());
    } else if (encoding == UTF16Encoding) {
        qsizetype skip = 0;
        bool little;
        if (data.size() >= 2 && bytes[0] == 0xFF && bytes[1] == 0xFE)
            little = true, skip = 2;
        else if (data.size() >= 2 && bytes[0] == 0xFE && bytes[1] == 0xFF)
            little = false, skip = 2;
        else
            little = isLittleEndianUTF16WithoutMark(data);
        found = little ? ByteOrderMark::UTF16LittleEndian : ByteOrderMark::UTF16BigEndian;
        text = decodeStrictly(data.constData() + skip, data.size() - skip, little ? "UTF-16LE" : "UTF-16BE",
                              data.size() / 2 + 1);
    } else {
        text = stringFromData(data, encoding);
    }
    if (text && mark)
        *mark = found;
    return text;
}

QString localized(const QString &key, const QString &english)
{
    const QString text = MVLocalizedString(key);
    return text == key ? english : text;
}

// The warning of a fallback: which encoding the bytes were not valid in.
MVError fallbackError(MVStringEncoding tried)
{
    MVError error = MVError::morvel(
        16, localized(QStringLiteral("Not valid %@: opened as Western (Windows-1252)"),
                      QStringLiteral("Not valid %@: opened as Western (Windows-1252)"))
                .replace(QLatin1String("%@"), displayNameForEncoding(tried)));
    error.setUserInfo(QStringLiteral("NSStringEncodingErrorKey"), qint64(FallbackEncoding));
    return error;
}

MVError readError(const QString &path, int code, const QString &reason)
{
    const QString name = QFileInfo(path).fileName();
    MVError error(PlatformErrorDomain, code,
                  localized(QStringLiteral("The file “%@” couldn’t be opened."),
                            QStringLiteral("The file “%@” couldn’t be opened."))
                      .replace(QLatin1String("%@"), name),
                  reason);
    error.setUserInfo(QStringLiteral("NSFilePath"), path);
    return error;
}

} // namespace

MVStringEncoding encodingFromString(const QString &name)
{
    QString compared = name;
    compared.remove(QLatin1Char('-')).remove(QLatin1Char('_'));
    if (compared.isEmpty())
        return 0;
    for (const Entry &entry : Table) {
        QString form = QString::fromLatin1(entry.name);
        form.remove(QLatin1Char('-'));
        if (form == compared)
            return entry.encoding;
    }
    return 0;
}

QString stringFromEncoding(MVStringEncoding encoding)
{
    const Entry *entry = entryFor(encoding);
    return entry ? QString::fromLatin1(entry->name) : QString();
}

QString displayNameForEncoding(MVStringEncoding encoding)
{
    return stringFromEncoding(encoding).toUpper();
}

QList<MVStringEncoding> allEncodings()
{
    QList<MVStringEncoding> result;
    for (const Entry &entry : Table)
        result << entry.encoding;
    return result;
}

MVStringEncoding defaultEncoding()
{
    const MVStringEncoding encoding = encodingFromString(Defaults::textEncoding());
    return encoding ? encoding : UTF8Encoding;
}

std::optional<QString> stringFromData(const QByteArray &data, MVStringEncoding encoding)
{
    if (encoding == MacRomanEncoding || encoding == cf(0xA04))
        return macRomanString(data.constData(), data.size());
    if (encoding == WindowsLatin1Encoding)
        return windows1252String(data.constData(), data.size());
    const Entry *entry = entryFor(encoding);
    if (!entry)
        return std::nullopt;
    if (encoding == UTF16Encoding && data.size() % 2)
        return std::nullopt;
    return decodeStrictly(data.constData(), data.size(), entry->iconvName,
                          encoding == UTF16Encoding ? data.size() / 2 + 1 : data.size() + 1);
}

std::optional<QString> createWithData(const QByteArray &data, const QString &path, MVStringEncoding *encoding,
                                      MVError *error, ByteOrderMark *mark)
{
    MVStringEncoding decided = encoding ? *encoding : 0;
    if (!decided)
        decided = _encodingForPath(path, data);
    std::optional<QString> text = decodeFileBytes(data, decided, mark);
    if (!text) {
        // The fallback maps every byte, so this always gives the text, and
        // saving it again in the fallback gives back the very same bytes.
        if (error)
            *error = fallbackError(decided);
        decided = FallbackEncoding;
        text = windows1252String(data.constData(), data.size());
        if (mark)
            *mark = ByteOrderMark::None;
    }
    if (encoding)
        *encoding = decided;
    return text;
}

std::optional<QString> createWithData(const QByteArray &data, const QString &path, MVStringEncoding *encoding)
{
    return createWithData(data, path, encoding, nullptr);
}

std::optional<QString> createWithContentsOfFile(const QString &path, MVStringEncoding *encoding, MVError *error,
                                                ByteOrderMark *mark)
{
    const QFileInfo info(path);
    MVError failure;
    if (!info.exists()) {
        failure = readError(path, FileReadNoSuchFileError,
                            localized(QStringLiteral("There is no such file."), QStringLiteral("There is no such file.")));
    } else if (!info.isFile()) {
        // Folders, devices and pipes are no text files; reading a pipe
        // could also block for ever.
        failure = readError(path, FileReadUnknownError,
                            localized(QStringLiteral("It is not a regular file."),
                                      QStringLiteral("It is not a regular file.")));
    } else {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            const bool denied = file.error() == QFileDevice::PermissionsError || !info.isReadable();
            failure = readError(path, denied ? FileReadNoPermissionError : FileReadUnknownError, file.errorString());
        } else {
            QByteArray data = file.readAll();
            if (file.error() != QFileDevice::NoError) {
                failure = readError(path, FileReadUnknownError, file.errorString());
            } else {
                return createWithData(data, path, encoding, error, mark);
            }
        }
    }
    if (error)
        *error = failure;
    return std::nullopt;
}

std::optional<QString> createWithContentsOfFile(const QString &path, MVStringEncoding *encoding)
{
    return createWithContentsOfFile(path, encoding, nullptr);
}

std::optional<QByteArray> dataUsingEncodingStrictly(const QString &string, MVStringEncoding encoding, ByteOrderMark mark)
{
    const Entry *entry = entryFor(encoding);
    if (!entry)
        return std::nullopt;
    if (encoding == WindowsLatin1Encoding)
        return windows1252Bytes(string, false);
    if (encoding == UTF16Encoding) {
        const bool big = mark == ByteOrderMark::UTF16BigEndian;
        std::optional<QByteArray> bytes = encode(string, big ? "UTF-16BE" : "UTF-16LE", false);
        if (bytes)
            bytes->prepend(big ? QByteArray("\xFE\xFF", 2) : QByteArray("\xFF\xFE", 2));
        return bytes;
    }
    std::optional<QByteArray> bytes = encode(string, entry->iconvName, false);
    if (bytes && encoding == UTF8Encoding && mark == ByteOrderMark::UTF8)
        bytes->prepend("\xEF\xBB\xBF");
    return bytes;
}

std::optional<QByteArray> dataUsingEncoding(const QString &string, MVStringEncoding *encoding, MVError *error,
                                            ByteOrderMark mark)
{
    MVStringEncoding used = encoding && *encoding ? *encoding : defaultEncoding();
    if (std::optional<QByteArray> bytes = dataUsingEncodingStrictly(string, used, mark)) {
        if (encoding)
            *encoding = used;
        return bytes;
    }

    std::optional<QByteArray> bytes;
    if (const Entry *entry = entryFor(used)) {
        if (used == WindowsLatin1Encoding) {
            bytes = windows1252Bytes(string, true);
        } else if (used == UTF16Encoding) {
            // Only lone surrogates fail here.
            const bool big = mark == ByteOrderMark::UTF16BigEndian;
            bytes = encode(string, big ? "UTF-16BE" : "UTF-16LE", true);
            if (bytes)
                bytes->prepend(big ? QByteArray("\xFE\xFF", 2) : QByteArray("\xFF\xFE", 2));
        } else {
            bytes = encode(string, entry->iconvName, true);
            if (bytes && used == UTF8Encoding && mark == ByteOrderMark::UTF8)
                bytes->prepend("\xEF\xBB\xBF");
        }
    }
    if (!bytes) {
        used = FallbackEncoding;
        bytes = windows1252Bytes(string, true);
    }
    if (bytes) {
        const QString name = stringFromEncoding(used);
        if (error) {
            *error = MVError::morvel(
                16,
                localized(QStringLiteral("ENCODING_SAVE_WARNING_TITLE"),
                          QStringLiteral("Some characters cannot be saved in %@"))
                    .replace(QLatin1String("%@"), name),
                localized(QStringLiteral("ENCODING_SAVE_WARNING_BODY"),
                          QStringLiteral("Characters that %@ cannot represent are written as “?”. Save as UTF-8 "
                                         "to keep every character."))
                    .replace(QLatin1String("%@"), name));
            error->setUserInfo(QStringLiteral("NSStringEncodingErrorKey"), qint64(used));
        }
        if (encoding)
            *encoding = used;
        return bytes;
    }
    if (error) {
        *error = MVError(PlatformErrorDomain, FileWriteInapplicableStringEncodingError,
                         localized(QStringLiteral("The text couldn’t be converted for saving."),
                                   QStringLiteral("The text couldn’t be converted for saving.")));
    }
    return std::nullopt;
}

MVStringEncoding _encodingForPath(const QString &path, const QByteArray &data)
{
    if (MVStringEncoding encoding = _encodingFromFileName(path))
        return encoding;
    if (MVStringEncoding encoding = _encodingFromFileContents(data))
        return encoding;
    return defaultEncoding();
}

MVStringEncoding _encodingFromFileName(const QString &path)
{
    const QString name = path.section(QLatin1Char('/'), -1);
    const QStringList pieces = name.split(QLatin1Char('.'));
    for (const QString &piece : pieces) {
        if (MVStringEncoding encoding = encodingFromString(piece))
            return encoding;
    }
    return 0;
}

MVStringEncoding _encodingFromFileContents(const QByteArray &data)
{
    // Up to 30 complete lines, each read as Mac Roman; a last line with no
    // line break after it is not looked at.
    const char *bytes = data.constData();
    const qsizetype size = data.size();
    qsizetype start = 0;
    for (int lines = 0; lines < 30 && start < size; ++lines) {
        // The earlier of the next LF and the next CR, found with memchr so
        // that a long file without line breaks is passed over quickly.
        const char *lf = static_cast<const char *>(std::memchr(bytes + start, '\n', size_t(size - start)));
        const qsizetype lfAt = lf ? lf - bytes : size;
        const char *cr = static_cast<const char *>(std::memchr(bytes + start, '\r', size_t(lfAt - start)));
        qsizetype end = cr ? cr - bytes : lfAt;
        if (end == size)
            break;
        end += (bytes[end] == '\r' && end + 1 < size && bytes[end + 1] == '\n') ? 2 : 1;
        if (MVStringEncoding encoding = _encodingFromString(macRomanString(bytes + start, end - start)))
            return encoding;
        start = end;
    }
    if (size >= 2) {
        const uchar first = uchar(bytes[0]), second = uchar(bytes[1]);
        if ((first == 0xFF && second == 0xFE) || (first == 0xFE && second == 0xFF))
            return UTF16Encoding;
    }
    return 0;
}

MVStringEncoding _encodingFromString(const QString &line)
{
    static const std::shared_ptr<MVRegex> patterns[] = {
        MVRegex::initWithPattern(QStringLiteral("<\\?xml[^>]+encoding=\"([^\"]*)\""), 0x801),
        MVRegex::initWithPattern(QStringLiteral("<meta[^>]+charset=([^\"]*)\""), 0x801),
    };
    for (const std::shared_ptr<MVRegex> &pattern : patterns) {
        if (std::optional<MVRegexMatch> match = pattern->copyMatchForString(line)) {
            const MVRange value = match->rangeForCapture(1);
            return value.location < line.size() ? encodingFromString(line.mid(value.location, value.length)) : 0;
        }
    }
    return 0;
}

} // namespace FileEncodings
