#include "remote/MVListingParser.h"

#include "remote/MVListingDate.h"

#include <algorithm>
#include <limits>

struct MVListingParser::Fields
{
    QByteArrayView name;
    QByteArrayView mode;
    QByteArrayView user;
    QByteArrayView group;
    QByteArrayView date;
    QByteArrayView size;
    bool isDirectory = false;
    // On a line of a link, "name -> target" is split at the first arrow.
    bool isLink = false;
    // The name shown may differ from the one stored (padding, arrows).
    bool ambiguous = false;
};

namespace {

constexpr qsizetype CadaverNameColumn = 8;  // after "Coll:" and blanks, or eight blanks
constexpr qsizetype CadaverNameWidth = 29;  // names are padded to this many bytes
constexpr qsizetype CadaverSizeWidth = 10;  // sizes are right-aligned in this many
constexpr qsizetype WindowsDirectoryWidth = 10; // blanks after "<DIR>" up to the name

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool allDigits(QByteArrayView word)
{
    return !word.isEmpty() && std::all_of(word.begin(), word.end(), isDigit);
}

bool hasControl(QByteArrayView bytes)
{
    return std::any_of(bytes.begin(), bytes.end(), [](char c) { return uchar(c) < 0x20 || uchar(c) == 0x7f; });
}

qsizetype offsetIn(QByteArrayView line, QByteArrayView part)
{
    return part.data() - line.data();
}

// The span from the start of one word to the end of another.
QByteArrayView span(QByteArrayView line, QByteArrayView first, QByteArrayView last)
{
    const qsizetype begin = offsetIn(line, first);
    return line.sliced(begin, offsetIn(line, last) + last.size() - begin);
}

// Length of the mode word at the start of a Unix line ("drwxr-xr-x", maybe
// with "+", "@" or "." for extended attributes), or 0. A blank follows it.
qsizetype unixModeLength(QByteArrayView line)
{
    if (line.size() < 11 || !QByteArrayView("-bcdlpsDnw?").contains(line[0]))
        return 0;
    for (qsizetype i = 1; i < 10; ++i) {
        const QByteArrayView allowed = i % 3 == 0 ? QByteArrayView("-xsStTlL?") : QByteArrayView("-rw?");
        if (!allowed.contains(line[i]))
            return 0;
    }
    if (line[10] == ' ')
        return 10;
    if (QByteArrayView("+@.").contains(line[10]) && line.size() > 11 && line[11] == ' ')
        return 11;
    return 0;
}

// Reads the blank-separated words of a line one at a time.
class Words
{
public:
    Words(QByteArrayView line, qsizetype from) : _line(line), _position(from) {}
    bool readNext()
    {
        while (_position < _line.size() && _line[_position] == ' ')
            ++_position;
        if (_position == _line.size())
            return false;
        const qsizetype begin = _position;
        while (_position < _line.size() && _line[_position] != ' ')
            ++_position;
        list.append(_line.sliced(begin, _position - begin));
        return true;
    }
    // Makes sure count words are read, if the line has them.
    void readUpTo(qsizetype count)
    {
        while (list.size() < count && readNext()) {
        }
    }
    QList<QByteArrayView> list;

private:
    QByteArrayView _line;
    qsizetype _position;
};

qint64 sizeFromDigits(QByteArrayView digits)
{
    qint64 size = 0;
    for (char c : digits) {
        if (size > (std::numeric_limits<qint64>::max() - 9) / 10)
            return std::numeric_limits<qint64>::max();
        size = size * 10 + (c - '0');
    }
    return size;
}

// sftp prints each byte of a name that its locale cannot show as a
// backslash and three octal digits: those are turned back into bytes.
QByteArray unescapeOctal(QByteArrayView bytes, bool *escaped)
{
    QByteArray out;
    out.reserve(bytes.size());
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        if (bytes[i] == '\\' && i + 3 < bytes.size() && (bytes[i + 1] == '2' || bytes[i + 1] == '3')
            && bytes[i + 2] >= '0' && bytes[i + 2] <= '7' && bytes[i + 3] >= '0' && bytes[i + 3] <= '7') {
            out.append(char(((bytes[i + 1] - '0') << 6) | ((bytes[i + 2] - '0') << 3) | (bytes[i + 3] - '0')));
            *escaped = true;
            i += 3;
        } else {
            out.append(bytes[i]);
        }
    }
    return out;
}

