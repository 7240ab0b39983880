#include "tcp.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>

#include "test_support.h"

using testing_support::LocalPort;
using testing_support::Printed;

namespace {

char kLoopback[] = "127.0.0.1";

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

} // namespace

TEST(Tcp, ConnectAcceptTransferAndBadArguments)
{
    signal(SIGPIPE, SIG_DFL);  // a SIGPIPE would end the test
    int server = Tcp_Server_Create(0), client = Tcp_Connect(kLoopback, LocalPort(server)), port = 0;
    char ip[32], hello[] = "hello", buf[16];
    memset(ip, 'x', sizeof ip);
    ASSERT_GT(client, 0);
    ASSERT_TRUE(wait_for(server, POLLIN));
    int peer = Tcp_Server_Accept_Addr(server, ip, sizeof ip, &port), null_fd = open("/dev/null", O_RDONLY);
    EXPECT_EQ(std::string(ip, sizeof ip), "127.0.0.1" + std::string(sizeof ip - 9, '\0'));
    EXPECT_EQ(port, LocalPort(client));
    EXPECT_TRUE(nonblocking(server));
    EXPECT_TRUE(nonblocking(client));
    EXPECT_TRUE(nonblocking(peer));
    EXPECT_GE(int_option(client, SO_SNDBUF), 200000);
    EXPECT_GE(int_option(peer, SO_SNDBUF), 200000);
    EXPECT_EQ(Tcp_Set_Sock_Opt(peer, 1, 100000), 0);
    EXPECT_EQ(Tcp_Set_Sock_Opt(null_fd, 0, 1000), 0);  // a kernel refusal is 0
    EXPECT_GE(int_option(peer, SO_RCVBUF), 100000);
    close(null_fd);

    EXPECT_EQ(Tcp_Socket_Send(client, hello, 5), 5);
    ASSERT_TRUE(wait_for(peer, POLLIN));
    memset(buf, 'z', sizeof buf);
    EXPECT_EQ(Tcp_Socket_Recv(peer, buf, sizeof buf), 5);
    EXPECT_EQ(std::string(buf, sizeof buf), "hello" + std::string(11, '\0'));
    memset(buf, 'z', sizeof buf);
    EXPECT_EQ(Tcp_Socket_Recv(peer, buf, sizeof buf), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(std::string(buf, sizeof buf), std::string(16, '\0'));  // zero-filled all the same
    EXPECT_EQ(Tcp_Socket_Recv(peer, nullptr, 4), -1);
    EXPECT_EQ(Tcp_Socket_Send(peer, nullptr, 5), -1);

    EXPECT_EQ(Tcp_Socket_Close(client), 0);
    ASSERT_TRUE(wait_for(peer, POLLIN));
    EXPECT_EQ(Tcp_Socket_Recv(peer, buf, sizeof buf), 0);
    int sent = 0;
    for (int i = 0; i < 20 && sent >= 0; i++, wait_for(peer, POLLERR | POLLHUP))
        sent = Tcp_Socket_Send(peer, hello, 5);
    EXPECT_EQ(sent, -1);  // broken connection: an error, not a signal
    EXPECT_TRUE(errno == EPIPE || errno == ECONNRESET) << errno;
    EXPECT_EQ(Tcp_Socket_Close(peer), 0);

    int status = 0, left_open = -1, listening = LocalPort(server);
    std::string out = Printed([&] {  // none is waiting to be accepted; descriptor 0 is never closed
        EXPECT_EQ(Tcp_Server_Create(-1), -1);
        EXPECT_EQ(Tcp_Server_Create_Bind_Ip(nullptr, 5), -1);
        EXPECT_EQ(Tcp_Server_Accept_Addr(server, nullptr, 16, &port), -1);
        EXPECT_EQ(Tcp_Server_Accept(server), -1);
        EXPECT_EQ(Tcp_Socket_Send(-3, hello, 5), -1);
        EXPECT_EQ(Tcp_Select_Status(-1, &status), -1);
        EXPECT_EQ(Tcp_Connect_Non_Lock(kLoopback, 1, nullptr), -1);
        EXPECT_EQ(Tcp_Connect(nullptr, 1), -1);
        EXPECT_EQ(Tcp_Socket_Close(0), -1);
        EXPECT_EQ(Tcp_Set_Sock_Opt(server, 2, 1000), -1);
        EXPECT_EQ(Tcp_Set_Sock_Opt(server, 0, 0), -1);
        EXPECT_EQ(Tcp_Set_Sock_Opt(0, 0, 1000), -1);
        close(left_open = dup(1));  // the number the next socket gets
        EXPECT_EQ(Tcp_Server_Create(listening), -1);
    });
    std::string want = "TCP invalid port [-1]\nTCP invalid port [5]\nTcp_Server_Accept_Addr  input error\n"
                       "TCP send invalid socketid[-3]\n[Tcp_Select_Status]  socketid <0  error\n"
                       "Tcp_Connect_Non_Lock p_socket_th is null \nTCP Server port[" + std::to_string(listening) +
                       "] bind failed,erro [";
    EXPECT_EQ(out.substr(0, want.size()), want);
    EXPECT_NE(fcntl(left_open, F_GETFD), -1);  // a failed bind leaves its socket open on purpose
    EXPECT_NE(fcntl(0, F_GETFD), -1);
    close(left_open);
    EXPECT_EQ(Tcp_Socket_Close(server), 0);
}

TEST(Tcp, Connects)
{
    int server = Tcp_Server_Create_Bind_Ip(kLoopback, 0), port = LocalPort(server);
    char bad[] = "no address";  // means 255.255.255.255
    for (int refused = 0; refused < 2; refused++) {  // non-blocking: to a listener, then to nobody
        SCOPED_TRACE(refused ? "to nobody" : "to a listener");
        T_SOCKET_TH th = {-5, CONNECT_REFUSE};
        std::string out = Printed([&] { EXPECT_EQ(Tcp_Connect_Non_Lock(kLoopback, port, &th), 0); });
        ASSERT_GT(th.socketId, 0);
        ASSERT_LE(th.connect_status, CONNECTED);
        EXPECT_TRUE(nonblocking(th.socketId));
        EXPECT_EQ(out, th.connect_status == CONNECTED ? "\xC1\xAC\xBD\xD3\xB3\xC9\xB9\xA6\n" : "");
        int status = th.connect_status, result = 0;
        for (int i = 0; i < 200 && status == CONNECTING; i++, wait_for(th.socketId, POLLOUT))
            result = Tcp_Select_Status(th.socketId, &status);
        // Connected (0) or refused (-1): the kernel reports a refusal once, later polls keep it.
        for (int i = 0; i < 4; i++, status = CONNECTING, result = Tcp_Select_Status(th.socketId, &status)) {
            SCOPED_TRACE(i);
            EXPECT_EQ(result, -refused);
            EXPECT_EQ(status, refused ? CONNECT_REFUSE : CONNECTED);
        }
        close(th.socketId);
        close(refused ? -1 : server);
    }
    EXPECT_EQ(Printed([&] {
                  EXPECT_EQ(Tcp_Connect(kLoopback, port), -1);
                  EXPECT_EQ(Tcp_Connect(bad, port), -1);
              }),
              "");
}
