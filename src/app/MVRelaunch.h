#pragma once

#include <QString>

// Restarting the editor: the helper "relauncher" waits for this process to
// end and starts the editor again.
namespace MVRelaunch {
// The helper beside the executable (build tree) or in libexec (installed).
QString relauncherPath();
// Starts the helper with the executable's path and this process's id;
// the caller then quits the application. False if the helper did not start.
bool startRelauncher();
}
