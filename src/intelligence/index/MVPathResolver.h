#pragma once

#include <QString>
#include <QStringList>

// Turns the text of an include ("lib/db.php", "Foo::Bar") into the path of a
// file. The plain resolver tries the including file's own directory; the
// Ruby and Perl resolvers add their interpreter's search paths first. The
// resolvers hold no state of their own and are shared by every indexer.
class MVPathResolver
{
public:
    virtual ~MVPathResolver() = default;

    // The resolver named by an indexer's "pathResolution"; the plain one for
    // an unknown or empty name.
    static const MVPathResolver &resolverNamed(const QString &name);

    // The path for the text, or empty. isTag (when given) is cleared, and set
    // when the answer names a tag rather than a file. An absolute text is
    // the path as it stands.
    QString pathForString(const QString &string, const QString &base, bool *isTag) const;
    // A relative text: the first regular file found under the search paths
    // and then beside base.
    virtual QString pathForRelativeString(const QString &string, const QString &base, bool *isTag) const;
    virtual QStringList searchPaths() const { return {}; }

    // The lines a script prints, each with a trailing slash, without empty
    // lines and "."; empty when it fails. The script is written to a private
    // temporary file (0700) that is removed after the run.
    static QStringList pathsFromRunningScript(const QByteArray &script);

protected:
    // The first existing regular file among the candidate directories.
    QString _firstExisting(const QString &string, const QString &base) const;
};
