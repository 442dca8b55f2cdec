#include "intelligence/index/MVCodeIndexer.h"

#include "intelligence/index/MVPathResolver.h"
#include "language/MVBundle.h"
#include "language/MVBundleRepository.h"
#include "language/MVDefinitionRegistry.h"
#include "platform/MVPropertyList.h"
#include "search/MVRegex.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Files larger than this are not indexed: no source file is, and reading one
// would hold the index thread for nothing.
constexpr qint64 MaximumFileSize = 64 * 1024 * 1024;
// Regions of other languages nest at most this deep (a language that names
// itself would otherwise recurse for ever).
constexpr int MaximumIncludeDepth = 4;

QString utf8Text(const QByteArray &data, MVRange range)
{
    if (range.isNotFound() || range.end() > data.size())
        return QString();
    return QString::fromUtf8(data.constData() + range.location, range.length);
}

} // namespace

void MVCodeIndexer::registerWithBundles()
{
    MVDefinitionRegistry::registerCodeIndexer([](MVBundle *bundle, const QVariant &plist) {
        return std::make_shared<MVCodeIndexer>(bundle, plist.toMap());
    });
}

MVCodeIndexer::MVCodeIndexer(MVBundle *bundle, const QVariantMap &plist)
    : _indexClass(bundle ? bundle->bundleIdentifier() : QString()), _plist(plist)
{
    if (plist.contains(QStringLiteral("enabled")))
        _enabled = plist.value(QStringLiteral("enabled")).toBool() ? 2 : 1;
    _fileResolver = &MVPathResolver::resolverNamed(plist.value(QStringLiteral("pathResolution")).toString());
    _keys = _readKeys(plist.value(QStringLiteral("keys")));
    _preRemoveKeys = _readKeys(plist.value(QStringLiteral("pre-remove-keys")));
    _filePatterns = _readPatterns(plist.value(QStringLiteral("external-files")));
    _tagPatterns = _readPatterns(plist.value(QStringLiteral("tags")));
    const QVariantList includes = plist.value(QStringLiteral("includes")).toList();
    for (const QVariant &value : includes) {
        const QVariantMap map = value.toMap();
        Include include;
        include.identifier = map.value(QStringLiteral("id")).toString();
        include.begin = MVRegex::initWithPattern(map.value(QStringLiteral("begin")).toString());
        include.end = MVRegex::initWithPattern(map.value(QStringLiteral("end")).toString());
        // A region that cannot be searched for is refused.
        if (!include.identifier.isEmpty() && include.begin && include.end)
            _includes.push_back(std::move(include));
    }
}

std::vector<MVCodeIndexer::KeyPattern> MVCodeIndexer::_readKeys(const QVariant &list)
{
    std::vector<KeyPattern> result;
    const QVariantList entries = list.toList();
    for (const QVariant &value : entries) {
        const QVariantMap map = value.toMap();
        KeyPattern pattern;
        pattern.regex = MVRegex::initWithPattern(map.value(QStringLiteral("pattern")).toString());
        if (!pattern.regex)
            continue;
        pattern.keyGroup = map.value(QStringLiteral("key")).toInt();
        pattern.completionGroup = map.value(QStringLiteral("completion")).toInt();
        pattern.type = map.value(QStringLiteral("type")).toString();
        result.push_back(std::move(pattern));
    }
    return result;
}

std::vector<std::shared_ptr<MVRegex>> MVCodeIndexer::_readPatterns(const QVariant &list)
{
    std::vector<std::shared_ptr<MVRegex>> result;
    const QVariantList entries = list.toList();
    for (const QVariant &value : entries) {
        if (auto regex = MVRegex::initWithPattern(value.toString()))
            result.push_back(std::move(regex));
    }
    return result;
}

std::shared_ptr<MVCodeIndexer> MVCodeIndexer::indexerForPath(const QString &path)
{
    const auto bundle = MVBundleRepository::sharedRepository().bundleForFileCategory(QString(),
                                                                                     QFileInfo(path).suffix());
    if (!bundle)
        return nullptr;
    auto indexer = bundle->codeIndexer<MVCodeIndexer>();
    if (!indexer || indexer->enabled() == 2)
        return nullptr;
    return indexer;
}

std::optional<MVCodeIndexerResult> MVCodeIndexer::indexFile(const QString &path) const
{
    // Non-blocking, and checked on the open descriptor: a FIFO or a device
    // put in place of the file must never hold the thread.
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0)
        return std::nullopt;
    struct stat st;
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_size > MaximumFileSize) {
        ::close(fd);
        return std::nullopt;
    }
    QByteArray data(qsizetype(st.st_size), Qt::Uninitialized);
    qsizetype filled = 0;
    while (filled < data.size()) {
        const ssize_t got = ::read(fd, data.data() + filled, size_t(data.size() - filled));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        filled += got;
    }
    ::close(fd);
    data.truncate(filled);
    const qsizetype nul = data.indexOf('\0');
    if (nul >= 0)
        data.truncate(nul);
    if (!QByteArrayView(data).isValidUtf8())
        data = QString::fromLatin1(data).toUtf8();
    return indexUTF8Data(data, path);
}

