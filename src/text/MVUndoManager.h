#pragma once

#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

// The undo and redo stacks of one document.
//
// A step is a function that undoes something; while it runs, whatever it
// registers becomes the step that redoes it (and the other way round), so
// every kind of step, text or not, undoes and redoes the same way. Steps are
// collected into groups with an action name; a group is one Undo.
//
// The revision says which state of the document the undo position stands
// for. A group that counts as a change gives the state after it a new
// revision; a group that does not (a fold) keeps the revision before it. The
// document remembers the revision it saved and is edited whenever the
// current revision differs: undoing back to the saved state makes it clean
// again, and a fold neither dirties it nor makes an undo look like a return
// to the saved state while real edits remain.
class MVUndoManager
{
public:
    using Step = std::function<void()>;

    MVUndoManager();
    ~MVUndoManager();
    MVUndoManager(const MVUndoManager &) = delete;
    MVUndoManager &operator=(const MVUndoManager &) = delete;

    // Grouping. Groups nest; only the outermost one makes an undo step. A
    // group that ends without steps leaves nothing behind.
    void beginUndoGrouping();
    void endUndoGrouping();
    int groupingLevel() const { return int(_openGroups.size()); }

    // With grouping by event on (the default) a step registered outside any
    // group opens one that ends when the event loop next turns.
    bool groupsByEvent() const { return _groupsByEvent; }
    void setGroupsByEvent(bool on) { _groupsByEvent = on; }

    // Registers a step on the undo stack, or on the redo stack while undoing.
    // Ignored while registration is disabled.
    void registerUndo(Step step);
    void disableUndoRegistration() { ++_disabled; }
    void enableUndoRegistration();
    bool isUndoRegistrationEnabled() const { return _disabled == 0; }

    // The action name of the group being built (or of the last one closed).
    void setActionName(const QString &name);
    // Marks the group being built as one whose own steps do not count as a
    // change. A group counts if any step in it, or in a group inside it, does.
    void setGroupIsNeutral(bool neutral = true);

    bool canUndo() const;
    bool canRedo() const;
    void undo();
    void redo();
    bool isUndoing() const { return _undoing; }
    bool isRedoing() const { return _redoing; }
    QString undoActionName() const;
    QString redoActionName() const;
    void removeAllActions();

    // The revision of the state the document is in; see the class comment.
    std::uint64_t revision() const { return _revision; }

    // Identity of the newest closed undo group, 0 if none; a view keeps it to
    // tell whether it may still add to the group it last made (typing).
    std::uint64_t topGroupIdentifier() const;
    // Adds a step to the newest closed undo group (coalescing typing); an
    // empty step only records that the group now leads to a new state.
    // Returns false, doing nothing, when that group is not identifier.
    bool registerUndoInGroup(std::uint64_t identifier, Step step);

    // Called after every change of the stacks (for menus and the edited mark).
    void setChangeHandler(std::function<void()> handler) { _changed = std::move(handler); }

    // Largest number of groups kept on the undo stack; 0 means no limit.
    void setLevelsOfUndo(int levels) { _levels = levels; }

private:
    struct Group
    {
        std::vector<Step> steps;
        QString actionName;
        bool neutral = false;      // the steps registered in this group itself do not count
        bool ownSteps = false;     // steps were registered in this group itself
        bool innerCounts = false;  // an inner group brought steps that count
        std::uint64_t identifier = 0;
        std::uint64_t revisionBefore = 0;
        std::uint64_t revisionAfter = 0;
    };

    void _closeGroup(std::unique_ptr<Group> group);
    static bool _counts(const Group &group) { return group.innerCounts || (group.ownSteps && !group.neutral); }
    void _run(std::vector<std::unique_ptr<Group>> &from, bool undoing);
    void _notify();

    std::vector<std::unique_ptr<Group>> _undoStack;
    std::vector<std::unique_ptr<Group>> _redoStack;
    std::vector<std::unique_ptr<Group>> _openGroups;
    std::unique_ptr<Group> _replaying; // the group collecting the inverse of an undo or redo
    std::shared_ptr<bool> _alive;
    std::function<void()> _changed;
    std::uint64_t _revision = 0;
    std::uint64_t _nextRevision = 1;
    std::uint64_t _nextIdentifier = 1;
    int _disabled = 0;
    int _levels = 0;
    bool _groupsByEvent = true;
    bool _eventGroupOpen = false;
    bool _undoing = false;
    bool _redoing = false;
};
