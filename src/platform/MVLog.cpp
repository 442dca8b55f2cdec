#include "platform/MVLog.h"

#include <cstdio>
#include <mutex>

namespace {
std::mutex s_mutex;
std::function<void(const QString &)> s_sink;
}

void MVLog::line(const QString &text)
{
    std::lock_guard lock(s_mutex);
    if (s_sink) {
        s_sink(text);
        return;
    }
    std::fprintf(stderr, "Morvel: %s\n", text.toUtf8().constData());
}

void MVLog::setSink(std::function<void(const QString &)> sink)
{
    std::lock_guard lock(s_mutex);
    s_sink = std::move(sink);
}
