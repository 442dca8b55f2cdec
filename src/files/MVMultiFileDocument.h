#pragma once

#include "app/MVDocument.h"
#include "files/MVFileDocument.h"

#include <functional>
#include <memory>
#include <vector>

// A tabbed window over several file documents.
class MVMultiFileDocument : public MVDocument
{
public:
    MVDocumentKind kind() const override { return MVDocumentKind::MultiFile; }
    bool readFromFile(const QString &path, MVError *error) override;
    QString displayName() const override;

    MVDocument *activeDocument() override;
    // Opens the path as a new tab, or activates the tab that shows it.
    MVDocument *openFileAtPath(const QString &path) override;
    bool showsPath(const QString &canonicalPath) const override;
    bool isDocumentEdited() const override;

    const std::vector<std::shared_ptr<MVFileDocument>> &tabs() const { return _tabs; }
    int activeIndex() const { return _active; }
    void setActiveIndex(int index);
    // Removes a tab; the window closes when none is left.
    void closeTab(int index);

    // Called when tabs were added, removed or activated, for the window.
    void setTabsChangedHandler(std::function<void()> handler) { _tabsChanged = std::move(handler); }
    // The error of the last failed openFileAtPath.
    const MVError &lastError() const { return _lastError; }

private:
    std::vector<std::shared_ptr<MVFileDocument>> _tabs;
    int _active = -1;
    MVError _lastError;
    std::function<void()> _tabsChanged;
};
