#include "language/MVDefinitionRegistry.h"

#include "language/MVBundleDefinition.h"
#include "language/MVParser.h"

#include <QHash>

#include <mutex>

namespace {

struct Registry
{
    std::mutex mutex;
    QHash<QString, MVDefinitionRegistry::ParserMaker> parsers;
    MVDefinitionRegistry::NavigatorMaker navigator;
    MVDefinitionRegistry::Maker hinting;
    QHash<QString, MVDefinitionRegistry::Maker> completionClasses;
    QHash<QString, MVDefinitionRegistry::Maker> completionFormats;
    MVDefinitionRegistry::Maker indexer;
};

Registry &registry()
{
    static Registry instance;
    return instance;
}

} // namespace

void MVDefinitionRegistry::registerParserFormat(const QString &formatType, ParserMaker maker)
{
    std::lock_guard lock(registry().mutex);
    registry().parsers.insert(formatType, std::move(maker));
}

std::shared_ptr<MVParser> MVDefinitionRegistry::makeParser(MVBundle *bundle, const QVariantMap &plist)
{
    ParserMaker maker;
    {
        std::lock_guard lock(registry().mutex);
        maker = registry().parsers.value(plist.value(QStringLiteral("format-type")).toString());
    }
    if (maker) {
        if (auto parser = maker(bundle, plist))
            return parser;
    }
    return std::make_shared<MVParser>(bundle, plist);
}

void MVDefinitionRegistry::registerCodeNavParser(NavigatorMaker maker)
{
    std::lock_guard lock(registry().mutex);
    registry().navigator = std::move(maker);
}

std::shared_ptr<MVBundleDefinition> MVDefinitionRegistry::makeCodeNavParser(const QVariantList &plist, MVParser *parser)
{
    NavigatorMaker maker;
    {
        std::lock_guard lock(registry().mutex);
        maker = registry().navigator;
    }
    return maker ? maker(plist, parser) : nullptr;
}

void MVDefinitionRegistry::registerCodeHinting(Maker maker)
{
    std::lock_guard lock(registry().mutex);
    registry().hinting = std::move(maker);
}

std::shared_ptr<MVBundleDefinition> MVDefinitionRegistry::makeCodeHinting(MVBundle *bundle, const QVariantMap &plist)
{
    Maker maker;
    {
        std::lock_guard lock(registry().mutex);
        maker = registry().hinting;
    }
    return maker ? maker(bundle, plist) : nullptr;
}

void MVDefinitionRegistry::registerCodeCompletionClass(const QString &className, Maker maker)
{
    std::lock_guard lock(registry().mutex);
    registry().completionClasses.insert(className, std::move(maker));
}

void MVDefinitionRegistry::registerCodeCompletionFormat(const QString &formatType, Maker maker)
{
    std::lock_guard lock(registry().mutex);
    registry().completionFormats.insert(formatType, std::move(maker));
}

std::shared_ptr<MVBundleDefinition> MVDefinitionRegistry::makeCodeCompletion(MVBundle *bundle,
                                                                             const QVariantMap &plist)
{
    Maker maker;
    {
        std::lock_guard lock(registry().mutex);
        maker = registry().completionClasses.value(plist.value(QStringLiteral("class")).toString());
        if (!maker)
            maker = registry().completionFormats.value(plist.value(QStringLiteral("format-type")).toString());
    }
    return maker ? maker(bundle, plist) : nullptr;
}

void MVDefinitionRegistry::registerCodeIndexer(Maker maker)
{
    std::lock_guard lock(registry().mutex);
    registry().indexer = std::move(maker);
}

std::shared_ptr<MVBundleDefinition> MVDefinitionRegistry::makeCodeIndexer(MVBundle *bundle, const QVariantMap &plist)
{
    Maker maker;
    {
        std::lock_guard lock(registry().mutex);
        maker = registry().indexer;
    }
    return maker ? maker(bundle, plist) : nullptr;
}
