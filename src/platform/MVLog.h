#pragma once

#include <QString>

#include <functional>

// One plain line to the system log (standard error, which the session's
// journal keeps), for what the user need not see. Tests may capture lines.
namespace MVLog {
void line(const QString &text);
// Replaces the output for tests; an empty function restores standard error.
void setSink(std::function<void(const QString &)> sink);
}
