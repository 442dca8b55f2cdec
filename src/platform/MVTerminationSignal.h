#pragma once

#include <functional>

// Turns SIGTERM, SIGINT and SIGHUP into a call on the main thread, so the
// session's end or a Ctrl-C in a terminal ends the event loop in order
// instead of killing the process in the middle of a write.
namespace MVTerminationSignal {
bool install(std::function<void()> onSignal);
}
