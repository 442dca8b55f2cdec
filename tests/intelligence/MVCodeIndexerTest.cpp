#include "IndexTestSupport.h"

#include "support/QtPrinters.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace {

QString fixtureDirectory()
{
    return MVTestEnvironment::fixturePath(QStringLiteral("index"));
}

// One line per finding, in the order found: keys as "class type key =>
// completion", included files relative to the fixtures, tags.
QStringList describe(const MVCodeIndexerResult &result)
{
    QStringList lines;
    for (const MVCodeIndexKey &key : result.keys)
        lines << QStringLiteral("key %1 %2 %3 => %4")
                     .arg(IndexTest::shortClass(key.keyClass()), key.type(), key.key(), key.completion());
    const QDir base(fixtureDirectory());
    for (const QString &path : result.referencedFiles)
        lines << QStringLiteral("file ") + base.relativeFilePath(path);
    for (const QString &tag : result.referencedTags)
        lines << QStringLiteral("reftag ") + tag;
    for (const QString &tag : result.tags)
        lines << QStringLiteral("tag ") + tag;
    return lines;
}

} // namespace

// Each fixture of a language against the rows it must give. The expected
// lines are in "<fixture>.expected"; MORVEL_REGENERATE_INDEX_REFERENCES=1
// writes them from what the indexer finds, for review.
TEST(CodeIndexer, FixturesGiveTheirExpectedRows)
{
    IndexTest::registerIndexers();
    const bool regenerate = qEnvironmentVariableIsSet("MORVEL_REGENERATE_INDEX_REFERENCES");
    const QStringList fixtures{"page.php", "site.css", "app.js", "Tool.pm", "tool.py", "tool.rb", "tool.sh"};
    for (const QString &name : fixtures) {
        SCOPED_TRACE(name.toStdString());
        const QString path = fixtureDirectory() + QLatin1Char('/') + name;
        const auto indexer = MVCodeIndexer::indexerForPath(path);
        ASSERT_TRUE(indexer);
        const auto result = indexer->indexFile(path);
        ASSERT_TRUE(result);
        const QStringList lines = describe(*result);
        QFile expected(path + QStringLiteral(".expected"));
        if (regenerate) {
            ASSERT_TRUE(expected.open(QIODevice::WriteOnly | QIODevice::Truncate));
            expected.write((lines.join(QLatin1Char('\n')) + QLatin1Char('\n')).toUtf8());
            continue;
        }
        ASSERT_TRUE(expected.open(QIODevice::ReadOnly)) << "no reference for " << name.toStdString();
        EXPECT_EQ(lines, QString::fromUtf8(expected.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts));
    }
    // Languages without an indexer.
    for (const char *name : {"data.json", "notes.md", "schema.sql", "feed.xml"})
        EXPECT_FALSE(MVCodeIndexer::indexerForPath(fixtureDirectory() + QLatin1Char('/') + QLatin1String(name))) << name;
}

// What the text itself throws at the patterns: a NUL ends the text, invalid
// UTF-8 is read as Latin-1, a region without its end runs to the end of the
// text, a key found twice keeps its first completion.
TEST(CodeIndexer, HardTextsAreIndexedAsFarAsTheyGo)
{
    IndexTest::registerIndexers();
    MVScratchDir scratch;
    struct Case
    {
        const char *name;
        QByteArray text;
        QStringList keys;
    };
    const Case cases[] = {
        {"nul.php", QByteArray("<?php function before() {}\0 function after() {}", 47), {"before"}},
        {"latin1.php", "<?php function caf\xe9() {}", {QStringLiteral("caf\u00e9")}},
        {"open.php", "<p>x</p><?php function one($a) {}\nfunction two() {}", {"one", "two"}},
        {"twice.js", "function dup(a) {}\nfunction dup(b) {}", {"dup"}},
        {"empty.css", "", {}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        const QString path = scratch.write(QLatin1String(c.name), c.text);
        const auto result = MVCodeIndexer::indexerForPath(path)->indexFile(path);
        ASSERT_TRUE(result);
        QStringList keys;
        for (const MVCodeIndexKey &key : result->keys)
            keys << key.key();
        EXPECT_EQ(keys, c.keys);
    }
    const QString twice = scratch.file(QStringLiteral("twice.js"));
    EXPECT_EQ(MVCodeIndexer::indexerForPath(twice)->indexFile(twice)->keys.value(0).completion(), QStringLiteral("dup(a)"));
}
