#include "mac_send.h"

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <net/if.h>
#include <netpacket/packet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "test_support.h"

using testing_support::Printed;

namespace {

using Bytes = std::vector<uint8_t>;

// The textbook one's complement sum, carry folded after every word, an odd
// last byte padded with zero: independent of the library's.
uint16_t internet_checksum(const Bytes &data)
{
    uint32_t sum = 0;
    for (size_t i = 0; i < data.size(); i += 2) {
        sum += static_cast<uint32_t>(data[i] << 8 | (i + 1 < data.size() ? data[i + 1] : 0));
        sum = (sum & 0xFFFF) + (sum >> 16);
    }
    return static_cast<uint16_t>(~sum);
}

uint16_t be16(const uint8_t *p)
{
    return static_cast<uint16_t>(p[0] << 8 | p[1]);
}

// The checksums a frame (IP header at 14, UDP at 34) should carry.
uint16_t ip_checksum_of(Bytes f)
{
    f[24] = f[25] = 0;
    return internet_checksum(Bytes(f.begin() + 14, f.begin() + 34));
}

uint16_t udp_checksum_of(Bytes f)
{
    f[40] = f[41] = 0;
    Bytes pseudo(f.begin() + 26, f.begin() + 34);
    pseudo.insert(pseudo.end(), {0, f[23], f[38], f[39]});
    pseudo.insert(pseudo.end(), f.begin() + 34, f.begin() + 34 + be16(&f[38]));
    return internet_checksum(pseudo);
}

Bytes frame_of(const PagHeader &h, const std::string &payload = "")
{
    Bytes f(sizeof h + payload.size());
    memcpy(f.data(), &h, sizeof h);
    memcpy(f.data() + sizeof h, payload.data(), payload.size());
    return f;
}

// The first IPv4/UDP frame to dst_port seen on the packet socket fd before
// it stays quiet for two seconds, or nothing.
Bytes capture_udp(int fd, uint16_t dst_port)
{
    for (int idle = 0, frames = 0; idle < 20 && frames < 100000;) {
        pollfd p{fd, POLLIN, 0};
        uint8_t buf[8192];
        ssize_t n = poll(&p, 1, 100) > 0 ? recv(fd, buf, sizeof buf, 0) : 0;
        if (n >= 42 && be16(buf + 12) == 0x0800 && buf[23] == 17 && be16(buf + 36) == dst_port)
            return Bytes(buf, buf + n);
        n > 0 ? frames++ : idle++;
    }
    return {};
}

// The frame as the only packet of a pcap file of Ethernet frames.
std::string pcap_of(const Bytes &frame)
{
    const uint32_t len = static_cast<uint32_t>(frame.size());
    const uint32_t head[] = {0xa1b2c3d4, 2 | 4u << 16, 0, 0, 65535, 1 /* Ethernet */, 0, 0, len, len};
    std::string out(reinterpret_cast<const char *>(head), sizeof head);
    return out.append(frame.begin(), frame.end());
}

} // namespace

TEST(MacSend, TextConversions)
{
    EXPECT_EQ(atoh("1") + atoh("fF") * 256 + atoh("A0") * 65536, 0xA0FF01);
    EXPECT_EQ(Printed([] { EXPECT_EQ(atoh(""), 0); EXPECT_EQ(atoh("123"), 0); EXPECT_EQ(atoh(nullptr), 0); }), "");
    EXPECT_EQ(Printed([] { EXPECT_EQ(atoh("g"), 0); }), "error 1\n");
    EXPECT_EQ(Printed([] { EXPECT_EQ(atoh("x1"), 0); }), "error 1\n");
    EXPECT_EQ(Printed([] { EXPECT_EQ(atoh("1G"), 0); }), "error 2\n");

    uchar mac[8] = {9, 9, 9, 9, 9, 9, 9, 9};
    SetMacFrmStr(mac, "FF:ff:0a:1B:00:7f");
    EXPECT_EQ(Bytes(mac, mac + 8), (Bytes{0xFF, 0xFF, 0x0A, 0x1B, 0x00, 0x7F, 9, 9}));
    // Hyphens make one 17-character piece, which is no byte: only the first becomes 0.
    EXPECT_EQ(Printed([&] { SetMacFrmStr(mac, "01-02-03-04-05-06"); }), "");
    EXPECT_EQ(Bytes(mac, mac + 8), (Bytes{0, 0xFF, 0x0A, 0x1B, 0x00, 0x7F, 9, 9}));
    SetMacFrmStr(mac, "1:2:3:4:5:6:7:8:9"); // nine pieces, six bytes written
    EXPECT_EQ(Bytes(mac, mac + 8), (Bytes{1, 2, 3, 4, 5, 6, 9, 9}));
    EXPECT_EQ(Printed([&] { SetMacFrmStr(mac, "FF:FF:FF:FF:FF"); SetMacFrmStr(nullptr, "FF:FF:FF:FF:FF:FF"); }),
              "error input\nerror input\n");

    uchar ip[6] = {7, 7, 7, 7, 7, 7};
    char dotted[] = "192.168.1.300", extra[] = "-1.2.3.4.5.6";
    SetIpFrmStr(ip, dotted);
    EXPECT_EQ(Bytes(ip, ip + 6), (Bytes{192, 168, 1, 300 & 0xFF, 7, 7}));
    SetIpFrmStr(ip, extra);
    EXPECT_EQ(Bytes(ip, ip + 6), (Bytes{0xFF, 2, 3, 4, 7, 7}));
    EXPECT_EQ(Printed([&] { SetIpFrmStr(ip, nullptr); }), "error input srcIp\n");
}

