// udp.cpp - IPv4 UDP sockets.
#include "udp.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "str.h"

namespace {

sockaddr_in ipv4_address(in_addr_t addr, int port)
{
    sockaddr_in sa;
    memset(&sa, 0, sizeof sa);
    sa.sin_family = AF_INET;
    sa.sin_port = htons(static_cast<uint16_t>(port));
    sa.sin_addr.s_addr = addr;
    return sa;
}

// The address field printed and parsed back; any 32-bit address passes.
bool address_parses(const sockaddr_in &sa)
{
    in_addr parsed;
    return inet_pton(AF_INET, inet_ntoa(sa.sin_addr), &parsed) == 1;
}

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
    int fd = socket(AF_INET, SOCK_DGRAM, 0);
    if (fd < 0) {
        printf("UDP port[%d]: create udp server failed, socket error\n", port);
        return -1;
    }
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL, 0) | O_NONBLOCK);
    fcntl(fd, F_SETFD, fcntl(fd, F_GETFD, 0) | FD_CLOEXEC);
    sockaddr_in sa = ipv4_address(htonl(INADDR_ANY), port);
    if (!address_parses(sa)) {
        printf("UDP port[%d]:create udp server failed, Invalid source IP!\n", port);
        return -1;
    }
    // A failed bind leaves the socket open, as the TCP servers do.
    if (bind(fd, reinterpret_cast<sockaddr *>(&sa), sizeof sa) < 0) {
        perror("\xB0\xF3\xB6\xA8");  // "bind"
        printf("UDP port[%d]: udp server failed, bind local address error!\n", port);
        return -1;
    }
    return fd;
}

int Udp_Socket_Create_bind_ip_port(char *pchLocalIp, int port)
{
    if (pchLocalIp == nullptr || Str_Len(pchLocalIp) <= 2) {
        printf("Udp_Socket_Create_bind_ip_port   input ip is NULL\n");
        return -1;
    }
    int fd = socket(AF_INET, SOCK_DGRAM, 0);
    if (fd < 0) {
        printf("Udp_Socket_Create_bind_ip_port  create socket fail\n");
        return -1;
    }
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL, 0) | O_NONBLOCK);
    sockaddr_in sa = ipv4_address(inet_addr(pchLocalIp), port);
    if (!address_parses(sa)) {
        close(fd);
        printf("Udp_Socket_Create_bind_ip_port  inet_pton fail\n");
        return -1;
    }
    if (bind(fd, reinterpret_cast<sockaddr *>(&sa), sizeof sa) < 0) {
        close(fd);
        printf("Udp_Socket_Create_bind_ip_port  bind fail\n");
        return -1;
    }
    return fd;
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
    sockaddr_in to = ipv4_address(inet_addr(ip), port);
    ssize_t n = sendto(sockid, buf, static_cast<size_t>(len), 0, reinterpret_cast<sockaddr *>(&to), sizeof to);
    return n == -1 ? -1 : 1;
}

int Udp_Socket_Close(int sockid)
{
    return sockid < 1 ? -1 : close(sockid);
}

} // extern "C"
