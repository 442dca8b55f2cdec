#pragma once

#include <QString>

// The startup item that makes the user's configuration tree: the private
// temporary directory, the configuration root, the copies of the Tidy
// configurations and user scripts, and the empty data directories. What
// exists already is left alone, so the user's changes survive updates.
class MVSetupConfigurationDirectories
{
public:
    bool needsToRun() const { return true; }
    void run();

    // Creates target under the configuration root when it is missing: a copy
    // of the application's resource directory, or an empty directory.
    static bool createAppSupportDirectory(const QString &target, const QString &bundleDirectory = QString());
};
