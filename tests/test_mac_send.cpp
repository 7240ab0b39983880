#include "mac_send.h"

#include <arpa/inet.h>
#include <linux/filter.h>
#include <linux/if_ether.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include <cstring>

#include "test_support.h"

using testing_support::Printed;

namespace {

using Bytes = std::vector<uint8_t>;

uint16_t be16(const uint8_t *p) { return static_cast<uint16_t>(p[0] << 8 | p[1]); }

// The textbook one's complement sum, carry folded after every word, an odd
// last byte padded with zero: independent of the library's.
uint16_t internet_checksum(Bytes::const_iterator from, Bytes::const_iterator to)
{
    uint32_t sum = 0;
    for (; from < to; from += 2) {
        sum += static_cast<uint32_t>(from[0] << 8 | (from + 1 < to ? from[1] : 0));
        sum = (sum & 0xFFFF) + (sum >> 16);
    }
    return static_cast<uint16_t>(~sum);
}

// Checks the IP checksum of a frame (IP header at 14, UDP at 34) and, with
// udp, its UDP checksum; returns its first 42 bytes with those zeroed.
Bytes checked_header(Bytes f, bool udp = true)
{
    const uint16_t ip_sum = be16(&f[24]), udp_sum = be16(&f[40]);
    f[24] = f[25] = 0;
    EXPECT_EQ(ip_sum, internet_checksum(f.begin() + 14, f.begin() + 34));
    if (udp) {
        f[40] = f[41] = 0;
        Bytes pseudo(f.begin() + 26, f.begin() + 34);
        pseudo.insert(pseudo.end(), {0, f[23], f[38], f[39]});
        pseudo.insert(pseudo.end(), f.begin() + 34, f.end());
        EXPECT_EQ(udp_sum, internet_checksum(pseudo.begin(), pseudo.end())) << f.size() - 42 << " bytes";
    }
    return Bytes(f.begin(), f.begin() + 42);
}

Bytes frame_of(const PagHeader &h, const std::string &payload = "")
{
    Bytes f(sizeof h + payload.size());
    memcpy(f.data(), &h, sizeof h);
    memcpy(f.data() + sizeof h, payload.data(), payload.size());
    return f;
}

// A packet socket that receives only IPv4 UDP frames to dst_port: the
// loopback of a busy machine carries many other frames, more than a slow
// (emulated) reader keeps up with.
int udp_capture_socket(uint32_t dst_port)
{
    int fd = socket(AF_PACKET, SOCK_RAW, htons(ETH_P_ALL));
    sock_filter code[] = {
        {BPF_LD | BPF_H | BPF_ABS, 0, 0, 12}, {BPF_JMP | BPF_JEQ | BPF_K, 0, 5, ETH_P_IP},
        {BPF_LD | BPF_B | BPF_ABS, 0, 0, 23}, {BPF_JMP | BPF_JEQ | BPF_K, 0, 3, IPPROTO_UDP},
        {BPF_LD | BPF_H | BPF_ABS, 0, 0, 36}, {BPF_JMP | BPF_JEQ | BPF_K, 0, 1, dst_port},
        {BPF_RET | BPF_K, 0, 0, 0xFFFF},      {BPF_RET | BPF_K, 0, 0, 0}};
    sock_fprog program{sizeof code / sizeof code[0], code};
    if (fd >= 0 && setsockopt(fd, SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program) != 0)
        ADD_FAILURE() << "no filter: " << strerror(errno);
    return fd;
}

// The first UDP frame to dst_port read from fd; none after 2 s of quiet.
Bytes capture_udp(int fd, int dst_port)
{
    timeval quiet{2, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &quiet, sizeof quiet);
    uint8_t buf[8192];
    for (ssize_t n, frames = 0; frames < 100000 && (n = recv(fd, buf, sizeof buf, 0)) >= 0; frames++)
        if (n >= 42 && be16(buf + 12) == 0x0800 && buf[23] == 17 && be16(buf + 36) == dst_port)
            return Bytes(buf, buf + n);
    return {};
}

} // namespace

