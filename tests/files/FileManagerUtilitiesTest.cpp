#include "files/FileManagerUtilities.h"

#include "app/Defaults.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace FileManagerUtilities;

TEST(FileManagerUtilities, SizesChangeUnitAtEachPowerOf1024)
{
    EXPECT_EQ(formattedStringForSize(1023), "1023 B");
    EXPECT_EQ(formattedStringForSize(1024), "1 KB");
    EXPECT_EQ(formattedStringForSize(1024.0 * 1024 - 1), "1024 KB");
    EXPECT_EQ(formattedStringForSize(1024.0 * 1024 * 1.5), "1.5 MB");
    EXPECT_EQ(formattedStringForSize(1024.0 * 1024 * 1024 * 1024 * 1024 * 2), "2.0 PB");
    EXPECT_TRUE(formattedStringForSize(1024.0 * 1024 * 1024 * 1024 * 1024 * 1024).isNull());
}

TEST(FileManagerUtilities, ModesAsListingsShowThemAndBack)
{
    const std::pair<quint32, const char *> modes[] = {
        {0x4000 | 0755, "drwxr-xr-x"},  {0xA000 | 0777, "lrwxrwxrwx"}, {0x8000 | 04755, "-rwsr-xr-x"},
        {0x8000 | 04644, "-rwSr--r--"}, {0x8000 | 02750, "-rwxr-s---"}, {0x4000 | 01777, "drwxrwxrwt"},
        {0x4000 | 01776, "drwxrwxrwT"}, {0x1000 | 0600, "prw-------"},  {0xC000 | 0755, "srwxr-xr-x"},
        {0x6000 | 0660, "brw-rw----"},  {0x2000 | 0620, "crw--w----"},
    };
    for (const auto &[mode, text] : modes) {
        EXPECT_EQ(modeStringForMode(mode), text);
        EXPECT_EQ(modeFromString(text), mode) << text;
    }
    // A column of the wrong length is nothing; an unknown kind is a file.
    EXPECT_EQ(modeFromString("rwx"), 0u);
    EXPECT_EQ(modeFromString("-rwxr-xr-"), 0u);
    EXPECT_EQ(modeFromString("?rw-------"), 0x8180u);
    EXPECT_EQ(modeFromString("w---------"), 0xE000u);
    EXPECT_EQ(numericModeStringForMode(0x8000 | 0644), "644");
    EXPECT_EQ(numericModeStringForMode(04755), "4755");
}

TEST(FileManagerUtilities, CopyPathsPutTheCounterBeforeTheExtension)
{
    MVScratchDir dir;
    const QString original = dir.write("a.html", "x");
    EXPECT_EQ(pathForCopyOfFile(original), dir.file("a copy.html"));
    dir.write("a copy.html", "x");
    EXPECT_EQ(pathForCopyOfFile(original), dir.file("a copy 1.html"));
    dir.write("a copy 1.html", "x");
    EXPECT_EQ(pathForCopyOfFile(original), dir.file("a copy 2.html"));

    // A directory keeps its whole name; a name without extension gets none.
    QDir().mkpath(dir.file("site.d"));
    EXPECT_EQ(pathForCopyOfFile(dir.file("site.d")), dir.file("site.d copy"));
    EXPECT_EQ(pathForCopyOfFile(dir.file("Makefile"), " copy", false), dir.file("Makefile copy"));
    EXPECT_EQ(pathForCopyOfFile(dir.file(".htaccess"), " copy", false), dir.file(".htaccess copy"));

    // A dangling link holds its name too.
    ASSERT_EQ(::symlink("/nonexistent", QFile::encodeName(dir.file("b copy.css")).constData()), 0);
    EXPECT_EQ(pathForCopyOfFile(dir.file("b.css")), dir.file("b copy 1.css"));
}

TEST(FileManagerUtilities, EnsureDirectoryExistsStopsAtAFile)
{
    MVScratchDir dir;
    EXPECT_TRUE(ensureDirectoryExists(dir.file("a/b/c")));
    EXPECT_TRUE(QFileInfo(dir.file("a/b/c")).isDir());
    EXPECT_TRUE(ensureDirectoryExists(dir.file("a/b/c")));
    dir.write("f", "x");
    EXPECT_FALSE(ensureDirectoryExists(dir.file("f/g")));
    EXPECT_FALSE(QFileInfo::exists(dir.file("f/g")));
}

TEST(FileManagerUtilities, TemporaryFilesArePrivateAndUnique)
{
    const QString first = pathForTemporaryFile();
    const QString second = pathForTemporaryFile();
    ASSERT_FALSE(first.isEmpty());
    ASSERT_FALSE(second.isEmpty());
    EXPECT_NE(first, second);
    EXPECT_TRUE(first.startsWith(Defaults::temporaryDirectory() + "/"));
    struct stat st;
    ASSERT_EQ(::stat(QFile::encodeName(first).constData(), &st), 0);
    EXPECT_TRUE(S_ISREG(st.st_mode));
    EXPECT_EQ(st.st_mode & 077, 0u);
    ASSERT_EQ(::stat(QFile::encodeName(Defaults::temporaryDirectory()).constData(), &st), 0);
    EXPECT_EQ(st.st_mode & 077, 0u);

    const QString directory = pathForTemporaryDirectory("download-");
    ASSERT_FALSE(directory.isEmpty());
    EXPECT_TRUE(QFileInfo(directory).isDir());
    EXPECT_NE(directory, pathForTemporaryDirectory("download-"));
    QFile::remove(first);
    QFile::remove(second);
}

TEST(FileManagerUtilities, ErrorsAndNames)
{
    const MVError error = errorFromDictionary({{"Path", "/x/y"}, {"Error", "Permission denied"}});
    EXPECT_EQ(error.domain(), MVError::MorvelDomain);
    EXPECT_EQ(error.code(), 9);
    EXPECT_EQ(error.localizedDescription(), "File Operation Error");
    EXPECT_EQ(error.localizedRecoverySuggestion(), "/x/y: Permission denied");

    EXPECT_EQ(nameForUid(0), "root");
    EXPECT_EQ(nameForGid(3999999), "3999999");

    MVScratchDir dir;
    const QString target = dir.write("t.txt", "x");
    ASSERT_EQ(::symlink(QFile::encodeName(target).constData(), QFile::encodeName(dir.file("l")).constData()), 0);
    EXPECT_EQ(resolvedPath(dir.file("l")), target);
    EXPECT_EQ(resolvedPath(target), target);
    EXPECT_EQ(createPathFromAliasData(createAliasDataForPath("/a/é b")), "/a/é b");
}

TEST(FileManagerUtilities, NamesFromListingsMustNotEscapeTheirDirectory)
{
    for (const char *good : {"index.html", "...", ".htaccess"})
        EXPECT_TRUE(isAcceptableFileName(good)) << good;
    for (const QString &bad : {QString(), QString("."), QString(".."), QString("../etc"), QString("a/b"),
                               QString("a") + QChar(0)})
        EXPECT_FALSE(isAcceptableFileName(bad)) << bad.toStdString();
}
