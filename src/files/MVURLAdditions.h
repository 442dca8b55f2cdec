#pragma once

#include <QString>

// Path handling on URL text ("ftp://host/dir/file"), with one "/" between parts.
namespace MVURLAdditions {

QString urlStringByAppendingPathComponent(const QString &url, const QString &component);
// Drops the last component; the bare "scheme://host" part is never cut.
QString urlStringByDeletingLastPathComponent(const QString &url);

} // namespace MVURLAdditions
