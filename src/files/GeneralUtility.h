#pragma once

#include <QString>
#include <QStringView>

#include <optional>

// Line breaks and indentation units of the editor's text.
namespace GeneralUtility {

// The kinds of line break, as stored in the preference MVLineBreak.
enum LineBreakKind { UnixLineBreak = 0, MacLineBreak = 1, DOSLineBreak = 2 };

// The text of the default line break (MVLineBreak): 2 CR LF, 1 CR, else LF.
QString lineBreak();

// The string with every line break brought to one kind. The kind comes from
// the name ("Unix", "Mac", anything else DOS) or, with no name, from
// MVLineBreak. The break text is not used. Lone LF, lone CR and CR LF are
// each one break, also when a text mixes them: a LF or a CR becomes the
// target's break, and a CR LF becomes LF for Unix and Mac and stays for DOS.
// No other character is touched; a string that needs no change comes back
// as it is, without a copy.
QString switchLineBreaks(const QString &string, const QString &lineBreak = QString(),
                         const QString &name = QString());
// The same with the kind given directly.
QString switchLineBreaks(const QString &string, LineBreakKind kind);

// The kind of the first line break of the text (CR LF is DOS, a lone CR
// Mac, LF Unix); nothing for a text without one. A CR at the very end may
// be the first half of a CR LF that follows: atEnd says whether more text
// could come.
std::optional<LineBreakKind> firstLineBreakKind(QStringView text, bool atEnd = true);

// One indentation unit: a tab, or with MVTabsAreSpaces as many spaces as
// MVTabSizeKey (4 if unset, at least one).
QString tabSpaces();

} // namespace GeneralUtility
