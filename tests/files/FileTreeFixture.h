#pragma once

#include "FileTreeTestSupport.h"

#include "support/TestEnvironment.h"

#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

// A tree over a scratch directory, with a remote side made of test
// representations that the test answers by hand.
class FileTreeTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        journal = std::make_shared<QStringList>();
        MVFile::setRemoteRepresentationFactory([this](const QString &path) {
            const bool directory = path == dir.path() || QFileInfo(path).isDir();
            auto rep = directory ? MVTestRepresentation::directory(path) : MVTestRepresentation::file(path);
            rep->journal = journal;
            made.push_back(rep);
            return rep;
        });
    }

    void TearDown() override
    {
        MVFile::setRemoteRepresentationFactory(nullptr);
        MVRootFile::setWatcherFactory(nullptr);
        if (root)
            root->clearReferences();
    }

    std::shared_ptr<MVRootFile> makeRoot(bool load = true)
    {
        root = MVRootFile::rootWithPath(dir.path(), false);
        root->setDelegate(&delegate);
        if (load)
            root->children(true);
        return root;
    }

    // Gives the tree a queue; the root's new remote side lists the entries.
    std::shared_ptr<MVTestRepresentation> connectRemote(const std::vector<std::shared_ptr<MVFileRepresentation>> &listing)
    {
        root->setRemoteQueue(queue);
        auto rep = remoteOf(root);
        EXPECT_TRUE(rep);
        if (rep)
            rep->finishLoad(listing);
        return rep;
    }

    // A tree with one file on disk and on the remote side; its node.
    MVFile::Ptr fileInBothPlaces(const QString &name, const QByteArray &bytes = "a")
    {
        dir.write(name, bytes);
        makeRoot();
        connectRemote({remoteFile(name)});
        return child(name);
    }

    static std::shared_ptr<MVTestRepresentation> remoteOf(const MVFile::Ptr &file)
    {
        return file ? std::dynamic_pointer_cast<MVTestRepresentation>(file->remoteRepresentation()) : nullptr;
    }

    static std::shared_ptr<MVFileRepresentation> remoteFile(const QString &name)
    {
        return MVTestRepresentation::file(name);
    }

    static std::shared_ptr<MVFileRepresentation> remoteDirectory(const QString &name)
    {
        return MVTestRepresentation::directory(name);
    }

    MVFile::Ptr child(const QString &name, const MVFile::Ptr &parent = nullptr)
    {
        return (parent ? parent : MVFile::Ptr(root))->childWithName(name, false);
    }

    static QStringList childNames(const MVFile::Ptr &node)
    {
        QStringList names;
        for (const auto &file : node->children(false))
            names.append(file->name());
        return names;
    }

    static QByteArray contents(const QString &path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
    }

    bool refreshed(const MVFile::Ptr &file) const
    {
        return std::find(delegate.refreshed.begin(), delegate.refreshed.end(), file) != delegate.refreshed.end();
    }

    MVScratchDir dir;
    RecordingTreeDelegate delegate;
    std::shared_ptr<RecordingQueue> queue = std::make_shared<RecordingQueue>();
    std::shared_ptr<MVRootFile> root;
    std::vector<std::shared_ptr<MVTestRepresentation>> made;
    std::shared_ptr<QStringList> journal;
};
