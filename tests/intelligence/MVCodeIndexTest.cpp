#include "IndexTestSupport.h"

#include "intelligence/index/MVCodeIndex.h"
#include "intelligence/index/MVSQLiteDatabase.h"
#include "language/MVBundle.h"
#include "platform/MVLog.h"
#include "platform/MVNotificationCenter.h"
#include "platform/MVPropertyList.h"
#include "support/QtPrinters.h"
#include "support/TestEnvironment.h"

#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

// A running index over a database in the scratch directory.
std::unique_ptr<MVCodeIndex> startedIndex(const QString &databasePath)
{
    IndexTest::registerIndexers();
    auto index = std::make_unique<MVCodeIndex>(databasePath);
    index->start();
    return index;
}

void indexAndWait(MVCodeIndex &index, const QStringList &paths)
{
    for (const QString &path : paths)
        index.indexFile(path);
    ASSERT_TRUE(index.waitUntilIdle(20000));
}

QStringList keyNames(MVCodeIndex &index, const QString &keyClass, const QString &file)
{
    const auto keys = index.keysForType(QString(), keyClass, file);
    QStringList names;
    if (keys) {
        for (const MVCodeIndexKey &key : *keys)
            names << key.key();
    }
    names.sort();
    return names;
}

void setModificationTime(const QString &path, time_t seconds)
{
    const timeval times[2] = {{seconds, 0}, {seconds, 0}};
    ASSERT_EQ(::utimes(QFile::encodeName(path).constData(), times), 0);
}

QString bundleID(const char *name)
{
    return QStringLiteral("com.morvelworks.morvel.bundles.") + QLatin1String(name);
}

qint64 count(const QString &databasePath, const QString &sql)
{
    MVSQLiteDatabase db;
    if (!db.open(databasePath, MVSQLiteDatabase::Mode::ReadOnly))
        return -1;
    MVSQLiteStatement row = db.query(sql);
    return row.next() ? row.intForColumn(0) : -1;
}

} // namespace

// Completion in a PHP block asks with the bundle of the parser the page hands
// that block to; the page's functions, and those of the file it requires
// (indexed in its turn), must be stored under exactly that class. Each
// indexed path is announced after its commit, and a question for a class
// never seen adds no row.
TEST(CodeIndex, PageFunctionsAreFoundUnderTheClassThePhpCodeEngineAsks)
{
    MVScratchDir scratch;
    const QString page = scratch.write(QStringLiteral("site/page.php"),
                                       "<html><?php require 'lib/db.php';\nfunction page_fn($a) {} ?>\n"
                                       "<script>function script_fn() {}</script></html>");
    const QString lib = scratch.write(QStringLiteral("site/lib/db.php"), "<?php function db_connect($dsn) {}");
    std::mutex mutex;
    QStringList announced;
    MVObservation observation(MVCodeIndex::invalidatedNotification(), nullptr, [&](const MVNotification &note) {
        std::lock_guard lock(mutex);
        announced << note.userInfo.value(QStringLiteral("path")).toString();
    });
    auto index = startedIndex(scratch.file(QStringLiteral("index.db")));
    indexAndWait(*index, {page});

    const auto pageBundle = MVBundleRepository::sharedRepository().bundleForPath(page);
    ASSERT_TRUE(pageBundle);
    const auto syntax = MVPropertyList::readDictionary(pageBundle->path() + QStringLiteral("/Contents/syntax.plist"));
    ASSERT_TRUE(syntax);
    const QString blockParser =
        syntax->value(QStringLiteral("embedded")).toMap().value(QStringLiteral("?php")).toMap().value(QStringLiteral("id")).toString();
    const auto blockBundle = MVBundleRepository::sharedRepository().bundleForIdentifier(blockParser);
    ASSERT_TRUE(blockBundle);

    EXPECT_EQ(keyNames(*index, blockBundle->bundleIdentifier(), page), (QStringList{"db_connect", "page_fn"}));
    EXPECT_EQ(keyNames(*index, bundleID("javascript"), page), QStringList{"script_fn"});
    EXPECT_EQ(keyNames(*index, blockBundle->bundleIdentifier(), lib), QStringList{"db_connect"});
    {
        std::lock_guard lock(mutex);
        EXPECT_EQ(announced, (QStringList{page, lib}));
    }
    const QString classes = QStringLiteral("SELECT count(*) FROM classes");
    const qint64 before = count(index->databasePath(), classes);
    const auto unknown = index->keysForType(QString(), QStringLiteral("no.such.bundle"), page);
    ASSERT_TRUE(unknown);
    EXPECT_TRUE(unknown->isEmpty());
    EXPECT_EQ(count(index->databasePath(), classes), before);
    // The database and its journals are the user's alone.
    for (const char *suffix : {"", "-wal", "-shm"}) {
        struct stat st;
        ASSERT_EQ(::stat(QFile::encodeName(index->databasePath() + QLatin1String(suffix)).constData(), &st), 0) << suffix;
        EXPECT_EQ(st.st_mode & 0777, 0600u) << suffix;
    }
}

