#include "tcp.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>

#include "test_support.h"

using testing_support::Printed;

namespace {

char kLoopback[] = "127.0.0.1";
const std::string kConnectedText = "\xC1\xAC\xBD\xD3\xB3\xC9\xB9\xA6\n";

int local_port(int fd)
{
    sockaddr_in sa{};
    socklen_t len = sizeof sa;
    getsockname(fd, reinterpret_cast<sockaddr *>(&sa), &len);
    return ntohs(sa.sin_port);
}

int int_option(int fd, int option)
{
    int value = 0;
    socklen_t len = sizeof value;
    getsockopt(fd, SOL_SOCKET, option, &value, &len);
    return value;
}

bool nonblocking(int fd)
{
    return (fcntl(fd, F_GETFL) & O_NONBLOCK) != 0;
}

bool wait_for(int fd, short events)
{
    pollfd p = {fd, events, 0};
    return poll(&p, 1, 2000) == 1;
}

// A loopback port nobody listens on.
int closed_port()
{
    int fd = Tcp_Server_Create_Bind_Ip(kLoopback, 0);
    int port = local_port(fd);
    close(fd);
    return port;
}

int next_descriptor()
{
    int fd = dup(1);
    close(fd);
    return fd;
}

// Polls until the status leaves CONNECTING; the last result.
int settle(int fd, int *status)
{
    int result = 0;
    for (int i = 0; i < 200 && *status == CONNECTING; i++) {
        result = Tcp_Select_Status(fd, status);
        if (*status == CONNECTING)
            wait_for(fd, POLLOUT);
    }
    return result;
}

} // namespace

TEST(Tcp, SetSockOpt)
{
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_EQ(Tcp_Set_Sock_Opt(fd, 2, 1000), -1);
    EXPECT_EQ(Tcp_Set_Sock_Opt(fd, 0, 0), -1);
    EXPECT_EQ(Tcp_Set_Sock_Opt(0, 0, 1000), -1);
    EXPECT_EQ(Tcp_Set_Sock_Opt(fd, 1, 100000), 0);
    EXPECT_GE(int_option(fd, SO_RCVBUF), 100000);
    int pipe_fds[2];
    ASSERT_EQ(pipe(pipe_fds), 0);
    EXPECT_EQ(Tcp_Set_Sock_Opt(pipe_fds[0], 0, 1000), 0);  // refused by the kernel, still 0
    close(pipe_fds[0]);
    close(pipe_fds[1]);
    close(fd);
}

TEST(Tcp, ServerCreateFailures)
{
    EXPECT_EQ(Printed([] { EXPECT_EQ(Tcp_Server_Create(-1), -1); }), "TCP invalid port [-1]\n");
    EXPECT_EQ(Printed([] { EXPECT_EQ(Tcp_Server_Create_Bind_Ip(nullptr, 5), -1); }), "TCP invalid port [5]\n");

    int server = Tcp_Server_Create(0), port = local_port(server), left_open = -1;
    ASSERT_GT(server, 0);
    EXPECT_GT(port, 0);
    EXPECT_TRUE(nonblocking(server));
    std::string out = Printed([&] {
        left_open = next_descriptor();
        EXPECT_EQ(Tcp_Server_Create(port), -1);
    });
    EXPECT_EQ(out.rfind("TCP Server port[" + std::to_string(port) + "] bind failed,erro [", 0), 0u) << out;
    EXPECT_NE(fcntl(left_open, F_GETFD), -1);  // left open on purpose
    close(left_open);
    close(server);
}

