#include "text/MVUndoManager.h"

#include <QCoreApplication>
#include <QTimer>

MVUndoManager::MVUndoManager()
    : _alive(std::make_shared<bool>(true))
{
}

MVUndoManager::~MVUndoManager()
{
    *_alive = false;
}

void MVUndoManager::beginUndoGrouping()
{
    auto group = std::make_unique<Group>();
    _openGroups.push_back(std::move(group));
}

void MVUndoManager::endUndoGrouping()
{
    if (_openGroups.empty())
        return;
    std::unique_ptr<Group> group = std::move(_openGroups.back());
    _openGroups.pop_back();
    if (!_openGroups.empty()) {
        // An inner group folds into its parent; its name wins if it has one.
        Group &parent = *_openGroups.back();
        for (Step &step : group->steps)
            parent.steps.push_back(std::move(step));
        if (!group->actionName.isEmpty())
            parent.actionName = group->actionName;
        parent.innerCounts = parent.innerCounts || _counts(*group);
        return;
    }
    _closeGroup(std::move(group));
}

void MVUndoManager::_closeGroup(std::unique_ptr<Group> group)
{
    if (group->steps.empty())
        return;
    group->identifier = _nextIdentifier++;
    group->revisionBefore = _revision;
    group->neutral = !_counts(*group);
    group->revisionAfter = group->neutral ? _revision : _nextRevision++;
    _revision = group->revisionAfter;
    _undoStack.push_back(std::move(group));
    _redoStack.clear();
    if (_levels > 0 && qsizetype(_undoStack.size()) > _levels)
        _undoStack.erase(_undoStack.begin());
    _notify();
}

void MVUndoManager::registerUndo(Step step)
{
    if (_disabled > 0 || !step)
        return;
    if (_replaying) {
        _replaying->steps.push_back(std::move(step));
        return;
    }
    if (_openGroups.empty()) {
        if (!_groupsByEvent) {
            // A step on its own is a group of its own.
            beginUndoGrouping();
            _openGroups.back()->steps.push_back(std::move(step));
            _openGroups.back()->ownSteps = true;
            endUndoGrouping();
            return;
        }
        beginUndoGrouping();
        _eventGroupOpen = true;
        std::weak_ptr<bool> alive = _alive;
        QTimer::singleShot(0, QCoreApplication::instance(), [this, alive] {
            if (alive.expired() || !_eventGroupOpen)
                return;
            _eventGroupOpen = false;
            while (!_openGroups.empty())
                endUndoGrouping();
        });
    }
    _openGroups.back()->steps.push_back(std::move(step));
    _openGroups.back()->ownSteps = true;
}

void MVUndoManager::enableUndoRegistration()
{
    if (_disabled > 0)
        --_disabled;
}

void MVUndoManager::setActionName(const QString &name)
{
    if (_replaying) {
        _replaying->actionName = name;
    } else if (!_openGroups.empty()) {
        _openGroups.back()->actionName = name;
    } else if (!_undoStack.empty()) {
        _undoStack.back()->actionName = name;
        _notify();
    }
}

void MVUndoManager::setGroupIsNeutral(bool neutral)
{
    if (!_openGroups.empty())
        _openGroups.back()->neutral = neutral;
}

bool MVUndoManager::canUndo() const
{
    return !_undoStack.empty() || (!_openGroups.empty() && !_openGroups.front()->steps.empty());
}

bool MVUndoManager::canRedo() const
{
    return !_redoStack.empty();
}

QString MVUndoManager::undoActionName() const
{
    return _undoStack.empty() ? QString() : _undoStack.back()->actionName;
}

QString MVUndoManager::redoActionName() const
{
    return _redoStack.empty() ? QString() : _redoStack.back()->actionName;
}

void MVUndoManager::undo()
{
    // An open event group is finished first, so Undo undoes what was just done.
    if (_eventGroupOpen) {
        _eventGroupOpen = false;
        while (!_openGroups.empty())
            endUndoGrouping();
    }
    if (!_openGroups.empty() || _undoing || _redoing)
        return;
    _run(_undoStack, true);
}

void MVUndoManager::redo()
{
    if (!_openGroups.empty() || _undoing || _redoing)
        return;
    _run(_redoStack, false);
}

void MVUndoManager::_run(std::vector<std::unique_ptr<Group>> &from, bool undoing)
{
    if (from.empty())
        return;
    std::unique_ptr<Group> group = std::move(from.back());
    from.pop_back();
    (undoing ? _undoing : _redoing) = true;
    _replaying = std::make_unique<Group>();
    for (auto it = group->steps.rbegin(); it != group->steps.rend(); ++it)
        (*it)();
    std::unique_ptr<Group> inverse = std::move(_replaying);
    (undoing ? _undoing : _redoing) = false;
    inverse->actionName = group->actionName;
    inverse->neutral = group->neutral;
    inverse->identifier = _nextIdentifier++;
    // The inverse leads from the state after the group back to the one before.
    inverse->revisionBefore = group->revisionAfter;
    inverse->revisionAfter = group->revisionBefore;
    _revision = group->revisionBefore;
    if (!inverse->steps.empty())
        (undoing ? _redoStack : _undoStack).push_back(std::move(inverse));
    _notify();
}

void MVUndoManager::removeAllActions()
{
    _undoStack.clear();
    _redoStack.clear();
    _openGroups.clear();
    _eventGroupOpen = false;
    _notify();
}

std::uint64_t MVUndoManager::topGroupIdentifier() const
{
    if (!_openGroups.empty() || _undoStack.empty())
        return 0;
    return _undoStack.back()->identifier;
}

bool MVUndoManager::registerUndoInGroup(std::uint64_t identifier, Step step)
{
    if (_disabled > 0 || identifier == 0 || topGroupIdentifier() != identifier || !_redoStack.empty())
        return false;
    Group &group = *_undoStack.back();
    if (step)
        group.steps.push_back(std::move(step));
    // The group now leads to a state of its own (text typed after a save).
    if (!group.neutral) {
        group.revisionAfter = _nextRevision++;
        _revision = group.revisionAfter;
    }
    _notify();
    return true;
}

void MVUndoManager::_notify()
{
    if (_changed)
        _changed();
}
