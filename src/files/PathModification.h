#pragma once

#include <QString>

// Path text operations on plain strings ('/'-separated, no file-system access
// unless stated).
namespace PathModification {

// Adds "/" unless the text is empty or already ends with one.
QString stringWithTrailingSlash(const QString &path);
// Removes one leading "/".
QString stringWithoutLeadingSlash(const QString &path);
QString stringByDeletingLeadingSlash(const QString &path);
// "name — …/directory": the file name and the directory it is in.
QString ellipsedPath(const QString &path);
// The path of target relative to the directory of the file at path. An
// untitled file gives the target unchanged.
QString relativePathTo(const QString &path, const QString &target);
// Undoes relativePathTo: the absolute path that relative means from the file
// at path. A text with ":" (a URL), an empty text and an absolute path stay.
QString fullyQualifiedPathTo(const QString &path, const QString &relative);
// An absolute path (in text) put under base when a base is given; otherwise a
// relative text resolved from the directory of file.
QString absolutePathFromFile(const QString &text, const QString &file, const QString &base);
// A name for a copy of the named file that is free in the directory:
// "a copy.html", "a copy 1.html", ...; a copy of "a copy 3.html" is "a copy 4.html".
QString filenameForDuplicateOfFile(const QString &name, const QString &directory);

} // namespace PathModification
