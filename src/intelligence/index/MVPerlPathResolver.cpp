#include "intelligence/index/MVPerlPathResolver.h"

#include <QFileInfo>

QString MVPerlPathResolver::pathForRelativeString(const QString &string, const QString &base, bool *isTag) const
{
    if (!QFileInfo(string).suffix().isEmpty() && !string.contains(QStringLiteral("::")))
        return MVPathResolver::pathForRelativeString(string, base, isTag);
    QString name = string;
    name.replace(QStringLiteral("::"), QStringLiteral("/"));
    name += QStringLiteral(".pm");
    const QString found = MVPathResolver::pathForRelativeString(name, base, isTag);
    if (!found.isEmpty())
        return found;
    if (isTag)
        *isTag = true;
    return string;
}

QStringList MVPerlPathResolver::searchPaths() const
{
    static const QStringList paths = pathsFromRunningScript(
        "#!/usr/bin/env perl\nforeach(@INC) {\nprint $_ . \"\\n\";\n}\nexit 0;\n");
    return paths;
}
