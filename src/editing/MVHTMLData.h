#pragma once

#include <QHash>
#include <QString>

// The HTML data that typing reads from the application's resources
// ("data/specialTagFormatting.plist" and "data/specialCharacters.plist"),
// each read once and kept. A missing or unreadable file gives an empty
// table: every tag then has kind 0, and no character becomes an entity.
namespace MVHTMLData {

// What a typed ">" does after a tag, and how closeTag: counts it.
enum TagKind { NoClosingTag = -1, Inline = 0, Empty = 1, Block = 3 };

// The kind of a tag name (looked up in lower case); 0 for a name not in
// the table and for a value the code does not know. In XML every name is
// inline except those that never have a closing tag.
int tagKind(const QString &name, bool xml = false);
// Whether the table has the lower-cased name as a key.
bool hasTagKind(const QString &name);

// Character -> entity text, from every group except "Accents". Only
// characters outside ASCII are kept: "&" or "<" never turn into entities.
const QHash<QChar, QString> &specialCharacters();

// For tests: forget what was read, so that the next use reads again.
void reset();
}
