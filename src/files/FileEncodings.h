#pragma once

#include "platform/MVError.h"

#include <QByteArray>
#include <QString>

#include <optional>

// A text encoding by number; 0 is unknown. Numbers of the classic table are
// small (1 ASCII, 4 UTF-8, 5 ISO Latin 1, 10 UTF-16, 12 Windows Latin 1,
// 30 Mac Roman); the
// others are 0x80000000 plus the number of the wider family of encodings.
using MVStringEncoding = quint32;

// Turning the bytes of a file into text and back: the table of encoding
// names, the choice of an encoding for a file, decoding with a fallback that
// loses nothing, and encoding with a warning when characters are replaced.
namespace FileEncodings {

inline constexpr MVStringEncoding ASCIIEncoding = 1;
inline constexpr MVStringEncoding UTF8Encoding = 4;
inline constexpr MVStringEncoding ISOLatin1Encoding = 5;
inline constexpr MVStringEncoding UTF16Encoding = 10;
inline constexpr MVStringEncoding WindowsLatin1Encoding = 12;
inline constexpr MVStringEncoding MacRomanEncoding = 30;
// The encoding that always decodes: every byte is a character. Windows-1252
// reads Latin-1 text as it was meant; its five unassigned bytes (0x81, 0x8D,
// 0x8F, 0x90, 0x9D) become the C1 controls of the same number, so every
// byte comes back unchanged when the text is saved again.
inline constexpr MVStringEncoding FallbackEncoding = WindowsLatin1Encoding;

// The error domain of failures that are not the program's own (a file that
// cannot be read, text that cannot be encoded at all).
inline const QString PlatformErrorDomain = QStringLiteral("NSCocoaErrorDomain");
inline constexpr int FileReadUnknownError = 256;
inline constexpr int FileReadNoPermissionError = 257;
inline constexpr int FileReadNoSuchFileError = 260;
inline constexpr int FileWriteInapplicableStringEncodingError = 512;

// What stood before the text: a UTF-8 byte-order mark, or the byte order of
// UTF-16. Decoding reports it and removes the mark from the text; encoding
// writes it back. UTF-16 is always written with a mark, so that the file is
// recognised again.
enum class ByteOrderMark : quint8 { None, UTF8, UTF16BigEndian, UTF16LittleEndian };

// The number for a name of the table. "-" and "_" are removed first and the
// rest must match exactly, case included ("UTF-8" is not a name). 0 if unknown.
MVStringEncoding encodingFromString(const QString &name);
// The name of the table for a number; empty (null) for an unknown number.
QString stringFromEncoding(MVStringEncoding encoding);
// Every number of the table, in the table's order.
QList<MVStringEncoding> allEncodings();

// The name to show a user: "UTF-8", "ISO-8859-1", "WINDOWS-1252".
QString displayNameForEncoding(MVStringEncoding encoding);

// The encoding named by the preference; UTF-8 if that name is not in the table.
MVStringEncoding defaultEncoding();

// Decoding. A non-zero *encoding is used as it stands; otherwise it is chosen
// from the file name, a declaration in the first 30 lines of the bytes, a
// UTF-16 byte-order mark, and the default, in that order. If the bytes are not
// valid in that encoding, they are read as Windows-1252 (which maps every
// byte), *encoding becomes Windows-1252, so that an unedited save writes the
// same bytes, and *error gets code 16 "Not valid UTF-8: opened as Western
// (Windows-1252)".
// Nothing comes back only when the file cannot be read; *error says why.
std::optional<QString> createWithContentsOfFile(const QString &path, MVStringEncoding *encoding, MVError *error,
                                                ByteOrderMark *mark = nullptr);
std::optional<QString> createWithContentsOfFile(const QString &path, MVStringEncoding *encoding);
// The same for bytes already in hand; path only serves the choice of encoding.
std::optional<QString> createWithData(const QByteArray &data, const QString &path, MVStringEncoding *encoding,
                                      MVError *error, ByteOrderMark *mark = nullptr);
std::optional<QString> createWithData(const QByteArray &data, const QString &path, MVStringEncoding *encoding);

// Encoding for a save, in *encoding (0 or null: the default). Characters the
// encoding cannot hold become "?" and *error gets code 16 with the warning to
// show; if even that is impossible (an encoding the system cannot convert),
// the text is written as Windows-1252, *encoding says so and the warning names
// it. Nothing comes back only if no bytes could be made at all (error 512).
std::optional<QByteArray> dataUsingEncoding(const QString &string, MVStringEncoding *encoding, MVError *error,
                                            ByteOrderMark mark = ByteOrderMark::None);
// Strict conversion: nothing if any character cannot be encoded.
std::optional<QByteArray> dataUsingEncodingStrictly(const QString &string, MVStringEncoding encoding,
                                                    ByteOrderMark mark = ByteOrderMark::None);
// Strict decoding of the whole data in one encoding, mark included as text.
std::optional<QString> stringFromData(const QByteArray &data, MVStringEncoding encoding);

// The steps of the choice of an encoding, each 0 when it finds nothing.
MVStringEncoding _encodingForPath(const QString &path, const QByteArray &data);
MVStringEncoding _encodingFromFileName(const QString &path);
MVStringEncoding _encodingFromFileContents(const QByteArray &data);
// A declaration in one line: an XML prolog's encoding, else a meta charset.
MVStringEncoding _encodingFromString(const QString &line);

} // namespace FileEncodings