TEST(MacSend, BuildChecksumIsTheInternetChecksum)
{
    // The worked example of the Internet checksum: sum ddf2, checksum 220d;
    // an odd last byte is ignored.
    uchar words[] = {0x00, 0x01, 0xf2, 0x03, 0xf4, 0xf5, 0xf6, 0xf7, 0xAB};
    unshort sum;
    BuildChecksum(words, 9, &sum);
    EXPECT_EQ(be16(sum.u_Byte), 0x220d);

    unshort untouched = {{0x12, 0x34}};
    EXPECT_EQ(Printed([&] { BuildChecksum(nullptr, 4, &untouched); BuildChecksum(words, -2, &untouched); }),
              "Build Checksum error\nBuild Checksum error\n");
    EXPECT_EQ(be16(untouched.u_Byte), 0x1234);
}

TEST(MacSend, HeaderFieldsAndChecksums)
{
    IpMacInfo_T info = {"cd:ef:00:11:22:33", "01:23:45:67:89:ab", "192.168.10.20", "", 5060, 0xBEEF};
    PagHeader h;
    memset(&h, 0x5A, sizeof h);
    SetPagHeader(&h, 2, &info);
    Bytes f = frame_of(h);
    EXPECT_EQ(Bytes(f.begin(), f.begin() + 24), (Bytes{0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef, 0, 0x11, 0x22,
                                                      0x33, 0x08, 0x00, 0x45, 0, 0, 30, 0, 0, 0, 0, 128, 17}));
    EXPECT_EQ(Bytes(f.begin() + 26, f.end()),
              (Bytes{192, 168, 10, 20, 255, 255, 255, 255, 0x13, 0xC4, 0xBE, 0xEF, 0, 10, 0, 0}));
    EXPECT_EQ(be16(&f[24]), ip_checksum_of(f));
    unshort again; // the checksum over a header that carries it is 0
    BuildChecksum(f.data() + 14, 20, &again);
    EXPECT_EQ(be16(again.u_Byte), 0);

    // A given destination IP replaces the broadcast address; empty texts give zeros.
    IpMacInfo_T unicast = {"", "", "", "10.0.0.9", 1, 2};
    SetPagHeader(&h, 0, &unicast);
    f = frame_of(h);
    EXPECT_EQ(Bytes(f.begin(), f.begin() + 12), Bytes(12, 0));
    EXPECT_EQ(Bytes(f.begin() + 26, f.begin() + 34), (Bytes{0, 0, 0, 0, 10, 0, 0, 9}));
    EXPECT_EQ(Printed([&] { SetPagHeader(nullptr, 2, &info); SetPagHeader(&h, 2, nullptr); }),
              "set udp header fail\nset udp header fail\n");
}

TEST(MacSend, UdpChecksumMatchesAnIndependentComputation)
{
    IpMacInfo_T info = {"02:00:00:00:00:01", "ff:ff:ff:ff:ff:ff", "172.16.5.4", "", 40000, 40001};
    PagHeader h;
    for (std::string payload : {std::string(""), std::string("odd"), std::string(979, 'x'), std::string(980, '\xFF')}) {
        SetPagHeader(&h, static_cast<int>(payload.size()), &info);
        UdpChecksum(&h, reinterpret_cast<uchar *>(payload.data()), &h.m_CheckSum);
        EXPECT_EQ(be16(h.m_CheckSum.u_Byte), udp_checksum_of(frame_of(h, payload))) << payload.size() << " bytes";
    }
    std::string big(981, 'y');
    h.m_CheckSum = unshort{{0xAA, 0xBB}};
    EXPECT_EQ(Printed([&] { UdpChecksum(&h, reinterpret_cast<uchar *>(big.data()), &h.m_CheckSum); }),
              "payload too long: 981 bytes, at most 980 !\n");
    EXPECT_EQ(be16(h.m_CheckSum.u_Byte), 0xAABB);
    EXPECT_EQ(Printed([&] { UdpChecksum(&h, nullptr, &h.m_CheckSum); }), "udp checksum para error\n");
}