// Windows-1252 for 0x80 to 0x9F; its five unassigned bytes keep their value.
const char16_t windows1252[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

qsizetype utf8SequenceLength(uchar lead)
{
    if (lead >= 0xc2 && lead <= 0xdf)
        return 2;
    if (lead >= 0xe0 && lead <= 0xef)
        return 3;
    if (lead >= 0xf0 && lead <= 0xf4)
        return 4;
    return 1;
}

} // namespace

MVListingParser::MVListingParser(int protocol, const QString &listedPath)
    : _protocol(protocol), _directory(listedPath)
{
    if (protocol == SFTP) {
        _sftpPrefix = (listedPath.isEmpty() ? QStringLiteral(".") : listedPath).toUtf8();
        if (!_sftpPrefix.endsWith('/'))
            _sftpPrefix.append('/');
    }
}

QList<MVRemoteFile> MVListingParser::parse(const QStringList &lines, const QList<QByteArray> &rawLines, int protocol,
                                           const QString &listedPath)
{
    return MVListingParser(protocol, listedPath).filesFromLines(lines, rawLines);
}

QList<MVRemoteFile> MVListingParser::filesFromLines(const QStringList &lines, const QList<QByteArray> &rawLines) const
{
    QList<MVRemoteFile> files;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QByteArray bytes = i < rawLines.size() ? rawLines[i] : lines[i].toUtf8();
        if (auto file = fileFromLine(bytes))
            files.append(std::move(*file));
    }
    return files;
}

std::optional<MVRemoteFile> MVListingParser::fileFromLine(QByteArrayView line) const
{
    if (line.size() > MaximumLineBytes)
        return std::nullopt;
    if (_protocol == WebDAV)
        return _fileFromCadaverLine(line);
    if (_protocol == SFTP || unixModeLength(line))
        return _fileFromUnixLine(line);
    return _fileFromWindowsLine(line);
}

// -rw-r--r--    1 web      staff        4096 Jan  2 03:04 name
// The date is the first one among the words that follows a number (the
// size); the words between the link count and the size are owner and group.
std::optional<MVRemoteFile> MVListingParser::_fileFromUnixLine(QByteArrayView line) const
{
    const qsizetype modeLength = unixModeLength(line);
    if (!modeLength)
        return std::nullopt;
    Fields fields;
    fields.mode = line.first(10);
    Words words(line, modeLength);
    for (qsizetype at = 1;; ++at) {
        words.readUpTo(at + 3);
        if (at >= words.list.size())
            return std::nullopt;
        if (!allDigits(words.list[at - 1]))
            continue;
        const int dateWords = MVListingDate::wordsAt(words.list, at);
        if (!dateWords)
            continue;
        const QList<QByteArrayView> &list = words.list;
        fields.date = span(line, list[at], list[at + dateWords - 1]);
        const qsizetype sizeAt = at - 1;
        fields.size = list[sizeAt];
        qsizetype ownerAt = 0;
        if (sizeAt > 0 && (allDigits(list[0]) || list[0] == "?"))
            ownerAt = 1; // the link count
        if (sizeAt - ownerAt == 1) {
            fields.user = list[ownerAt];
        } else if (sizeAt - ownerAt >= 2) {
            // An owner with a blank in it keeps the blank; the group is one word.
            fields.user = span(line, list[ownerAt], list[sizeAt - 2]);
            fields.group = list[sizeAt - 1];
        }
        const qsizetype dateEnd = offsetIn(line, fields.date) + fields.date.size();
        if (dateEnd + 1 >= line.size() || line[dateEnd] != ' ')
            return std::nullopt;
        fields.name = line.sliced(dateEnd + 1);
        fields.isLink = line[0] == 'l';
        return _finish(fields);
    }
}

