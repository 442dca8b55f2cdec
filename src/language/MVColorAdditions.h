#pragma once

#include <QColor>
#include <QString>

// The textual colour formats of themes and colour panels: "#rrggbb[aa]" style
// strings, six-digit hexadecimal values, the simple web-safe approximation,
// and the contrast measure used to check that theme colours stay readable.
namespace MVColorAdditions {

// A colour from "#rrggbb" or "#rrggbbaa" (the alpha pair counts only when the
// string has exactly nine characters). A pair that is missing or not
// hexadecimal reads as 255. Anything that does not start with "#" gives an
// invalid QColor, which stands for "no colour".
QColor colorFromStyleString(const QString &string);

// "#rrggbbaa" in lower case, each component multiplied by 255 and rounded
// down; without alpha "#rrggbb".
QString styleString(const QColor &color, bool includeAlpha = true);

// The value of the leading hexadecimal digits; 255 when there are none.
int integerFromHexString(QStringView string);

// Six upper-case hexadecimal digits without "#", components rounded to the
// nearest integer; with websafe, passed through webSafeHexValueFromString.
QString hexValueWebsafe(const QColor &color, bool websafe);

// Per pair: the two digit values added, halved, moved to the nearest multiple
// of three and written twice ("3A" gives "66").
QString webSafeHexValueFromString(const QString &hex);

// A colour from six hexadecimal digits, with or without "#", upper or lower
// case; short input is padded with "0" in front first. Alpha is 1.
QColor rgbFromHex(const QString &hex);

QColor bottomToolbarBorderColor();
QColor bottomToolbarBackgroundColor();

// Relative luminance and contrast ratio (1 to 21) of opaque sRGB colours, as
// defined by the web accessibility guidelines. A translucent colour is first
// composed over the given background.
double relativeLuminance(const QColor &color);
double contrastRatio(const QColor &foreground, const QColor &background);

} // namespace MVColorAdditions
