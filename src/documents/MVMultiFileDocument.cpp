#include "documents/MVMultiFileDocument.h"

#include "files/MVFile.h"
#include "files/MVRootFile.h"
#include "platform/MVCanonicalPath.h"

#include <QFileInfo>

MVMultiFileDocument::~MVMultiFileDocument()
{
    for (const auto &tab : _tabs)
        tab->close();
    for (auto &[path, root] : _roots)
        root->clearReferences();
}

bool MVMultiFileDocument::readFromFile(const QString &path, MVError *error)
{
    setFileName(QFileInfo(path).absoluteFilePath());
    if (openFileAtPath(path))
        return true;
    if (error)
        *error = _lastError;
    return false;
}

QString MVMultiFileDocument::displayName() const
{
    if (_active >= 0 && _active < static_cast<int>(_tabs.size()))
        return _tabs[_active]->displayName();
    return MVDocument::displayName();
}

MVDocument *MVMultiFileDocument::activeDocument()
{
    if (_active >= 0 && _active < static_cast<int>(_tabs.size()))
        return _tabs[_active].get();
    return this;
}

std::shared_ptr<MVFile> MVMultiFileDocument::fileNodeForPath(const QString &path)
{
    const QString directory = QFileInfo(path).absolutePath();
    std::shared_ptr<MVRootFile> &root = _roots[directory];
    if (!root)
        root = MVRootFile::rootWithPath(directory, true);
    if (!root)
        return nullptr;
    const QString absolute = QFileInfo(path).absoluteFilePath();
    if (auto node = root->childWithPath(QStringList{absolute}, true))
        return node;
    // A file that appeared after the directory was listed (a Save As).
    return root->addFileAtPath(absolute);
}

MVDocument *MVMultiFileDocument::openFileAtPath(const QString &path)
{
    const QString canonical = MVCanonicalPath(path);
    for (size_t i = 0; i < _tabs.size(); ++i) {
        if (_tabs[i]->showsPath(canonical)) {
            setActiveIndex(static_cast<int>(i));
            return _tabs[i].get();
        }
    }
    auto tab = std::make_shared<MVFileDocument>();
    _lastError = MVError();
    if (!tab->readFromFile(path, &_lastError))
        return nullptr;
    if (auto node = fileNodeForPath(tab->fileName()))
        tab->setFile(node);
    _tabs.push_back(tab);
    setActiveIndex(static_cast<int>(_tabs.size()) - 1);
    return tab.get();
}

bool MVMultiFileDocument::showsPath(const QString &canonicalPath) const
{
    for (const auto &tab : _tabs) {
        if (tab->showsPath(canonicalPath))
            return true;
    }
    return false;
}

bool MVMultiFileDocument::isDocumentEdited() const
{
    for (const auto &tab : _tabs) {
        if (tab->isDocumentEdited())
            return true;
    }
    return false;
}

std::vector<MVDocument *> MVMultiFileDocument::openDocuments()
{
    std::vector<MVDocument *> documents;
    for (const auto &tab : _tabs)
        documents.push_back(tab.get());
    return documents;
}

bool MVMultiFileDocument::save(MVError *error)
{
    bool all = true;
    for (const auto &tab : std::vector(_tabs)) {
        if (tab->isDocumentEdited() && !tab->save(error))
            all = false;
    }
    return all;
}

int MVMultiFileDocument::indexOfDocument(const MVFileDocument *document) const
{
    for (size_t i = 0; i < _tabs.size(); ++i) {
        if (_tabs[i].get() == document)
            return static_cast<int>(i);
    }
    return -1;
}

void MVMultiFileDocument::setActiveIndex(int index)
{
    if (index < -1 || index >= static_cast<int>(_tabs.size()))
        return;
    if (index != _active && _active >= 0 && _active < static_cast<int>(_tabs.size()))
        _tabs[_active]->deactivate();
    _active = index;
    if (_tabsChanged)
        _tabsChanged();
}

void MVMultiFileDocument::closeTab(int index)
{
    if (index < 0 || index >= static_cast<int>(_tabs.size()))
        return;
    const std::shared_ptr<MVFileDocument> leaving = _tabs[index];
    _tabs.erase(_tabs.begin() + index);
    leaving->close();
    if (_active >= static_cast<int>(_tabs.size()))
        _active = static_cast<int>(_tabs.size()) - 1;
    if (_tabsChanged)
        _tabsChanged();
}
