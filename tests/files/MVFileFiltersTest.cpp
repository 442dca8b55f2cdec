#include "files/MVFileFilters.h"
#include "files/MVLocalFile.h"

#include "support/TestEnvironment.h"

#include <QDir>
#include <QFileInfo>

#include <atomic>
#include <gtest/gtest.h>
#include <thread>

TEST(MVFileFilters, FixedFiltersHideBookkeepingAndVersionControlNames)
{
    const MVFileFilters &filters = MVFileFilters::sharedFilters();
    for (const char *hidden : {".svn", ".git", ".DS_Store", "site.mvproj", "x.tmp_Morvel42", ".Morvel", "CVS", "MyCVS",
                               ".gitignore", ".cvsignore", ".SVN", "Site.MVPROJ"})
        EXPECT_TRUE(filters.stringMatchesFilters(hidden)) << hidden;
    for (const char *shown : {"index.html", "svn.txt", "git.php", "CVS.txt", "mvproj", "a.mvproj.bak", "DS_Store"})
        EXPECT_FALSE(filters.stringMatchesFilters(shown)) << shown;
}

TEST(MVFileFilters, SafeFromSeveralThreads)
{
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&wrong] {
            for (int i = 0; i < 2000; ++i) {
                if (!MVFileFilters::sharedFilters().stringMatchesFilters(".svn")
                    || MVFileFilters::sharedFilters().stringMatchesFilters("page.html"))
                    ++wrong;
            }
        });
    }
    for (auto &thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

TEST(MVLocalFile, ListsADirectoryWithoutHiddenNames)
{
    MVScratchDir dir;
    dir.write("index.html", "12345");
    dir.write(".svn/entries", "");
    dir.write("site.mvproj", "");
    QDir().mkpath(dir.file("images"));

    std::vector<MVLocalFile::Ptr> files = MVLocalFile::filesForPath(dir.path());
    QStringList names;
    for (const auto &file : files)
        names.append(file->name());
    names.sort();
    EXPECT_EQ(names, QStringList({"images", "index.html"}));

    const auto page = MVLocalFile::fileWithPath(dir.file("index.html"));
    ASSERT_TRUE(page);
    EXPECT_EQ(page->size(), 5);
    EXPECT_EQ(page->sizeString(), "5 B");
    EXPECT_EQ(page->mode().size(), 10);
    EXPECT_TRUE(page->mode().startsWith('-'));
    EXPECT_FALSE(page->isDirectory());
    const auto images = MVLocalFile::fileWithPath(dir.file("images"));
    ASSERT_TRUE(images);
    EXPECT_TRUE(images->isDirectory());
    EXPECT_EQ(images->sizeString(), "--");
    EXPECT_FALSE(MVLocalFile::fileWithPath(dir.file("missing")));
    EXPECT_TRUE(MVLocalFile::filesForPath(dir.file("missing")).empty());
}

TEST(MVLocalFile, RenameChangesOnlyTheRecordAndTellsTheObserver)
{
    MVScratchDir dir;
    dir.write("a.txt", "");
    const auto file = MVLocalFile::fileWithPath(dir.file("a.txt"));
    ASSERT_TRUE(file);
    QStringList keys;
    file->setObserver([&keys](MVLocalFile &, const QString &key) { keys.append(key); });
    file->setName("ignored");
    EXPECT_EQ(file->name(), "a.txt");
    file->rename("b.txt");
    EXPECT_EQ(file->name(), "b.txt");
    EXPECT_EQ(keys, QStringList({"name"}));
    EXPECT_TRUE(QFileInfo::exists(dir.file("a.txt")));
}
