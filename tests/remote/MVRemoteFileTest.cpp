#include "remote/MVRemoteFile.h"

#include <gtest/gtest.h>

// The mode decides the kind once: a link to a directory is a link, and a
// kind set without a mode still reads back as a mode.
TEST(MVRemoteFile, ModeAndKind)
{
    MVRemoteFile link(QStringLiteral("/srv"), QStringLiteral("to dir"));
    link.setModeString(QStringLiteral("lrwxrwxrwx"));
    EXPECT_TRUE(link.isSymlink());
    EXPECT_FALSE(link.isDirectory());
    EXPECT_EQ(link.path(), QStringLiteral("/srv/to dir"));
    EXPECT_EQ(link.nameBytes(), QByteArray("to dir"));

    MVRemoteFile directory(QString(), QStringLiteral("sub"));
    directory.setDirectory(true);
    EXPECT_EQ(directory.modeString(), QStringLiteral("d---------"));
    EXPECT_EQ(directory.sizeString(), QStringLiteral("--"));
    EXPECT_EQ(directory.path(), QStringLiteral("sub"));
    EXPECT_EQ(MVRemoteFile(QStringLiteral("/"), QStringLiteral("a")).path(), QStringLiteral("/a"));
    EXPECT_TRUE(MVRemoteFile(QStringLiteral("d"), QStringLiteral("a")).modeString().isEmpty());
}
