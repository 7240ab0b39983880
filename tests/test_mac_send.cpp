#include "mac_send.h"

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <net/if.h>
#include <netpacket/packet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "test_support.h"

using testing_support::Printed;

namespace {

using Bytes = std::vector<uint8_t>;

// One's complement sum with the carry folded in after every addition,
// the odd last byte padded with zero: the textbook form, independent of
// the library's.
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

// The UDP checksum of a whole frame (header at 14, UDP at 34), recomputed.
uint16_t udp_checksum_of(const Bytes &frame)
{
    size_t udp_len = be16(&frame[38]);
    Bytes pseudo(frame.begin() + 26, frame.begin() + 34); // source and destination IP
    pseudo.push_back(0);
    pseudo.push_back(frame[23]);
    pseudo.push_back(static_cast<uint8_t>(udp_len >> 8));
    pseudo.push_back(static_cast<uint8_t>(udp_len));
    pseudo.insert(pseudo.end(), frame.begin() + 34, frame.begin() + 34 + static_cast<long>(udp_len));
    pseudo[18] = pseudo[19] = 0; // the checksum field itself
    return internet_checksum(pseudo);
}

uint16_t ip_checksum_of(const Bytes &frame)
{
    Bytes ip(frame.begin() + 14, frame.begin() + 34);
    ip[10] = ip[11] = 0;
    return internet_checksum(ip);
}

Bytes header_bytes(const PagHeader &h)
{
    auto p = reinterpret_cast<const uint8_t *>(&h);
    return Bytes(p, p + sizeof h);
}

IpMacInfo_T address_info(const char *dstMac, const char *srcMac, const char *srcIp, const char *dstIp, int srcPort,
                         int dstPort)
{
    IpMacInfo_T info{};
    strcpy(reinterpret_cast<char *>(info.dstMac), dstMac);
    strcpy(reinterpret_cast<char *>(info.srcMac), srcMac);
    strcpy(reinterpret_cast<char *>(info.srcIp), srcIp);
    strcpy(reinterpret_cast<char *>(info.dstIp), dstIp);
    info.srcPort = srcPort;
    info.dstPort = dstPort;
    return info;
}

// A packet socket on "lo" that sees every frame passing it.
class LoopbackCapture {
public:
    LoopbackCapture()
    {
        fd_ = socket(AF_PACKET, SOCK_RAW, htons(ETH_P_ALL));
        if (fd_ < 0)
            return;
        sockaddr_ll link{};
        link.sll_family = AF_PACKET;
        link.sll_protocol = htons(ETH_P_ALL);
        link.sll_ifindex = static_cast<int>(if_nametoindex("lo"));
        if (bind(fd_, reinterpret_cast<sockaddr *>(&link), sizeof link) != 0) {
            close(fd_);
            fd_ = -1;
        }
    }
    ~LoopbackCapture()
    {
        if (fd_ >= 0)
            close(fd_);
    }
    bool ok() const { return fd_ >= 0; }

    // The first IPv4/UDP frame to dst_port within two seconds, or nothing.
    Bytes Next(uint16_t dst_port)
    {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
        while (std::chrono::steady_clock::now() < deadline) {
            pollfd p{fd_, POLLIN, 0};
            if (poll(&p, 1, 100) <= 0)
                continue;
            uint8_t buf[8192];
            ssize_t n = recv(fd_, buf, sizeof buf, 0);
            if (n >= 42 && be16(buf + 12) == 0x0800 && buf[23] == 17 && be16(buf + 36) == dst_port)
                return Bytes(buf, buf + n);
        }
        return {};
    }

private:
    int fd_ = -1;
};

// Writes frame as the only packet of a pcap file of Ethernet frames.
void write_pcap(const std::string &path, const Bytes &frame)
{
    auto u32 = [](std::string &s, uint32_t v) { s.append(reinterpret_cast<const char *>(&v), 4); };
    auto u16 = [](std::string &s, uint16_t v) { s.append(reinterpret_cast<const char *>(&v), 2); };
    std::string out;
    u32(out, 0xa1b2c3d4);
    u16(out, 2);
    u16(out, 4);
    u32(out, 0);
    u32(out, 0);
    u32(out, 65535);
    u32(out, 1); // Ethernet
    u32(out, 0);
    u32(out, 0);
    u32(out, static_cast<uint32_t>(frame.size()));
    u32(out, static_cast<uint32_t>(frame.size()));
    out.append(frame.begin(), frame.end());
    testing_support::WriteFile(path, out);
}

std::string run(const std::string &command)
{
    std::string out;
    FILE *p = popen(command.c_str(), "r");
    if (p == nullptr)
        return out;
    char buf[512];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, p)) > 0)
        out.append(buf, n);
    pclose(p);
    return out;
}

} // namespace

