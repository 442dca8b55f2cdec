#include "files/MVFileFilters.h"
#include "files/MVLocalFile.h"

#include "platform/MVPropertyList.h"

#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

QVariantMap entry(const QString &title, const QString &regex, bool enabled)
{
    return {{"Title", title}, {"Regex", regex}, {"Enabled", enabled}};
}

} // namespace

class MVFileFilterTest : public ::testing::Test
{
protected:
    std::unique_ptr<MVFileFilters> filtersFrom(const QVariantList &list)
    {
        const QString path = dir.file("siteViewFiles.plist");
        EXPECT_TRUE(MVPropertyList::writeFile(list, path, MVPropertyList::XMLFormat));
        return std::make_unique<MVFileFilters>(path, dir.file("committed/siteViewFiles.plist"));
    }

    MVScratchDir dir;
};

TEST_F(MVFileFilterTest, TheShippedFiltersHideBookkeepingAndLeftoversOfEditors)
{
    const MVFileFilters &filters = MVFileFilters::sharedFilters();
    for (const char *hidden : {".svn", ".SVN", ".DS_Store", "Site.MVPROJ", "x.tmp_Morvel42", ".Morvel", "MyCVS",
                               ".cvsignore", "index.html~", ".index.html.swp", "Thumbs.db", "desktop.ini", ".hg"})
        EXPECT_TRUE(filters.stringMatchesFilters(hidden)) << hidden;
    for (const char *shown : {"index.html", "svn.txt", "CVS.txt", "a.mvproj.bak", "DS_Store", "swp.html",
                              "node_modules", "my.thumbs.db.txt", ".htaccess"})
        EXPECT_FALSE(filters.stringMatchesFilters(shown)) << shown;
    for (const auto &filter : filters.filters()) {
        EXPECT_TRUE(filter->valid()) << filter->title().toStdString();
        EXPECT_FALSE(filter->modified());
    }
}

TEST_F(MVFileFilterTest, UserFiltersAddToTheFixedOnesWhichCannotBeTurnedOff)
{
    auto filters = filtersFrom({entry("Logs", "\\.log$", true), entry("Off", "\\.html$", false),
                                entry("Broken", "([unclosed", true), QString("not an entry"),
                                QVariantMap{{"Regex", "^build$"}, {"Enabled", 1}}});
    ASSERT_EQ(filters->countOfFilters(), 4);
    EXPECT_TRUE(filters->stringMatchesFilters("server.LOG"));
    EXPECT_FALSE(filters->stringMatchesFilters("page.html"));
    EXPECT_FALSE(filters->stringMatchesFilters("([unclosed"));
    EXPECT_TRUE(filters->stringMatchesFilters("build"));
    EXPECT_FALSE(filters->stringMatchesFilters("build.txt"));

    EXPECT_TRUE(filters->objectInFiltersAtIndex(0)->valid());
    EXPECT_FALSE(filters->objectInFiltersAtIndex(2)->valid());
    // No title: not valid, but it still hides.
    EXPECT_FALSE(filters->objectInFiltersAtIndex(3)->valid());
    EXPECT_FALSE(filters->objectInFiltersAtIndex(4));

    for (const auto &filter : filters->filters())
        filter->setEnabled(false);
    EXPECT_FALSE(filters->stringMatchesFilters("server.log"));
    for (const char *hidden : {".svn", ".git", ".DS_Store", "site.mvproj", "x.tmp_Morvel1", "CVS", "OldCVS", ".gitignore"})
        EXPECT_TRUE(filters->stringMatchesFilters(hidden)) << hidden;

    // Lists keep the entries whose name is not hidden; names that were not
    // valid UTF-8 on disk are matched as they were decoded.
    const QVariantList listed{QVariantMap{{"name", "a.log"}}, QVariantMap{{"name", "a.txt"}}, QVariantMap{{"name", ".svn"}},
                              QVariantMap{{"name", QFile::decodeName("b\xff.txt")}}};
    for (const auto &filter : filters->filters())
        filter->setEnabled(true);
    const QVariantList kept = filters->filterArray(listed, "name");
    ASSERT_EQ(kept.size(), 2);
    EXPECT_EQ(kept[0].toMap().value("name"), "a.txt");
    const std::vector<QString> names{"a.log", "b.css", "CVS"};
    EXPECT_EQ(filters->filterArray(names, [](const QString &name) { return name; }), std::vector<QString>({"b.css"}));
}

