// udp.cpp - IPv4 UDP sockets.
#include "udp.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "internal/ipv4.h"
#include "str.h"

namespace {

using libbase::UdpFailure;

// Printed texts that applications and their log readers match: they stay
// as they are, blanks included. The first is also printed for an address
// text of two characters or less.
constexpr char kNoLocalIp[] = "Udp_Socket_Create_bind_ip_port   input ip is NULL\n";
constexpr char kInvalidAnyAddress[] = "UDP port[%d]:create udp server failed, Invalid source IP!\n";

bool bad_length(int len)
{
    if (len >= 0)
        return false;
    errno = EINVAL;
    return true;
}

int receive(int sockid, char *buf, int len, sockaddr_in *from)
{
    if (bad_length(len))
        return -1;
    socklen_t fromlen = sizeof(sockaddr_in);
    return static_cast<int>(recvfrom(sockid, buf, static_cast<size_t>(len), MSG_DONTWAIT,
                                     reinterpret_cast<sockaddr *>(from), from ? &fromlen : nullptr));
}

} // namespace

extern "C" {

int Udp_Socket_Create(int port)
{
    int fd;
    switch (libbase::open_bound_udp(htonl(INADDR_ANY), port, true, &fd)) {
    case UdpFailure::none:
        return fd;
    case UdpFailure::socket:
        printf("UDP port[%d]: create udp server failed, socket error\n", port);
        return -1;
    case UdpFailure::address:
        printf(kInvalidAnyAddress, port);
        return -1;
    case UdpFailure::bind:
        // The socket stays open, as the TCP servers leave theirs.
        perror("\xB0\xF3\xB6\xA8");  // "bind"
        printf("UDP port[%d]: udp server failed, bind local address error!\n", port);
        return -1;
    }
    return -1;
}

int Udp_Socket_Create_bind_ip_port(char *pchLocalIp, int port)
{
    if (pchLocalIp == nullptr || Str_Len(pchLocalIp) <= 2) {
        printf(kNoLocalIp);
        return -1;
    }
    int fd;
    UdpFailure failed = libbase::open_bound_udp(inet_addr(pchLocalIp), port, false, &fd);
    if (failed != UdpFailure::none && fd >= 0)
        close(fd);  // this one closes its socket on every failure
    switch (failed) {
    case UdpFailure::none:
        return fd;
    case UdpFailure::socket:
        printf("Udp_Socket_Create_bind_ip_port  create socket fail\n");
        return -1;
    case UdpFailure::address:
        printf("Udp_Socket_Create_bind_ip_port  inet_pton fail\n");
        return -1;
    case UdpFailure::bind:
        printf("Udp_Socket_Create_bind_ip_port  bind fail\n");
        return -1;
    }
    return -1;
}

int Udp_Socket_Recv(int sockid, char *buffer, int len)
{
    sockaddr_in from;
    return receive(sockid, buffer, len, &from);
}

int Udp_Socket_recv_By_Addr(int sockid, char *buf, int len, char *ip, int *pport)
{
    if (ip == nullptr || pport == nullptr)
        return -1;
    sockaddr_in from;
    memset(&from, 0, sizeof from);
    int n = receive(sockid, buf, len, &from);
    if (n > 0) {
        inet_ntop(AF_INET, &from.sin_addr, ip, INET_ADDRSTRLEN);
        *pport = ntohs(from.sin_port);
    }
    return n;
}

int Udp_Socket_Recv_By_Sockaddr(int sockid, char *buf, int len, struct sockaddr_in *psockaddr)
{
    return receive(sockid, buf, len, psockaddr);
}

int Udp_Socket_Send(int sockid, char *buf, int len, char *ip, int port)
{
    if (ip == nullptr || buf == nullptr || bad_length(len))
        return -1;
    sockaddr_in to = libbase::ipv4_address(inet_addr(ip), port);
    ssize_t n = sendto(sockid, buf, static_cast<size_t>(len), 0, reinterpret_cast<sockaddr *>(&to), sizeof to);
    return n == -1 ? -1 : 1;
}

int Udp_Socket_Close(int sockid)
{
    return sockid < 1 ? -1 : close(sockid);
}

} // extern "C"
