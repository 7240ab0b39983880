#include "udp.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <string>

#include "test_support.h"

using testing_support::LocalPort;
using testing_support::Printed;

namespace {

char kLoopback[] = "127.0.0.1";

// Sends len bytes from a to b (a send gives 1, not the count) and waits until b can read them.
bool deliver(int a, int b, char *data, int len)
{
    pollfd p = {b, POLLIN, 0};
    return Udp_Socket_Send(a, data, len, kLoopback, LocalPort(b)) == 1 && poll(&p, 1, 2000) == 1;
}

} // namespace

TEST(Udp, SocketsDatagramsAndFailures)
{
    int a = Udp_Socket_Create(0), b = Udp_Socket_Create_bind_ip_port(kLoopback, 0), port = -7;
    ASSERT_GT(a, 0);
    ASSERT_GT(b, 0);
    EXPECT_TRUE(fcntl(a, F_GETFL) & O_NONBLOCK);
    EXPECT_TRUE(fcntl(b, F_GETFL) & O_NONBLOCK);
    EXPECT_TRUE(fcntl(a, F_GETFD) & FD_CLOEXEC);  // only the plain form is close-on-exec
    EXPECT_FALSE(fcntl(b, F_GETFD) & FD_CLOEXEC);

    char buf[2000], ip[16] = "untouched", xy[] = "xy", bad[] = "no address";  // 255.255.255.255: no SO_BROADCAST
    EXPECT_EQ(Udp_Socket_recv_By_Addr(b, buf, sizeof buf, ip, &port), -1);
    EXPECT_STREQ(ip, "untouched");
    EXPECT_EQ(port, -7);
    std::string data(1000, 'u');
    ASSERT_TRUE(deliver(a, b, data.data(), 1000));
    EXPECT_EQ(Udp_Socket_recv_By_Addr(b, buf, sizeof buf, ip, &port), 1000);
    EXPECT_STREQ(ip, "127.0.0.1");
    EXPECT_EQ(port, LocalPort(a));
    sockaddr_in from{};
    ASSERT_TRUE(deliver(a, b, xy, 2));
    ASSERT_TRUE(deliver(a, b, xy, 2));
    EXPECT_EQ(Udp_Socket_Recv_By_Sockaddr(b, buf, sizeof buf, &from), 2);
    EXPECT_EQ(ntohs(from.sin_port), LocalPort(a));
    EXPECT_EQ(Udp_Socket_Recv(b, buf, sizeof buf), 2);
    EXPECT_EQ(Udp_Socket_Recv(b, buf, sizeof buf), -1);
    EXPECT_EQ(Udp_Socket_Send(a, xy, 2, bad, 9), -1);
    EXPECT_EQ(Udp_Socket_Send(a, nullptr, 2, kLoopback, 9), -1);
    EXPECT_EQ(Udp_Socket_Send(a, xy, 2, nullptr, 9), -1);
    EXPECT_EQ(Udp_Socket_recv_By_Addr(b, buf, 2, nullptr, &port), -1);
    EXPECT_EQ(Udp_Socket_Close(b), 0);
    EXPECT_EQ(Udp_Socket_Close(0), -1);
    EXPECT_NE(fcntl(0, F_GETFD), -1);

    char two[] = "12", three[] = "1.2";  // three characters pass the length test; 1.0.0.2 is not local
    const std::string null_ip = "Udp_Socket_Create_bind_ip_port   input ip is NULL\n";
    EXPECT_EQ(Printed([&] {
                  for (char *ip : {static_cast<char *>(nullptr), two, three})
                      EXPECT_EQ(Udp_Socket_Create_bind_ip_port(ip, 0), -1) << (ip ? ip : "NULL");
              }), null_ip + null_ip + "Udp_Socket_Create_bind_ip_port  bind fail\n");

    int left_open = -1, taken = LocalPort(a);
    EXPECT_EQ(Printed([&] { close(left_open = dup(1)); EXPECT_EQ(Udp_Socket_Create(taken), -1); }),
              "UDP port[" + std::to_string(taken) + "]: udp server failed, bind local address error!\n");
    EXPECT_NE(fcntl(left_open, F_GETFD), -1);  // the socket of a failed bind is left open on purpose
    close(left_open);
    EXPECT_EQ(Udp_Socket_Close(a), 0);
}
