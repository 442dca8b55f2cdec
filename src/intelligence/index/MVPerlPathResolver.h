#pragma once

#include "intelligence/index/MVPathResolver.h"

// Perl's use and require: "Foo::Bar" means "Foo/Bar.pm" under @INC or beside
// the file. A module found nowhere is a tag, which any file declaring that
// package satisfies.
class MVPerlPathResolver : public MVPathResolver
{
public:
    QString pathForRelativeString(const QString &string, const QString &base, bool *isTag) const override;
    // @INC of the interpreter, asked once per process.
    QStringList searchPaths() const override;
};
