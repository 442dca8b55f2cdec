// A language's "syntax.plist" is data a user may edit or download. Whatever
// it holds, building its parser and colouring a page with it must end without
// a crash or a hang.
#include "FuzzSupport.h"

#include "language/MVBundle.h"
#include "language/MVDefinitionRegistry.h"
#include "language/MVParser.h"
#include "language/MVSyntaxColouring.h"
#include "platform/MVPropertyList.h"
#include "text/MVTextAttributes.h"
#include "text/MVTextStorage.h"

namespace {

const QString &samplePage()
{
    static const QString page = QStringLiteral(
        "<!DOCTYPE html>\n<html><head><title>A &amp; B</title>\n"
        "<style>body { color: #000000; } /* note */</style>\n"
        "<script async>var s = 'it\\'s'; // done\nfunction f(a) { return a * 2; }</script>\n"
        "</head><body class=\"x\"><!-- comment --><?php // it's\necho \"$a\"; ?>\n"
        "<p id='y'>caf\u00e9 \"quoted\" 0x1F 3.14</p>\n</body></html>\n");
    return page;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzSupport::startOnce();
    const auto tree = MVPropertyList::fromData(FuzzSupport::bytes(data, size));
    if (!tree || tree->typeId() != QMetaType::QVariantMap)
        return 0;
    static const auto bundle = MVBundle::initWithTitle(QStringLiteral("Fuzzed"), QStringLiteral("text.fuzzed"));
    const auto parser = MVDefinitionRegistry::makeParser(bundle.get(), tree->toMap());
    if (!parser)
        return 0;
    MVTextStorage storage(samplePage());
    MVSyntaxColouring::syntaxHighlight(MVRange{0, storage.length()}, storage, MVTextAttributes(), parser.get());
    return 0;
}
