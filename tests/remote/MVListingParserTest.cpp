// The listing parser against the line forms servers and clients really
// print (most lines captured from vsftpd through tnftp, OpenSSH through
// sftp and Apache through cadaver; the others as the servers document
// them), and against hostile file names in each client's form.
#include "remote/MVListingParser.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <optional>

namespace {

enum { FTP = MVListingParser::FTP, SFTP = MVListingParser::SFTP, WebDAV = MVListingParser::WebDAV };

struct Entry
{
    const char *name;
    bool directory = false;
    qint64 size = 0;
    const char *date = "";
    const char *mode = "";
    const char *user = "";
    const char *group = "";
    const char *target = "";
    bool link = false;
    bool roundTrip = true;
    const char *bytes = nullptr; // when not the name's UTF-8
};

struct Case
{
    int protocol;
    const char *path;
    const char *line;
    std::optional<Entry> entry; // none: the line is not an entry
};

std::optional<MVRemoteFile> parseOne(int protocol, const QString &path, const QByteArray &line)
{
    const auto files = MVListingParser::parse({QString()}, {line}, protocol, path);
    if (files.size() > 1)
        ADD_FAILURE() << "one line gave " << files.size() << " entries";
    return files.isEmpty() ? std::nullopt : std::optional(files.front());
}

void check(const Case &c)
{
    SCOPED_TRACE(c.line);
    const auto file = parseOne(c.protocol, QString::fromUtf8(c.path), c.line);
    ASSERT_EQ(file.has_value(), c.entry.has_value()) << (file ? qPrintable(file->name()) : "");
    if (!file)
        return;
    const Entry &e = *c.entry;
    EXPECT_EQ(file->name(), QString::fromUtf8(e.name));
    EXPECT_EQ(file->nameBytes(), QByteArray(e.bytes ? e.bytes : e.name));
    EXPECT_EQ(file->path(), MVRemoteFile::pathInDirectory(QString::fromUtf8(c.path), file->name()));
    EXPECT_EQ(file->isDirectory(), e.directory);
    EXPECT_EQ(file->isSymlink(), e.link);
    EXPECT_EQ(file->size(), e.size);
    EXPECT_EQ(file->dateString(), QString::fromUtf8(e.date));
    const char *mode = *e.mode ? e.mode : e.directory ? "d---------" : e.link ? "l---------" : "";
    EXPECT_EQ(file->modeString(), QString::fromUtf8(mode));
    EXPECT_EQ(file->user(), QString::fromUtf8(e.user));
    EXPECT_EQ(file->group(), QString::fromUtf8(e.group));
    EXPECT_EQ(file->linkTarget(), QString::fromUtf8(e.target));
    EXPECT_EQ(file->canRoundTrip(), e.roundTrip);
}

const char *const D = "drwxr-xr-x";
const char *const F = "-rw-r--r--";

TEST(MVListingParser, UnixForm)
{
    const Case cases[] = {
        {FTP, "site", "drwxr-xr-x   2 web  staff  4096 Jan  2 03:04 my site",
         Entry{"my site", true, 4096, "Jan  2 03:04", D, "web", "staff"}},
        {FTP, "site", "lrwxrwxrwx 1 web staff 11 Jan  2 2007 link -> /some/where",
         Entry{"link", false, 11, "Jan  2 2007", "lrwxrwxrwx", "web", "staff", "/some/where", true}},
        {FTP, "site", "lrwxrwxrwx 1 web staff 11 Jan  2 2007 a -> b -> c",
         Entry{"a", false, 11, "Jan  2 2007", "lrwxrwxrwx", "web", "staff", "b -> c", true, false}},
        // vsftpd: numeric owner and group, sizes over 4 GB, zero-padded days
        {FTP, "lt", "-rw-r--r--    1 1002     0        5000000000 Nov 25 06:29 big",
         Entry{"big", false, 5000000000, "Nov 25 06:29", F, "1002", "0"}},
        {FTP, "lt", "-rw-r--r--    1 1002     0               7 Sep 09  2001 old file",
         Entry{"old file", false, 7, "Sep 09  2001", F, "1002", "0"}},
        // the name exactly as listed: digits, blanks, dates and arrows in it
        {FTP, "lt", "-rw-r--r--    1 1002     0               5 Nov 25 06:29 file 2 3.txt",
         Entry{"file 2 3.txt", false, 5, "Nov 25 06:29", F, "1002", "0"}},
        {FTP, "lt", "-rw-r--r--    1 1002     0               5 Nov 25 06:29  lead",
         Entry{" lead", false, 5, "Nov 25 06:29", F, "1002", "0"}},
        {FTP, "lt", "-rw-r--r--    1 1002     0               5 Nov 25 06:29 trail  ",
         Entry{"trail  ", false, 5, "Nov 25 06:29", F, "1002", "0"}},
        {FTP, "lt", "-rw-r--r--    1 1002     0               5 Nov 25 06:29 Jan  2 03:04 y",
         Entry{"Jan  2 03:04 y", false, 5, "Nov 25 06:29", F, "1002", "0"}},
        {FTP, "lt", "-rw-r--r--    1 1002     0               5 Nov 25 06:29 a -> b",
         Entry{"a -> b", false, 5, "Nov 25 06:29", F, "1002", "0"}},
        // set-id and sticky letters; "+", "@" and "." after the mode
        {FTP, "", "drwxrwxrwT 2 root root 4096 Jan  2 03:04 tmp", Entry{"tmp", true, 4096, "Jan  2 03:04", "drwxrwxrwT", "root", "root"}},
        {FTP, "", "-rwsr-Sr-t 1 root root 9 Jan  2 03:04 s", Entry{"s", false, 9, "Jan  2 03:04", "-rwsr-Sr-t", "root", "root"}},
        {FTP, "", "-rw-r--r--+ 1 web staff 12 Jan  2 03:04 acl file", Entry{"acl file", false, 12, "Jan  2 03:04", F, "web", "staff"}},
        {FTP, "", "-rw-r--r--@ 1 web staff 12 Jan  2 03:04 x", Entry{"x", false, 12, "Jan  2 03:04", F, "web", "staff"}},
        {FTP, "", "-rw-r--r--. 1 web staff 12 Jan  2 03:04 x", Entry{"x", false, 12, "Jan  2 03:04", F, "web", "staff"}},
        // owner or group missing, or holding a blank; no link count
        {FTP, "", "-rw-r--r-- 1 web 12 Jan  2 03:04 x", Entry{"x", false, 12, "Jan  2 03:04", F, "web"}},
        {FTP, "", "-rw-r--r-- 1 12 Jan  2 03:04 x", Entry{"x", false, 12, "Jan  2 03:04", F}},
        {FTP, "", "-rw-r--r-- 1 John Smith staff 12 Jan  2 03:04 x", Entry{"x", false, 12, "Jan  2 03:04", F, "John Smith", "staff"}},
        {FTP, "", "-rw-r--r-- web staff 12 Jan  2 03:04 x", Entry{"x", false, 12, "Jan  2 03:04", F, "web", "staff"}},
        {FTP, "", "-rw-r--r--   1 owner    group    2001 Jan 12  2001 x", Entry{"x", false, 2001, "Jan 12  2001", F, "owner", "group"}},
        // ISO, numeric and other-language dates
        {FTP, "", "-rw-r--r-- 1 web staff 12 2024-01-05 14:33 x y", Entry{"x y", false, 12, "2024-01-05 14:33", F, "web", "staff"}},
        {FTP, "", "-rw-r--r-- 1 web staff 12 2024-01-05 14:33:00.000000000 +0100 x",
         Entry{"x", false, 12, "2024-01-05 14:33:00.000000000 +0100", F, "web", "staff"}},
        {FTP, "", "-rw-r--r-- 1 web staff 12 01-05 14:33 x", Entry{"x", false, 12, "01-05 14:33", F, "web", "staff"}},
        {FTP, "", "-rw-r--r-- 1 web staff 12 2019-03-01 x", Entry{"x", false, 12, "2019-03-01", F, "web", "staff"}},
        {FTP, "", "-rw-r--r-- 1 web staff 12 05.01.2024 14:33 x", Entry{"x", false, 12, "05.01.2024 14:33", F, "web", "staff"}},
        {FTP, "", "-rw-r--r-- 1 web staff 12 25. Nov 06:29 x", Entry{"x", false, 12, "25. Nov 06:29", F, "web", "staff"}},
        {FTP, "", "-rw-r--r-- 1 web staff 12 25 déc.  2001 x", Entry{"x", false, 12, "25 déc.  2001", F, "web", "staff"}},
        {FTP, "", "-rw-r--r-- 1 web staff 12 Mär 25 06:29 x", Entry{"x", false, 12, "Mär 25 06:29", F, "web", "staff"}},
        {FTP, "", "-rw-r--r-- 1 web staff 12 11月 25 06:29 x", Entry{"x", false, 12, "11月 25 06:29", F, "web", "staff"}},
        {FTP, "", "-rw-r--r-- 1 web staff 12 ноя 25 06:29 x", Entry{"x", false, 12, "ноя 25 06:29", F, "web", "staff"}},
        // what is not an entry
        {FTP, "lt", "total 12", std::nullopt},
        {FTP, "lt", "150 Here comes the directory listing.", std::nullopt},
        {FTP, "lt", "226 Directory send OK.", std::nullopt},
        {FTP, "lt", "ftp> 200 EPRT command successful. Consider using EPSV.", std::nullopt},
        {FTP, "lt", "WARNING! 1 bare linefeeds received in ASCII mode.", std::nullopt},
        {FTP, "lt", "x", std::nullopt}, // the rest of a name cut by a line feed
        {FTP, "lt", "drwxr-xr-x    2 1002     0            4096 Nov 25 06:29", std::nullopt},
        {FTP, "lt", "drwxr-xr-x    2 1002     0            4096 Nov 25 06:29 ", std::nullopt},
        {FTP, "lt", "drwxr-xr-x    2 1002     0            4096 Nov 25 06:29 .", std::nullopt},
        {FTP, "lt", "drwxr-xr-x    2 1002     0            4096 Nov 25 06:29 ..", std::nullopt},
        {FTP, "lt", "-rw-r--r-- 1 web staff twelve Jan  2 03:04 x", std::nullopt},
    };
    for (const Case &c : cases)
        check(c);
}

TEST(MVListingParser, SftpForm)
{
    // OpenSSH 9.1 and later: "?" for the link count, the listed path before
    // each name, bytes outside printable ASCII as octal escapes, no targets.
    const Case cases[] = {
        {SFTP, "lt", "-rw-r--r--    ? mvtest   root            5 Nov 25 06:29 lt/ lead",
         Entry{" lead", false, 5, "Nov 25 06:29", F, "mvtest", "root"}},
        {SFTP, "lt", "lrwxrwxrwx    ? mvtest   root           11 Nov 25 06:29 lt/lnk name",
         Entry{"lnk name", false, 11, "Nov 25 06:29", "lrwxrwxrwx", "mvtest", "root", "", true}},
        {SFTP, "lt", "lrwxrwxrwx    ? mvtest   root           11 Nov 25 06:29 lt/a -> b",
         Entry{"a -> b", false, 11, "Nov 25 06:29", "lrwxrwxrwx", "mvtest", "root", "", true}},
        {SFTP, "lt", "lrwxrwxrwx    1 mvtest   root           11 Nov 25 06:29 old -> target",
         Entry{"old", false, 11, "Nov 25 06:29", "lrwxrwxrwx", "mvtest", "root", "target", true}},
        {SFTP, "lt", "-rw-r--r--    ? mvtest   root            5 Nov 25 06:29 lt/back\\slash",
         Entry{"back\\slash", false, 5, "Nov 25 06:29", F, "mvtest", "root"}},
        // in the C locale sftp escapes what is not ASCII, and its line editor
        // would drop those bytes from a command: "été.txt" would become "t.txt"
        {SFTP, "lt", "-rw-r--r--    ? mvtest   root            5 Nov 25 06:29 lt/\\303\\251t\\303\\251.txt",
         Entry{"été.txt", false, 5, "Nov 25 06:29", F, "mvtest", "root", "", false, false}},
        {SFTP, "lt", "-rw-r--r--    ? mvtest   root            5 Nov 25 06:29 lt/été.txt",
         Entry{"été.txt", false, 5, "Nov 25 06:29", F, "mvtest", "root"}},
        {SFTP, "lt", "-rw-r--r--    ? mvtest   root            5 Nov 25 06:29 lt/\\351latin1",
         Entry{"élatin1", false, 5, "Nov 25 06:29", F, "mvtest", "root", "", false, false, "\xe9latin1"}},
        {SFTP, "l2/", "-rw-r--r--    ? mvtest   root            7 Sep  9  2001 l2/old file",
         Entry{"old file", false, 7, "Sep  9  2001", F, "mvtest", "root"}},
        {SFTP, "/", "lrwxrwxrwx    ? root     root            7 May 20  2025 /bin",
         Entry{"bin", false, 7, "May 20  2025", "lrwxrwxrwx", "root", "root", "", true}},
        {SFTP, "", "-rw-r--r--    ? mvtest   root            5 Nov 25 06:29 ./-rf", Entry{"-rf", false, 5, "Nov 25 06:29", F, "mvtest", "root"}},
        {SFTP, "/home/mvtest/lt", "-rw-r--r--    ? mvtest   root            5 Nov 25 06:29 /home/mvtest/lt/*",
         Entry{"*", false, 5, "Nov 25 06:29", F, "mvtest", "root"}},
        // older servers print a link count and the bare name
        {SFTP, "lt", "-rw-r--r--    1 mvtest   root            5 Nov 25 06:29 plain",
         Entry{"plain", false, 5, "Nov 25 06:29", F, "mvtest", "root"}},
        {SFTP, "lt", "drwxr-xr-x    ? mvtest   root         4096 Nov 25 06:29 lt/.", std::nullopt},
        {SFTP, "lt", "drwxr-xr-x    ? mvtest   mvtest       4096 Nov 25 06:29 lt/..", std::nullopt},
        {SFTP, "lt", "-rw-r--r--    ? mvtest   root            5 Nov 25 06:29 other/x", std::nullopt},
        {SFTP, "lt", "sftp> ls -la \"lt\"", std::nullopt},
        {SFTP, "lt", "Can't ls: \"/home/mvtest/nonexist\" not found", std::nullopt},
    };
    for (const Case &c : cases)
        check(c);
}

TEST(MVListingParser, WindowsForm)
{
    const Case cases[] = {
        {FTP, "", "02-24-26  03:15PM       <DIR>          images", Entry{"images", true, 0, "02-24-26  03:15PM"}},
        {FTP, "", "02-24-26  03:15PM                 1234 index.html", Entry{"index.html", false, 1234, "02-24-26  03:15PM"}},
        {FTP, "", "02-24-2026  15:15       <DIR>          my site", Entry{"my site", true, 0, "02-24-2026  15:15"}},
        {FTP, "", "02-24-2026  15:15           5000000000 big 2 3.zip", Entry{"big 2 3.zip", false, 5000000000, "02-24-2026  15:15"}},
        {FTP, "", "01-02-07  03:04PM       <DIR>           lead", Entry{" lead", true, 0, "01-02-07  03:04PM"}},
        {FTP, "", "01-02-07  03:04PM  <DIR>  short", Entry{"short", true, 0, "01-02-07  03:04PM"}},
        {FTP, "", "01-02-07  03:04PM       <DIR>          ..", std::nullopt},
        {FTP, "", "01-02-07  03:04PM       <DIR>", std::nullopt},
        {FTP, "", "226 Transfer complete.", std::nullopt},
        {FTP, "", "01-02-07  03:04PM       lots     x", std::nullopt},
    };
    for (const Case &c : cases)
        check(c);
}

TEST(MVListingParser, CadaverForm)
{
    // Names start in the ninth column, padded to 29 bytes, then the size in ten.
    const Case cases[] = {
        {WebDAV, "lt", "Coll:   my dir                                 0  Nov 25 06:29", Entry{"my dir", true, 0, "Nov 25 06:29"}},
        {WebDAV, "lt", "         lead                                  5  Nov 25 06:29", Entry{" lead", false, 5, "Nov 25 06:29"}},
        {WebDAV, "lt", "        file 2 3.txt                           5  Nov 25 06:29", Entry{"file 2 3.txt", false, 5, "Nov 25 06:29"}},
        {WebDAV, "lt", "        big                           5000000000  Nov 25 06:29", Entry{"big", false, 5000000000, "Nov 25 06:29"}},
        {WebDAV, "l2", "        dddddddddddddddddddddddddddddddddddddd12          7  Nov 25 06:30",
         Entry{"dddddddddddddddddddddddddddddddddddddd12", false, 7, "Nov 25 06:30"}},
        {WebDAV, "l2", "        fffffffffffffffffffffffffffffffff9 6000000000  Nov 25 06:30",
         Entry{"fffffffffffffffffffffffffffffffff9", false, 6000000000, "Nov 25 06:30"}},
        {WebDAV, "l2", "        long name with a blank at its end          12  Nov 25 06:30",
         Entry{"long name with a blank at its end ", false, 12, "Nov 25 06:30"}},
        {WebDAV, "l2", "        old file                               7  Sep  9  2001", Entry{"old file", false, 7, "Sep  9  2001"}},
        {WebDAV, "lt", "        \xe9latin1                                5  Nov 25 06:29",
         Entry{"élatin1", false, 5, "Nov 25 06:29", "", "", "", "", false, false, "\xe9latin1"}},
        {WebDAV, "lt", "dav:/dav/> ls \"lt\"", std::nullopt},
        {WebDAV, "lt", "Listing collection `/dav/lt/': succeeded.", std::nullopt},
        {WebDAV, "lt", "Listing collection `/dav/nonexist/': failed:", std::nullopt},
        {WebDAV, "lt", "404 Not Found", std::nullopt},
        {WebDAV, "lt", "Could not access /dav/private/ (not WebDAV-enabled?):", std::nullopt},
        {WebDAV, "lt", "        Error: 403 Forbidden", std::nullopt},
        {WebDAV, "lt", "        lf", std::nullopt},
        {WebDAV, "lt", "x                                   5  Nov 25 06:29", std::nullopt},
    };
    for (const Case &c : cases)
        check(c);
}

// Each hostile name in the form each client prints it.
TEST(MVListingParser, HostileNames)
{
    struct Name
    {
        QByteArray bytes;
        bool kept;
        bool roundTrip; // through sftp and cadaver in a UTF-8 locale
    };
    const Name names[] = {
        {"sp ace", true, true}, {" lead", true, true}, {"trail ", true, true}, {"q\"uote", true, true},
        {"it's", true, true}, {"back\\slash", true, true}, {"-rf", true, true}, {"--help", true, true},
        {"*", true, true}, {"photo[1].jpg", true, true}, {"a?b", true, true}, {"a -> b", true, true},
        {"%s%n", true, true}, {"\xc3\xa9t\xc3\xa9", true, true}, {"\xe9", true, false},
        {"\xc3\xa9/index.html", false, false}, {"cr\rlf", false, false}, {"lf\nx", false, false},
        {"tab\tx", false, false}, {"nul", false, false}, {"\xc2\x85next-line", false, false},
    };
    QByteArray withNul = "n";
    withNul.append('\0').append("ul");
    for (Name name : names) {
        if (name.bytes == "nul")
            name.bytes = withNul;
        SCOPED_TRACE(name.bytes.toStdString());
        QByteArray escapedName; // as sftp prints it in the C locale
        for (char c : name.bytes)
            escapedName += uchar(c) >= 0x80 ? "\\" + QByteArray::number(uchar(c), 8) : QByteArray(1, c);
        const QByteArray padding(std::max<qsizetype>(0, 29 - name.bytes.size()), ' ');
        const struct
        {
            int protocol;
            QByteArray line;
        } forms[] = {
            {FTP, "-rw-r--r--    1 1002     0               5 Nov 25 06:29 " + name.bytes},
            {SFTP, "-rw-r--r--    ? mvtest   root            5 Nov 25 06:29 dir/" + escapedName},
            {WebDAV, "        " + name.bytes + padding + "          5  Nov 25 06:29"},
        };
        for (const auto &form : forms) {
            SCOPED_TRACE(form.protocol);
            const auto file = parseOne(form.protocol, QStringLiteral("dir"), form.line);
            ASSERT_EQ(file.has_value(), name.kept);
            if (!file)
                continue;
            // cadaver's padding hides blanks at the end of a short name
            QByteArray expected = name.bytes;
            while (form.protocol == WebDAV && expected.endsWith(' '))
                expected.chop(1);
            EXPECT_EQ(file->nameBytes(), expected);
            EXPECT_EQ(file->name(), MVListingParser::decode(expected));
            const bool escaped = escapedName != name.bytes;
            EXPECT_EQ(file->canRoundTrip(), form.protocol == FTP || (name.roundTrip && !(form.protocol == SFTP && escaped)));
        }
    }
}

// Lines longer than any real one are dropped before any scanning.
TEST(MVListingParser, LongestLine)
{
    const QByteArray head = "-rw-r--r-- 1 web staff 5 Nov 25 06:29 ";
    const QByteArray longest = head + QByteArray(MVListingParser::MaximumLineBytes - head.size(), 'n');
    EXPECT_TRUE(parseOne(FTP, QString(), longest));
    EXPECT_FALSE(parseOne(FTP, QString(), longest + "n"));
}

// Whole captured listings of one folder through the three clients: each
// shows the same names, and nothing else. Names with tab or CR are dropped;
// one with a line feed comes out as its first part ("lf") from ftp and sftp,
// and not at all from cadaver, which shows no symbolic links either and
// whose padding hides the blank at the end of "trail ".
TEST(MVListingParser, CapturedListings)
{
    const QList<QByteArray> names = {
        " lead", "%s%n", "*", "--help", "-rf", "2024-01-01 x", "Jan  2 03:04 y", "a -> b", "a?b", "back\\slash",
        "big", "d2", "file 2 3.txt", "it's", "lf", "lnk name", "my dir", "photo[1].jpg", "q\"uote", "sp ace",
        "trail ", "\xc3\xa9t\xc3\xa9.txt", "\xe2\x80\x8bzw", "\xe9latin1"};
    QList<QByteArray> davNames = names;
    davNames.removeOne("lnk name");
    davNames.removeOne("lf");
    davNames.replace(davNames.indexOf("trail "), "trail");
    const QList<QByteArray> longNames = {
        QByteArray(29, 'a'), QByteArray(30, 'b'), QByteArray(31, 'c'), QByteArray(38, 'd') + "12",
        QByteArray(28, 'e') + "\xc3\xa9", QByteArray(33, 'f') + "9", "old file"};
    const struct
    {
        const char *file;
        QList<QByteArray> names;
    } listings[] = {
        {"ftp-vsftpd-0.txt", names},         {"ftp-vsftpd-1.txt", longNames},
        {"sftp-openssh-0.txt", names},       {"sftp-openssh-1.txt", longNames},
        {"sftp-openssh-2.txt", names},       {"sftp-openssh-3.txt", names},
        {"webdav-cadaver-0.txt", davNames},  {"webdav-cadaver-1.txt", longNames},
        {"webdav-cadaver-2.txt", {}},
    };
    const QDir dir(QStringLiteral(MORVEL_SOURCE_DIR "/tests/fixtures/listings"));
    for (const auto &listing : listings) {
        SCOPED_TRACE(listing.file);
        QFile file(dir.filePath(QString::fromLatin1(listing.file)));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        QList<QByteArray> raw = file.readAll().split('\n');
        const QByteArray head = raw.takeFirst();
        QStringList text;
        for (QByteArray &line : raw) {
            if (line.endsWith('\r'))
                line.chop(1);
            text.append(MVListingParser::decode(line));
        }
        QList<QByteArray> found;
        for (const MVRemoteFile &f : MVListingParser::parse(text, raw, head[0] - '0', QString::fromUtf8(head.mid(1))))
            found.append(f.nameBytes());
        std::sort(found.begin(), found.end());
        QList<QByteArray> expected = listing.names;
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(found, expected);
    }
}

} // namespace
