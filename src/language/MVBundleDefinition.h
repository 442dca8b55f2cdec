#pragma once

#include <QString>

// One definition file of a language bundle, loaded into an object: the
// parser ("syntax.plist"), the navigator parser ("codenav.plist"), hinting,
// completion and the indexer. Each writes its own file back on commit.
class MVBundleDefinition
{
public:
    virtual ~MVBundleDefinition() = default;

    // Writes the definition's file(s) into the bundle's "Contents" directory.
    virtual bool commitToPath(const QString &contentsPath) = 0;
};
