// Every page a user opens is outside input to the shipped languages. The
// first byte picks a language, the rest is the page (UTF-8, invalid bytes
// replaced); colouring it whole, then again after an edit in the middle, must
// end without a crash or a hang.
#include "FuzzSupport.h"

#include "language/MVBundle.h"
#include "language/MVParser.h"
#include "language/MVSyntaxColouring.h"
#include "text/MVTextAttributes.h"
#include "text/MVTextStorage.h"

#include <QCoreApplication>
#include <QDir>

#include <memory>
#include <vector>

namespace {

std::vector<std::shared_ptr<MVParser>> &shippedParsers()
{
    static std::vector<std::shared_ptr<MVParser>> parsers;
    static std::vector<std::shared_ptr<MVBundle>> bundles;
    if (parsers.empty()) {
        const QString root = QStringLiteral(MORVEL_SOURCE_DIR "/resources/Bundles");
        const QStringList names = QDir(root).entryList({QStringLiteral("*.mvbundle")}, QDir::Dirs, QDir::Name);
        for (const QString &name : names) {
            auto bundle = MVBundle::initWithPath(root + QLatin1Char('/') + name, false);
            if (bundle && bundle->parser()) {
                parsers.push_back(bundle->parser());
                bundles.push_back(std::move(bundle));
            }
        }
    }
    return parsers;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzSupport::startOnce();
    const auto &parsers = shippedParsers();
    if (size == 0 || parsers.empty())
        return 0;
    const MVParser *parser = parsers[data[0] % parsers.size()].get();
    const QString page = QString::fromUtf8(reinterpret_cast<const char *>(data + 1), static_cast<qsizetype>(size - 1));
    MVTextStorage storage(page);
    MVSyntaxColouring::syntaxHighlight(MVRange{0, storage.length()}, storage, MVTextAttributes(), parser);
    const qsizetype middle = storage.length() / 2;
    const QString edit = QStringLiteral("\"<!--'");
    storage.replaceCharacters(MVRange{middle, 0}, edit);
    const MVRange again = MVSyntaxColouring::rangeToHighlightForRange(storage, MVRange{middle, edit.size()});
    MVSyntaxColouring::syntaxHighlight(again, storage, MVTextAttributes(), parser);
    return 0;
}
