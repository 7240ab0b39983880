// inet.cpp - byte-order and IPv4 address conversion.
#include "inet.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cstring>

extern "C" {

unsigned int Net_Htonl(unsigned int hi)
{
    return htonl(hi);
}

unsigned short Net_Htons(unsigned short hs)
{
    return htons(hs);
}

unsigned int Net_Addr_To_Int(const char *ip)
{
    return ip == nullptr ? INADDR_NONE : inet_addr(ip);
}

unsigned int Net_Int_To_Addr(int ipi, char *outip)
{
    if (outip == nullptr)
        return static_cast<unsigned int>(-1);
    // Same text as inet_ntoa, without its shared static buffer.
    struct in_addr addr;
    addr.s_addr = static_cast<in_addr_t>(ipi);
    char text[INET_ADDRSTRLEN];
    inet_ntop(AF_INET, &addr, text, sizeof text);
    strcpy(outip, text);
    return 1;
}

} // extern "C"
