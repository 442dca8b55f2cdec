#include "files/MVMultiFileDocument.h"

#include "app/MVDocumentController.h"

#include <QFileInfo>

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

void MVMultiFileDocument::setActiveIndex(int index)
{
    if (index < -1 || index >= static_cast<int>(_tabs.size()))
        return;
    _active = index;
    if (_tabsChanged)
        _tabsChanged();
}

void MVMultiFileDocument::closeTab(int index)
{
    if (index < 0 || index >= static_cast<int>(_tabs.size()))
        return;
    _tabs.erase(_tabs.begin() + index);
    if (_active >= static_cast<int>(_tabs.size()))
        _active = static_cast<int>(_tabs.size()) - 1;
    if (_tabsChanged)
        _tabsChanged();
}
