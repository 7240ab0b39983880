// mac_send.cpp - sends one UDP datagram as a hand-built Ethernet frame.
#include "mac_send.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <netpacket/packet.h>
#include <linux/if_ether.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "internal/fd.h"

static_assert(sizeof(unshort) == 2, "wire field");
static_assert(offsetof(PagHeader, m_SrcMac) == 6, "frame header layout");
static_assert(offsetof(PagHeader, m_IpLayerType) == 12, "frame header layout");
static_assert(offsetof(PagHeader, m_VerHeadLen) == 14, "frame header layout");
static_assert(offsetof(PagHeader, m_TotalLen) == 16, "frame header layout");
static_assert(offsetof(PagHeader, m_Id) == 18, "frame header layout");
static_assert(offsetof(PagHeader, m_Flags) == 20, "frame header layout");
static_assert(offsetof(PagHeader, m_TimeToLive) == 22, "frame header layout");
static_assert(offsetof(PagHeader, m_Pro) == 23, "frame header layout");
static_assert(offsetof(PagHeader, m_HeaderCheckSum) == 24, "frame header layout");
static_assert(offsetof(PagHeader, m_SrcIp) == 26, "frame header layout");
static_assert(offsetof(PagHeader, m_DstIp) == 30, "frame header layout");
static_assert(offsetof(PagHeader, m_SrcPort) == 34, "frame header layout");
static_assert(offsetof(PagHeader, m_DstPort) == 36, "frame header layout");
static_assert(offsetof(PagHeader, m_UdpLen) == 38, "frame header layout");
static_assert(offsetof(PagHeader, m_CheckSum) == 40, "frame header layout");
static_assert(sizeof(PagHeader) == 42, "frame header layout");
static_assert(offsetof(IpMacInfo_T, srcIp) == 100, "address record layout");
static_assert(offsetof(IpMacInfo_T, srcPort) == 140, "address record layout");
static_assert(sizeof(IpMacInfo_T) == 148, "address record layout");

namespace {

using libbase::Fd;

constexpr int kHeaderLen = sizeof(PagHeader);
constexpr int kIpHeaderOffset = offsetof(PagHeader, m_VerHeadLen);
constexpr int kIpHeaderLen = 20;
constexpr int kFrameSize = 4096;
constexpr int kChecksumAreaSize = 1000;
constexpr int kPseudoHeaderLen = 12;
constexpr int kUdpHeaderLen = 8;
constexpr int kMaxPayload = MAC_SEND_MAX_PAYLOAD;
constexpr int kTextSize = 50;

// Fixed texts (applications match them), slips included; the frame sent is
// a UDP datagram, whatever the perror prefix says.
constexpr char kNoBroadcast[] = "Could not setsocketopt on raw socket\n";
constexpr char kSendFailedPrefix[] = "Unabele to send arp request";
static_assert(kPseudoHeaderLen + kUdpHeaderLen + kMaxPayload == kChecksumAreaSize, "checksum work area");
static_assert(kHeaderLen + kMaxPayload <= kFrameSize, "frame buffer");

// Length of a payload text, or -1 after complaining when it is too long.
int payload_length(const uchar *text)
{
    size_t len = strlen(reinterpret_cast<const char *>(text));
    if (len > static_cast<size_t>(kMaxPayload)) {
        printf("payload too long: %zu bytes, at most %d !\n", len, kMaxPayload);
        return -1;
    }
    return static_cast<int>(len);
}

// Copies at most size - 1 characters of src and a terminator.
void copy_text(uchar *dst, const char *src, size_t size)
{
    size_t n = strnlen(src, size - 1);
    memcpy(dst, src, n);
    dst[n] = 0;
}

int hex_digit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// atoi cut to a byte: the number modulo 256, without atoi's overflow.
uchar number_byte(std::string_view piece)
{
    size_t i = 0;
    while (i < piece.size() && (piece[i] == ' ' || (piece[i] >= '\t' && piece[i] <= '\r')))
        i++;
    bool negative = false;
    if (i < piece.size() && (piece[i] == '+' || piece[i] == '-'))
        negative = piece[i++] == '-';
    unsigned value = 0;
    for (; i < piece.size() && piece[i] >= '0' && piece[i] <= '9'; i++)
        value = (value * 10 + static_cast<unsigned>(piece[i] - '0')) & 0xFF;
    return static_cast<uchar>(negative ? 0u - value : value);
}

// Calls store(piece, index) for each non-empty piece of the first 49
// characters of text split at sep, at most max_pieces times.
template <typename Store>
void split(const char *text, char sep, int max_pieces, Store store)
{
    std::string_view rest(text, strnlen(text, kTextSize - 1));
    int count = 0;
    while (!rest.empty() && count < max_pieces) {
        size_t end = rest.find(sep);
        std::string_view piece = rest.substr(0, end);
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
        if (!piece.empty())
            store(piece, count++);
    }
}

} // namespace

