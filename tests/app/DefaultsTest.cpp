#include "app/Defaults.h"
#include "app/MVSetupConfigurationDirectories.h"
#include "platform/MVLog.h"
#include "platform/MVPropertyList.h"
#include "platform/MVUserDefaults.h"
#include "platform/MVUserNotices.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QDirIterator>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace {

QStringList treeListing(const QString &root)
{
    QStringList entries;
    QDirIterator it(root, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QFileInfo info(path);
        entries << QStringLiteral("%1 %2 %3").arg(path).arg(info.size()).arg(info.lastModified().toMSecsSinceEpoch());
    }
    entries.sort();
    return entries;
}

TEST(Defaults, FirstLaunchRegistersEveryKeyAndLaterLaunchesChangeNothing)
{
    MVUserDefaults &store = MVUserDefaults::standard();
    Defaults::resetDefaults(true);
    ASSERT_EQ(Defaults::registeredDefaults().size(), 37);
    for (const auto &[key, value] : Defaults::registeredDefaults())
        EXPECT_TRUE(store.hasValue(key)) << key.toStdString();

    EXPECT_TRUE(store.boolForKey("MVUseTabs"));
    EXPECT_EQ(store.integerForKey("MVTabSizeKey"), 4);
    EXPECT_EQ(store.integerForKey("MVHowToOpenFiles"), 0);
    EXPECT_EQ(store.doubleForKey("MVSFTPLogWidth"), 270.0);
    EXPECT_EQ(store.stringForKey("MVSFTPTimeout"), "90");
    EXPECT_EQ(store.stringForKey("MVCurrentThemeID"), "com.morvelworks.morvel.themes.light");

    // The user's changes survive every later reset.
    store.setBool("MVUseTabs", false);
    store.setInteger("MVTabSizeKey", 8);
    const QByteArray before = [] {
        QFile f(MVUserDefaults::standardPath());
        f.open(QIODevice::ReadOnly);
        return f.readAll();
    }();
    Defaults::resetDefaults(true);
    QFile f(MVUserDefaults::standardPath());
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    EXPECT_EQ(f.readAll(), before);
    EXPECT_FALSE(store.boolForKey("MVUseTabs"));
    EXPECT_EQ(store.integerForKey("MVTabSizeKey"), 8);

    // The store on disk is a binary property list holding all keys.
    auto onDisk = MVPropertyList::readDictionary(MVUserDefaults::standardPath());
    ASSERT_TRUE(onDisk);
    EXPECT_GE(onDisk->size(), 37);
}

TEST(Defaults, ReadersTreatWrongTypesAsMissing)
{
    MVUserDefaults &store = MVUserDefaults::standard();
    store.setObject("MVUseSharedProjectLocation", QStringLiteral("no"));
    EXPECT_TRUE(Defaults::useSharedProjectLocation());
    store.setObject("MVUseSharedProjectLocation", qint64(0));
    EXPECT_FALSE(Defaults::useSharedProjectLocation());
    store.setObject("MVSearchLocalCacheForRemoteProjects", 1.0);
    EXPECT_TRUE(Defaults::searchLocalCacheForRemoteProjects());
    store.setObject("MVDontPromptToSearchLocalCache", QVariantList{});
    EXPECT_TRUE(Defaults::promptToSearchLocalCache());
    store.setObject("MVTextEncoding", qint64(5));
    EXPECT_EQ(Defaults::textEncoding(), "utf-8");
    store.setObject("MVTextEncoding", QStringLiteral("iso-8859-1"));
    EXPECT_EQ(Defaults::textEncoding(), "iso-8859-1");
}

TEST(MVUserDefaults, MalformedFileGivesDefaultsAndIsKept)
{
    MVScratchDir dir;
    const QString path = dir.write("prefs.plist", "<?xml version=\"1.0\"?><plist><dict><key>a</key>");
    QStringList lines;
    MVLog::setSink([&lines](const QString &line) { lines << line; });
    MVUserDefaults store(path);
    MVLog::setSink({});
    EXPECT_TRUE(store.allKeys().isEmpty());
    EXPECT_EQ(lines.size(), 1);
    // The user is told too, naming the file set aside.
    const QStringList notices = MVUserNotices::takePending();
    ASSERT_EQ(notices.size(), 1);
    EXPECT_TRUE(notices.first().contains(path + ".broken")) << notices.first().toStdString();
    QFile kept(path + ".broken");
    ASSERT_TRUE(kept.open(QIODevice::ReadOnly));
    EXPECT_TRUE(kept.readAll().startsWith("<?xml"));
    store.setBool("x", true);
    EXPECT_TRUE(MVUserDefaults(path).boolForKey("x"));
}

TEST(MVUserDefaults, ObserversHearChangesOfTheirKeyOnly)
{
    MVScratchDir dir;
    MVUserDefaults store(dir.file("p.plist"));
    QStringList heard;
    auto token = store.addObserver("a", [&heard](const QString &key) { heard << key; });
    store.setInteger("a", 1);
    store.setInteger("b", 1);
    store.setInteger("a", 1); // unchanged: no notice
    store.removeObject("a");
    store.removeObserver(token);
    store.setInteger("a", 2);
    EXPECT_EQ(heard, QStringList({"a", "a"}));
}

class DefaultsResources : public ::testing::Test
{
protected:
    void SetUp() override
    {
        app.write("data/fileCategories.plist", "app-data");
        app.write("browsers.plist", "app-top");
        app.write("Themes/light.plist", "t1");
        app.write("Themes/dark.plist", "t2");
        Defaults::setResourcesPathForTesting(app.path());
    }
    void TearDown() override
    {
        Defaults::setResourcesPathForTesting({});
        QDir(Defaults::tildePath()).removeRecursively();
    }
    MVScratchDir app;
};