// 02-24-26  03:15PM       <DIR>          images
// 02-24-2026  15:15                  1234 index.html
std::optional<MVRemoteFile> MVListingParser::_fileFromWindowsLine(QByteArrayView line) const
{
    Words words(line, 0);
    words.readUpTo(4);
    const QList<QByteArrayView> &list = words.list;
    if (list.size() < 3)
        return std::nullopt;
    const QByteArrayView day = list[0];
    const bool shortYear = day.size() == 8, longYear = day.size() == 10;
    if (!(shortYear || longYear) || day[2] != day[5] || (day[2] != '-' && day[2] != '/')
        || !allDigits(day.first(2)) || !allDigits(day.sliced(3, 2)) || !allDigits(day.sliced(6)))
        return std::nullopt;
    QByteArrayView time = list[1];
    qsizetype next = 2;
    if (time.endsWith("AM") || time.endsWith("PM")) {
        time.chop(2);
    } else if (list.size() > 3 && (list[2] == "AM" || list[2] == "PM")) {
        next = 3;
    }
    if (!MVListingDate::isTime(time))
        return std::nullopt;
    Fields fields;
    fields.date = span(line, list[0], list[next - 1]);
    const QByteArrayView kind = list[next];
    const qsizetype kindEnd = offsetIn(line, kind) + kind.size();
    qsizetype nameStart = kindEnd + 1;
    if (kind == "<DIR>") {
        fields.isDirectory = true;
        qsizetype blanks = 0;
        while (kindEnd + blanks < line.size() && line[kindEnd + blanks] == ' ')
            ++blanks;
        // The name stands in the column after the size field; blanks beyond
        // it belong to the name.
        nameStart = kindEnd + std::min(blanks, WindowsDirectoryWidth);
    } else if (allDigits(kind)) {
        fields.size = kind;
    } else {
        return std::nullopt;
    }
    if (nameStart >= line.size() || line[nameStart - 1] != ' ')
        return std::nullopt;
    fields.name = line.sliced(nameStart);
    return _finish(fields);
}

// Coll:   images                                 0  Nov 25 06:29
//         index.html                          1234  Nov 25 06:29
// The name begins in the ninth column and is padded to 29 bytes; the size,
// right-aligned in ten, is the number right before the date at the end.
std::optional<MVRemoteFile> MVListingParser::_fileFromCadaverLine(QByteArrayView line) const
{
    Fields fields;
    if (line.startsWith("Coll:   "))
        fields.isDirectory = true;
    else if (!line.startsWith("        "))
        return std::nullopt;
    // The last words, read backwards.
    QList<QByteArrayView> last;
    qsizetype position = line.size();
    while (last.size() < 4 && position > CadaverNameColumn) {
        const qsizetype end = position;
        while (position > CadaverNameColumn && line[position - 1] != ' ')
            --position;
        if (position == end)
            return std::nullopt; // a blank at the end: not this form
        last.prepend(line.sliced(position, end - position));
        while (position > CadaverNameColumn && line[position - 1] == ' ')
            --position;
    }
    for (int dateWords = 3; dateWords >= 1; --dateWords) {
        const qsizetype at = last.size() - dateWords;
        if (at < 1 || MVListingDate::wordsAt(last, at) != dateWords || !allDigits(last[at - 1]))
            continue;
        fields.date = span(line, last[at], last.back());
        fields.size = last[at - 1];
        const qsizetype sizeStart = offsetIn(line, fields.size);
        if (sizeStart <= CadaverNameColumn || line[sizeStart - 1] != ' ')
            return std::nullopt;
        // One blank and the size's own padding stand before it; what is left
        // is the name, padded with blanks if shorter than the column.
        qsizetype fieldEnd = sizeStart - 1 - std::max<qsizetype>(0, CadaverSizeWidth - fields.size.size());
        const QByteArrayView gap = line.sliced(std::max(fieldEnd, CadaverNameColumn),
                                               sizeStart - std::max(fieldEnd, CadaverNameColumn));
        const bool padded = std::all_of(gap.begin(), gap.end(), [](char c) { return c == ' '; });
        if (!padded || fieldEnd <= CadaverNameColumn) {
            // Not the known layout: the name ends before the blanks, and
            // blanks at its own end cannot be told apart from them.
            fields.ambiguous = true;
            fieldEnd = sizeStart;
            while (fieldEnd > CadaverNameColumn && line[fieldEnd - 1] == ' ')
                --fieldEnd;
        } else if (fieldEnd - CadaverNameColumn <= CadaverNameWidth) {
            while (fieldEnd > CadaverNameColumn && line[fieldEnd - 1] == ' ')
                --fieldEnd;
        }
        fields.name = line.sliced(CadaverNameColumn, fieldEnd - CadaverNameColumn);
        return _finish(fields);
    }
    return std::nullopt;
}

