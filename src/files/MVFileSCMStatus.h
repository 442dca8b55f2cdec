#pragma once

#include <QString>

// The version-control status of one path, as the tree shows it.
class MVFileSCMStatus
{
public:
    enum { StatusNone = 0, StatusModified = 5, StatusUnversioned = 8 };

    virtual ~MVFileSCMStatus() = default;
    // The path as given to the status query: relative to the node asked, or absolute.
    virtual QString path() const = 0;
    virtual int workingCopyStatus() const = 0;
    virtual QString workingCopyStatusLetter() const = 0;
};
