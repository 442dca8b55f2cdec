#pragma once

#include <QString>

// Canonical form of a path for comparisons: links resolved where the file
// exists, cleaned and absolute where it does not.
QString MVCanonicalPath(const QString &path);
