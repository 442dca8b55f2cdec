#include "files/MVURLAdditions.h"
#include "files/PathModification.h"

#include "support/TestEnvironment.h"

#include <gtest/gtest.h>

using namespace PathModification;

TEST(PathModification, SlashesAndEllipsis)
{
    EXPECT_EQ(stringWithTrailingSlash("/a/"), "/a/");
    EXPECT_EQ(stringWithTrailingSlash(""), "");
    EXPECT_EQ(stringWithoutLeadingSlash("//a"), "/a");
    EXPECT_EQ(ellipsedPath("/www/site/index.html"), QString("index.html ") + QChar(0x2014) + " " + QChar(0x2026) + "/site");
}

TEST(PathModification, RelativePaths)
{
    EXPECT_EQ(relativePathTo("/s/a/page.html", "/s/a/css/style.css"), "css/style.css");
    EXPECT_EQ(relativePathTo("/s/a/b/page.html", "/t/x.js"), "../../../t/x.js");
    // A directory whose name starts like another is not its parent.
    EXPECT_EQ(relativePathTo("/s/a/page.html", "/s/ab/x.css"), "../ab/x.css");
    EXPECT_EQ(relativePathTo("Untitled", "/s/x.css"), "/s/x.css");
}

TEST(PathModification, FullyQualifiedPathUndoesRelativePath)
{
    const QString from = "/s/a/b/page.html";
    for (const QString target : {"/s/a/b/x.css", "/s/a/b/c/x.css", "/s/a/x.css", "/s/x.css", "/s/q/r/x.css"})
        EXPECT_EQ(fullyQualifiedPathTo(from, relativePathTo(from, target)), target) << target.toStdString();
    EXPECT_EQ(fullyQualifiedPathTo(from, "http://x/y.css"), "http://x/y.css");
    EXPECT_EQ(fullyQualifiedPathTo(from, ""), "");
    EXPECT_EQ(fullyQualifiedPathTo(from, "./x.css"), "/s/a/b/x.css");
}

TEST(PathModification, AbsolutePathFromFile)
{
    EXPECT_EQ(absolutePathFromFile("/img/a.png", "/site/pages/p.html", "/site"), "/site/img/a.png");
    EXPECT_EQ(absolutePathFromFile("/img/a.png", "/site/pages/p.html", ""), "/img/a.png");
    EXPECT_EQ(absolutePathFromFile("../img/a.png", "/site/pages/p.html", ""), "/site/img/a.png");
}

TEST(PathModification, DuplicateNamesCountBeforeTheExtension)
{
    MVScratchDir dir;
    EXPECT_EQ(filenameForDuplicateOfFile("a.html", dir.path()), "a copy.html");
    dir.write("a copy.html", "");
    EXPECT_EQ(filenameForDuplicateOfFile("a copy.html", dir.path()), "a copy 1.html");
    EXPECT_EQ(filenameForDuplicateOfFile("a copy 3.html", dir.path()), "a copy 4.html");
    dir.write("a copy 4.html", "");
    EXPECT_EQ(filenameForDuplicateOfFile("a copy 3.html", dir.path()), "a copy 5.html");
    EXPECT_EQ(filenameForDuplicateOfFile("README", dir.path()), "README copy");
}

TEST(MVURLAdditions, OneSlashBetweenParts)
{
    using namespace MVURLAdditions;
    EXPECT_EQ(urlStringByAppendingPathComponent("ftp://h/dir/", "/f.html"), "ftp://h/dir/f.html");
    EXPECT_EQ(urlStringByAppendingPathComponent("ftp://h", "f.html"), "ftp://h/f.html");
    EXPECT_EQ(urlStringByDeletingLastPathComponent("ftp://h/dir/"), "ftp://h/");
    EXPECT_EQ(urlStringByDeletingLastPathComponent("ftp://h"), "ftp://h");
}
