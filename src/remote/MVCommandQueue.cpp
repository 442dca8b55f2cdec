#include "remote/MVCommandQueue.h"

#include "remote/MVPseudoTerminal.h"

MVCommandQueue::MVCommandQueue(const std::atomic<int> &masterFD)
    : _masterFD(masterFD)
{
}

bool MVCommandQueue::append(const QString &command)
{
    std::lock_guard lock(_lock);
    _commands.append(command);
    if (_commands.size() == 1) {
        _headWritten = true;
        return _write(command);
    }
    return true;
}

bool MVCommandQueue::headWritten() const
{
    std::lock_guard lock(_lock);
    return _headWritten;
}

void MVCommandQueue::finishHead(bool headWasWritten)
{
    std::lock_guard lock(_lock);
    if (!_commands.isEmpty() && headWasWritten) {
        _commands.removeFirst();
        _headWritten = false;
    }
    if (!_commands.isEmpty() && !_headWritten) {
        _headWritten = true;
        _write(_commands.first());
    }
}

bool MVCommandQueue::attach(const std::function<bool()> &spawn, bool writePending)
{
    std::lock_guard lock(_lock);
    if (!spawn())
        return false;
    if (writePending && !_commands.isEmpty()) {
        _headWritten = true;
        _write(_commands.first());
    }
    return true;
}

bool MVCommandQueue::_write(const QString &command)
{
    const int master = _masterFD;
    if (master < 0)
        return false;
    return MVPseudoTerminal::writeAll(master, command.toUtf8() + '\n');
}