TEST(MacSend, AtohReadsOneOrTwoHexDigits)
{
    EXPECT_EQ(atoh("1"), 1);
    EXPECT_EQ(atoh("ff"), 0xFF);
    EXPECT_EQ(atoh("A0"), 0xA0);
    EXPECT_EQ(atoh("9c"), 0x9C);
    EXPECT_EQ(Printed([] { EXPECT_EQ(atoh(""), 0); EXPECT_EQ(atoh("123"), 0); EXPECT_EQ(atoh(nullptr), 0); }), "");
    EXPECT_EQ(Printed([] { EXPECT_EQ(atoh("g"), 0); }), "error 1\n");
    EXPECT_EQ(Printed([] { EXPECT_EQ(atoh("x1"), 0); }), "error 1\n");
    EXPECT_EQ(Printed([] { EXPECT_EQ(atoh("1G"), 0); }), "error 2\n");
}

TEST(MacSend, AddressTextsToBytes)
{
    uchar mac[8] = {9, 9, 9, 9, 9, 9, 9, 9};
    SetMacFrmStr(mac, "FF:ff:0a:1B:00:7f");
    EXPECT_EQ(Bytes(mac, mac + 8), (Bytes{0xFF, 0xFF, 0x0A, 0x1B, 0x00, 0x7F, 9, 9}));

    // Hyphens make one 17-character piece, which is no byte: the first becomes 0.
    uchar hyphen[6] = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(Printed([&] { SetMacFrmStr(hyphen, "FF-FF-FF-FF-FF-FF"); }), "");
    EXPECT_EQ(Bytes(hyphen, hyphen + 6), (Bytes{0, 2, 3, 4, 5, 6}));

    // Nine pieces fit in 17 characters; only six bytes are written.
    uchar many[8] = {};
    SetMacFrmStr(many, "1:2:3:4:5:6:7:8:9");
    EXPECT_EQ(Bytes(many, many + 8), (Bytes{1, 2, 3, 4, 5, 6, 0, 0}));

    EXPECT_EQ(Printed([&] { SetMacFrmStr(mac, "FF:FF:FF:FF:FF"); }), "error input\n");
    EXPECT_EQ(Printed([&] { SetMacFrmStr(nullptr, "FF:FF:FF:FF:FF:FF"); }), "error input\n");
    EXPECT_EQ(Printed([&] { SetMacFrmStr(mac, nullptr); }), "error input\n");

    uchar ip[6] = {7, 7, 7, 7, 7, 7};
    char dotted[] = "192.168.1.300", extra[] = "1.2.3.4.5.6", negative[] = "-1.0.0.1";
    SetIpFrmStr(ip, dotted);
    EXPECT_EQ(Bytes(ip, ip + 6), (Bytes{192, 168, 1, 300 & 0xFF, 7, 7}));
    SetIpFrmStr(ip, extra);
    EXPECT_EQ(Bytes(ip, ip + 6), (Bytes{1, 2, 3, 4, 7, 7}));
    SetIpFrmStr(ip, negative);
    EXPECT_EQ(Bytes(ip, ip + 4), (Bytes{0xFF, 0, 0, 1}));
    EXPECT_EQ(Printed([&] { SetIpFrmStr(ip, nullptr); }), "error input srcIp\n");

    unshort u;
    SetUshortTons(&u, 0x1234);
    EXPECT_EQ(u.u_Byte[0], 0x12);
    EXPECT_EQ(u.u_Byte[1], 0x34);
}

TEST(MacSend, BuildChecksumIsTheInternetChecksum)
{
    // The worked example of the Internet checksum: sum ddf2, checksum 220d.
    uchar words[] = {0x00, 0x01, 0xf2, 0x03, 0xf4, 0xf5, 0xf6, 0xf7, 0xAB};
    unshort sum;
    BuildChecksum(words, 8, &sum);
    EXPECT_EQ(be16(sum.u_Byte), 0x220d);
    BuildChecksum(words, 9, &sum); // the odd byte is ignored
    EXPECT_EQ(be16(sum.u_Byte), 0x220d);

    // Over a filled IP header the stored checksum makes the sum come out 0.
    IpMacInfo_T info = address_info("", "", "10.1.2.3", "", 1000, 2000);
    PagHeader h;
    SetPagHeader(&h, 100, &info);
    BuildChecksum(reinterpret_cast<uchar *>(&h) + 14, 20, &sum);
    EXPECT_EQ(be16(sum.u_Byte), 0);

    // Many carries: 0xFFFF words.
    Bytes ones(4000, 0xFF);
    BuildChecksum(ones.data(), static_cast<int>(ones.size()), &sum);
    EXPECT_EQ(be16(sum.u_Byte), internet_checksum(ones));

    unshort untouched = {{0x12, 0x34}};
    EXPECT_EQ(Printed([&] { BuildChecksum(nullptr, 4, &untouched); }), "Build Checksum error\n");
    EXPECT_EQ(Printed([&] { BuildChecksum(words, -2, &untouched); }), "Build Checksum error\n");
    EXPECT_EQ(be16(untouched.u_Byte), 0x1234);
}

