#pragma once

#include "remote/MVRemoteFile.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// Turns the lines a client printed for a directory listing into entries.
// Three forms are read: the Unix form of ls -l (SFTP, and most FTP
// servers), the Windows form of some FTP servers, and the form of the
// WebDAV client. Each line is read on its own, so lines may be parsed in
// any grouping with the same result.
//
// The fields are found by scanning the line's bytes: the mode at the start,
// then the date among the words (the word before it is the size), and the
// name is exactly what follows the one blank behind the date, blanks and
// all, with its bytes kept for sending back. What is not an entry (echoes,
// totals, status replies, error messages, a name cut by a line break) gives
// nothing. Names that cannot stand for a file are dropped: empty, "." and
// "..", and names holding "/" or control characters.
class MVListingParser
{
public:
    enum Protocol { FTP = 0, SFTP = 1, WebDAV = 2 };
    // Longer lines are dropped: no listing line is near this long, and it
    // bounds the work a hostile server can cause per line.
    static constexpr qsizetype MaximumLineBytes = 4200;

    // The listed path is the path given to the listing command ("" and "."
    // both mean the current directory); entries get it as their directory.
    MVListingParser(int protocol, const QString &listedPath);

    // The entries of the lines, in their order. rawLines[i] holds the bytes
    // of lines[i]; a line without bytes is taken as its text's UTF-8.
    QList<MVRemoteFile> filesFromLines(const QStringList &lines, const QList<QByteArray> &rawLines = {}) const;
    std::optional<MVRemoteFile> fileFromLine(QByteArrayView line) const;

    static QList<MVRemoteFile> parse(const QStringList &lines, const QList<QByteArray> &rawLines, int protocol,
                                     const QString &listedPath);

    // Text of bytes from a listing: UTF-8, with each byte that is not part of
    // a valid sequence read as Windows-1252, as the terminal's text is.
    static QString decode(QByteArrayView bytes);

private:
    struct Fields;

    std::optional<MVRemoteFile> _fileFromUnixLine(QByteArrayView line) const;
    std::optional<MVRemoteFile> _fileFromWindowsLine(QByteArrayView line) const;
    std::optional<MVRemoteFile> _fileFromCadaverLine(QByteArrayView line) const;
    std::optional<MVRemoteFile> _finish(const Fields &fields) const;

    int _protocol;
    QString _directory;
    // What OpenSSH 9.1 and later put before each name: the listed path and "/".
    QByteArray _sftpPrefix;
};
