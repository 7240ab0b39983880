/* tcp.h - IPv4 TCP server and client sockets.
 *
 * Stateless wrappers over the socket calls. Every socket handed out is
 * non-blocking and every receive is non-blocking, for applications that
 * poll their sockets from one loop. Sockets are plain descriptors; ports
 * are in host order. Complaints go to standard output; none of these
 * functions writes to the trace log. A descriptor below 1 is a failure:
 * descriptor 0 is never handed out nor closed. */
#ifndef LIBBASE_TCP_H
#define LIBBASE_TCP_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Progress of a non-blocking connect. */
typedef enum _CONNECT_STATUS {
    CONNECTING = 0,
    CONNECTED = 1,
    CONNECT_REFUSE = 2
} CONNECT_STATUS;

/* What a non-blocking connect started. */
typedef struct _T_SOCKET_TH {
    int socketId;                  /* the socket descriptor */
    CONNECT_STATUS connect_status;
} T_SOCKET_TH, *PT_SOCKET_TH;

/* Sets SO_SNDBUF (set_buf_type 0) or SO_RCVBUF (1) to set_len bytes. The
 * kernel's answer is not checked: 0 even when it refuses; -1 for another
 * type, sockfd < 1 or set_len < 1. */
LIBBASE_API int Tcp_Set_Sock_Opt(int sockfd, int set_buf_type, int set_len);

/* A non-blocking listening socket (SO_REUSEADDR, backlog 50) on port of
 * every local address (port 0: an ephemeral one), or of the address pchIp.
 * A negative port (or NULL pchIp) prints "TCP invalid port [%d]\n" and gives
 * -1; a failed socket() prints its message and gives its result (0 or -1);
 * a failed bind or listen prints its message and gives -1, leaving that
 * socket open. Error texts come from hstrerror(h_errno). */
LIBBASE_API int Tcp_Server_Create(int port);
LIBBASE_API int Tcp_Server_Create_Bind_Ip(char *pchIp, int port);

/* Accepts one connection: the new non-blocking descriptor with a 200000
 * byte send buffer, or -1 (silently) when none is waiting or accept fails. */
LIBBASE_API int Tcp_Server_Accept(int server_sockid);

/* As Tcp_Server_Accept; also writes the peer's dotted address into ip,
 * filling exactly len bytes (text, then zeros; cut without terminator when
 * len is too small), and its host-order port into *port. NULL ip or port
 * prints "Tcp_Server_Accept_Addr  input error\n" and gives -1. */
LIBBASE_API int Tcp_Server_Accept_Addr(int server_sockid, char *ip, int len, int *port);

/* Blocking connect to ip:port (text that is no address means
 * 255.255.255.255). The connected socket, then made non-blocking with a
 * 200000 byte send buffer; -1 when the connect fails (silently) or ip is
 * NULL; a failed socket() prints its message and gives its result. */
LIBBASE_API int Tcp_Connect(char *ip, int port);

/* Starts a non-blocking connect and fills *p_socket_th with the socket and
 * CONNECTING, or CONNECTED when it completed at once (printing the GBK line
 * "connected successfully"). 0; -1 when the connect failed outright (the
 * socket is closed) or on NULL arguments, which print
 * "Tcp_Connect_Non_Lock p_socket_th is null \n". */
LIBBASE_API int Tcp_Connect_Non_Lock(char *ip, int port, T_SOCKET_TH *p_socket_th);

/* Polls, without waiting, a connect started by Tcp_Connect_Non_Lock and
 * updates *status. A status already CONNECTED is kept (0). Otherwise:
 * CONNECTING while the connect is under way (0); CONNECTED once the peer is
 * there (0); CONNECT_REFUSE when it was refused or timed out (-1), and
 * likewise for any other failure, which is also reported with perror. A
 * refused socket stays refused on later polls. socket_id < 0 prints
 * "[Tcp_Select_Status]  socketid <0  error\n" and gives -1. Never closes. */
LIBBASE_API int Tcp_Select_Status(int socket_id, int *status);

/* Zero-fills len bytes of pbuf, then recv(..., MSG_DONTWAIT): the byte
 * count, 0 when the peer closed, -1 with errno (EAGAIN: nothing waiting).
 * -1 for a NULL pbuf or negative len. */
LIBBASE_API int Tcp_Socket_Recv(int sockid, char *pbuf, int len);

/* send(..., MSG_NOSIGNAL): the count sent (possibly partial), or -1 with
 * errno; a broken connection gives -1 (EPIPE), never a signal. sockid < 0
 * prints "TCP send invalid socketid[%d]\n" and gives -1; NULL pbuf or
 * negative len gives -1. */
LIBBASE_API int Tcp_Socket_Send(int sockid, char *pbuf, int len);

/* close(sockid); -1 for sockid < 1 (descriptor 0 is left open). */
LIBBASE_API int Tcp_Socket_Close(int sockid);

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_TCP_H */
