#pragma once

#include "language/MVParser.h"
#include "text/MVTextAttributes.h"

#include <QString>
#include <QVariantMap>

#include <memory>
#include <vector>

// Colours markup: tags with their double-quoted values, comments, and it
// hands whole regions of text to other languages (script and style
// elements). It looks only for "<" and what follows, keeps no state between
// calls and knows no nesting. Data from "syntax.plist" ("format-type" "tag").
class MVTagBasedParser : public MVParser
{
public:
    // One region of another language inside this one, by the tag name that
    // opens it: the literal, case-sensitive text that ends it and the parser
    // (resolved by finishLoad; null when the language does not exist).
    //
    // A name that starts with a letter is an element: its opening tag is a
    // tag like any other, the region is the element's content and the
    // closing tag is a tag again. Any other name is a delimiter such as
    // "?php": the region starts right behind it and the end text is the
    // closing delimiter; both are coloured as tags. An inline region can
    // stand anywhere, inside tags, quoted values, comments and other regions
    // (server code that runs before the page is read).
    struct Embedded
    {
        QString tag;
        QString end;
        QString identifier;
        std::shared_ptr<MVParser> parser;
        bool isInline = false;
    };

    // Reads the frame keys, then "tag-prefix", "embedded" (a tag name to a
    // parser identifier, ended by the name and ">", or to {"id", "end",
    // "inline"}),
    // "embedded-elements" (identifiers of tag languages whose prefixed tags
    // may stand among these) and "style".
    MVTagBasedParser(MVBundle *bundle, const QVariantMap &plist);
    ~MVTagBasedParser() override;

    // Resolves the identifiers of embedded languages and elements; an
    // identifier without a language is dropped (its tag is an ordinary tag).
    void finishLoad(MVBundleRepository &repository) override;
    void setTheme(const std::shared_ptr<MVTheme> &theme) override;
    using MVParser::parseRange;
    SubparserRanges parseRange(MVRange range, const MVTextStorage &storage, MVAttributeOverlay &overlay) const override;
    std::vector<MVParser *> subparsers() const override { return _subparsers; }

    QString tagPrefix() const { return _tagPrefix; }
    const std::vector<Embedded> &embedded() const { return _embedded; }
    const std::vector<MVTagBasedParser *> &embeddedTagParsers() const { return _embeddedElements; }
    QVariantMap style() const { return _style; }
    // Keys "tags", "attributes", "quotes", "comments": style identifiers.
    void setStyle(const QVariantMap &style);

    const MVTextAttributes &tagAttributes() const { return _tagAttr; }
    const MVTextAttributes &attributeAttributes() const { return _attributeAttr; }
    const MVTextAttributes &quoteAttributes() const { return _quotesAttr; }
    const MVTextAttributes &commentsAttributes() const { return _commentsAttr; }

    QVariantMap plistRepresentation() const override;

private:
    void _loadEmbedded(const QVariant &embedded);
    void _loadAttributes();
    // The tag and quote colours of a tag name: those of the last embedded
    // element whose prefix starts the name (ignoring case), else this one's.
    void _getAttributesForTag(QStringView name, const MVTextAttributes **tag, const MVTextAttributes **quote) const;
    // The inline entry whose opener ("<" and its name, in any case) starts at
    // at in text; the longest when several do.
    const Embedded *_inlineAt(QStringView text, qsizetype at) const;

    QString _tagPrefix;
    std::vector<Embedded> _embedded;
    QStringList _embeddedElementIdentifiers;
    std::vector<std::shared_ptr<MVTagBasedParser>> _embeddedElementParsers;
    std::vector<MVTagBasedParser *> _embeddedElements;
    std::vector<MVParser *> _subparsers;
    QVariantMap _style;
    MVTextAttributes _tagAttr;
    MVTextAttributes _attributeAttr;
    MVTextAttributes _quotesAttr;
    MVTextAttributes _commentsAttr;
    // Set while the theme passes to embedded languages, which may refer back.
    bool _settingTheme = false;
    // What follows "<" in the openers of inline entries, in both cases.
    QString _inlineStarts;
};
