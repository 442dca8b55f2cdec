#include "FileTreeTestSupport.h"

#include <algorithm>

std::shared_ptr<MVTestRepresentation> MVTestRepresentation::make(const QString &name, quint16 mode)
{
    auto rep = std::make_shared<MVTestRepresentation>(name);
    rep->setMode(mode);
    return rep;
}

bool MVTestRepresentation::record(const QString &operation, const QString &argument, const Context &context)
{
    _requests.push_back({operation, argument, context});
    if (journal)
        journal->append(argument.isEmpty() ? operation : operation + QLatin1Char(' ') + argument);
    return true;
}

const MVTestRepresentation::Request *MVTestRepresentation::lastOf(const QString &operation) const
{
    for (auto it = _requests.rbegin(); it != _requests.rend(); ++it) {
        if (it->operation == operation)
            return &*it;
    }
    return nullptr;
}

QStringList MVTestRepresentation::operations() const
{
    QStringList list;
    for (const Request &request : _requests)
        list.append(request.operation);
    return list;
}

void MVTestRepresentation::finishDelete(bool success)
{
    report([&](MVFileRepresentationDelegate &d) { d.fileRepresentationDidDelete(this, success); });
}

void MVTestRepresentation::finishRename(bool success)
{
    const Request *request = lastOf(QStringLiteral("rename"));
    const Context context = request->context.lock();
    if (success)
        setName(request->argument);
    report([&](MVFileRepresentationDelegate &d) { d.fileRepresentationDidRename(this, success, context); });
}

void MVTestRepresentation::finishMove(bool success)
{
    const Request *request = lastOf(QStringLiteral("move"));
    const Context context = request->context.lock();
    if (success)
        setName(request->argument.mid(request->argument.lastIndexOf(QLatin1Char('/')) + 1));
    report([&](MVFileRepresentationDelegate &d) { d.fileRepresentationDidMove(this, success, context); });
}

void MVTestRepresentation::finishLoad(const std::vector<std::shared_ptr<MVFileRepresentation>> &children)
{
    _loaded = true;
    report([&](MVFileRepresentationDelegate &d) { d.fileRepresentationDidLoadChildren(this, children); });
}

void MVTestRepresentation::finishReload(const std::vector<std::shared_ptr<MVFileRepresentation>> &children)
{
    report([&](MVFileRepresentationDelegate &d) { d.fileRepresentationDidReloadChildren(this, children); });
}

void MVTestRepresentation::finishUpload()
{
    report([&](MVFileRepresentationDelegate &d) { d.fileRepresentationContentChangeFinished(this); });
}

void MVTestRepresentation::finishDownload()
{
    report([&](MVFileRepresentationDelegate &d) { d.fileRepresentationContentBecameAvailable(this); });
}

bool RecordingTreeDelegate::wasRemoved(const std::shared_ptr<MVFile> &child) const
{
    return std::any_of(removed.begin(), removed.end(), [&child](const auto &pair) { return pair.second == child; });
}

void RecordingDocument::attach(const std::shared_ptr<MVFile> &file)
{
    node = file;
    file->setDocument(this);
}

void RecordingDocument::fileContentsDisappeared()
{
    ++disappeared;
    if (const auto file = node.lock()) {
        const auto parent = file->parent();
        inTreeWhenTold = parent && parent->childWithName(file->name(), false) == file;
        file->setDocument(nullptr);
    }
    node.reset();
}

void RecordingDocument::fileNodeWillLeaveTree()
{
    ++leftTree;
    if (const auto file = node.lock())
        file->setDocument(nullptr);
    node.reset();
}

bool RecordingWatcher::watchFile(const std::shared_ptr<MVFile> &file, int type)
{
    calls.push_back({QStringLiteral("watch"), file->path(), type});
    if (!isWatching(file->path()))
        watched.push_back({file->path(), type});
    return true;
}

bool RecordingWatcher::resetForFile(const std::shared_ptr<MVFile> &file, int type)
{
    calls.push_back({QStringLiteral("reset"), file->path(), type});
    return isWatching(file->path());
}

void RecordingWatcher::stopWatching(const MVFile &file)
{
    const QString path = file.path();
    calls.push_back({QStringLiteral("stop"), path, -1});
    watched.erase(std::remove_if(watched.begin(), watched.end(), [&path](const auto &entry) { return entry.first == path; }),
                  watched.end());
}

bool RecordingWatcher::isWatching(const QString &path) const
{
    return typeOf(path) >= 0;
}

int RecordingWatcher::typeOf(const QString &path) const
{
    for (const auto &entry : watched) {
        if (entry.first == path)
            return entry.second;
    }
    return -1;
}
