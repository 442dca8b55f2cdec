#pragma once

#include "platform/MVNotificationCenter.h"

#include <QHash>
#include <QImage>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

class MVBundleDefinition;
class MVParser;

// One language: a directory "<Name>.mvbundle" with "Contents/Info.plist"
// (metadata) and optional definition files beside it. bundleIdentifier()
// (CFBundleIdentifier) names the directory and decides which copy wins;
// identifier() is the parser's identifier ("text.html") that code and
// embedded languages refer to. Safe to read from several threads.
class MVBundle
{
public:
    // Reads the metadata and categories of the directory; unless lazily, also
    // the definitions. Null, with the reason in error, for a path that is no
    // directory, an unreadable "Contents/Info.plist" or one without a
    // CFBundleIdentifier string.
    static std::shared_ptr<MVBundle> initWithPath(const QString &path, bool lazily, QString *error = nullptr);
    // A new language without a directory until its first commit: a plain
    // parser with the identifier, a new UUID as bundle identifier.
    static std::shared_ptr<MVBundle> initWithTitle(const QString &title, const QString &parseIdentifier);

    ~MVBundle();
    MVBundle(const MVBundle &) = delete;
    MVBundle &operator=(const MVBundle &) = delete;

    // Parser (with its navigator), hinting, completion, indexer, in this order.
    void loadDefinitions();
    void loadParser();
    void loadCodeHinting();
    void loadCodeCompletion();
    void loadCodeIndexer();
    // Definition files of the last load that exist but could not be used,
    // each as "path: reason". Empty when every file present was read.
    QStringList definitionProblems() const;

    // Writes the language into the user's "Bundles" folder: a language from
    // there in place, a shipped one under its directory name, a new one under
    // a clean, unique name made from its title. The new directory starts as
    // a copy of the old one, so that files and keys this program does not
    // write survive; an existing directory is kept as a backup until the
    // write succeeded and is put back if it failed.
    bool commit(QString *error = nullptr);

    // Case-insensitive order of titles: negative, zero or positive.
    int compareTitle(const MVBundle &other) const;

    // The directory, or empty for a language never committed.
    QString path() const;
    QString bundleIdentifier() const { return _bundleIdentifier; }
    bool hideInList() const { return _hideInList; }
    QString identifier() const;
    QString title() const;
    QString tooltip() const;
    // CFBundleVersion, "1.0" when absent.
    QString version() const;
    // A value of "Contents/Info.plist" as read.
    QVariant objectForInfoDictionaryKey(const QString &key) const;

    // Titles of the language's file categories; setting them derives the
    // file types again.
    QStringList fileCategories() const;
    void setFileCategories(const QStringList &titles);
    // The extensions this language claims: the types of its categories, or,
    // when these give none, "file-types" of its Info.plist.
    QStringList fileTypes() const;

    std::shared_ptr<MVParser> parser() const;
    void setParser(std::shared_ptr<MVParser> parser);
    std::shared_ptr<MVBundleDefinition> codeNavParser() const;
    void setCodeNavParser(std::shared_ptr<MVBundleDefinition> parser);

    // The definitions, typed by the caller: codeCompletion<MVCodeCompletion>().
    template <class T = MVBundleDefinition>
    std::shared_ptr<T> codeHinting() const
    {
        return std::dynamic_pointer_cast<T>(_definition(_codeHinting));
    }
    template <class T = MVBundleDefinition>
    std::shared_ptr<T> codeCompletion() const
    {
        return std::dynamic_pointer_cast<T>(_definition(_codeCompletion));
    }
    template <class T = MVBundleDefinition>
    std::shared_ptr<T> codeIndexer() const
    {
        return std::dynamic_pointer_cast<T>(_definition(_codeIndexer));
    }
    void setCodeCompletion(std::shared_ptr<MVBundleDefinition> completion);

    // A file of "Contents/Resources" by name and type; empty if none.
    QString pathForResource(const QString &name, const QString &type) const;
    // An image of the language's resources ("name.png" or "name" and "png"),
    // cached; a null image (not cached) when it can't be loaded.
    QImage imageNamed(const QString &name);

    // How category titles become extensions: the extensions of the category
    // with the title, or nothing for a title that is not a known category.
    // Until a resolver is set, titles are kept as they are and give no types.
    using CategoryResolver = std::function<std::optional<QStringList>(const QString &title)>;
    static void setFileCategoryResolver(CategoryResolver resolver);

    // Directory name for a new language: the title without "/", control
    // characters and leading dots, with the extension "mvbundle".
    static QString cleanDirectoryName(const QString &title);

private:
    MVBundle();
    void _loadFileCategories(const QStringList &titles);
    void _loadFileTypes();
    void _noteProblems(const QStringList &problems);
    std::shared_ptr<MVBundleDefinition> _definition(const std::shared_ptr<MVBundleDefinition> &field) const;
    bool _writeInfoPlistToPath(const QString &path, const QString &sourcePath, QString *error) const;
    bool _writeDefinitionsToPath(const QString &path, QString *error) const;
    QString _destinationForCommit() const;

    mutable std::mutex _mutex;
    QString _path;
    QVariantMap _info;
    std::shared_ptr<MVParser> _parser;
    std::shared_ptr<MVBundleDefinition> _codeHinting;
    std::shared_ptr<MVBundleDefinition> _codeCompletion;
    std::shared_ptr<MVBundleDefinition> _codeIndexer;
    QString _title;
    QString _bundleIdentifier;
    bool _hideInList = false;
    QStringList _definitionProblems;
    QStringList _fileCategories;
    QStringList _fileTypes;
    QHash<QString, QImage> _imageDict;
    MVObservation _prefsClosed;
};
