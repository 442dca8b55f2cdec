// Listings come from whatever server the user connects to. The first byte
// chooses the protocol, the rest of the first line is the listed path, and
// each further line (ended by LF, a CR before it removed) is a listing line.
// Every entry must have a name that can stand for a file, exactly the bytes
// it came from, and a size of at least 0; lines parsed together must give
// what they give alone, and a UTF-8 line given as text what it gives as bytes.
#include "FuzzSupport.h"

#include "remote/MVListingParser.h"

#include <cstdlib>

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

void checkEntry(const MVRemoteFile &file, const QString &path)
{
    const QByteArray &bytes = file.nameBytes();
    require(!bytes.isEmpty() && bytes != "." && bytes != ".." && !bytes.contains('/'));
    for (char c : bytes)
        require(uchar(c) >= 0x20 && uchar(c) != 0x7f);
    require(bytes.size() <= MVListingParser::MaximumLineBytes);
    require(file.name() == MVListingParser::decode(bytes));
    require(file.path() == MVRemoteFile::pathInDirectory(path, file.name()));
    require(file.size() >= 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzSupport::startOnce();
    if (size == 0)
        return 0;
    const int protocol = data[0] % 3;
    QList<QByteArray> raw = FuzzSupport::bytes(data + 1, size - 1).split('\n');
    const QString path = QString::fromUtf8(raw.takeFirst());
    QStringList text;
    for (QByteArray &line : raw) {
        if (line.endsWith('\r'))
            line.chop(1);
        text.append(MVListingParser::decode(line));
    }
    const MVListingParser parser(protocol, path);
    const QList<MVRemoteFile> together = parser.filesFromLines(text, raw);
    QList<MVRemoteFile> alone;
    for (qsizetype i = 0; i < raw.size(); ++i) {
        const auto file = parser.fileFromLine(raw[i]);
        if (file)
            alone.append(*file);
        if (QByteArrayView(raw[i]).isValidUtf8()) {
            const QList<MVRemoteFile> fromText = parser.filesFromLines({text[i]});
            require(fromText.size() == (file ? 1 : 0) && (!file || fromText.front() == *file));
        }
    }
    require(together == alone);
    for (const MVRemoteFile &file : together)
        checkEntry(file, path);
    return 0;
}
