#pragma once

#include <QtGlobal>

// Loopback ports for test servers. Ports are taken from below Linux's
// ephemeral range so that outgoing connections never grab them between
// the check and the server's own bind; servers started in parallel by
// other test processes can still win that race, so a caller retries with
// fresh ports when its server fails to bind.
namespace FreePorts {
// The first of `count` consecutive ports in [low, high) that 127.0.0.1
// can bind right now, starting from a random place; 0 when none is found.
quint16 pick(int count, quint16 low, quint16 high);
// Whether 127.0.0.1 can bind the port right now.
bool isFree(quint16 port);
// Whether something on 127.0.0.1 accepts a connection on the port.
bool acceptsConnections(quint16 port);
}
