#pragma once

#include "language/MVParser.h"
#include "text/MVTextAttributes.h"

#include <QString>
#include <QVariantList>
#include <QVariantMap>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

class MVComment;
class MVKeyword;

// Colours script and style languages: comments, quoted strings and words.
// One forward scan over the range with three candidates in hand (the next
// comment, the next quote, the next word start): the earliest is coloured
// and the scan jumps behind it, so text inside strings and comments is
// never looked at for words. Everything about the language is data from its
// "syntax.plist" ("format-type" "keyword").
class MVKeywordBasedParser : public MVParser
{
public:
    // Reads the frame keys, then "case-sensitive", "keyword-characters",
    // "keywords" and "regex-keywords", "quotes", "comments". An empty plist
    // leaves everything empty. Patterns that do not compile never match; a
    // missing "keyword-characters" means no word is ever found (comments and
    // strings are still coloured).
    MVKeywordBasedParser(MVBundle *bundle, const QVariantMap &plist);
    ~MVKeywordBasedParser() override;

    void setTheme(const std::shared_ptr<MVTheme> &theme) override;
    using MVParser::parseRange;
    SubparserRanges parseRange(MVRange range, const MVTextStorage &storage, MVAttributeOverlay &overlay) const override;
    void parseRegion(MVRange range, const MVTextStorage &storage, MVAttributeOverlay &overlay,
                     const std::vector<MVRange> &gaps) const override;
    // Skips strings and comments as the scan does; a line comment, though,
    // ends at end (as in PHP, and as a browser ends a script).
    qsizetype regionEnd(QStringView text, qsizetype from, QStringView end) const override;
    bool usesSingleQuotes() const override { return _singleQuoteStyle.has_value(); }

    QString keywordCharacters() const { return _characterString; }
    void setKeywordCharacters(const QString &characters);
    bool isKeywordCharacter(char16_t c) const { return (_keywordCharacters[c >> 6] >> (c & 63)) & 1; }
    bool caseSensitive() const { return _caseSensitive; }
    void setCaseSensitive(bool caseSensitive) { _caseSensitive = caseSensitive; }

    // The keyword that colours a word (after lower-casing in a
    // case-insensitive language): its literal entry, else the first pattern
    // that matches the whole word; null if none.
    const MVKeyword *keywordForWord(QStringView word) const;

    // The keyword lists for editing: [{"title": style, "keywords":
    // [{"title": word or pattern}]}], sorted by title at both levels.
    QVariantList identifiers() const;
    // The reverse: words made of keyword characters become literal keywords,
    // anything else a pattern.
    void setIdentifiers(const QVariantList &identifiers);

    const std::vector<std::shared_ptr<MVComment>> &comments() const { return _comments; }

    QVariantMap plistRepresentation() const override;

private:
    struct Hash
    {
        using is_transparent = void;
        // FNV-1a: words are short, and this runs once per word of a parse.
        size_t operator()(std::u16string_view s) const
        {
            size_t hash = 14695981039346656037ull;
            for (const char16_t c : s)
                hash = (hash ^ c) * 1099511628211ull;
            return hash;
        }
    };
    struct Equal
    {
        using is_transparent = void;
        bool operator()(std::u16string_view a, std::u16string_view b) const { return a == b; }
    };
    struct CommentMatch
    {
        qsizetype location;
        qsizetype end;
        const MVComment *comment;
    };
    struct CommentCache;

    void _loadKeywordsFromPlist(const QVariantMap &plist);
    void _loadQuotesInformationFromPlist(const QVariantMap &plist);
    void _loadCommentsFromPlist(const QVariantMap &plist);
    void _loadQuotesAttributes();
    void _parse(MVRange range, const MVTextStorage &storage, MVAttributeOverlay &overlay,
                const std::vector<MVRange> &gaps) const;
    void _addLiteral(const std::shared_ptr<MVKeyword> &keyword);
    // The earliest comment in [from, end) of the substring s that starts at
    // offset in the storage.
    std::optional<CommentMatch> _rangeOfComment(QStringView s, qsizetype from, qsizetype offset,
                                               const MVTextStorage &storage, CommentCache &cache) const;

    std::unordered_map<std::u16string, std::shared_ptr<MVKeyword>, Hash, Equal> _keywords;
    std::vector<std::shared_ptr<MVKeyword>> _regexKeywords;
    QString _characterString;
    std::vector<quint64> _keywordCharacters;
    std::optional<QString> _singleQuoteStyle;
    std::optional<QString> _doubleQuoteStyle;
    MVTextAttributes _singleQuoteAttr;
    MVTextAttributes _doubleQuoteAttr;
    std::vector<std::shared_ptr<MVComment>> _comments;
    bool _caseSensitive = false;
};
