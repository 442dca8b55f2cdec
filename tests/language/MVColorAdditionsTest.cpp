#include "language/MVColorAdditions.h"

#include <gtest/gtest.h>

using namespace MVColorAdditions;

TEST(MVColorAdditions, StyleStringsAreReadByTheirFixedPositions)
{
    EXPECT_EQ(colorFromStyleString("#102030"), QColor(0x10, 0x20, 0x30, 0xff));
    EXPECT_EQ(colorFromStyleString("#10203040"), QColor(0x10, 0x20, 0x30, 0x40));
    // The alpha pair counts only at exactly nine characters.
    EXPECT_EQ(colorFromStyleString("#1020304").alpha(), 255);
    EXPECT_EQ(colorFromStyleString("#AbCdEf"), QColor(0xab, 0xcd, 0xef));
    // Unreadable and missing pairs read as 255; nothing is read past the end.
    EXPECT_EQ(colorFromStyleString("#zz2030"), QColor(0xff, 0x20, 0x30));
    EXPECT_EQ(colorFromStyleString("#10"), QColor(0x10, 0xff, 0xff));
    EXPECT_EQ(colorFromStyleString("#"), QColor(0xff, 0xff, 0xff));
    // Only the "#" form is a colour.
    EXPECT_FALSE(colorFromStyleString("102030").isValid());
    EXPECT_FALSE(colorFromStyleString("rgb(1,2,3)").isValid());
    EXPECT_FALSE(colorFromStyleString(QString()).isValid());
}

TEST(MVColorAdditions, StyleStringsRoundTripWithAlpha)
{
    // Six digits come back as eight, in lower case, and stay exact.
    for (const char *text : {"#000000", "#ffffff", "#0a6b2e", "#80ff01", "#7f7f7f"}) {
        const QString s = QString::fromLatin1(text);
        EXPECT_EQ(styleString(colorFromStyleString(s)), s + QStringLiteral("ff"));
        EXPECT_EQ(styleString(colorFromStyleString(s), false), s);
    }
    EXPECT_EQ(styleString(colorFromStyleString("#ABCDEF12")), "#abcdef12");
    // Components are rounded down.
    EXPECT_EQ(styleString(QColor::fromRgbF(0.999f, 0.5f, 0.0f), false), "#fe7f00");
}

TEST(MVColorAdditions, HexValuesAndTheWebSafeApproximation)
{
    EXPECT_EQ(hexValueWebsafe(QColor(0x0a, 0xb0, 0xff), false), "0AB0FF");
    // Digits are added, not weighted: "3A" is (3 + 10) / 2 = 6.
    EXPECT_EQ(webSafeHexValueFromString("3A3A3A"), "666666");
    // Remainder 1 goes down, remainder 2 goes up.
    EXPECT_EQ(webSafeHexValueFromString("88AAFF"), "9999FF");
    EXPECT_EQ(webSafeHexValueFromString("000000"), "000000");
    EXPECT_EQ(hexValueWebsafe(QColor(0x3a, 0x88, 0xff), true), "6699FF");
    EXPECT_EQ(webSafeHexValueFromString("F"), "660000");

    EXPECT_EQ(integerFromHexString(u"1f"), 0x1f);
    EXPECT_EQ(integerFromHexString(u"xy"), 255);
    EXPECT_EQ(integerFromHexString(u""), 255);
}

TEST(MVColorAdditions, RgbFromHexPadsAndStripsTheMark)
{
    EXPECT_EQ(rgbFromHex("#a0b0c0"), QColor(0xa0, 0xb0, 0xc0));
    EXPECT_EQ(rgbFromHex("a0b0c0"), QColor(0xa0, 0xb0, 0xc0));
    EXPECT_EQ(rgbFromHex("fff"), QColor(0x00, 0x0f, 0xff));
    // A short value with "#" is padded in front of the mark, then the mark is
    // no longer first and stays; it reads as no digit.
    EXPECT_EQ(rgbFromHex("#fff"), QColor(0x00, 0x0f, 0xff));
    EXPECT_EQ(rgbFromHex("#ABCDE"), QColor(0xab, 0xcd, 0xe0));
}

TEST(MVColorAdditions, ContrastRatioFollowsTheAccessibilityFormula)
{
    EXPECT_NEAR(contrastRatio(Qt::black, Qt::white), 21.0, 1e-9);
    EXPECT_NEAR(contrastRatio(Qt::white, Qt::black), 21.0, 1e-9);
    EXPECT_NEAR(contrastRatio(QColor(0x77, 0x77, 0x77), Qt::white), 4.48, 0.01);
    EXPECT_NEAR(contrastRatio(QColor(0x12, 0x34, 0x56), QColor(0x12, 0x34, 0x56)), 1.0, 1e-9);
    // A translucent text colour is composed over the background first.
    EXPECT_NEAR(contrastRatio(QColor(0, 0, 0, 0), Qt::white), 1.0, 1e-6);
}