TEST(MacSend, ConversionsChecksumsAndRefusals)
{
    EXPECT_EQ(Printed([] {
                  EXPECT_EQ(atoh("fF"), 0xFF);
                  EXPECT_EQ(atoh(""), 0);
                  EXPECT_EQ(atoh("123"), 0);
                  EXPECT_EQ(atoh(nullptr), 0);
                  EXPECT_EQ(atoh("g"), 0);
                  EXPECT_EQ(atoh("x1"), 0);
                  EXPECT_EQ(atoh("1G"), 0);
              }),
              "error 1\nerror 1\nerror 2\n");
    Bytes mac(8, 9);
    SetMacFrmStr(mac.data(), "1:2:3:4:5:6:7:8:9");
    EXPECT_EQ(mac, (Bytes{1, 2, 3, 4, 5, 6, 9, 9})); // nine pieces, six bytes
    EXPECT_EQ(Printed([&] { SetMacFrmStr(mac.data(), "01:02:03:04:05"); SetMacFrmStr(nullptr, "01:02:03:04:05:06"); }),
              "error input\nerror input\n");
    Bytes ip(6, 7);
    char extra[] = "-1.2.3.300.5.6";
    SetIpFrmStr(ip.data(), extra);
    EXPECT_EQ(ip, (Bytes{0xFF, 2, 3, 300 & 0xFF, 7, 7}));
    EXPECT_EQ(Printed([&] { SetIpFrmStr(ip.data(), nullptr); }), "error input srcIp\n");

    // BuildChecksum's results are checked in every header below.
    unshort sum = {{0x12, 0x34}};
    EXPECT_EQ(Printed([&] { BuildChecksum(nullptr, 4, &sum); BuildChecksum(mac.data(), -2, &sum); }),
              "Build Checksum error\nBuild Checksum error\n");

    // A given destination IP replaces the broadcast address; empty texts give zeros.
    IpMacInfo_T info = {"", "", "", "10.0.0.9", 1, 2};
    PagHeader h;
    memset(&h, 0x5A, sizeof h);
    SetPagHeader(&h, 0, &info);
    EXPECT_EQ(checked_header(frame_of(h), false), (Bytes{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 8, 0, 0x45, 0, 0, 28, 0,
                                                         0, 0, 0, 128, 17, 0, 0, 0, 0, 0, 0, 10, 0, 0, 9, 0, 1, 0, 2, 0,
                                                         8, 0, 0}));
    EXPECT_EQ(Printed([&] { SetPagHeader(nullptr, 2, &info); SetPagHeader(&h, 2, nullptr); }),
              "set udp header fail\nset udp header fail\n");

    for (std::string payload : {std::string(), std::string("odd"), std::string(979, 'x'), std::string(980, '\xFF')}) {
        SetPagHeader(&h, static_cast<int>(payload.size()), &info);
        UdpChecksum(&h, reinterpret_cast<uchar *>(payload.data()), &h.m_CheckSum);
        checked_header(frame_of(h, payload));
    }
    std::string big(4100, 'y');
    EXPECT_EQ(Printed([&] { UdpChecksum(&h, reinterpret_cast<uchar *>(big.data() + big.size() - 981), &sum); }),
              "payload too long: 981 bytes, at most 980 !\n");
    EXPECT_EQ(Printed([&] { UdpChecksum(&h, nullptr, &sum); }), "udp checksum para error\n");
    EXPECT_EQ(be16(sum.u_Byte), 0x1234); // untouched by every refusal

    char lo[] = "lo", unknown[] = "nosuchif0", bcast[] = "ff:ff:ff:ff:ff:ff";
    uchar text[] = "hi", *too_long = reinterpret_cast<uchar *>(big.data());
    std::string no_if = geteuid() == 0 ? "bind error:" + std::string(strerror(ENODEV)) + " !\n"
                                       : "Could not open raw socket\n";
    EXPECT_EQ(Printed([&] {
                  EXPECT_EQ(SndToMac(nullptr, bcast, text, 1, 2), -1);
                  EXPECT_EQ(SndToMac(lo, nullptr, text, 1, 2), -1);
                  EXPECT_EQ(SndToMac(lo, bcast, nullptr, 1, 2), -1);
                  EXPECT_EQ(SndToMac(lo, bcast, too_long, 1, 2), -1);
                  EXPECT_EQ(SndToMac(unknown, bcast, text, 1, 2), -1);
              }),
              "para error\npara error\npara error\npayload too long: 4100 bytes, at most 980 !\n" + no_if);
}

// Sends on "lo", captures the frame, checks every field and both checksums,
// then has tshark dissect it with checksum validation on.
TEST(MacSend, FrameOnLoopbackIsWellFormed)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "sending raw frames needs root";
    int fd = udp_capture_socket(40000);
    ASSERT_GE(fd, 0);
    char lo[] = "lo", dst_mac[] = "02:4C:42:00:aa:5f";
    std::string text = "Command sip: hello, odd";
    Bytes f;  // on a busy machine a frame on the loopback is now and then lost to every capture: resend
    for (int attempt = 0; attempt < 3 && f.empty(); attempt++) {
        ASSERT_EQ(SndToMac(lo, dst_mac, reinterpret_cast<uchar *>(text.data()), 40001, 40000), 0);
        f = capture_udp(fd, 40000);
    }
    close(fd);
    ASSERT_EQ(f.size(), 42 + text.size());
    const Bytes header = {2, 0x4C, 0x42, 0, 0xAA, 0x5F, 0, 0, 0, 0, 0, 0, 8, 0, 0x45, 0, 0, 51, 0, 0, 0, 0, 128, 17, 0,
                          0, 127, 0, 0, 1, 255, 255, 255, 255, 0x9C, 0x41, 0x9C, 0x40, 0, 31, 0, 0};
    EXPECT_EQ(checked_header(f), header);
    EXPECT_EQ(std::string(f.begin() + 42, f.end()), text);

    if (system("command -v tshark >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "tshark is not installed";
    // The frame as the only packet of a pcap file of Ethernet frames.
    const uint32_t len = static_cast<uint32_t>(f.size());
    const uint32_t head[] = {0xa1b2c3d4, 2 | 4u << 16, 0, 0, 65535, 1 /* Ethernet */, 0, 0, len, len};
    testing_support::TempDir dir;
    std::string pcap(reinterpret_cast<const char *>(head), sizeof head);
    testing_support::WriteFile(dir.file("frame.pcap"), pcap.append(f.begin(), f.end()));
    std::string command = "HOME=" + dir.path().string() + " tshark -n -r " + dir.file("frame.pcap") +
                          " -o ip.check_checksum:TRUE -o udp.check_checksum:TRUE -T fields -E separator=,"
                          " -e ip.checksum.status -e udp.checksum.status -e udp.length >" +
                          dir.file("fields") + " 2>/dev/null";
    ASSERT_EQ(system(command.c_str()), 0);
    // Status 1 is "Good", 0 "Bad", 2 "Unverified".
    EXPECT_EQ(testing_support::ReadFile(dir.file("fields")), "1,1,31\n");
}
