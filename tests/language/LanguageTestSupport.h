#pragma once

#include "app/Defaults.h"
#include "platform/MVPropertyList.h"
#include "platform/MVUserDefaults.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QVariantMap>

#include <gtest/gtest.h>

#include <filesystem>

namespace LanguageTest {

inline QString userDirectory(const QString &name)
{
    return Defaults::tildePath() + '/' + name;
}

inline void removeTree(const QString &path)
{
    std::error_code ec;
    std::filesystem::remove_all(QFile::encodeName(path).constData(), ec);
}

inline QVariantMap info(const QString &bundleID, const QString &title, const QStringList &types = {})
{
    QVariantMap map{{"CFBundleIdentifier", bundleID}, {"CFBundleName", title}};
    if (!types.isEmpty())
        map.insert("file-types", types);
    return map;
}

// A bundle directory with its Info.plist and, when a parser identifier is
// given, a "syntax.plist" naming it.
inline QString writeBundle(const QString &directory, const QString &name, const QVariantMap &infoPlist,
                           const QString &parserID = QString(), const QVariantMap &extraSyntax = {})
{
    const QString path = directory + '/' + name + QStringLiteral(".mvbundle");
    EXPECT_TRUE(
        MVPropertyList::writeFile(infoPlist, path + QStringLiteral("/Contents/Info.plist"), MVPropertyList::XMLFormat));
    if (!parserID.isEmpty() || !extraSyntax.isEmpty()) {
        QVariantMap syntax = extraSyntax;
        if (!parserID.isEmpty())
            syntax.insert("format-id", parserID);
        EXPECT_TRUE(MVPropertyList::writeFile(syntax, path + QStringLiteral("/Contents/syntax.plist"),
                                              MVPropertyList::BinaryFormat));
    }
    return path;
}

inline QVariantMap theme(const QString &id, const QString &title, const QString &background = "#ffffff",
                         const QVariantList &styles = {})
{
    return QVariantMap{
        {"id", id},
        {"format-title", title},
        {"global-settings",
         QVariantMap{{"background", background},
                     {"foreground", "#000000"},
                     {"insertion-point", "#000000"},
                     {"invisibles", "#888888"},
                     {"selection", "#ccddff"}}},
        {"styles", styles},
    };
}

inline QVariantMap style(const QString &id, const QString &foreground)
{
    return QVariantMap{{"id", id}, {"foreground", foreground}};
}

// Application resources in a scratch directory, an empty user folder and no
// stored choices: each test starts from a clean installation.
class ResourcesFixture : public ::testing::Test
{
protected:
    void SetUp() override
    {
        Defaults::setResourcesPathForTesting(resources.path());
        cleanUser();
    }
    void TearDown() override
    {
        Defaults::setResourcesPathForTesting(QString());
        cleanUser();
    }
    static void cleanUser()
    {
        removeTree(userDirectory("Bundles"));
        removeTree(userDirectory("Themes"));
        for (const char *key : {"MVHiddenBundles", "MVHiddenThemes", "MVCurrentThemeID"})
            MVUserDefaults::standard().removeObject(QString::fromLatin1(key));
    }
    QString shippedBundles() const { return resources.file("Bundles"); }
    QString shippedThemes() const { return resources.file("Themes"); }

    MVScratchDir resources;
};

} // namespace LanguageTest
