#pragma once

#include <QString>

// Receives everything a client prints, passwords masked; called on the
// connection's thread.
class MVRemoteLogDelegate
{
public:
    virtual ~MVRemoteLogDelegate() = default;
    virtual void appendStringToLog(const QString &text) = 0;
};