TEST_F(DefaultsResources, UserCopyWinsAndItsRemovalBringsBackTheApplicationOne)
{
    EXPECT_EQ(Defaults::pathForResource("fileCategories", "plist", "data"), app.file("data/fileCategories.plist"));
    const QString user = Defaults::appSupportPathForFileInDirectory("fileCategories.plist", "data");
    QDir().mkpath(QFileInfo(user).path());
    QFile(user).open(QIODevice::WriteOnly);
    EXPECT_EQ(Defaults::pathForResource("fileCategories", "plist", "data"), user);
    QFile::remove(user);
    EXPECT_EQ(Defaults::pathForResource("fileCategories", "plist", "data"), app.file("data/fileCategories.plist"));
    // Not in the directory anywhere: the top level of the application's resources.
    EXPECT_EQ(Defaults::pathForResource("browsers", "plist", "data"), app.file("browsers.plist"));
    EXPECT_EQ(Defaults::pathForResource("nothing", "plist", "data"), QString());
}

TEST_F(DefaultsResources, ResourceListsPutTheUsersEntriesFirstAtAnyDepth)
{
    const QString userThemes = Defaults::appSupportPathForFile("Themes");
    QDir().mkpath(userThemes + "/nested");
    QFile(userThemes + "/nested/mine.plist").open(QIODevice::WriteOnly);
    QFile(userThemes + "/dark.plist").open(QIODevice::WriteOnly);
    QFile(userThemes + "/notes.txt").open(QIODevice::WriteOnly);
    const QStringList paths = Defaults::pathsForResourcesOfType("plist", "Themes");
    EXPECT_EQ(paths, QStringList({userThemes + "/dark.plist", userThemes + "/nested/mine.plist",
                                  app.file("Themes/dark.plist"), app.file("Themes/light.plist")}));
}

TEST_F(DefaultsResources, SetupCreatesTheTreeAndLeavesTheUsersDirectoriesAlone)
{
    app.write("Tidy/Clean.tidy", "indent: auto\n");
    app.write("User Scripts/10-Sort.py", "#!/bin/sh\n");
    QFile::setPermissions(app.file("User Scripts/10-Sort.py"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);

    MVSetupConfigurationDirectories().run();
    const QString root = Defaults::tildePath();
    for (const char *name : {"data", "highlighting", "backups", "snippets", "codecompletion", "Bundles", "Themes",
                             "Projects", "TidyConfigFiles", "userscripts"})
        EXPECT_TRUE(QFileInfo(root + "/" + name).isDir()) << name;
    EXPECT_TRUE(QFileInfo(root + "/userscripts/10-Sort.py").isExecutable());
    EXPECT_TRUE(QFileInfo::exists(root + "/TidyConfigFiles/Clean.tidy"));

    // A second run changes nothing, and the user's edits stay.
    QFile::remove(root + "/userscripts/10-Sort.py");
    MVScratchDir scratch;
    QFile mine(root + "/userscripts/mine.sh");
    ASSERT_TRUE(mine.open(QIODevice::WriteOnly));
    mine.close();
    const QStringList before = treeListing(root);
    MVSetupConfigurationDirectories().run();
    EXPECT_EQ(treeListing(root), before);

    // A deleted directory comes back with the application's content.
    QDir(root + "/userscripts").removeRecursively();
    MVSetupConfigurationDirectories().run();
    EXPECT_TRUE(QFileInfo::exists(root + "/userscripts/10-Sort.py"));
    EXPECT_FALSE(QFileInfo::exists(root + "/.userscripts.partial"));
}

TEST(Defaults, TemporaryDirectoryIsPrivate)
{
    const QString dir = Defaults::temporaryDirectory();
    ASSERT_FALSE(dir.isEmpty());
    struct stat st;
    ASSERT_EQ(::lstat(QFile::encodeName(dir).constData(), &st), 0);
    EXPECT_TRUE(S_ISDIR(st.st_mode));
    EXPECT_EQ(st.st_mode & 0777, 0700u);
    EXPECT_EQ(st.st_uid, ::geteuid());
    // A mode opened up by someone is closed again on the next use.
    ::chmod(QFile::encodeName(dir).constData(), 0775);
    EXPECT_EQ(Defaults::temporaryDirectory(), dir);
    ::lstat(QFile::encodeName(dir).constData(), &st);
    EXPECT_EQ(st.st_mode & 0777, 0700u);
}

TEST(Defaults, UnsafeTemporaryDirectoryIsNotUsed)
{
    MVScratchDir dir;
    // A link planted where the directory should be.
    QDir().mkpath(dir.file("elsewhere"));
    QFile::link(dir.file("elsewhere"), dir.file("planted"));
    const QString fromLink = Defaults::privateDirectoryAt(dir.file("planted"));
    EXPECT_TRUE(fromLink.startsWith(dir.file("planted-")));
    // A directory that belongs to someone else.
    QDir().mkpath(dir.file("foreign"));
    ASSERT_EQ(::chown(QFile::encodeName(dir.file("foreign")).constData(), 65534, 65534), 0);
    const QString fromForeign = Defaults::privateDirectoryAt(dir.file("foreign"));
    EXPECT_TRUE(fromForeign.startsWith(dir.file("foreign-")));
    struct stat st;
    ASSERT_EQ(::lstat(QFile::encodeName(fromForeign).constData(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0700u);
    // A missing one is made private.
    EXPECT_EQ(Defaults::privateDirectoryAt(dir.file("fresh")), dir.file("fresh"));
}

} // namespace
