#include "servers/FreePorts.h"

#include <QRandomGenerator>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

bool FreePorts::isFree(quint16 port)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return false;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool bound = ::bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
    ::close(fd);
    return bound;
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
