#include "files/MVFile.h"
#include "documents/MVFileDocument.h"
#include "files/MVRootFile.h"
#include "projects/MVProjectDocument.h"
#include "support/TestEnvironment.h"

#include <QDir>

#include <gtest/gtest.h>

TEST(MVProjectDocumentTest, FilesBelowTheRootAreTheTreesOwnNodes)
{
    MVScratchDir dir;
    QDir().mkpath(dir.file("site/css"));
    const QString style = dir.write("site/css/main.css", "body {}\n");
    const QString outside = dir.write("notes.txt", "elsewhere\n");

    MVProjectDocument project;
    ASSERT_TRUE(project.readFromFile(dir.file("site"), nullptr));
    const auto inTree = project.rootFile()->childWithPath(QStringList{QDir(style).canonicalPath()}, true);
    ASSERT_TRUE(inTree);

    // The tab and the tree share one node: a rename or removal seen by the
    // tree is seen by the document, and the tree can show the file as open.
    auto *tab = dynamic_cast<MVFileDocument *>(project.openFileAtPath(style));
    ASSERT_TRUE(tab);
    EXPECT_EQ(tab->file(), inTree);

    // A file written into the folder after it was listed joins the tree.
    const QString later = dir.write("site/later.js", "var a;\n");
    auto *laterTab = dynamic_cast<MVFileDocument *>(project.openFileAtPath(later));
    ASSERT_TRUE(laterTab && laterTab->file());
    EXPECT_EQ(laterTab->file(), project.rootFile()->childWithPath(QStringList{QDir(later).canonicalPath()}, false));

    // A file outside the folder still gets a node, but not one of the project.
    auto *elsewhere = dynamic_cast<MVFileDocument *>(project.openFileAtPath(outside));
    ASSERT_TRUE(elsewhere && elsewhere->file());
    EXPECT_FALSE(project.rootFile()->containsPath(elsewhere->file()->path()));
}
