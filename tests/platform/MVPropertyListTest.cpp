#include "platform/MVPropertyList.h"
#include "support/TestEnvironment.h"

#include <QDateTime>
#include <QFile>
#include <QPoint>
#include <QTimeZone>
#include <gtest/gtest.h>

namespace {

QVariantMap sampleTree()
{
    QVariantMap inner{{"n", qint64(-42)}, {"big", qint64(1) << 40}, {"pi", 3.25}};
    return QVariantMap{
        {"string", QStringLiteral("héllo ✓ <&>")},
        {"yes", true},
        {"no", false},
        {"list", QVariantList{qint64(1), QStringLiteral("two"), inner}},
        {"data", QByteArray("\x00\x01\xFF", 3)},
        {"date", QDateTime(QDate(2024, 2, 29), QTime(12, 30, 15), Qt::UTC)},
        {"empty", QVariantMap{}},
    };
}

TEST(MVPropertyList, RoundTripsEveryTypeInBothForms)
{
    for (auto format : {MVPropertyList::BinaryFormat, MVPropertyList::XMLFormat}) {
        auto bytes = MVPropertyList::toData(sampleTree(), format);
        ASSERT_TRUE(bytes.has_value());
        auto back = MVPropertyList::fromData(*bytes);
        ASSERT_TRUE(back.has_value());
        EXPECT_EQ(back->toMap(), sampleTree()) << "format " << format;
    }
    auto binary = MVPropertyList::toData(sampleTree(), MVPropertyList::BinaryFormat);
    EXPECT_TRUE(binary->startsWith("bplist00"));
}

TEST(MVPropertyList, RejectsWhatIsNotAPropertyList)
{
    QString error;
    EXPECT_FALSE(MVPropertyList::fromData({}, &error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_FALSE(MVPropertyList::fromData("just some text"));
    EXPECT_FALSE(MVPropertyList::fromData("<plist><dict><key>a</key>"));
    auto binary = *MVPropertyList::toData(sampleTree(), MVPropertyList::BinaryFormat);
    for (qsizetype cut : {qsizetype(8), binary.size() / 2, binary.size() - 1})
        EXPECT_FALSE(MVPropertyList::fromData(binary.left(cut))) << "cut at " << cut;
}

TEST(MVPropertyList, RefusesValuesWithoutAPlistForm)
{
    QString error;
    EXPECT_FALSE(MVPropertyList::toData(QVariant::fromValue(QPoint(1, 2)), MVPropertyList::XMLFormat, &error));
    EXPECT_FALSE(error.isEmpty());
}

TEST(MVPropertyList, WritesAtomicallyAndCreatesParents)
{
    MVScratchDir dir;
    const QString path = dir.file("a/b/c.plist");
    ASSERT_TRUE(MVPropertyList::writeFile(sampleTree(), path, MVPropertyList::BinaryFormat));
    auto back = MVPropertyList::readDictionary(path);
    ASSERT_TRUE(back);
    EXPECT_EQ(*back, sampleTree());
    // A failed serialisation leaves the existing file as it was.
    EXPECT_FALSE(MVPropertyList::writeFile(QVariant::fromValue(QPoint()), path, MVPropertyList::BinaryFormat));
    EXPECT_EQ(*MVPropertyList::readDictionary(path), sampleTree());
    // A top level that is not a dictionary is refused by readDictionary.
    ASSERT_TRUE(MVPropertyList::writeFile(QVariantList{1}, dir.file("list.plist"), MVPropertyList::XMLFormat));
    QString error;
    EXPECT_FALSE(MVPropertyList::readDictionary(dir.file("list.plist"), &error));
    EXPECT_TRUE(error.contains("dictionary"));
}

} // namespace
