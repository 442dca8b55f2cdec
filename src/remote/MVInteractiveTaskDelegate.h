#pragma once

#include <QStringList>

class MVInteractiveTask;

// Hears the finished commands of an MVInteractiveTask, on the task's thread.
class MVInteractiveTaskDelegate
{
public:
    virtual ~MVInteractiveTaskDelegate() = default;
    // The lines are the task's own list, emptied when the call returns.
    virtual void taskFinishedCommandWithOutput(MVInteractiveTask *task, const QStringList &lines, bool hadError) = 0;
    // Asked when the unfinished tail ends in a colon: is it an input request?
    virtual bool taskShouldExpectInput(MVInteractiveTask *) { return false; }
};
