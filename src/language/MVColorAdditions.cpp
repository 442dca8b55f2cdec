#include "language/MVColorAdditions.h"

#include <QRgba64>

#include <cmath>

namespace {

int hexDigitValue(QChar c)
{
    const char16_t u = c.unicode();
    if (u >= u'0' && u <= u'9')
        return u - u'0';
    if (u >= u'a' && u <= u'f')
        return u - u'a' + 10;
    if (u >= u'A' && u <= u'F')
        return u - u'A' + 10;
    return -1;
}

// The pair of digits at index, or 255 where the string has no readable pair.
int pairAt(const QString &string, qsizetype index)
{
    if (index + 2 > string.size())
        return 255;
    return MVColorAdditions::integerFromHexString(QStringView(string).mid(index, 2));
}

// A 16-bit channel as 0..255, rounded down. Exact for colours made from
// 8-bit values (65535 = 255 * 257), so six digits read and written stay equal.
int floorByte(quint16 channel)
{
    return int((quint32(channel) * 255u) / 65535u);
}

int nearestByte(quint16 channel)
{
    return int(std::lround(channel * 255.0 / 65535.0));
}

double linear(double component)
{
    return component <= 0.04045 ? component / 12.92 : std::pow((component + 0.055) / 1.055, 2.4);
}

} // namespace

namespace MVColorAdditions {

int integerFromHexString(QStringView string)
{
    int value = 0;
    bool any = false;
    for (QChar c : string) {
        const int digit = hexDigitValue(c);
        if (digit < 0)
            break;
        any = true;
        value = value * 16 + digit;
        if (value > 0xFFFFFF)
            break;
    }
    return any ? value : 255;
}

QColor colorFromStyleString(const QString &string)
{
    if (!string.startsWith(QLatin1Char('#')))
        return QColor();
    const int red = pairAt(string, 1);
    const int green = pairAt(string, 3);
    const int blue = pairAt(string, 5);
    const int alpha = string.size() == 9 ? pairAt(string, 7) : 255;
    return QColor(qMin(red, 255), qMin(green, 255), qMin(blue, 255), qMin(alpha, 255));
}

QString styleString(const QColor &color, bool includeAlpha)
{
    const QRgba64 c = color.toRgb().rgba64();
    QString result = QStringLiteral("#%1%2%3")
                         .arg(floorByte(c.red()), 2, 16, QLatin1Char('0'))
                         .arg(floorByte(c.green()), 2, 16, QLatin1Char('0'))
                         .arg(floorByte(c.blue()), 2, 16, QLatin1Char('0'));
    if (includeAlpha)
        result += QStringLiteral("%1").arg(floorByte(c.alpha()), 2, 16, QLatin1Char('0'));
    return result;
}

QString hexValueWebsafe(const QColor &color, bool websafe)
{
    const QRgba64 c = color.toRgb().rgba64();
    const QString hex = QStringLiteral("%1%2%3")
                            .arg(nearestByte(c.red()), 2, 16, QLatin1Char('0'))
                            .arg(nearestByte(c.green()), 2, 16, QLatin1Char('0'))
                            .arg(nearestByte(c.blue()), 2, 16, QLatin1Char('0'))
                            .toUpper();
    return websafe ? webSafeHexValueFromString(hex) : hex;
}

QString webSafeHexValueFromString(const QString &hex)
{
    static const char digits[] = "0123456789ABCDEF";
    QString result;
    for (int pair = 0; pair < 3; ++pair) {
        int sum = 0;
        for (int i = 0; i < 2; ++i) {
            const qsizetype index = pair * 2 + i;
            const int value = index < hex.size() ? hexDigitValue(hex.at(index)) : 0;
            sum += qMax(value, 0);
        }
        int value = sum / 2;
        if (value % 3 == 1)
            value -= 1;
        else if (value % 3 == 2)
            value += 1;
        result += QLatin1Char(digits[value]);
        result += QLatin1Char(digits[value]);
    }
    return result;
}

QColor rgbFromHex(const QString &hex)
{
    QString s = hex.toUpper();
    while (s.size() < 6)
        s.prepend(QLatin1Char('0'));
    if (s.startsWith(QLatin1Char('#')))
        s.remove(0, 1);
    int components[3] = {0, 0, 0};
    for (int pair = 0; pair < 3; ++pair) {
        for (int i = 0; i < 2; ++i) {
            const qsizetype index = pair * 2 + i;
            const int value = index < s.size() ? hexDigitValue(s.at(index)) : 0;
            components[pair] = components[pair] * 16 + qMax(value, 0);
        }
    }
    return QColor(components[0], components[1], components[2]);
}

QColor bottomToolbarBorderColor()
{
    return QColor::fromRgbF(0.41f, 0.41f, 0.41f, 1.0f);
}

QColor bottomToolbarBackgroundColor()
{
    return QColor::fromRgbF(0.88f, 0.88f, 0.88f, 1.0f);
}

double relativeLuminance(const QColor &color)
{
    const QColor c = color.toRgb();
    return 0.2126 * linear(c.redF()) + 0.7152 * linear(c.greenF()) + 0.0722 * linear(c.blueF());
}

double contrastRatio(const QColor &foreground, const QColor &background)
{
    const QColor back = background.toRgb();
    QColor front = foreground.toRgb();
    if (front.alphaF() < 1.0f) {
        const float a = front.alphaF();
        front = QColor::fromRgbF(a * front.redF() + (1 - a) * back.redF(), a * front.greenF() + (1 - a) * back.greenF(),
                                 a * front.blueF() + (1 - a) * back.blueF());
    }
    const double l1 = relativeLuminance(front);
    const double l2 = relativeLuminance(back);
    return (qMax(l1, l2) + 0.05) / (qMin(l1, l2) + 0.05);
}

} // namespace MVColorAdditions
