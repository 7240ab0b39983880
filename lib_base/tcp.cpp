// tcp.cpp - IPv4 TCP server and client sockets.
#include "tcp.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "internal/ipv4.h"

static_assert(sizeof(CONNECT_STATUS) == 4, "status is an int");
static_assert(sizeof(T_SOCKET_TH) == 8, "connect record layout");
static_assert(offsetof(T_SOCKET_TH, connect_status) == 4, "connect record layout");

namespace {

constexpr int kSendBufferSize = 200000;  // given to every accepted or connected socket
constexpr int kListenBacklog = 50;

// Printed texts that applications and their log readers match: they stay
// as they are, slips ("creat", "erro", doubled blanks) included. The error
// texts come from h_errno, not errno, on purpose.
constexpr char kServerSocketFailed[] = "TCP Server port[%d] socket creat failed,return sockfd[%d]erro[%s]\n";
constexpr char kServerBindFailed[] = "TCP Server port[%d] bind failed,erro [%s]\n";
constexpr char kHerrorPrefix[] = "net erro";
constexpr char kServerListenFailed[] = "TCP Server port[%d] listen failed erro[%s]\n";
constexpr char kClientSocketFailed[] = "TCP client connect to [%s:%d]socket creat failed,return sockfd[%d],erro[%s]\n";
constexpr char kInvalidRemote[] = "TCP client connect to Invalid  remote IP!\n";
constexpr char kAcceptAddrInput[] = "Tcp_Server_Accept_Addr  input error\n";
constexpr char kSelectBadSocket[] = "[Tcp_Select_Status]  socketid <0  error\n";
// Also printed for a NULL ip.
constexpr char kNoSocketRecord[] = "Tcp_Connect_Non_Lock p_socket_th is null \n";

using libbase::ipv4_address;
using libbase::set_nonblocking;

// The address check made before every connect is made on the address field
// of a blank peer address, not on the ip text: it holds for any ip.
bool blank_address_parses()
{
    in_addr blank;
    blank.s_addr = 0;
    return libbase::address_parses(blank);
}

int server_create(int port, in_addr_t addr)
{
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 1) {
        printf(kServerSocketFailed, port, fd, hstrerror(h_errno));
        return fd;
    }
    set_nonblocking(fd);
    int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    // On the failures below the socket is left open, as it always was.
    sockaddr_in sa = ipv4_address(addr, port);
    if (bind(fd, reinterpret_cast<sockaddr *>(&sa), sizeof sa) < 0) {
        printf(kServerBindFailed, port, hstrerror(h_errno));
        fflush(stdout);
        herror(kHerrorPrefix);
        return -1;
    }
    if (listen(fd, kListenBacklog) == -1) {
        printf(kServerListenFailed, port, hstrerror(h_errno));
        return -1;
    }
    return fd;
}

int accept_peer(int server_sockid, sockaddr_in *peer)
{
    memset(peer, 0, sizeof *peer);
    socklen_t len = sizeof *peer;
    int fd = accept(server_sockid, reinterpret_cast<sockaddr *>(peer), &len);
    if (fd < 0)
        return -1;
    set_nonblocking(fd);
    return fd;
}

int print_socket_failure(const char *ip, int port, int fd)
{
    printf(kClientSocketFailed, ip, port, fd, hstrerror(h_errno));
    return fd;
}

// True when the socket has a peer; a refused connect leaves none.
bool has_peer(int fd)
{
    sockaddr_in peer;
    socklen_t len = sizeof peer;
    return getpeername(fd, reinterpret_cast<sockaddr *>(&peer), &len) == 0;
}

} // namespace

