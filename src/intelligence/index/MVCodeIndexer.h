#pragma once

#include "intelligence/index/MVCodeIndexerResult.h"
#include "language/MVBundleDefinition.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <memory>
#include <optional>
#include <vector>

class MVBundle;
class MVPathResolver;
class MVRegex;

// The indexer of one language, read from its bundle's "indexer.plist": only
// regular expressions, run over the UTF-8 bytes of a file. Keys carry the
// identifier of this bundle as their class. Regions of other languages (PHP
// blocks, scripts and styles of a page) go to those languages' indexers and
// their keys carry those bundles' identifiers. Immutable after loading, so
// one object may index on any thread; a bundle that reloads makes a new one.
class MVCodeIndexer : public MVBundleDefinition
{
public:
    // Registers the maker with the bundles' definition registry.
    static void registerWithBundles();

    MVCodeIndexer(MVBundle *bundle, const QVariantMap &plist);

    // The indexer of the language the path's extension picks; null when there
    // is none or that language is not indexed.
    static std::shared_ptr<MVCodeIndexer> indexerForPath(const QString &path);

    // Reads a regular file (never a FIFO or device; up to its first NUL byte;
    // text that is not UTF-8 is taken as Latin-1) and indexes it. Nothing
    // when it cannot be read.
    std::optional<MVCodeIndexerResult> indexFile(const QString &path) const;
    // Indexes UTF-8 text. Regions handed to other languages are zeroed in data.
    MVCodeIndexerResult indexUTF8Data(QByteArray &data, const QString &path) const;

    // The identifier of the bundle: the class of every key found here.
    QString indexClass() const { return _indexClass; }

    // 0 no setting, 1 indexed, 2 not indexed ("enabled" false reads as 1,
    // true as 2).
    int enabled() const { return _enabled; }
    void setEnabled(int state) { _enabled = state; }

    // Writes "indexer.plist" into the directory, merged into the file that is
    // there so that keys this program does not know survive.
    bool commitToPath(const QString &contentsPath) override;

private:
    struct KeyPattern
    {
        std::shared_ptr<MVRegex> regex;
        int keyGroup = 0;
        int completionGroup = 0;
        QString type;
    };
    struct Include
    {
        QString identifier;
        std::shared_ptr<MVRegex> begin;
        std::shared_ptr<MVRegex> end;
    };

    void _indexUTF8Data(QByteArray &data, const QString &path, MVCodeIndexerResult &result, int depth) const;
    void _indexIncludes(QByteArray &data, const QString &path, MVCodeIndexerResult &result, int depth) const;
    void _indexKeys(const std::vector<KeyPattern> &patterns, const QByteArray &data,
                    MVCodeIndexerResult &result) const;
    // Each match of the pattern, as the text of group 1 (group 0 when the
    // pattern has no groups).
    static QStringList _matchTexts(const MVRegex &regex, const QByteArray &data);
    static std::vector<KeyPattern> _readKeys(const QVariant &list);
    static std::vector<std::shared_ptr<MVRegex>> _readPatterns(const QVariant &list);

    QString _indexClass;
    QVariantMap _plist;
    int _enabled = 0;
    const MVPathResolver *_fileResolver = nullptr;
    std::vector<KeyPattern> _keys;
    std::vector<KeyPattern> _preRemoveKeys;
    std::vector<std::shared_ptr<MVRegex>> _filePatterns;
    std::vector<std::shared_ptr<MVRegex>> _tagPatterns;
    std::vector<Include> _includes;
};
