#include "files/GeneralUtility.h"

#include "platform/MVUserDefaults.h"

#include <gtest/gtest.h>

#include <QRandomGenerator>

using namespace GeneralUtility;

namespace {

class PreferenceScope
{
public:
    PreferenceScope(const QString &key, const QVariant &value) : _key(key)
    {
        MVUserDefaults::standard().setObject(key, value);
    }
    ~PreferenceScope() { MVUserDefaults::standard().removeObject(_key); }

private:
    QString _key;
};

QString withoutBreaks(QString text)
{
    return text.remove(QLatin1Char('\r')).remove(QLatin1Char('\n'));
}

// Line breaks in order: 'r' lone CR, 'n' lone LF, 'p' a CR LF pair.
QString breakForms(const QString &text)
{
    QString forms;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] == QLatin1Char('\r') && i + 1 < text.size() && text[i + 1] == QLatin1Char('\n')) {
            forms += QLatin1Char('p');
            ++i;
        } else if (text[i] == QLatin1Char('\r')) {
            forms += QLatin1Char('r');
        } else if (text[i] == QLatin1Char('\n')) {
            forms += QLatin1Char('n');
        }
    }
    return forms;
}

} // namespace

TEST(GeneralUtility, DefaultLineBreakAndTabUnitComeFromThePreferences)
{
    EXPECT_EQ(lineBreak(), "\n");
    for (const auto &[kind, expected] : {std::pair{1, "\r"}, {2, "\r\n"}, {7, "\n"}}) {
        PreferenceScope scope("MVLineBreak", kind);
        EXPECT_EQ(lineBreak(), expected) << kind;
        EXPECT_EQ(switchLineBreaks("a\rb\nc"), QString("a") + expected + "b" + expected + "c");
    }
    EXPECT_EQ(tabSpaces(), "\t");
    PreferenceScope spaces("MVTabsAreSpaces", true);
    EXPECT_EQ(tabSpaces(), "    ");
    PreferenceScope size("MVTabSizeKey", 0);
    EXPECT_EQ(tabSpaces(), " ");
}

TEST(GeneralUtility, KindsByNameAndTheMacQuirk)
{
    const QString unix = QStringLiteral("<?php\n\techo 1;\n?>\n");
    const QString mac = QStringLiteral("<?php\r\techo 1;\r?>\r");
    const QString dos = QStringLiteral("<?php\r\n\techo 1;\r\n?>\r\n");
    EXPECT_EQ(switchLineBreaks(mac, QString(), "Unix"), unix);
    EXPECT_EQ(switchLineBreaks(unix, QString(), "Mac"), mac);
    EXPECT_EQ(switchLineBreaks(mac, QString(), "DOS"), dos);
    EXPECT_EQ(switchLineBreaks(unix, QString(), "Windows"), dos);
    // A CR LF pair becomes a lone LF even for Mac.
    EXPECT_EQ(switchLineBreaks(dos, QString(), "Mac"), unix);
    EXPECT_EQ(switchLineBreaks("\n\r", DOSLineBreak), "\r\n\r\n");
}

TEST(GeneralUtility, MixedTextsKeepEveryOtherCharacterInPlace)
{
    EXPECT_EQ(switchLineBreaks("x\r\r\n\n\ry", MacLineBreak), "x\r\n\r\ry");
    // Random mixtures: the other characters come out the same and in the
    // same order, each break stays one break of the target's form.
    QRandomGenerator random(20261122);
    const QString alphabet = QStringLiteral("ab\r\n\r\n é") + QChar(0xD83D) + QChar(0xDE00);
    for (int round = 0; round < 500; ++round) {
        QString text;
        const int length = random.bounded(60);
        for (int i = 0; i < length; ++i)
            text += alphabet[random.bounded(alphabet.size())];
        const QString forms = breakForms(text);
        for (LineBreakKind kind : {UnixLineBreak, MacLineBreak, DOSLineBreak}) {
            const QString converted = switchLineBreaks(text, kind);
            ASSERT_EQ(withoutBreaks(converted), withoutBreaks(text)) << round;
            // The breaks alone, unit by unit: for Mac a former pair is a LF.
            QString expectedUnits;
            for (QChar form : forms) {
                if (kind == UnixLineBreak || (kind == MacLineBreak && form == QLatin1Char('p')))
                    expectedUnits += QLatin1Char('\n');
                else if (kind == MacLineBreak)
                    expectedUnits += QLatin1Char('\r');
                else
                    expectedUnits += QStringLiteral("\r\n");
            }
            QString actualUnits;
            for (QChar unit : converted) {
                if (unit == QLatin1Char('\r') || unit == QLatin1Char('\n'))
                    actualUnits += unit;
            }
            ASSERT_EQ(actualUnits, expectedUnits) << round << " kind " << kind;
            // Once converted, a text stays as it is.
            if (kind != MacLineBreak) {
                ASSERT_EQ(switchLineBreaks(converted, kind), converted) << round;
            }
        }
    }
}
