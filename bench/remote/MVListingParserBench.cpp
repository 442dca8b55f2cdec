// Listing parser throughput on 10,000-line listings of each form, as the
// clients print them; the target is 100,000 lines a second or more. Also a
// folder of the longest lines kept (4,200 bytes of short words and no date),
// which must cost time in proportion to their length only.
#include "remote/MVListingParser.h"

#include <benchmark/benchmark.h>

namespace {

constexpr int ListingLines = 10000;

QByteArray nameFor(int i)
{
    static const char *const stems[] = {"index", "my page", "photo[1]", "file 2 3", " lead", "été", "a -> b", "style"};
    static const char *const extensions[] = {".html", ".css", ".jpg", ".txt", ".php", ""};
    return QByteArray(stems[i % 8]) + QByteArray::number(i) + extensions[i % 6];
}

QByteArray padded(const QByteArray &text, int width, bool right)
{
    const QByteArray blanks(std::max<qsizetype>(0, width - text.size()), ' ');
    return right ? blanks + text : text + blanks;
}

struct Listing
{
    int protocol;
    QString path;
    QStringList text;
    QList<QByteArray> raw;
};

Listing makeListing(int form)
{
    Listing listing{form == 3 ? MVListingParser::WebDAV : form == 1 ? MVListingParser::SFTP : MVListingParser::FTP,
                    QStringLiteral("public_html/site"), {}, {}};
    for (int i = 0; i < ListingLines; ++i) {
        const QByteArray name = nameFor(i);
        const QByteArray size = QByteArray::number(qint64(i) * 7919);
        QByteArray line;
        switch (form) {
        case 0: // vsftpd through ftp
            line = (i % 5 ? "-rw-r--r--    1 1002     1002 " : "drwxr-xr-x    2 1002     1002 ") + padded(size, 10, true)
                + (i % 3 ? " Nov 25 06:29 " : " Sep 09  2001 ") + name;
            break;
        case 1: { // OpenSSH through sftp: "?" count, path prefix, octal escapes
            QByteArray escaped;
            for (char c : name)
                escaped += uchar(c) >= 0x80 ? "\\" + QByteArray::number(uchar(c), 8) : QByteArray(1, c);
            line = (i % 5 ? "-rw-r--r--    ? web      www-data " : "drwxr-xr-x    ? web      www-data ") + padded(size, 10, true)
                + " Nov 25 06:29 public_html/site/" + escaped;
            break;
        }
        case 2: // Windows FTP servers
            line = i % 5 ? "02-24-26  03:15PM  " + padded(size, 20, true) + " " + name
                         : "02-24-26  03:15PM       <DIR>          " + name;
            break;
        default: // cadaver
            line = (i % 5 ? "        " : "Coll:   ") + padded(name, 29, false) + " " + padded(size, 10, true) + "  Nov 25 06:29";
            break;
        }
        listing.text.append(MVListingParser::decode(line));
        listing.raw.append(line);
    }
    return listing;
}

void BM_ListingParse(benchmark::State &state)
{
    const Listing listing = makeListing(int(state.range(0)));
    qsizetype entries = 0;
    for (auto _ : state) {
        const auto files = MVListingParser::parse(listing.text, listing.raw, listing.protocol, listing.path);
        entries = files.size();
        benchmark::DoNotOptimize(files.data());
    }
    if (entries != ListingLines)
        state.SkipWithError("not every line gave an entry");
    state.SetItemsProcessed(state.iterations() * ListingLines);
    static const char *const forms[] = {"FTP Unix", "SFTP", "FTP Windows", "WebDAV"};
    state.SetLabel(forms[state.range(0)]);
}
BENCHMARK(BM_ListingParse)->DenseRange(0, 3)->Unit(benchmark::kMillisecond);

void BM_ListingLongestLines(benchmark::State &state)
{
    const int protocol = int(state.range(0));
    QByteArray line = protocol == MVListingParser::WebDAV ? "        " : "-rw-r--r-- ";
    while (line.size() + 2 <= MVListingParser::MaximumLineBytes)
        line += "1 ";
    const QList<QByteArray> raw(1000, line);
    const QStringList text(1000, QString::fromLatin1(line));
    for (auto _ : state)
        benchmark::DoNotOptimize(MVListingParser::parse(text, raw, protocol, QStringLiteral("d")).size());
    state.SetItemsProcessed(state.iterations() * raw.size());
}
BENCHMARK(BM_ListingLongestLines)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);

} // namespace
