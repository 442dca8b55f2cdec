#pragma once

// What the file tree needs of a site's action queue.
class MVRemoteFilesQueue
{
public:
    virtual ~MVRemoteFilesQueue() = default;

    // True if the site's host is reachable now.
    virtual bool isOnline() const = 0;
    // Removes the object as finish delegate from every queued action, so that
    // no answer reaches it any more.
    virtual void clearActionDelegate(const void *delegate) = 0;
};
