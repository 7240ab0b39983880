/* udp.h - IPv4 UDP sockets.
 *
 * Stateless wrappers over the socket calls. Sockets are non-blocking plain
 * descriptors; every receive is non-blocking; ports are in host order.
 * Complaints go to standard output (a failed bind is also reported with
 * perror). */
#ifndef LIBBASE_UDP_H
#define LIBBASE_UDP_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

struct sockaddr_in;

/* A non-blocking, close-on-exec UDP socket bound to port of every local
 * address (0: an ephemeral port), or -1 after a message. A failed bind
 * leaves that socket open. */
LIBBASE_API int Udp_Socket_Create(int port);

/* A non-blocking UDP socket bound to pchLocalIp:port, or -1 after a
 * message; here the socket is closed on every failure. A NULL ip or one of
 * 2 characters or fewer prints
 * "Udp_Socket_Create_bind_ip_port   input ip is NULL\n". */
LIBBASE_API int Udp_Socket_Create_bind_ip_port(char *pchLocalIp, int port);

/* recvfrom(..., MSG_DONTWAIT) of one datagram, sender discarded: the byte
 * count or -1 with errno (EAGAIN: nothing waiting). */
LIBBASE_API int Udp_Socket_Recv(int sockid, char *buffer, int len);

/* As Udp_Socket_Recv; when the count is above 0, also writes the sender's
 * dotted address into ip (at least 16 bytes) and its host-order port into
 * *pport. -1 for a NULL ip or pport. */
LIBBASE_API int Udp_Socket_recv_By_Addr(int sockid, char *buf, int len, char *ip, int *pport);

/* As Udp_Socket_Recv, the sender's address written to *psockaddr (may be
 * NULL). */
LIBBASE_API int Udp_Socket_Recv_By_Sockaddr(int sockid, char *buf, int len, struct sockaddr_in *psockaddr);

/* One sendto(..., 0) of len bytes to ip:port. 1 when it did not fail (not
 * the byte count), -1 when it failed or ip or buf is NULL. */
LIBBASE_API int Udp_Socket_Send(int sockid, char *buf, int len, char *ip, int port);

/* close(sockid); -1 for sockid < 1 (descriptor 0 is left open). */
LIBBASE_API int Udp_Socket_Close(int sockid);

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_UDP_H */