std::optional<MVRemoteFile> MVListingParser::_finish(const Fields &fields) const
{
    bool canRoundTrip = !fields.ambiguous;
    QByteArray name = fields.name.toByteArray();
    QByteArray target;
    bool splitLink = fields.isLink;
    if (_protocol == SFTP) {
        // Escapes show a client whose locale is not UTF-8: its line editor
        // drops every byte outside ASCII, so such a name cannot be typed back
        // (it would name another file).
        bool escaped = false;
        name = unescapeOctal(name, &escaped);
        if (escaped)
            canRoundTrip = false;
        // sftp formats such a line itself and never shows a link's target:
        // an arrow there is part of the name.
        if (name.startsWith(_sftpPrefix)) {
            name.remove(0, _sftpPrefix.size());
            splitLink = false;
        }
    }
    if (splitLink) {
        const qsizetype arrow = name.indexOf(" -> ");
        if (arrow >= 0) {
            target = name.mid(arrow + 4);
            name.truncate(arrow);
            // With a second arrow, which one parts name and target is unknown.
            if (target.contains(" -> "))
                canRoundTrip = false;
        }
    }
    if (name.isEmpty() || name == "." || name == ".." || name.contains('/') || hasControl(name))
        return std::nullopt;
    const bool validUtf8 = QByteArrayView(name).isValidUtf8();
    const QString text = decode(name);
    if (validUtf8 && std::any_of(text.begin(), text.end(), [](QChar c) { return c.unicode() >= 0x80 && c.unicode() < 0xa0; }))
        return std::nullopt; // C1 control characters
    // sftp's line editor drops bytes that are not UTF-8, and the WebDAV
    // client takes its arguments as UTF-8 text in a UTF-8 locale.
    if (!validUtf8 && _protocol != FTP)
        canRoundTrip = false;

    MVRemoteFile file;
    file.setName(_directory, text, name);
    if (!fields.mode.isEmpty())
        file.setModeString(QString::fromLatin1(fields.mode));
    if (fields.isDirectory)
        file.setDirectory(true);
    if (!fields.user.isEmpty())
        file.setUser(decode(fields.user));
    if (!fields.group.isEmpty())
        file.setGroup(decode(fields.group));
    if (!fields.date.isEmpty())
        file.setDateString(decode(fields.date));
    if (!fields.size.isEmpty())
        file.setSize(sizeFromDigits(fields.size));
    if (!target.isEmpty())
        file.setLinkTarget(decode(target));
    file.setCanRoundTrip(canRoundTrip);
    return file;
}

QString MVListingParser::decode(QByteArrayView bytes)
{
    if (bytes.isValidUtf8())
        return QString::fromUtf8(bytes);
    QString text;
    text.reserve(bytes.size());
    for (qsizetype i = 0; i < bytes.size();) {
        const uchar lead = uchar(bytes[i]);
        const qsizetype length = utf8SequenceLength(lead);
        if (length > 1 && i + length <= bytes.size() && bytes.sliced(i, length).isValidUtf8()) {
            text.append(QString::fromUtf8(bytes.sliced(i, length)));
            i += length;
            continue;
        }
        text.append(lead >= 0x80 && lead < 0xa0 ? QChar(windows1252[lead - 0x80]) : QChar(lead));
        ++i;
    }
    return text;
}
