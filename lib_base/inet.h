/* inet.h - byte-order and IPv4 address conversion.
 *
 * Thin wrappers over htonl/htons/inet_addr/inet_ntoa. Addresses are in
 * network order as the socket calls use them. Nothing here prints. */
#ifndef LIBBASE_INET_H
#define LIBBASE_INET_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* htonl(hi) / htons(hs). */
LIBBASE_API unsigned int Net_Htonl(unsigned int hi);
LIBBASE_API unsigned short Net_Htons(unsigned short hs);

/* inet_addr(ip): the address in network order; text that is no dotted
 * address gives 0xFFFFFFFF (which is also 255.255.255.255). */
LIBBASE_API unsigned int Net_Addr_To_Int(const char *ip);

/* Writes the dotted text of the network-order address ipi into outip, which
 * must hold at least 16 bytes. 1; (unsigned)-1 for a NULL outip. */
LIBBASE_API unsigned int Net_Int_To_Addr(int ipi, char *outip);

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_INET_H */
