// internal/ipv4.cpp - IPv4 socket helpers shared by the socket modules.
#include "internal/ipv4.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>

#include <cstdint>
#include <cstring>

namespace libbase {

sockaddr_in ipv4_address(in_addr_t addr, int port)
{
    sockaddr_in sa;
    memset(&sa, 0, sizeof sa);
    sa.sin_family = AF_INET;
    sa.sin_port = htons(static_cast<uint16_t>(port));
    sa.sin_addr.s_addr = addr;
    return sa;
}

void set_nonblocking(int fd)
{
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL, 0) | O_NONBLOCK);
}

bool address_parses(in_addr addr)
{
    in_addr parsed;
    return inet_pton(AF_INET, inet_ntoa(addr), &parsed) == 1;
}

UdpFailure open_bound_udp(in_addr_t addr, int port, bool close_on_exec, int *fd)
{
    *fd = socket(AF_INET, SOCK_DGRAM, 0);
    if (*fd < 0)
        return UdpFailure::socket;
    set_nonblocking(*fd);
    if (close_on_exec)
        fcntl(*fd, F_SETFD, fcntl(*fd, F_GETFD, 0) | FD_CLOEXEC);
    sockaddr_in sa = ipv4_address(addr, port);
    if (!address_parses(sa.sin_addr))
        return UdpFailure::address;
    if (bind(*fd, reinterpret_cast<sockaddr *>(&sa), sizeof sa) < 0)
        return UdpFailure::bind;
    return UdpFailure::none;
}

} // namespace libbase
