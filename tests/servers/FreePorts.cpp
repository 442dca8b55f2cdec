#include "servers/FreePorts.h"

#include <QRandomGenerator>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// Binds or connects a fresh TCP socket to 127.0.0.1:port; true if it could.
template <typename Call>
bool tryLoopback(quint16 port, Call call)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return false;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool done = call(fd, reinterpret_cast<sockaddr *>(&address), socklen_t(sizeof address)) == 0;
    ::close(fd);
    return done;
}

} // namespace

bool FreePorts::isFree(quint16 port)
{
    return tryLoopback(port, ::bind);
}

bool FreePorts::acceptsConnections(quint16 port)
{
    return tryLoopback(port, ::connect);
}

quint16 FreePorts::pick(int count, quint16 low, quint16 high)
{
    const int span = high - low - count + 1;
    if (span <= 0)
        return 0;
    for (int attempt = 0; attempt < 200; ++attempt) {
        const auto first = quint16(low + QRandomGenerator::global()->bounded(span));
        bool free = true;
        for (int i = 0; i < count && free; ++i)
            free = isFree(quint16(first + i));
        if (free)
            return first;
    }
    return 0;
}