extern "C" {

int Tcp_Set_Sock_Opt(int sockfd, int set_buf_type, int set_len)
{
    if (sockfd < 1 || set_len < 1 || (set_buf_type != 0 && set_buf_type != 1))
        return -1;
    int option = set_buf_type == 0 ? SO_SNDBUF : SO_RCVBUF;
    int size = 0;
    socklen_t len = sizeof size;
    getsockopt(sockfd, SOL_SOCKET, option, &size, &len);
    setsockopt(sockfd, SOL_SOCKET, option, &set_len, 4);
    len = sizeof size;
    getsockopt(sockfd, SOL_SOCKET, option, &size, &len);
    return 0;
}

int Tcp_Server_Create(int port)
{
    if (port < 0) {
        printf("TCP invalid port [%d]\n", port);
        return -1;
    }
    return server_create(port, htonl(INADDR_ANY));
}

int Tcp_Server_Create_Bind_Ip(char *pchIp, int port)
{
    if (pchIp == nullptr || port < 0) {
        printf("TCP invalid port [%d]\n", port);
        return -1;
    }
    return server_create(port, inet_addr(pchIp));
}

int Tcp_Server_Accept(int server_sockid)
{
    sockaddr_in peer;
    int fd = accept_peer(server_sockid, &peer);
    if (fd >= 0)
        Tcp_Set_Sock_Opt(fd, 0, kSendBufferSize);
    return fd;
}

int Tcp_Server_Accept_Addr(int server_sockid, char *ip, int len, int *port)
{
    if (ip == nullptr || port == nullptr) {
        printf(kAcceptAddrInput);
        return -1;
    }
    sockaddr_in peer;
    int fd = accept_peer(server_sockid, &peer);
    if (fd < 0)
        return -1;
    char text[INET_ADDRSTRLEN];
    inet_ntop(AF_INET, &peer.sin_addr, text, sizeof text);
    if (len > 0)
        strncpy(ip, text, static_cast<size_t>(len));  // exactly len bytes, zero-padded
    *port = ntohs(peer.sin_port);
    Tcp_Set_Sock_Opt(fd, 0, kSendBufferSize);
    return fd;
}

int Tcp_Connect(char *ip, int port)
{
    if (ip == nullptr)
        return -1;
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 1)
        return print_socket_failure(ip, port, fd);
    if (!blank_address_parses()) {
        printf(kInvalidRemote);
        close(fd);
        return -1;
    }
    sockaddr_in sa = ipv4_address(inet_addr(ip), port);
    if (connect(fd, reinterpret_cast<sockaddr *>(&sa), sizeof sa) != 0) {
        close(fd);
        return -1;
    }
    set_nonblocking(fd);
    Tcp_Set_Sock_Opt(fd, 0, kSendBufferSize);
    return fd;
}

int Tcp_Connect_Non_Lock(char *ip, int port, T_SOCKET_TH *p_socket_th)
{
    if (ip == nullptr || p_socket_th == nullptr) {
        printf(kNoSocketRecord);
        return -1;
    }
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 1) {
        print_socket_failure(ip, port, fd);
        return -1;
    }
    if (!blank_address_parses()) {
        close(fd);
        return -1;
    }
    sockaddr_in sa = ipv4_address(inet_addr(ip), port);
    set_nonblocking(fd);
    if (connect(fd, reinterpret_cast<sockaddr *>(&sa), sizeof sa) < 0) {
        int err = errno;
        Tcp_Set_Sock_Opt(fd, 0, kSendBufferSize);
        if (err != EINPROGRESS) {
            close(fd);
            return -1;
        }
        p_socket_th->connect_status = CONNECTING;
    } else {
        printf("\xC1\xAC\xBD\xD3\xB3\xC9\xB9\xA6\n");  // "connected successfully"
        Tcp_Set_Sock_Opt(fd, 0, kSendBufferSize);
        p_socket_th->connect_status = CONNECTED;
    }
    p_socket_th->socketId = fd;
    return 0;
}

int Tcp_Select_Status(int socket_id, int *status)
{
    if (socket_id < 0) {
        printf(kSelectBadSocket);
        return -1;
    }
    if (status == nullptr)
        return -1;
    if (*status == CONNECTED)
        return 0;
    // A zero-wait poll; "writable" as select reports it, errors included.
    // An invalid descriptor falls through to getsockopt, which reports it.
    pollfd pfd = {socket_id, POLLIN | POLLOUT, 0};
    poll(&pfd, 1, 0);
    if ((pfd.revents & (POLLOUT | POLLWRNORM | POLLWRBAND | POLLERR | POLLNVAL)) == 0) {
        *status = CONNECTING;
        return 0;
    }
    int err = 0;
    socklen_t len = 4;
    if (getsockopt(socket_id, SOL_SOCKET, SO_ERROR, &err, &len) < 0) {
        perror("getsockopt");
        return -1;
    }
    // The kernel reports a connect error once only: a socket that is done
    // connecting but has no peer was refused before.
    if (err == 0 && !has_peer(socket_id))
        err = ECONNREFUSED;
    if (err == 0) {
        *status = CONNECTED;
        return 0;
    }
    if (err != ECONNREFUSED && err != ETIMEDOUT) {
        errno = err;
        perror("connect err");
    }
    *status = CONNECT_REFUSE;
    return -1;
}

int Tcp_Socket_Recv(int sockid, char *pbuf, int len)
{
    if (pbuf == nullptr || len < 0) {
        errno = EINVAL;
        return -1;
    }
    memset(pbuf, 0, static_cast<size_t>(len));
    return static_cast<int>(recv(sockid, pbuf, static_cast<size_t>(len), MSG_DONTWAIT));
}

int Tcp_Socket_Send(int sockid, char *pbuf, int len)
{
    if (sockid < 0) {
        printf("TCP send invalid socketid[%d]\n", sockid);
        return -1;
    }
    if (pbuf == nullptr || len < 0) {
        errno = EINVAL;
        return -1;
    }
    return static_cast<int>(send(sockid, pbuf, static_cast<size_t>(len), MSG_NOSIGNAL));
}

int Tcp_Socket_Close(int sockid)
{
    return sockid < 1 ? -1 : close(sockid);
}

} // extern "C"
