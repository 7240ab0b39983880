#include "udp.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "test_support.h"

using testing_support::Printed;

namespace {

char kLoopback[] = "127.0.0.1";

int local_port(int fd)
{
    sockaddr_in sa{};
    socklen_t len = sizeof sa;
    getsockname(fd, reinterpret_cast<sockaddr *>(&sa), &len);
    return ntohs(sa.sin_port);
}

bool wait_readable(int fd)
{
    pollfd p = {fd, POLLIN, 0};
    return poll(&p, 1, 2000) == 1;
}

// The descriptor the next socket will get, for closing one a failure leaves open.
int next_descriptor()
{
    int fd = dup(1);
    close(fd);
    return fd;
}

} // namespace

TEST(Udp, SocketsAndDatagrams)
{
    int a = Udp_Socket_Create(0);
    int b = Udp_Socket_Create_bind_ip_port(kLoopback, 0);
    ASSERT_GT(a, 0);
    ASSERT_GT(b, 0);
    EXPECT_TRUE(fcntl(a, F_GETFL) & O_NONBLOCK);
    EXPECT_TRUE(fcntl(a, F_GETFD) & FD_CLOEXEC);
    EXPECT_TRUE(fcntl(b, F_GETFL) & O_NONBLOCK);
    EXPECT_FALSE(fcntl(b, F_GETFD) & FD_CLOEXEC);

    char buf[2000], ip[16] = "untouched";
    int port = -7;
    EXPECT_EQ(Udp_Socket_recv_By_Addr(b, buf, sizeof buf, ip, &port), -1);
    EXPECT_STREQ(ip, "untouched");
    EXPECT_EQ(port, -7);

    std::string data(1000, 'u');
    EXPECT_EQ(Udp_Socket_Send(a, data.data(), 1000, kLoopback, local_port(b)), 1);  // not the count
    ASSERT_TRUE(wait_readable(b));
    EXPECT_EQ(Udp_Socket_recv_By_Addr(b, buf, sizeof buf, ip, &port), 1000);
    EXPECT_STREQ(ip, "127.0.0.1");
    EXPECT_EQ(port, local_port(a));

    char xy[] = "xy";
    sockaddr_in from{};
    Udp_Socket_Send(a, xy, 2, kLoopback, local_port(b));
    ASSERT_TRUE(wait_readable(b));
    EXPECT_EQ(Udp_Socket_Recv_By_Sockaddr(b, buf, sizeof buf, &from), 2);
    EXPECT_EQ(ntohs(from.sin_port), local_port(a));
    Udp_Socket_Send(a, xy, 2, kLoopback, local_port(b));
    ASSERT_TRUE(wait_readable(b));
    EXPECT_EQ(Udp_Socket_Recv(b, buf, sizeof buf), 2);
    EXPECT_EQ(Udp_Socket_Recv(b, buf, sizeof buf), -1);

    char bad[] = "no address";  // 255.255.255.255 without SO_BROADCAST is refused
    EXPECT_EQ(Udp_Socket_Send(a, xy, 2, bad, 9), -1);
    EXPECT_EQ(Udp_Socket_Send(a, nullptr, 2, kLoopback, 9), -1);
    EXPECT_EQ(Udp_Socket_Send(a, xy, 2, nullptr, 9), -1);
    EXPECT_EQ(Udp_Socket_recv_By_Addr(b, buf, 2, nullptr, &port), -1);

    EXPECT_EQ(Udp_Socket_Close(a), 0);
    EXPECT_EQ(Udp_Socket_Close(b), 0);
    EXPECT_EQ(Udp_Socket_Close(0), -1);
    EXPECT_NE(fcntl(0, F_GETFD), -1);
}

TEST(Udp, CreateFailures)
{
    char two[] = "12", three[] = "1.2";
    const std::string null_ip = "Udp_Socket_Create_bind_ip_port   input ip is NULL\n";
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Udp_Socket_Create_bind_ip_port(nullptr, 0), -1); }), null_ip);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Udp_Socket_Create_bind_ip_port(two, 0), -1); }), null_ip);
    // Three characters pass the length test; 1.0.0.2 is no local address.
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Udp_Socket_Create_bind_ip_port(three, 0), -1); }),
              "Udp_Socket_Create_bind_ip_port  bind fail\n");

    int a = Udp_Socket_Create(0), port = local_port(a), left_open = -1;
    EXPECT_EQ(Printed([&] {
                  left_open = next_descriptor();
                  EXPECT_EQ(Udp_Socket_Create(port), -1);
              }),
              "UDP port[" + std::to_string(port) + "]: udp server failed, bind local address error!\n");
    EXPECT_NE(fcntl(left_open, F_GETFD), -1);
    close(left_open);
    close(a);
}