MVCodeIndexerResult MVCodeIndexer::indexUTF8Data(QByteArray &data, const QString &path) const
{
    MVCodeIndexerResult result;
    _indexUTF8Data(data, path, result, 0);
    return result;
}

void MVCodeIndexer::_indexUTF8Data(QByteArray &data, const QString &path, MVCodeIndexerResult &result,
                                   int depth) const
{
    _indexIncludes(data, path, result, depth);
    for (const auto &pattern : _tagPatterns)
        result.tags += _matchTexts(*pattern, data);
    for (const auto &pattern : _filePatterns) {
        const QStringList texts = _matchTexts(*pattern, data);
        for (const QString &text : texts) {
            bool isTag = false;
            const QString found = _fileResolver->pathForString(text, path, &isTag);
            if (found.isEmpty())
                continue;
            if (isTag)
                result.referencedTags << found;
            else
                result.referencedFiles << found;
        }
    }
    // Both key passes see the same text: removal patterns do not apply to
    // bytes. A key of the first pass may come again in the second.
    _indexKeys(_preRemoveKeys, data, result);
    _indexKeys(_keys, data, result);
}

void MVCodeIndexer::_indexIncludes(QByteArray &data, const QString &path, MVCodeIndexerResult &result,
                                   int depth) const
{
    if (depth >= MaximumIncludeDepth)
        return;
    MVBundleRepository &repository = MVBundleRepository::sharedRepository();
    for (const Include &include : _includes) {
        auto bundle = repository.bundleForBundleIdentifier(include.identifier);
        if (!bundle)
            bundle = repository.bundleForIdentifier(include.identifier);
        // Held for the whole pass: a reload of that language does not pull
        // its indexer away under us.
        const auto indexer = bundle ? bundle->codeIndexer<MVCodeIndexer>() : nullptr;
        if (!indexer)
            continue;
        // Each region is searched for after the previous one, so that every
        // region of a long page is found and a page is scanned once.
        qsizetype from = 0;
        while (from < data.size()) {
            const auto begin = include.begin->copyMatchForUTF8Data(data, MVRange{from, data.size() - from});
            if (!begin)
                break;
            const MVRange opening = begin->rangeForCapture(0);
            const auto end = include.end->copyMatchForUTF8Data(data, MVRange{opening.end(), data.size() - opening.end()});
            const qsizetype regionEnd = end ? end->rangeForCapture(0).end() : data.size();
            QByteArray region = data.mid(opening.location, regionEnd - opening.location);
            MVCodeIndexerResult inner;
            indexer->_indexUTF8Data(region, path, inner, depth + 1);
            result.keys += inner.keys;
            result.referencedFiles += inner.referencedFiles;
            // The host's own patterns must not see the region.
            std::fill(data.begin() + opening.location, data.begin() + regionEnd, '\0');
            from = std::max(regionEnd, opening.location + 1);
        }
    }
}

void MVCodeIndexer::_indexKeys(const std::vector<KeyPattern> &patterns, const QByteArray &data,
                               MVCodeIndexerResult &result) const
{
    QSet<QString> seen;
    for (const KeyPattern &pattern : patterns) {
        qsizetype from = 0;
        while (from <= data.size()) {
            const auto match = pattern.regex->copyMatchForUTF8Data(data, MVRange{from, data.size() - from});
            if (!match)
                break;
            const MVRange whole = match->rangeForCapture(0);
            // An empty match steps past its position.
            from = whole.length > 0 ? whole.end() : whole.location + 1;
            const QString key = utf8Text(data, match->rangeForCapture(quint32(pattern.keyGroup)));
            if (key.isEmpty() || seen.contains(key))
                continue;
            seen.insert(key);
            result.keys << MVCodeIndexKey(key, utf8Text(data, match->rangeForCapture(quint32(pattern.completionGroup))),
                                          pattern.type, _indexClass);
        }
    }
}

QStringList MVCodeIndexer::_matchTexts(const MVRegex &regex, const QByteArray &data)
{
    QStringList texts;
    qsizetype from = 0;
    while (from <= data.size()) {
        const auto match = regex.copyMatchForUTF8Data(data, MVRange{from, data.size() - from});
        if (!match)
            break;
        const quint32 group = match->count() == 1 ? 0 : 1;
        const MVRange range = match->rangeForCapture(group);
        const MVRange whole = match->rangeForCapture(0);
        from = whole.length > 0 ? std::max(whole.end(), range.isNotFound() ? whole.end() : range.end())
                                : whole.location + 1;
        const QString text = utf8Text(data, range);
        if (!text.isEmpty())
            texts << text;
    }
    return texts;
}

bool MVCodeIndexer::commitToPath(const QString &contentsPath)
{
    const QString path = contentsPath + QStringLiteral("/indexer.plist");
    QVariantMap plist;
    if (QFileInfo::exists(path)) {
        if (auto existing = MVPropertyList::readDictionary(path))
            plist = *existing;
    }
    for (auto it = _plist.cbegin(); it != _plist.cend(); ++it)
        plist.insert(it.key(), it.value());
    plist.insert(QStringLiteral("format-version"), QStringLiteral("1.0"));
    if (_enabled != 0)
        plist.insert(QStringLiteral("enabled"), _enabled == 2);
    return MVPropertyList::writeFile(plist, path, MVPropertyList::BinaryFormat);
}
