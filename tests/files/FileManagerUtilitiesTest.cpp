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
    EXPECT_EQ(formattedStringForSize(0), "0 B");
    EXPECT_EQ(formattedStringForSize(1023), "1023 B");
    EXPECT_EQ(formattedStringForSize(1024), "1 KB");
    EXPECT_EQ(formattedStringForSize(1024.0 * 1024 - 1), "1024 KB");
    EXPECT_EQ(formattedStringForSize(1024.0 * 1024 * 1.5), "1.5 MB");
    EXPECT_EQ(formattedStringForSize(1024.0 * 1024 * 1024), "1.0 GB");
    EXPECT_EQ(formattedStringForSize(1024.0 * 1024 * 1024 * 1024 * 1024 * 2), "2.0 PB");
    const double exa = 1024.0 * 1024 * 1024 * 1024 * 1024 * 1024;
    EXPECT_TRUE(formattedStringForSize(exa).isNull());
}

TEST(FileManagerUtilities, ModeStringsHaveTenCharactersWithSpecialBits)
{
    EXPECT_EQ(modeStringForMode(0x4000 | 0755), "drwxr-xr-x");
    EXPECT_EQ(modeStringForMode(0x8000 | 0644), "-rw-r--r--");
    EXPECT_EQ(modeStringForMode(0xA000 | 0777), "lrwxrwxrwx");
    EXPECT_EQ(modeStringForMode(0x8000 | 04755), "-rwsr-xr-x");
    EXPECT_EQ(modeStringForMode(0x8000 | 04644), "-rwSr--r--");
    EXPECT_EQ(modeStringForMode(0x8000 | 02750), "-rwxr-s---");
    EXPECT_EQ(modeStringForMode(0x4000 | 01777), "drwxrwxrwt");
    EXPECT_EQ(modeStringForMode(0x4000 | 01776), "drwxrwxrwT");
    EXPECT_EQ(modeStringForMode(0x1000 | 0600), "prw-------");
    EXPECT_EQ(modeStringForMode(0xC000 | 0755), "srwxr-xr-x");
    EXPECT_EQ(modeStringForMode(0x6000 | 0660), "brw-rw----");
    EXPECT_EQ(modeStringForMode(0x2000 | 0620), "crw--w----");
}

TEST(FileManagerUtilities, ModeFromListingColumn)
{
    EXPECT_EQ(modeFromString("lrwxrwxrwx"), 0xA1FFu);
    EXPECT_EQ(modeFromString("drwxr-xr-x"), 0x41EDu);
    EXPECT_EQ(modeFromString("-rw-r--r--"), 0x81A4u);
    EXPECT_EQ(modeFromString("rwx"), 0u);
    EXPECT_EQ(modeFromString("-rwxr-xr-"), 0u);
    EXPECT_EQ(modeFromString("?rw-------"), 0x8180u);
    EXPECT_EQ(modeFromString("-rwsr-sr-t"), 0x8000u | 04000 | 02000 | 01000 | 0755);
    EXPECT_EQ(modeFromString("-rwSr-Sr-T"), 0x8000u | 04000 | 02000 | 01000 | 0644);
    // Each kind letter.
    EXPECT_EQ(modeFromString("b---------"), 0x6000u);
    EXPECT_EQ(modeFromString("c---------"), 0x2000u);
    EXPECT_EQ(modeFromString("p---------"), 0x1000u);
    EXPECT_EQ(modeFromString("s---------"), 0xC000u);
    EXPECT_EQ(modeFromString("w---------"), 0xE000u);
    // What we print, we read back.
    for (quint32 mode : {0x4000u | 0755, 0x8000u | 04755, 0x8000u | 02644, 0x4000u | 01777, 0xA000u | 0777, 0x8000u})
        EXPECT_EQ(modeFromString(modeStringForMode(mode)), mode) << modeStringForMode(mode).toStdString();
}

TEST(FileManagerUtilities, NumericModeIsOctalPermissionBits)
{
    EXPECT_EQ(numericModeStringForMode(0x8000 | 0644), "644");
    EXPECT_EQ(numericModeStringForMode(04755), "4755");
    EXPECT_EQ(numericModeStringForMode(01777), "1777");
    EXPECT_EQ(numericModeStringForMode(01), "1");
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
    EXPECT_EQ(nameForUid(3999999), "3999999");
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
    EXPECT_TRUE(isAcceptableFileName("index.html"));
    EXPECT_TRUE(isAcceptableFileName("..."));
    EXPECT_TRUE(isAcceptableFileName(".htaccess"));
    EXPECT_FALSE(isAcceptableFileName(""));
    EXPECT_FALSE(isAcceptableFileName("."));
    EXPECT_FALSE(isAcceptableFileName(".."));
    EXPECT_FALSE(isAcceptableFileName("../etc"));
    EXPECT_FALSE(isAcceptableFileName("a/b"));
    EXPECT_FALSE(isAcceptableFileName(QString("a") + QChar(0) + "b"));
}