TEST(Tcp, ConnectAcceptSendReceive)
{
    signal(SIGPIPE, SIG_DFL);  // a SIGPIPE would end the test
    int server = Tcp_Server_Create_Bind_Ip(kLoopback, 0);
    int client = Tcp_Connect(kLoopback, local_port(server));
    ASSERT_GT(client, 0);
    EXPECT_TRUE(nonblocking(client));
    EXPECT_GE(int_option(client, SO_SNDBUF), 200000);

    char ip[32];
    int port = 0;
    memset(ip, 'x', sizeof ip);
    ASSERT_TRUE(wait_for(server, POLLIN));
    int peer = Tcp_Server_Accept_Addr(server, ip, sizeof ip, &port);
    ASSERT_GT(peer, 0);
    EXPECT_STREQ(ip, "127.0.0.1");
    EXPECT_EQ(std::string(ip + 9, sizeof ip - 9), std::string(sizeof ip - 9, '\0'));
    EXPECT_EQ(port, local_port(client));
    EXPECT_TRUE(nonblocking(peer));
    EXPECT_GE(int_option(peer, SO_SNDBUF), 200000);
    EXPECT_EQ(Tcp_Server_Accept(server), -1);  // none waiting
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Tcp_Server_Accept_Addr(server, nullptr, 16, &port), -1); }),
              "Tcp_Server_Accept_Addr  input error\n");

    char hello[] = "hello", buf[16];
    EXPECT_EQ(Tcp_Socket_Send(client, hello, 5), 5);
    ASSERT_TRUE(wait_for(peer, POLLIN));
    memset(buf, 'z', sizeof buf);
    EXPECT_EQ(Tcp_Socket_Recv(peer, buf, sizeof buf), 5);
    EXPECT_EQ(std::string(buf, sizeof buf), std::string("hello") + std::string(11, '\0'));
    memset(buf, 'z', sizeof buf);
    EXPECT_EQ(Tcp_Socket_Recv(peer, buf, sizeof buf), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(std::string(buf, sizeof buf), std::string(16, '\0'));  // zero-filled all the same
    EXPECT_EQ(Tcp_Socket_Recv(peer, nullptr, 4), -1);

    EXPECT_EQ(Tcp_Socket_Close(client), 0);
    ASSERT_TRUE(wait_for(peer, POLLIN));
    EXPECT_EQ(Tcp_Socket_Recv(peer, buf, sizeof buf), 0);
    int sent = 0;
    for (int i = 0; i < 20 && sent >= 0; i++) {
        sent = Tcp_Socket_Send(peer, hello, 5);
        if (sent >= 0)
            wait_for(peer, POLLERR | POLLHUP);
    }
    EXPECT_EQ(sent, -1);  // broken connection: an error, not a signal
    EXPECT_TRUE(errno == EPIPE || errno == ECONNRESET) << errno;
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Tcp_Socket_Send(-3, hello, 5), -1); }), "TCP send invalid socketid[-3]\n");
    EXPECT_EQ(Tcp_Socket_Send(peer, nullptr, 5), -1);

    EXPECT_EQ(Tcp_Socket_Close(peer), 0);
    EXPECT_EQ(Tcp_Socket_Close(server), 0);
    EXPECT_EQ(Tcp_Socket_Close(0), -1);
    EXPECT_NE(fcntl(0, F_GETFD), -1);
}

TEST(Tcp, BlockingConnectFailures)
{
    char bad[] = "no address";
    EXPECT_EQ(Printed([] { EXPECT_EQ(Tcp_Connect(nullptr, 1), -1); }), "");
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Tcp_Connect(bad, closed_port()), -1); }), "");  // tries 255.255.255.255
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Tcp_Connect(kLoopback, closed_port()), -1); }), "");
}

TEST(Tcp, NonBlockingConnectToListener)
{
    int server = Tcp_Server_Create_Bind_Ip(kLoopback, 0);
    T_SOCKET_TH th = {-5, CONNECT_REFUSE};
    std::string out = Printed([&] { EXPECT_EQ(Tcp_Connect_Non_Lock(kLoopback, local_port(server), &th), 0); });
    ASSERT_GT(th.socketId, 0);
    EXPECT_TRUE(nonblocking(th.socketId));
    EXPECT_EQ(out, th.connect_status == CONNECTED ? kConnectedText : "");
    int status = th.connect_status;
    EXPECT_EQ(settle(th.socketId, &status), 0);
    EXPECT_EQ(status, CONNECTED);
    EXPECT_EQ(Tcp_Select_Status(th.socketId, &status), 0);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Tcp_Select_Status(-1, &status), -1); }),
              "[Tcp_Select_Status]  socketid <0  error\n");
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Tcp_Connect_Non_Lock(kLoopback, 1, nullptr), -1); }),
              "Tcp_Connect_Non_Lock p_socket_th is null \n");
    close(th.socketId);
    close(server);
}

TEST(Tcp, RefusedConnectStaysRefused)
{
    T_SOCKET_TH th = {0, CONNECTED};
    ASSERT_EQ(Tcp_Connect_Non_Lock(kLoopback, closed_port(), &th), 0);
    EXPECT_EQ(th.connect_status, CONNECTING);
    int status = th.connect_status;
    EXPECT_EQ(settle(th.socketId, &status), -1);
    EXPECT_EQ(status, CONNECT_REFUSE);
    for (int i = 0; i < 3; i++) {  // the kernel reports the refusal only once
        status = CONNECTING;
        EXPECT_EQ(Tcp_Select_Status(th.socketId, &status), -1);
        EXPECT_EQ(status, CONNECT_REFUSE);
    }
    close(th.socketId);
}
