#pragma once

#include <QMetaType>
#include <QString>
#include <QVariant>

#include <optional>

// The lists the program ships under resources/data (file categories, the
// site view's filters) and the user's edited copy of each, written to the
// application support folder. An empty path stands for the usual place.
namespace DataListFile {

// The list's top level when it has the expected type; otherwise nothing, and
// a log line that begins with logTitle says why.
std::optional<QVariant> read(const QString &name, const QString &sourcePath, QMetaType::Type expected,
                             const QString &logTitle);

// Writes the list atomically as XML.
bool write(const QVariant &plist, const QString &name, const QString &commitPath, QString *error);

} // namespace DataListFile