TEST(MacSend, HeaderFieldsAndChecksums)
{
    IpMacInfo_T info = address_info("01:23:45:67:89:ab", "cd:ef:00:11:22:33", "192.168.10.20", "", 5060, 0xBEEF);
    PagHeader h;
    memset(&h, 0x5A, sizeof h);
    SetPagHeader(&h, 2, &info);
    Bytes b = header_bytes(h);
    EXPECT_EQ(Bytes(b.begin(), b.begin() + 12), (Bytes{0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef, 0, 0x11, 0x22, 0x33}));
    EXPECT_EQ(Bytes(b.begin() + 12, b.begin() + 24), (Bytes{0x08, 0x00, 0x45, 0, 0, 30, 0, 0, 0, 0, 128, 17}));
    EXPECT_EQ(Bytes(b.begin() + 26, b.begin() + 42),
              (Bytes{192, 168, 10, 20, 255, 255, 255, 255, 0x13, 0xC4, 0xBE, 0xEF, 0, 10, 0, 0}));
    EXPECT_EQ(be16(&b[24]), ip_checksum_of(b));

    // A given destination IP replaces the broadcast address; empty texts give zeros.
    IpMacInfo_T unicast = address_info("", "", "", "10.0.0.9", 1, 2);
    SetPagHeader(&h, 0, &unicast);
    b = header_bytes(h);
    EXPECT_EQ(Bytes(b.begin(), b.begin() + 12), Bytes(12, 0));
    EXPECT_EQ(Bytes(b.begin() + 26, b.begin() + 34), (Bytes{0, 0, 0, 0, 10, 0, 0, 9}));

    EXPECT_EQ(Printed([&] { SetPagHeader(nullptr, 2, &info); }), "set udp header fail\n");
    EXPECT_EQ(Printed([&] { SetPagHeader(&h, 2, nullptr); }), "set udp header fail\n");
}

TEST(MacSend, UdpChecksumMatchesAnIndependentComputation)
{
    IpMacInfo_T info = address_info("ff:ff:ff:ff:ff:ff", "02:00:00:00:00:01", "172.16.5.4", "", 40000, 40001);
    for (std::string payload : {std::string(""), std::string("ab"), std::string("odd"), std::string(979, 'x'),
                                std::string(980, '\xFF')}) {
        PagHeader h;
        SetPagHeader(&h, static_cast<int>(payload.size()), &info);
        UdpChecksum(&h, reinterpret_cast<uchar *>(payload.data()), &h.m_CheckSum);
        Bytes frame = header_bytes(h);
        frame.insert(frame.end(), payload.begin(), payload.end());
        EXPECT_EQ(be16(h.m_CheckSum.u_Byte), udp_checksum_of(frame)) << payload.size() << " bytes";
    }

    std::string big(981, 'y');
    PagHeader h;
    SetPagHeader(&h, 981, &info);
    h.m_CheckSum = unshort{{0xAA, 0xBB}};
    EXPECT_EQ(Printed([&] { UdpChecksum(&h, reinterpret_cast<uchar *>(big.data()), &h.m_CheckSum); }),
              "payload too long: 981 bytes, at most 980 !\n");
    EXPECT_EQ(be16(h.m_CheckSum.u_Byte), 0xAABB);
    EXPECT_EQ(Printed([&] { UdpChecksum(&h, nullptr, &h.m_CheckSum); }), "udp checksum para error\n");
}

TEST(MacSend, RefusalsBeforeTheSocketIsBound)
{
    char lo[] = "lo", mac[] = "ff:ff:ff:ff:ff:ff";
    uchar text[] = "hi";
    int rc = 0;
    EXPECT_EQ(Printed([&] { rc = SndToMac(nullptr, mac, text, 1, 2); }), "para error\n");
    EXPECT_EQ(rc, -1);
    EXPECT_EQ(Printed([&] { rc = SndToMac(lo, nullptr, text, 1, 2); }), "para error\n");
    EXPECT_EQ(rc, -1);
    EXPECT_EQ(Printed([&] { rc = SndToMac(lo, mac, nullptr, 1, 2); }), "para error\n");
    EXPECT_EQ(rc, -1);
    std::string big(4100, 'z');
    EXPECT_EQ(Printed([&] { rc = SndToMac(lo, mac, reinterpret_cast<uchar *>(big.data()), 1, 2); }),
              "payload too long: 4100 bytes, at most 980 !\n");
    EXPECT_EQ(rc, -1);

    char unknown[] = "nosuchif0";
    std::string printed = Printed([&] { rc = SndToMac(unknown, mac, text, 1, 2); });
    EXPECT_EQ(rc, -1);
    if (geteuid() == 0)
        EXPECT_EQ(printed, "bind error:" + std::string(strerror(ENODEV)) + " !\n");
    else
        EXPECT_EQ(printed, "Could not open raw socket\n");
}

