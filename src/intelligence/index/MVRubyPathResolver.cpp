#include "intelligence/index/MVRubyPathResolver.h"

#include <QFileInfo>

QString MVRubyPathResolver::pathForRelativeString(const QString &string, const QString &base, bool *isTag) const
{
    QString name = string;
    if (QFileInfo(name).suffix().isEmpty())
        name += QStringLiteral(".rb");
    return MVPathResolver::pathForRelativeString(name, base, isTag);
}

QStringList MVRubyPathResolver::searchPaths() const
{
    static const QStringList paths = pathsFromRunningScript(
        "#!/usr/bin/env ruby\n$:.each do |path|\nprint path, \"\\n\"\nend\nexit 0\n");
    return paths;
}
