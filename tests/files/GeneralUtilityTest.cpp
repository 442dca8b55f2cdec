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

TEST(GeneralUtility, DefaultLineBreakAndTabUnit)
{
    EXPECT_EQ(lineBreak(), "\n");
    {
        PreferenceScope scope("MVLineBreak", 1);
        EXPECT_EQ(lineBreak(), "\r");
        EXPECT_EQ(switchLineBreaks("a\nb"), "a\rb");
    }
    {
        PreferenceScope scope("MVLineBreak", 2);
        EXPECT_EQ(lineBreak(), "\r\n");
        EXPECT_EQ(switchLineBreaks("a\nb", "\n", QString()), "a\r\nb");
    }
    {
        PreferenceScope scope("MVLineBreak", 7);
        EXPECT_EQ(lineBreak(), "\n");
        EXPECT_EQ(switchLineBreaks("a\rb"), "a\nb");
    }

    EXPECT_EQ(tabSpaces(), "\t");
    PreferenceScope spaces("MVTabsAreSpaces", true);
    EXPECT_EQ(tabSpaces(), "    ");
    {
        PreferenceScope size("MVTabSizeKey", 2);
        EXPECT_EQ(tabSpaces(), "  ");
    }
    {
        PreferenceScope size("MVTabSizeKey", 0);
        EXPECT_EQ(tabSpaces(), " ");
    }
}

TEST(GeneralUtility, UniformTextsToEachKind)
{
    const QString unix = QStringLiteral("<?php\n\techo 1;\n?>\n");
    const QString mac = QStringLiteral("<?php\r\techo 1;\r?>\r");
    const QString dos = QStringLiteral("<?php\r\n\techo 1;\r\n?>\r\n");

    EXPECT_EQ(switchLineBreaks(unix, QString(), "Unix"), unix);
    EXPECT_EQ(switchLineBreaks(mac, QString(), "Unix"), unix);
    EXPECT_EQ(switchLineBreaks(dos, QString(), "Unix"), unix);

    EXPECT_EQ(switchLineBreaks(unix, QString(), "Mac"), mac);
    EXPECT_EQ(switchLineBreaks(mac, QString(), "Mac"), mac);
    // A CR LF pair becomes a lone LF even for Mac.
    EXPECT_EQ(switchLineBreaks(dos, QString(), "Mac"), unix);

    EXPECT_EQ(switchLineBreaks(unix, QString(), "DOS"), dos);
    EXPECT_EQ(switchLineBreaks(mac, QString(), "DOS"), dos);
    EXPECT_EQ(switchLineBreaks(dos, QString(), "DOS"), dos);
    EXPECT_EQ(switchLineBreaks(unix, QString(), "Windows"), dos);

    EXPECT_EQ(switchLineBreaks(QString(), UnixLineBreak), QString());
    EXPECT_EQ(switchLineBreaks("\n", DOSLineBreak), "\r\n");
    EXPECT_EQ(switchLineBreaks("\r", UnixLineBreak), "\n");
    EXPECT_EQ(switchLineBreaks("\r\n", MacLineBreak), "\n");
    EXPECT_EQ(switchLineBreaks("\n\r", DOSLineBreak), "\r\n\r\n");
    EXPECT_EQ(switchLineBreaks("\n\r", UnixLineBreak), "\n\n");
}

TEST(GeneralUtility, MixedTextsKeepEveryOtherCharacterInPlace)
{
    // Lone CR and lone LF alternating, to DOS: every break grows, none is lost.
    EXPECT_EQ(switchLineBreaks("a\rb\nc\rd\ne", DOSLineBreak), "a\r\nb\r\nc\r\nd\r\ne");
    EXPECT_EQ(switchLineBreaks("\r\r\n\n\r", DOSLineBreak), "\r\n\r\n\r\n\r\n");
    EXPECT_EQ(switchLineBreaks("x\r\r\n\n\ry", UnixLineBreak), "x\n\n\n\ny");
    EXPECT_EQ(switchLineBreaks("x\r\r\n\n\ry", MacLineBreak), "x\r\n\r\ry");
    // Characters beside the breaks, including surrogate pairs and U+2028.
    EXPECT_EQ(switchLineBreaks(QStringLiteral("😀\r😀\n\u2028\r\n€"), DOSLineBreak),
              QStringLiteral("😀\r\n😀\r\n\u2028\r\n€"));

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