TEST(MacSend, InterfaceLookups)
{
    int fd = socket(AF_INET, SOCK_DGRAM, 0);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(GetIfaceIndex(fd, "lo"), static_cast<int>(if_nametoindex("lo")));
    EXPECT_EQ(GetIfaceIndex(fd, "nosuchif0"), -1);
    EXPECT_EQ(GetIfaceIndex(fd, nullptr), -1);
    close(fd);

    char ip[50] = "untouched", mac[50] = "untouched";
    GetSrcIpMac(ip, mac, const_cast<char *>("lo"));
    EXPECT_STREQ(ip, "127.0.0.1");
    EXPECT_STREQ(mac, "00:00:00:00:00:00");
    char ip2[50] = "untouched", mac2[50] = "untouched";
    GetSrcIpMac(ip2, mac2, const_cast<char *>("nosuchif0"));
    EXPECT_STREQ(ip2, "untouched");
    EXPECT_STREQ(mac2, "untouched");
}

// Sends on "lo", captures the frame, checks every byte and both checksums,
// then lets tshark dissect it with checksum validation on.
TEST(MacSend, FrameOnLoopbackIsWellFormed)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "sending raw frames needs root";
    LoopbackCapture capture;
    ASSERT_TRUE(capture.ok());
    std::mt19937 rng(std::random_device{}());
    auto dst_port = static_cast<uint16_t>(20000 + rng() % 40000);
    auto src_port = static_cast<uint16_t>(dst_port + 1);
    char lo[] = "lo", dst_mac[] = "02:4C:42:00:aa:5f";
    uchar text[] = "Command sip: hello, odd";
    ASSERT_EQ(SndToMac(lo, dst_mac, text, src_port, dst_port), 0);
    Bytes f = capture.Next(dst_port);
    ASSERT_EQ(f.size(), 42 + strlen(reinterpret_cast<char *>(text)));

    EXPECT_EQ(Bytes(f.begin(), f.begin() + 6), (Bytes{0x02, 0x4C, 0x42, 0x00, 0xAA, 0x5F}));
    EXPECT_EQ(Bytes(f.begin() + 6, f.begin() + 12), Bytes(6, 0)); // lo has no hardware address
    EXPECT_EQ(be16(&f[12]), 0x0800);
    EXPECT_EQ(f[14], 0x45);
    EXPECT_EQ(f[15], 0);
    EXPECT_EQ(be16(&f[16]), f.size() - 14);
    EXPECT_EQ(be16(&f[18]), 0);
    EXPECT_EQ(be16(&f[20]), 0);
    EXPECT_EQ(f[22], 128);
    EXPECT_EQ(f[23], 17);
    EXPECT_EQ(Bytes(f.begin() + 26, f.begin() + 34), (Bytes{127, 0, 0, 1, 255, 255, 255, 255}));
    EXPECT_EQ(be16(&f[34]), src_port);
    EXPECT_EQ(be16(&f[36]), dst_port);
    EXPECT_EQ(be16(&f[38]), f.size() - 34);
    EXPECT_EQ(std::string(f.begin() + 42, f.end()), reinterpret_cast<char *>(text));
    EXPECT_EQ(be16(&f[24]), ip_checksum_of(f));
    EXPECT_EQ(be16(&f[40]), udp_checksum_of(f));

    if (system("command -v tshark >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "tshark is not installed";
    testing_support::TempDir dir;
    std::string pcap = dir.file("frame.pcap");
    write_pcap(pcap, f);
    std::string fields = run("HOME=" + dir.path().string() + " tshark -n -r " + pcap +
                             " -o ip.check_checksum:TRUE -o udp.check_checksum:TRUE -T fields -E separator=,"
                             " -e ip.checksum.status -e udp.checksum.status -e udp.dstport -e udp.length 2>/dev/null");
    // Status 1 is "Good" (0 would be "Bad", 2 "Unverified").
    EXPECT_EQ(fields, "1,1," + std::to_string(dst_port) + "," + std::to_string(f.size() - 34) + "\n");
}