// The reach of a file: includes in a cycle end; a Perl module found beside
// the file is a file reference, one found nowhere is a tag that a package
// defined later satisfies.
TEST(CodeIndex, ReachFollowsIncludesAndTagsThroughACycle)
{
    MVScratchDir scratch;
    const QString a = scratch.write(QStringLiteral("a.php"), "<?php include 'b.php'; function in_a() {}");
    const QString b = scratch.write(QStringLiteral("b.php"), "<?php include 'a.php'; function in_b() {}");
    const QString script = scratch.write(QStringLiteral("run.pl"), "use Local::Real;\nuse Late::Mod;\nsub main_sub {}\n");
    scratch.write(QStringLiteral("Local/Real.pm"), "package Local::Real;\nsub real_sub {}\n");
    const QString late = scratch.write(QStringLiteral("other/late.pm"), "package Late::Mod;\nsub late_sub {}\n");
    auto index = startedIndex(scratch.file(QStringLiteral("index.db")));

    indexAndWait(*index, {a, b});
    EXPECT_EQ(keyNames(*index, bundleID("php-code"), a), (QStringList{"in_a", "in_b"}));
    EXPECT_EQ(keyNames(*index, bundleID("php-code"), b), (QStringList{"in_a", "in_b"}));

    indexAndWait(*index, {script, scratch.file(QStringLiteral("Local/Real.pm"))});
    EXPECT_EQ(keyNames(*index, bundleID("perl"), script), (QStringList{"main_sub", "real_sub"}));
    indexAndWait(*index, {late});
    EXPECT_EQ(keyNames(*index, bundleID("perl"), script), (QStringList{"late_sub", "main_sub", "real_sub"}));
}

// A file is indexed again only when its modification time, in whole
// seconds, is later than at its last indexing; a file that is gone loses
// its keys.
TEST(CodeIndex, ModificationTimeDecidesWhatIsIndexedAgain)
{
    MVScratchDir scratch;
    const QString path = scratch.write(QStringLiteral("f.js"), "function first() {}");
    const time_t base = time(nullptr) - 1000;
    setModificationTime(path, base);
    auto index = startedIndex(scratch.file(QStringLiteral("index.db")));
    const QString js = bundleID("javascript");
    indexAndWait(*index, {path});
    ASSERT_EQ(keyNames(*index, js, path), QStringList{"first"});

    struct Step
    {
        const char *text;
        time_t modified;
        const char *expected;
    };
    const Step steps[] = {
        {"function second() {}", base, "first"},     // saved again within the same second
        {"function third() {}", base - 60, "first"}, // the date went backwards
        {"function fourth() {}", base + 1, "fourth"},
    };
    for (const Step &step : steps) {
        SCOPED_TRACE(step.text);
        scratch.write(QStringLiteral("f.js"), step.text);
        setModificationTime(path, step.modified);
        indexAndWait(*index, {path});
        EXPECT_EQ(keyNames(*index, js, path), QStringList{QLatin1String(step.expected)});
    }
    ASSERT_TRUE(QFile::remove(path));
    indexAndWait(*index, {path});
    EXPECT_EQ(keyNames(*index, js, QString()), QStringList());
}

