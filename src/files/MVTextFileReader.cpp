#include "files/MVTextFileReader.h"

#include <QFile>
#include <QFileInfo>

MVTextFileReader::UTF8Appender::UTF8Appender(MVTextBuffer &buffer)
    : _buffer(buffer)
{
}

bool MVTextFileReader::UTF8Appender::append(QByteArrayView bytes)
{
    if (bytes.isEmpty())
        return !_decoder.hasError();
    QString piece = _decoder.decode(bytes);
    if (_decoder.hasError())
        return false;
    _tail = bytes.last(qMin<qsizetype>(4, bytes.size())).toByteArray();
    if (_carriedCR)
        piece.prepend(QLatin1Char('\r'));
    _carriedCR = piece.endsWith(QLatin1Char('\r'));
    if (_carriedCR)
        piece.chop(1);
    if (!_firstLineBreak)
        _firstLineBreak = GeneralUtility::firstLineBreakKind(piece);
    _buffer.append(piece);
    return true;
}

bool MVTextFileReader::UTF8Appender::finish()
{
    if (_carriedCR) {
        if (!_firstLineBreak)
            _firstLineBreak = GeneralUtility::MacLineBreak;
        _buffer.append(QStringLiteral("\r"));
        _carriedCR = false;
    }
    // The decoder keeps the start of a character cut off at the end of a
    // piece for the next one: the text must not end with such a start.
    qsizetype lead = _tail.size() - 1;
    while (lead >= 0 && (uchar(_tail.at(lead)) & 0xC0) == 0x80)
        --lead;
    if (lead < 0)
        return _tail.isEmpty();
    const uchar first = uchar(_tail.at(lead));
    const qsizetype needed = first < 0x80 ? 1 : (first >> 5) == 0x6 ? 2 : (first >> 4) == 0xE ? 3 : (first >> 3) == 0x1E ? 4 : 0;
    return needed == _tail.size() - lead;
}

namespace {

// The encoding to decode with: the stored one, else the file's name, a
// declaration in its first lines, a UTF-16 mark, and the default.
MVStringEncoding decideEncoding(const MVTextFileReader::Request &request, const QByteArray &head)
{
    if (request.encoding)
        return request.encoding;
    if (MVStringEncoding encoding = FileEncodings::_encodingFromFileName(request.path))
        return encoding;
    if (MVStringEncoding encoding = FileEncodings::_encodingFromFileContents(head))
        return encoding;
    return request.defaultEncoding;
}

} // namespace

MVTextFileReader::Result MVTextFileReader::read(const Request &request, const std::atomic<bool> &cancelled,
                                                const Progress &progress)
{
    Result result;
    const QFileInfo info(request.path);
    QFile file(request.path);
    if (!info.isFile() || !file.open(QIODevice::ReadOnly)) {
        // The loader of the encodings words every kind of failure.
        MVStringEncoding encoding = request.encoding ? request.encoding : request.defaultEncoding;
        FileEncodings::createWithContentsOfFile(request.path, &encoding, &result.error);
        if (result.error.isNull())
            result.error = MVError::morvel(0, QStringLiteral("The file “%1” could not be opened.").arg(info.fileName()));
        return result;
    }
    const qint64 total = file.size();
    auto report = [&](qint64 done) {
        if (progress)
            progress(done, total);
    };
    auto failed = [&]() {
        result.error = MVError(FileEncodings::PlatformErrorDomain, FileEncodings::FileReadUnknownError,
                               QStringLiteral("The file “%1” could not be read.").arg(info.fileName()), file.errorString());
        return result;
    };

    QByteArray piece = file.read(qMin<qint64>(total, PieceSize));
    if (file.error() != QFileDevice::NoError)
        return failed();
    const MVStringEncoding encoding = decideEncoding(request, piece);
    qint64 done = piece.size();
    report(done);

    if (encoding == FileEncodings::UTF8Encoding) {
        // Straight from the disk into the buffer, a piece at a time.
        QByteArrayView first(piece);
        if (first.startsWith("\xEF\xBB\xBF")) {
            result.mark = FileEncodings::ByteOrderMark::UTF8;
            first = first.sliced(3);
        }
        UTF8Appender appender(result.buffer);
        bool valid = appender.append(first);
        while (valid && done < total) {
            if (cancelled.load()) {
                result.cancelled = true;
                return result;
            }
            piece = file.read(qMin<qint64>(total - done, PieceSize));
            if (file.error() != QFileDevice::NoError)
                return failed();
            if (piece.isEmpty())
                break;
            done += piece.size();
            valid = appender.append(piece);
            report(done);
        }
        if (valid && appender.finish()) {
            result.ok = true;
            result.lineBreak = appender.firstLineBreak();
            result.encoding = encoding;
            return result;
        }
        // Not UTF-8 after all: read the whole file and let the fallback decide.
        result.buffer = MVTextBuffer();
        result.mark = FileEncodings::ByteOrderMark::None;
        if (!file.seek(0))
            return failed();
        piece.clear();
        done = 0;
    }

    QByteArray bytes = std::move(piece);
    bytes.reserve(total);
    while (done < total) {
        if (cancelled.load()) {
            result.cancelled = true;
            return result;
        }
        const QByteArray more = file.read(qMin<qint64>(total - done, PieceSize));
        if (file.error() != QFileDevice::NoError)
            return failed();
        if (more.isEmpty())
            break;
        bytes.append(more);
        done += more.size();
        report(done);
    }
    MVStringEncoding used = encoding;
    std::optional<QString> text = FileEncodings::createWithData(bytes, request.path, &used, &result.error, &result.mark);
    bytes = QByteArray();
    if (!text)
        return result;
    result.lineBreak = GeneralUtility::firstLineBreakKind(*text);
    result.buffer.setText(*text);
    result.encoding = used;
    result.ok = true;
    return result;
}