TEST_F(MVFileFilterTest, EditingMarksChangesAndCommitWritesTheUserFilters)
{
    auto filters = filtersFrom({entry("Logs", "\\.log$", true)});
    EXPECT_FALSE(filters->modified());

    // A new filter hides nothing until it has a pattern.
    const auto fresh = std::make_shared<MVFileFilter>();
    filters->insertObjectInFiltersAtIndex(fresh, 99);
    EXPECT_TRUE(filters->modified());
    EXPECT_FALSE(filters->stringMatchesFilters("anything.txt"));
    fresh->setPattern("^tmp");
    EXPECT_TRUE(filters->stringMatchesFilters("TMP-1"));
    fresh->setPattern("(");
    EXPECT_FALSE(fresh->valid());
    EXPECT_FALSE(filters->stringMatchesFilters("TMP-1"));
    fresh->setPattern("^tmp");
    fresh->setTitle("");
    EXPECT_FALSE(fresh->valid());
    fresh->setTitle("Temporary");

    filters->setModified(false);
    EXPECT_FALSE(fresh->modified());
    EXPECT_FALSE(filters->modified());
    filters->objectInFiltersAtIndex(0)->setEnabled(false);
    EXPECT_TRUE(filters->modified());

    const auto copy = fresh->copy();
    copy->setPattern("other");
    EXPECT_EQ(fresh->pattern(), "^tmp");

    ASSERT_TRUE(filters->commit());
    EXPECT_FALSE(filters->modified());
    const auto written = MVPropertyList::readFile(dir.file("committed/siteViewFiles.plist"));
    ASSERT_TRUE(written);
    EXPECT_EQ(written->toList(), QVariantList({entry("Logs", "\\.log$", false), entry("Temporary", "^tmp", true)}));

    MVFileFilters reread(dir.file("committed/siteViewFiles.plist"));
    EXPECT_TRUE(reread.stringMatchesFilters("tmp.txt"));
    EXPECT_FALSE(reread.stringMatchesFilters("a.log"));
    reread.removeObjectFromFiltersAtIndex(1);
    reread.removeObjectFromFiltersAtIndex(5);
    EXPECT_EQ(reread.countOfFilters(), 1);
    EXPECT_FALSE(reread.stringMatchesFilters("tmp.txt"));

    // Without a file there are only the fixed filters; a file that can't be
    // written is reported and changes nothing.
    dir.write("blocker", "x");
    MVFileFilters none(dir.file("missing.plist"), dir.file("blocker/siteViewFiles.plist"));
    EXPECT_EQ(none.countOfFilters(), 0);
    EXPECT_TRUE(none.stringMatchesFilters(".svn"));
    none.insertObjectInFiltersAtIndex(MVFileFilter::filterWithPattern("x"), 0);
    QString error;
    EXPECT_FALSE(none.commit(&error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_TRUE(none.modified());
}

TEST_F(MVFileFilterTest, SafeFromSeveralThreadsFromTheFirstUse)
{
    // The list is read on first use, which here is by several threads at once.
    auto filters = filtersFrom({entry("Logs", "\\.log$", true)});
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 500; ++i) {
                if (!filters->stringMatchesFilters(".svn") || !filters->stringMatchesFilters("a.log")
                    || filters->stringMatchesFilters("page.html"))
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
    EXPECT_EQ(page->sizeString(), "5 B");
    EXPECT_EQ(MVLocalFile::fileWithPath(dir.file("images"))->sizeString(), "--");
    EXPECT_FALSE(MVLocalFile::fileWithPath(dir.file("missing")));
    EXPECT_TRUE(MVLocalFile::filesForPath(dir.file("missing")).empty());
}
