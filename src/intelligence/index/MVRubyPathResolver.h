#pragma once

#include "intelligence/index/MVPathResolver.h"

// Ruby's require: a name without extension means "name.rb", looked up in
// the interpreter's load path first.
class MVRubyPathResolver : public MVPathResolver
{
public:
    QString pathForRelativeString(const QString &string, const QString &base, bool *isTag) const override;
    // The interpreter's load path, asked once per process.
    QStringList searchPaths() const override;
};
