#include "files/MVFile.h"
#include "files/MVRootFile.h"
#include "shell/MVFileTreeModel.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QSignalSpy>
#include <gtest/gtest.h>

namespace {

QStringList rowNames(const MVFileTreeModel &model, const QModelIndex &parent)
{
    QStringList names;
    for (int row = 0; row < model.rowCount(parent); ++row)
        names << model.data(model.index(row, 0, parent), Qt::DisplayRole).toString();
    return names;
}

TEST(MVFileTreeModel, ShowsTheRootAndLoadsDirectoriesWhenFirstExpanded)
{
    MVScratchDir dir;
    dir.write("b.css", "");
    dir.write("A.html", "");
    dir.write("js/app.js", "");
    dir.write("js/lib/x.js", "");
    auto root = MVRootFile::rootWithPath(dir.path(), false);
    MVFileTreeModel model(root);
    EXPECT_EQ(rowNames(model, {}), QStringList({"A.html", "b.css", "js"}));

    const QModelIndex js = model.index(2, 0);
    ASSERT_TRUE(model.hasChildren(js));
    EXPECT_EQ(model.rowCount(js), 0);
    ASSERT_TRUE(model.canFetchMore(js));
    QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
    model.fetchMore(js);
    EXPECT_EQ(inserted.count(), 1);
    EXPECT_FALSE(model.canFetchMore(js));
    EXPECT_EQ(rowNames(model, js), QStringList({"app.js", "lib"}));
    EXPECT_EQ(model.parent(model.index(0, 0, js)), js);
    EXPECT_EQ(model.fileAt(model.index(0, 0, js))->path(), dir.file("js/app.js"));

    // A change on disk shows after the directory is reloaded.
    dir.write("js/new.js", "");
    QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
    model.fileAt(js)->refresh(true);
    EXPECT_GE(reset.count(), 1);
    const QModelIndex jsAgain = model.index(2, 0);
    EXPECT_EQ(rowNames(model, jsAgain), QStringList({"app.js", "lib", "new.js"}));
}

} // namespace
