#include "libbase.h"

#include <string.h>

int c_api_mac_send(void)
{
    int failed = 0;
    IpMacInfo_T info;
    PagHeader header;
    unshort sum;
    uchar payload[] = "ab";

    memset(&info, 0, sizeof info);
    strcpy((char *)info.dstMac, "ff:ff:ff:ff:ff:ff");
    strcpy((char *)info.srcIp, "10.0.0.1");
    info.srcPort = 1;
    info.dstPort = 2;
    SetPagHeader(&header, 2, &info);
    UdpChecksum(&header, payload, &header.m_CheckSum);
    failed += sizeof header != 42;
    failed += header.m_DstMac[5] != 0xFF || header.m_TotalLen.u_Byte[1] != 30 || header.m_UdpLen.u_Byte[1] != 10;
    BuildChecksum(&header.m_VerHeadLen, 20, &sum);
    failed += sum.u_Byte[0] != 0 || sum.u_Byte[1] != 0;
    failed += atoh("7f") != 0x7F;
    failed += SndToMac(NULL, NULL, payload, 1, 2) != -1;
    return failed;
}