TEST(MacSend, RefusalsAndInterfaceLookups)
{
    char lo[] = "lo", unknown[] = "nosuchif0", mac[] = "ff:ff:ff:ff:ff:ff";
    uchar text[] = "hi";
    std::string big(4100, 'z');
    auto sent = [&](char *eth, char *dst, uchar *buf, std::string expect) {
        int rc = 0;
        EXPECT_EQ(Printed([&] { rc = SndToMac(eth, dst, buf, 1, 2); }), expect);
        EXPECT_EQ(rc, -1);
    };
    sent(nullptr, mac, text, "para error\n");
    sent(lo, nullptr, text, "para error\n");
    sent(lo, mac, nullptr, "para error\n");
    sent(lo, mac, reinterpret_cast<uchar *>(big.data()), "payload too long: 4100 bytes, at most 980 !\n");
    sent(unknown, mac, text,
         geteuid() == 0 ? "bind error:" + std::string(strerror(ENODEV)) + " !\n" : "Could not open raw socket\n");

    int fd = socket(AF_INET, SOCK_DGRAM, 0);
    EXPECT_EQ(GetIfaceIndex(fd, "lo"), static_cast<int>(if_nametoindex("lo")));
    EXPECT_EQ(GetIfaceIndex(fd, unknown), -1);
    close(fd);
    char ip[50] = "untouched", hw[50] = "untouched";
    GetSrcIpMac(ip, hw, unknown);
    EXPECT_STREQ(ip, "untouched");
    EXPECT_STREQ(hw, "untouched");
    GetSrcIpMac(ip, hw, lo);
    EXPECT_STREQ(ip, "127.0.0.1");
    EXPECT_STREQ(hw, "00:00:00:00:00:00");
}

// Sends on "lo", captures the frame, checks every field and both checksums,
// then has tshark dissect it with checksum validation on.
TEST(MacSend, FrameOnLoopbackIsWellFormed)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "sending raw frames needs root";
    int fd = socket(AF_PACKET, SOCK_RAW, htons(ETH_P_ALL));
    ASSERT_GE(fd, 0);
    sockaddr_ll link{};
    link.sll_family = AF_PACKET;
    link.sll_protocol = htons(ETH_P_ALL);
    link.sll_ifindex = static_cast<int>(if_nametoindex("lo"));
    ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr *>(&link), sizeof link), 0);
    auto dst_port = static_cast<uint16_t>(20000 + std::random_device{}() % 40000);
    auto src_port = static_cast<uint16_t>(dst_port + 1);
    char lo[] = "lo", dst_mac[] = "02:4C:42:00:aa:5f";
    std::string text = "Command sip: hello, odd";
    ASSERT_EQ(SndToMac(lo, dst_mac, reinterpret_cast<uchar *>(text.data()), src_port, dst_port), 0);
    Bytes f = capture_udp(fd, dst_port);
    close(fd);
    ASSERT_EQ(f.size(), 42 + text.size());

    EXPECT_EQ(Bytes(f.begin(), f.begin() + 12), (Bytes{0x02, 0x4C, 0x42, 0x00, 0xAA, 0x5F, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(be16(&f[12]), 0x0800);
    EXPECT_EQ(Bytes(f.begin() + 14, f.begin() + 24), (Bytes{0x45, 0, 0, 28 + 23, 0, 0, 0, 0, 128, 17}));
    EXPECT_EQ(Bytes(f.begin() + 26, f.begin() + 34), (Bytes{127, 0, 0, 1, 255, 255, 255, 255}));
    EXPECT_EQ(be16(&f[34]), src_port);
    EXPECT_EQ(be16(&f[36]), dst_port);
    EXPECT_EQ(be16(&f[38]), 8 + 23);
    EXPECT_EQ(std::string(f.begin() + 42, f.end()), text);
    EXPECT_EQ(be16(&f[24]), ip_checksum_of(f));
    EXPECT_EQ(be16(&f[40]), udp_checksum_of(f));

    if (system("command -v tshark >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "tshark is not installed";
    testing_support::TempDir dir;
    testing_support::WriteFile(dir.file("frame.pcap"), pcap_of(f));
    std::string command = "HOME=" + dir.path().string() + " tshark -n -r " + dir.file("frame.pcap") +
                          " -o ip.check_checksum:TRUE -o udp.check_checksum:TRUE -T fields -E separator=,"
                          " -e ip.checksum.status -e udp.checksum.status -e udp.length >" +
                          dir.file("fields") + " 2>/dev/null";
    ASSERT_EQ(system(command.c_str()), 0);
    // Status 1 is "Good", 0 "Bad", 2 "Unverified".
    EXPECT_EQ(testing_support::ReadFile(dir.file("fields")), "1,1,31\n");
}