// A walk reads regular files only: a FIFO would block the thread, a link to
// a directory could loop, a dangling link has nothing to read.
TEST(CodeIndex, DirectoryWalkReadsRegularFilesOnly)
{
    MVScratchDir scratch;
    scratch.write(QStringLiteral("tree/real.js"), "function real_fn() {}");
    scratch.write(QStringLiteral("tree/sub/deep.js"), "function deep_fn() {}");
    const QString tree = scratch.file(QStringLiteral("tree"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(tree + QStringLiteral("/pipe.js")).constData(), 0600), 0);
    ASSERT_EQ(::symlink(".", QFile::encodeName(tree + QStringLiteral("/sub/loop")).constData()), 0);
    ASSERT_EQ(::symlink("nowhere.js", QFile::encodeName(tree + QStringLiteral("/gone.js")).constData()), 0);
    ASSERT_EQ(::symlink("real.js", QFile::encodeName(tree + QStringLiteral("/alias.js")).constData()), 0);
    auto index = startedIndex(scratch.file(QStringLiteral("index.db")));
    index->indexDirectory(tree);
    ASSERT_TRUE(index->waitUntilIdle(20000));
    EXPECT_EQ(keyNames(*index, bundleID("javascript"), QString()), (QStringList{"deep_fn", "real_fn"}));
}

// A database that is not ours to read is set aside with one log line and a
// new one is built in its place.
TEST(CodeIndex, BrokenDatabaseIsSetAsideAndRebuilt)
{
    MVScratchDir scratch;
    const QString source = scratch.write(QStringLiteral("s.js"), "function kept() {}");
    const QString databasePath = scratch.file(QStringLiteral("index.db"));
    {
        // A real database to cut short below.
        auto index = startedIndex(databasePath);
        for (int i = 0; i < 200; ++i)
            index->indexFile(scratch.write(QStringLiteral("fill/f%1.js").arg(i), QStringLiteral("function f%1() {}").arg(i).toUtf8()));
        ASSERT_TRUE(index->waitUntilIdle(20000));
    }
    MVSQLiteDatabase checkpoint;
    ASSERT_TRUE(checkpoint.open(databasePath, MVSQLiteDatabase::Mode::ReadWrite));
    ASSERT_TRUE(checkpoint.execute(QStringLiteral("PRAGMA wal_checkpoint(TRUNCATE)")));
    checkpoint.close();
    QFile real(databasePath);
    ASSERT_TRUE(real.open(QIODevice::ReadOnly));
    const QByteArray whole = real.readAll();
    real.close();
    ASSERT_GT(whole.size(), 8192);

    struct Case
    {
        const char *name;
        std::function<void()> spoil;
    };
    const Case cases[] = {
        {"garbage", [&] { scratch.write(QStringLiteral("index.db"), QByteArray(5000, 'x')); }},
        {"truncated", [&] { scratch.write(QStringLiteral("index.db"), whole.left(whole.size() / 2)); }},
        {"foreign tables", [&] {
             QFile::remove(databasePath);
             MVSQLiteDatabase foreign;
             ASSERT_TRUE(foreign.open(databasePath, MVSQLiteDatabase::Mode::ReadWrite));
             ASSERT_TRUE(foreign.execute(QStringLiteral("CREATE TABLE accounts (name text)")));
         }},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        QFile::remove(databasePath + QStringLiteral(".broken"));
        QFile::remove(databasePath + QStringLiteral("-wal"));
        QFile::remove(databasePath + QStringLiteral("-shm"));
        c.spoil();
        QStringList lines;
        std::mutex mutex;
        MVLog::setSink([&](const QString &line) {
            std::lock_guard lock(mutex);
            lines << line;
        });
        auto index = startedIndex(databasePath);
        indexAndWait(*index, {source});
        MVLog::setSink({});
        EXPECT_TRUE(index->isOpen());
        EXPECT_TRUE(QFileInfo::exists(databasePath + QStringLiteral(".broken")));
        EXPECT_EQ(lines.size(), 1) << lines.join(QLatin1Char('\n')).toStdString();
        EXPECT_EQ(keyNames(*index, bundleID("javascript"), source), QStringList{"kept"});
    }
}