extern "C" {

int SndToMac(char *pEthName, char *pDstMac, uchar *pBuf, int SrcPort, int DstPort)
{
    if (pEthName == nullptr || pDstMac == nullptr || pBuf == nullptr) {
        printf("para error\n");
        return -1;
    }
    int len = payload_length(pBuf);
    if (len < 0)
        return -1;

    Fd sock(socket(AF_PACKET, SOCK_RAW, 0));
    if (!sock.ok()) {
        printf("Could not open raw socket\n");
        return -1;
    }
    int on = 1;
    if (setsockopt(sock.get(), SOL_SOCKET, SO_BROADCAST, &on, sizeof on) != 0) {
        printf(kNoBroadcast);
        return -1;
    }
    sockaddr_ll link{};
    link.sll_family = AF_PACKET;
    link.sll_protocol = htons(ETH_P_ALL);
    link.sll_ifindex = GetIfaceIndex(sock.get(), pEthName);
    if (bind(sock.get(), reinterpret_cast<sockaddr *>(&link), sizeof link) != 0) {
        printf("bind error:%s !\n", strerror(errno));
        return -1;
    }

    char myIp[kTextSize] = {0}, myMac[kTextSize] = {0};
    GetSrcIpMac(myIp, myMac, pEthName);
    IpMacInfo_T info{};
    copy_text(info.srcMac, myMac, sizeof info.srcMac);
    copy_text(info.srcIp, myIp, sizeof info.srcIp);
    copy_text(info.dstMac, pDstMac, sizeof info.dstMac);
    info.srcPort = SrcPort;
    info.dstPort = DstPort;

    PagHeader header;
    SetPagHeader(&header, len, &info);
    UdpChecksum(&header, pBuf, &header.m_CheckSum);

    uchar frame[kHeaderLen + kMaxPayload];
    memcpy(frame, &header, kHeaderLen);
    memcpy(frame + kHeaderLen, pBuf, static_cast<size_t>(len));
    if (sendto(sock.get(), frame, static_cast<size_t>(kHeaderLen + len), 0, reinterpret_cast<sockaddr *>(&link),
               sizeof link) < 0)
        perror(kSendFailedPrefix);
    return 0;
}

void SetPagHeader(PagHeader *pHead, int BufLen, IpMacInfo_T *pIpMacInfo)
{
    if (pHead == nullptr || pIpMacInfo == nullptr) {
        printf("set udp header fail\n");
        return;
    }
    memset(pHead, 0, sizeof *pHead);
    if (pIpMacInfo->dstMac[0] != 0)
        SetMacFrmStr(pHead->m_DstMac, reinterpret_cast<char *>(pIpMacInfo->dstMac));
    if (pIpMacInfo->srcMac[0] != 0)
        SetMacFrmStr(pHead->m_SrcMac, reinterpret_cast<char *>(pIpMacInfo->srcMac));
    SetUshortTons(&pHead->m_IpLayerType, ETH_P_IP);
    pHead->m_VerHeadLen = 0x45;
    SetUshortTons(&pHead->m_TotalLen, BufLen + kIpHeaderLen + kUdpHeaderLen);
    pHead->m_TimeToLive = 128;
    pHead->m_Pro = IPPROTO_UDP;
    if (pIpMacInfo->srcIp[0] != 0)
        SetIpFrmStr(pHead->m_SrcIp, reinterpret_cast<char *>(pIpMacInfo->srcIp));
    char broadcast[] = "255.255.255.255";
    SetIpFrmStr(pHead->m_DstIp, pIpMacInfo->dstIp[0] != 0 ? reinterpret_cast<char *>(pIpMacInfo->dstIp) : broadcast);
    BuildChecksum(reinterpret_cast<uchar *>(pHead) + kIpHeaderOffset, kIpHeaderLen, &pHead->m_HeaderCheckSum);
    SetUshortTons(&pHead->m_SrcPort, pIpMacInfo->srcPort);
    SetUshortTons(&pHead->m_DstPort, pIpMacInfo->dstPort);
    SetUshortTons(&pHead->m_UdpLen, BufLen + kUdpHeaderLen);
}

void UdpChecksum(PagHeader *pHead, uchar *DataBuf, unshort *UdpCheckSum)
{
    if (pHead == nullptr || DataBuf == nullptr || UdpCheckSum == nullptr) {
        printf("udp checksum para error\n");
        return;
    }
    int len = payload_length(DataBuf);
    if (len < 0)
        return;
    // Pseudo-header, UDP header, payload and a zero pad byte for an odd length.
    uchar area[kChecksumAreaSize] = {0};
    uchar *p = area;
    p = static_cast<uchar *>(memcpy(p, pHead->m_SrcIp, 4)) + 4;
    p = static_cast<uchar *>(memcpy(p, pHead->m_DstIp, 4)) + 4;
    *p++ = 0;
    *p++ = pHead->m_Pro;
    p = static_cast<uchar *>(memcpy(p, pHead->m_UdpLen.u_Byte, 2)) + 2;
    memcpy(p, reinterpret_cast<uchar *>(pHead) + offsetof(PagHeader, m_SrcPort), kUdpHeaderLen);
    memcpy(area + kPseudoHeaderLen + kUdpHeaderLen, DataBuf, static_cast<size_t>(len));
    BuildChecksum(area, kPseudoHeaderLen + kUdpHeaderLen + len + (len & 1), UdpCheckSum);
}

void BuildChecksum(uchar *pChHead, int len, unshort *CheckSum)
{
    if (pChHead == nullptr || CheckSum == nullptr || len < 0) {
        printf("Build Checksum error\n");
        return;
    }
    uint64_t sum = 0;
    for (int i = 0; i + 1 < len; i += 2)
        sum += static_cast<unsigned>(pChHead[i] << 8 | pChHead[i + 1]);
    while (sum >> 16)
        sum = (sum & 0xFFFF) + (sum >> 16);
    SetUshortTons(CheckSum, static_cast<int>(~sum & 0xFFFF));
}

void SetUshortTons(unshort *DstUnshort, int Value)
{
    if (DstUnshort == nullptr)
        return;
    unsigned v = static_cast<unsigned>(Value);
    DstUnshort->u_Byte[0] = static_cast<uchar>(v >> 8);
    DstUnshort->u_Byte[1] = static_cast<uchar>(v);
}

uchar atoh(const char *src)
{
    if (src == nullptr)
        return 0;
    size_t len = strnlen(src, 3);
    if (len != 1 && len != 2)
        return 0;
    int high = hex_digit(src[0]);
    if (high < 0) {
        printf("error 1\n");
        return 0;
    }
    if (len == 1)
        return static_cast<uchar>(high);
    int low = hex_digit(src[1]);
    if (low < 0) {
        printf("error 2\n");
        return 0;
    }
    return static_cast<uchar>(high * 16 + low);
}

void SetMacFrmStr(uchar *DstMac, const char *SrcMac)
{
    if (DstMac == nullptr || SrcMac == nullptr || strnlen(SrcMac, 18) != 17) {
        printf("error input\n");
        return;
    }
    split(SrcMac, ':', 6, [DstMac](std::string_view piece, int i) {
        char digits[3] = {0}; // a longer piece stays empty: atoh gives 0 silently
        if (piece.size() < sizeof digits)
            piece.copy(digits, piece.size());
        DstMac[i] = atoh(digits);
    });
}

void SetIpFrmStr(uchar *DstIp, char *SrcIp)
{
    if (DstIp == nullptr || SrcIp == nullptr) {
        printf("error input srcIp\n");
        return;
    }
    split(SrcIp, '.', 4, [DstIp](std::string_view piece, int i) { DstIp[i] = number_byte(piece); });
}

int GetIfaceIndex(int fd, const char *interface_name)
{
    if (interface_name == nullptr)
        return -1;
    ifreq req{};
    strncpy(req.ifr_name, interface_name, IFNAMSIZ - 1);
    if (ioctl(fd, SIOCGIFINDEX, &req) == -1)
        return -1;
    return req.ifr_ifindex;
}

void GetSrcIpMac(char *pMyIp, char *pMyMac, char *pEthName)
{
    if (pEthName == nullptr)
        return;
    Fd sock(socket(AF_INET, SOCK_DGRAM, 0));
    if (!sock.ok()) {
        perror("getipmac fail");
        return;
    }
    ifreq req{};
    strncpy(req.ifr_name, pEthName, IFNAMSIZ - 1);
    if (pMyIp != nullptr && ioctl(sock.get(), SIOCGIFADDR, &req) == 0) {
        auto addr = reinterpret_cast<sockaddr_in *>(&req.ifr_addr);
        inet_ntop(AF_INET, &addr->sin_addr, pMyIp, INET_ADDRSTRLEN);
    }
    if (pMyMac != nullptr && ioctl(sock.get(), SIOCGIFHWADDR, &req) == 0) {
        auto hw = reinterpret_cast<const uchar *>(req.ifr_hwaddr.sa_data);
        snprintf(pMyMac, 18, "%02x:%02x:%02x:%02x:%02x:%02x", hw[0], hw[1], hw[2], hw[3], hw[4], hw[5]);
    }
}

} // extern "C"
