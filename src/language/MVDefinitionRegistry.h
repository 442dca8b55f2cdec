#pragma once

#include <QString>
#include <QVariant>

#include <functional>
#include <memory>

class MVBundle;
class MVBundleDefinition;
class MVParser;

// Which class reads which definition file of a language. The classes of the
// parsers, the navigator, hinting, completion and indexing live in other
// parts of the program and register their makers here, so that a bundle can
// load them by the keys of its files without knowing them. Thread-safe.
class MVDefinitionRegistry
{
public:
    // Makers get the bundle and the file's root value (a dictionary or an
    // array); they never get an invalid value.
    using ParserMaker = std::function<std::shared_ptr<MVParser>(MVBundle *bundle, const QVariantMap &plist)>;
    using Maker = std::function<std::shared_ptr<MVBundleDefinition>(MVBundle *bundle, const QVariant &plist)>;
    using NavigatorMaker = std::function<std::shared_ptr<MVBundleDefinition>(const QVariantList &plist,
                                                                            MVParser *parser)>;

    // "format-type" of "syntax.plist" to a parser class ("keyword", "tag").
    static void registerParserFormat(const QString &formatType, ParserMaker maker);
    // The parser for a "syntax.plist": by its "format-type", else the plain parser.
    static std::shared_ptr<MVParser> makeParser(MVBundle *bundle, const QVariantMap &plist);

    static void registerCodeNavParser(NavigatorMaker maker);
    static std::shared_ptr<MVBundleDefinition> makeCodeNavParser(const QVariantList &plist, MVParser *parser);

    static void registerCodeHinting(Maker maker);
    static std::shared_ptr<MVBundleDefinition> makeCodeHinting(MVBundle *bundle, const QVariantMap &plist);

    // Completion classes by name (key "class") and by "format-type".
    static void registerCodeCompletionClass(const QString &className, Maker maker);
    static void registerCodeCompletionFormat(const QString &formatType, Maker maker);
    static std::shared_ptr<MVBundleDefinition> makeCodeCompletion(MVBundle *bundle, const QVariantMap &plist);

    static void registerCodeIndexer(Maker maker);
    static std::shared_ptr<MVBundleDefinition> makeCodeIndexer(MVBundle *bundle, const QVariantMap &plist);
};
