#include "remote/MVTerminalOutput.h"
#include "remote/MVTerminalText.h"

#include <gtest/gtest.h>

TEST(TerminalTextTest, InvalidBytesTakeTheFallbackAndValidOnesDecode)
{
    struct Case
    {
        QByteArray bytes;
        QString text;
    } cases[] = {
        {"plain", QStringLiteral("plain")},
        {"caf\xc3\xa9", QStringLiteral("café")},
        {"\xf0\x9f\x98\x80", QString::fromUtf8("\xf0\x9f\x98\x80")},
        // Latin-1 é and the Windows-1252 euro sign.
        {"caf\xe9 \x80", QStringLiteral("café €")},
        // The five bytes Windows-1252 leaves unassigned keep their value.
        {"\x81\x8d\x8f\x90\x9d", QStringLiteral("\u0081\u008d\u008f\u0090\u009d")},
        // Overlong, surrogate and cut-short sequences are invalid byte by byte.
        {"\xc0\xaf", QStringLiteral("\u00c0\u00af")},
        {"\xed\xa0\x80", QStringLiteral("\u00ed\u00a0\u20ac")},
        {"\xc3", QStringLiteral("\u00c3")},
    };
    for (const Case &c : cases)
        EXPECT_EQ(MVTerminalText::decode(c.bytes), c.text) << c.bytes.toHex().constData();
}

TEST(TerminalTextTest, TwoHundredNamesSplitAtEveryByteDecodeWhole)
{
    QString names;
    for (int i = 0; i < 200; ++i)
        names += QString(QChar(0x0410 + i % 64)) + QString(QChar(0x00e9)) + QString::number(i) + QStringLiteral("\r\n");
    const QByteArray bytes = names.toUtf8();
    for (int size : {1, 2, 3, 7, 1023}) {
        MVTerminalDecoder decoder;
        MVTerminalOutput output;
        QString decoded;
        for (qsizetype at = 0; at < bytes.size(); at += size) {
            decoded += decoder.decode(bytes.mid(at, size));
            output.append(bytes.mid(at, size));
        }
        EXPECT_EQ(decoded, names) << size;
        ASSERT_EQ(output.lines().size(), 200) << size;
        EXPECT_FALSE(output.lines().join(QString()).contains(QChar(0xfffd)));
        EXPECT_EQ(output.lines().at(199), names.split(QStringLiteral("\r\n")).at(199));
        EXPECT_EQ(output.rawLines().at(5), output.lines().at(5).toUtf8());
    }
}

TEST(TerminalTextTest, LinesEndOnlyAtCarriageReturnLineFeed)
{
    MVTerminalOutput output;
    output.append("one\r");
    output.append("\ntwo\nstill two\rand\r\nftp");
    EXPECT_EQ(output.lines(), QStringList({QStringLiteral("one"), QStringLiteral("two\nstill two\rand")}));
    EXPECT_FALSE(output.tailBeginsWith("ftp>"));
    output.append("> ");
    EXPECT_TRUE(output.tailBeginsWith("ftp>"));
    output.clearTail();
    output.append("Password: ");
    EXPECT_TRUE(output.tailEndsWithColon());
    output.moveTailToLines();
    EXPECT_EQ(output.lines().last(), QStringLiteral("Password: "));
    EXPECT_FALSE(output.hasTail());
}

TEST(TerminalTextTest, CommandsWithControlCharactersOrTooLongAreRefused)
{
    EXPECT_TRUE(MVTerminalText::refusalForCommand(QStringLiteral("put \"é.html\"")).isEmpty());
    EXPECT_TRUE(MVTerminalText::refusalForCommand(QString(4000, QLatin1Char('a'))).isEmpty());
    EXPECT_FALSE(MVTerminalText::refusalForCommand(QString(4001, QLatin1Char('a'))).isEmpty());
    // 2001 two-byte characters are 4002 bytes.
    EXPECT_FALSE(MVTerminalText::refusalForCommand(QString(2001, QChar(0xe9))).isEmpty());
    for (const char *command : {"get \"a\nb\"", "rm x\r!sh", "ls \x7f", "cd \x1b[A"})
        EXPECT_FALSE(MVTerminalText::refusalForCommand(QString::fromLatin1(command)).isEmpty()) << command;
}
