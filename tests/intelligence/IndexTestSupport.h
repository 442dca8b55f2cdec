#pragma once

#include "intelligence/index/MVCodeIndexer.h"
#include "language/MVBundleRepository.h"

// The shipped languages with their indexers, loaded once per process.
namespace IndexTest {

inline void registerIndexers()
{
    static const bool once = [] {
        MVCodeIndexer::registerWithBundles();
        return true;
    }();
    (void)once;
}

// "com.morvelworks.morvel.bundles.php-code" as "php-code".
inline QString shortClass(const QString &identifier)
{
    return identifier.section(QLatin1Char('.'), -1);
}

} // namespace IndexTest
