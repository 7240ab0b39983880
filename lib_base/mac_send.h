/* mac_send.h - sends one UDP datagram as a hand-built Ethernet frame.
 *
 * SndToMac writes an Ethernet II / IPv4 / UDP frame through a packet socket
 * on a named interface, to a given destination MAC address and to the IP
 * broadcast address 255.255.255.255; the source addresses are read from the
 * interface. It lets a device reach a peer at layer 2 before either side has
 * a usable IP configuration. Sending needs the right to open packet sockets
 * (root or CAP_NET_RAW).
 *
 * The payload is a NUL-terminated text of at most MAC_SEND_MAX_PAYLOAD bytes,
 * sent without its terminator. Every call opens and closes its own socket.
 * Complaints are printed to standard output, or by perror where noted. */
#ifndef LIBBASE_MAC_SEND_H
#define LIBBASE_MAC_SEND_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifndef LIBBASE_UCHAR_DEFINED
#define LIBBASE_UCHAR_DEFINED
typedef unsigned char uchar;
#endif

/* Longest payload: the UDP checksum is computed in a 1000-byte work area
 * behind a 20-byte pseudo-header and UDP header. */
#define MAC_SEND_MAX_PAYLOAD 980

/* A two-byte wire field, always filled byte by byte, high byte first. */
typedef union _UNSHORT {
    uchar u_Byte[2];
    unsigned short u_short;
} unshort;

/* The 42 bytes in front of the payload, exactly as they go on the wire. */
typedef struct _PAG_HEADER {
    uchar m_DstMac[6];          /* Ethernet destination */
    uchar m_SrcMac[6];          /* Ethernet source */
    unshort m_IpLayerType;      /* 08 00: IPv4 */
    uchar m_VerHeadLen;         /* 0x45: version 4, 5-word header */
    uchar m_DiffSer;            /* 0 */
    unshort m_TotalLen;         /* payload length + 28 */
    unshort m_Id;               /* 0 */
    uchar m_Flags;              /* 0 */
    uchar m_FragOffset;         /* 0 */
    uchar m_TimeToLive;         /* 128 */
    uchar m_Pro;                /* 17: UDP */
    unshort m_HeaderCheckSum;   /* Internet checksum of the 20 IP header bytes */
    uchar m_SrcIp[4];
    uchar m_DstIp[4];
    unshort m_SrcPort;
    unshort m_DstPort;
    unshort m_UdpLen;           /* payload length + 8 */
    unshort m_CheckSum;         /* UDP checksum with the pseudo-header */
} PagHeader;

/* The addresses of one frame as texts. An empty text (first byte 0) leaves
 * its header field zero; an empty dstIp means 255.255.255.255. */
typedef struct _IP_MAC_INFO {
    uchar srcMac[50];           /* "xx:xx:xx:xx:xx:xx" */
    uchar dstMac[50];
    uchar srcIp[20];            /* dotted IPv4 */
    uchar dstIp[20];
    int srcPort;
    int dstPort;
} IpMacInfo_T;

/* Sends pBuf as the payload of one broadcast UDP datagram from SrcPort to
 * DstPort, in a frame to the MAC address pDstMac ("xx:xx:xx:xx:xx:xx") on
 * the interface pEthName. Returns 0 once the socket is bound, even when
 * sending fails (then perror("Unabele to send arp request") reports it);
 * -1 before that, after printing one of:
 *   "para error\n"                        a NULL argument
 *   "payload too long: %d bytes, at most 980 !\n"
 *   "Could not open raw socket\n"
 *   "Could not setsocketopt on raw socket\n"
 *   "bind error:%s !\n"                   e.g. an unknown interface */
LIBBASE_API int SndToMac(char *pEthName, char *pDstMac, uchar *pBuf, int SrcPort, int DstPort);

/* Fills *pHead for a payload of BufLen bytes from the addresses and ports
 * in *pIpMacInfo, the IP header checksum included; the UDP checksum is left
 * 0 for UdpChecksum. NULL prints "set udp header fail\n". */
LIBBASE_API void SetPagHeader(PagHeader *pHead, int BufLen, IpMacInfo_T *pIpMacInfo);

/* Stores in *UdpCheckSum the UDP checksum of the datagram made of the
 * filled header *pHead (its checksum field 0) and the text DataBuf. A 0
 * result is stored as 0. NULL prints "udp checksum para error\n", a text
 * longer than 980 bytes "payload too long: %d bytes, at most 980 !\n";
 * then *UdpCheckSum is left unchanged. */
LIBBASE_API void UdpChecksum(PagHeader *pHead, uchar *DataBuf, unshort *UdpCheckSum);

/* Stores in *CheckSum the Internet checksum of the len / 2 big-endian
 * 16-bit words at pChHead; an odd last byte is ignored, so callers pad.
 * A NULL pointer or a negative len prints "Build Checksum error\n" and
 * leaves *CheckSum unchanged. */
LIBBASE_API void BuildChecksum(uchar *pChHead, int len, unshort *CheckSum);

/* Byte 0 = Value / 256, byte 1 = Value % 256 (low 16 bits of Value). */
LIBBASE_API void SetUshortTons(unshort *DstUnshort, int Value);

/* The value of a 1- or 2-digit hexadecimal text; 0 for any other length or
 * NULL. A bad first digit prints "error 1\n", a bad second "error 2\n";
 * both give 0. */
LIBBASE_API uchar atoh(const char *src);

/* Stores the bytes of the 17-character MAC text SrcMac, split at ':', each
 * piece read by atoh, in DstMac (at most 6 bytes). NULL or another length
 * prints "error input\n". */
LIBBASE_API void SetMacFrmStr(uchar *DstMac, const char *SrcMac);

/* Stores the numbers of the dotted text SrcIp, each cut to a byte, in DstIp
 * (at most 4 bytes). NULL prints "error input srcIp\n". */
LIBBASE_API void SetIpFrmStr(uchar *DstIp, char *SrcIp);

/* The index of the interface interface_name, looked up on the socket fd;
 * -1 when there is none. */
LIBBASE_API int GetIfaceIndex(int fd, const char *interface_name);

/* Writes the interface's IPv4 address as dotted text to pMyIp (16 bytes
 * suffice) and its hardware address as "xx:xx:xx:xx:xx:xx" to pMyMac
 * (18 bytes suffice). A lookup that fails leaves its text untouched; a
 * socket that cannot be opened is reported by perror("getipmac fail"). */
LIBBASE_API void GetSrcIpMac(char *pMyIp, char *pMyMac, char *pEthName);

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_MAC_SEND_H */
