// internal/ipv4.h - IPv4 socket helpers shared by the TCP, UDP and network
// log modules. Private to the library: never installed.
#pragma once

#include <netinet/in.h>

namespace libbase {

// A zeroed AF_INET address: addr in network order, port in host order.
sockaddr_in ipv4_address(in_addr_t addr, int port);

// Adds O_NONBLOCK to the descriptor's status flags (F_GETFL, then F_SETFL).
void set_nonblocking(int fd);

// The address check the socket modules make before binding or connecting:
// the address printed with inet_ntoa and parsed back with inet_pton. It
// holds for any 32-bit address; the modules keep it and its message.
bool address_parses(in_addr addr);

// The step at which making a bound UDP socket failed.
enum class UdpFailure { none, socket, address, bind };

// Opens a non-blocking IPv4 UDP socket (close-on-exec too when asked) and
// binds it to addr:port. *fd is the socket, or -1 when socket() failed; a
// socket whose address check or bind failed is left open for the caller,
// who prints its own messages and decides whether to close it.
UdpFailure open_bound_udp(in_addr_t addr, int port, bool close_on_exec, int *fd);

} // namespace libbase
