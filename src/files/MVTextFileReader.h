#pragma once

#include "files/FileEncodings.h"
#include "files/GeneralUtility.h"
#include "platform/MVError.h"
#include "text/MVTextBuffer.h"

#include <QByteArrayView>
#include <QString>
#include <QStringDecoder>

#include <atomic>
#include <functional>
#include <optional>

// Reads a text file and decodes it into a text buffer, ready to be handed to
// a view. read() touches nothing that belongs to the main thread (the
// preference it needs comes with the request), so a document runs it on a
// worker and moves the buffer over when it is done.
//
// A UTF-8 file goes from the disk into the buffer a piece at a time: only
// one piece of bytes is ever in memory beside the text. Any other encoding,
// and UTF-8 that turns out not to be valid, is read whole and decoded with
// the fallback of FileEncodings::createWithData.
class MVTextFileReader
{
public:
    struct Request
    {
        QString path;
        // The encoding stored for the file; 0 lets the file's name and
        // contents decide, and then defaultEncoding.
        MVStringEncoding encoding = 0;
        MVStringEncoding defaultEncoding = FileEncodings::UTF8Encoding;
    };

    struct Result
    {
        // False when the file could not be read (error says why) or the
        // read was cancelled.
        bool ok = false;
        bool cancelled = false;
        MVTextBuffer buffer;
        MVStringEncoding encoding = 0;
        FileEncodings::ByteOrderMark mark = FileEncodings::ByteOrderMark::None;
        // The kind of the text's first line break; nothing without one.
        // The breaks themselves stay as they are in the file.
        std::optional<GeneralUtility::LineBreakKind> lineBreak;
        // The failure, or with ok the warning (code 16) that the fallback
        // encoding was used.
        MVError error;
    };

    // Bytes read so far and the file's size, after each piece.
    using Progress = std::function<void(qint64 done, qint64 total)>;

    static constexpr qsizetype PieceSize = 4 * 1024 * 1024;

    // Reads and decodes; stops soon after cancelled becomes true.
    static Result read(const Request &request, const std::atomic<bool> &cancelled, const Progress &progress = {});

    // Decodes UTF-8 handed over a piece at a time into a buffer, line
    // breaks as they are, noting the kind of the first. A CR at the end of
    // a piece waits for the next, which may begin with its LF.
    class UTF8Appender
    {
    public:
        explicit UTF8Appender(MVTextBuffer &buffer);
        // False once the bytes so far are not valid UTF-8.
        bool append(QByteArrayView bytes);
        // Ends the text; false if it ends inside a character.
        bool finish();
        std::optional<GeneralUtility::LineBreakKind> firstLineBreak() const { return _firstLineBreak; }

    private:
        MVTextBuffer &_buffer;
        std::optional<GeneralUtility::LineBreakKind> _firstLineBreak;
        QStringDecoder _decoder{QStringDecoder::Utf8};
        // The last bytes given, to tell whether the text ends inside a character.
        QByteArray _tail;
        bool _carriedCR = false;
    };
};
