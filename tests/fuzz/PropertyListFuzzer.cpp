// Property lists come from users' folders, bundles, themes and project files
// that may arrive from anywhere. Any bytes must give a tree or an error, and
// a tree that was read must write and read back. A dictionary is also
// read as a theme file, whose reader must cope with any values.
#include "FuzzSupport.h"

#include "language/MVTheme.h"
#include "platform/MVPropertyList.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzSupport::startOnce();
    const auto tree = MVPropertyList::fromData(FuzzSupport::bytes(data, size));
    if (!tree)
        return 0;
    for (const auto format : {MVPropertyList::XMLFormat, MVPropertyList::BinaryFormat}) {
        const auto written = MVPropertyList::toData(*tree, format);
        if (written && !MVPropertyList::fromData(*written))
            std::abort(); // what we wrote, we must be able to read
    }
    if (tree->typeId() == QMetaType::QVariantMap)
        MVTheme::initWithPlist(tree->toMap());
    return 0;
}
