#include "libbase.h"

int c_api_mac_send(void)
{
    IpMacInfo_T info = {"", "", "10.0.0.1", "", 1, 2};
    PagHeader header;

    SetPagHeader(&header, 2, &info);
    return sizeof header != 42 || header.m_TotalLen.u_Byte[1] != 30 || header.m_SrcIp[0] != 10;
}
