#include "platform/MVTerminationSignal.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {
int s_fds[2] = {-1, -1};

void handleSignal(int)
{
    const char byte = 1;
    // Only async-signal-safe work here: one byte into the pipe.
    [[maybe_unused]] const ssize_t written = ::write(s_fds[0], &byte, 1);
}
}

bool MVTerminationSignal::install(std::function<void()> onSignal)
{
    if (s_fds[0] >= 0 || ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, s_fds) != 0)
        return false;
    auto *notifier = new QSocketNotifier(s_fds[1], QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [onSignal = std::move(onSignal)] {
        char byte;
        [[maybe_unused]] const ssize_t got = ::read(s_fds[1], &byte, 1);
        onSignal();
    });
    struct sigaction action = {};
    action.sa_handler = handleSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int signal : {SIGTERM, SIGINT, SIGHUP})
        ::sigaction(signal, &action, nullptr);
    return true;
}
