#pragma once

#include "app/MVDocument.h"
#include "documents/MVFileDocument.h"

#include <functional>
#include <map>
#include <memory>
#include <vector>

class MVFile;
class MVRootFile;

// A tabbed window over several file documents. Each tab's document has a
// tree node of its own, under a root for the file's directory, so that the
// node can tell it about changes on disk.
class MVMultiFileDocument : public MVDocument
{
public:
    ~MVMultiFileDocument() override;

    MVDocumentKind kind() const override { return MVDocumentKind::MultiFile; }
    bool readFromFile(const QString &path, MVError *error) override;
    QString displayName() const override;

    MVDocument *activeDocument() override;
    // Opens the path as a new tab, or activates the tab that shows it.
    MVDocument *openFileAtPath(const QString &path) override;
    bool showsPath(const QString &canonicalPath) const override;
    bool isDocumentEdited() const override;
    std::vector<MVDocument *> openDocuments() override;
    // Saves every edited tab; false if one of them was not saved.
    bool save(MVError *error) override;

    const std::vector<std::shared_ptr<MVFileDocument>> &tabs() const { return _tabs; }
    int activeIndex() const { return _active; }
    void setActiveIndex(int index);
    int indexOfDocument(const MVFileDocument *document) const;
    // Removes a tab without questions; the window closes when none is left.
    void closeTab(int index);

    // The node a tab's document gets for a path: by default under a new root
    // for the file's directory. A project answers from its own tree.
    virtual std::shared_ptr<MVFile> fileNodeForPath(const QString &path);

    // Called when tabs were added, removed or activated, for the window.
    void setTabsChangedHandler(std::function<void()> handler) { _tabsChanged = std::move(handler); }
    // The error of the last failed openFileAtPath.
    const MVError &lastError() const { return _lastError; }

private:
    std::vector<std::shared_ptr<MVFileDocument>> _tabs;
    // Roots made for single files, by path; the nodes hold them only weakly.
    std::map<QString, std::shared_ptr<MVRootFile>> _roots;
    int _active = -1;
    MVError _lastError;
    std::function<void()> _tabsChanged;
};
