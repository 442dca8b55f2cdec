#pragma once

#include <functional>

// Calls on the main (GUI) thread, standing in for the platform's
// "perform on main thread" family. Workers hand results over with async();
// a worker that must read main-thread state waits with sync().
namespace MVMainThread {
// True on the thread that owns the application object.
bool isCurrent();
// Runs fn on the main thread later, without waiting. Safe from any thread.
void async(std::function<void()> fn);
// Runs fn on the main thread and waits for it. Runs at once on the main thread.
// Without a running application object fn runs on the calling thread.
void sync(const std::function<void()> &fn);
// Runs the main thread's pending calls (for tests and modal waits).
void processPending();
}
