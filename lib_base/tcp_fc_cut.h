/* tcp_fc_cut.h - framed, non-blocking TCP connections, and the cutters that
 * split their byte streams into TPKT frames or SIP text messages.
 *
 * A connection record owns one non-blocking socket, a send list of data the
 * kernel has not yet taken, a list of whole received messages and the
 * unfinished tail of the last receive (the old buffer). Sends never block:
 * what the kernel refuses is queued and flushed by Tcp_Fc_Loop_Send, in
 * order. Both lists hold single Mem_Malloc blocks: a native int length, then
 * that many bytes. Their byte totals are bounded by max_send_len and
 * max_recv_len (1048576 by default). A record is used by one thread at a
 * time. Complaints go to standard output. */
#ifndef LIBBASE_TCP_FC_CUT_H
#define LIBBASE_TCP_FC_CUT_H

#include "libbase_api.h"
#include "fifo.h"
#include "tcp.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef int SOCKFD_T;

/* The connection record. */
typedef struct __TCP_SOCKFD_ST {
    int sockfd;            /* the non-blocking socket, owned by the record */
    int max_send_len;      /* bound on the bytes held in send_buf_list */
    int send_len;          /* bytes held in send_buf_list (without prefixes) */
    int max_recv_len;      /* receiving stops while recv_len exceeds it */
    int recv_len;          /* bytes held in recv_msg_list */
    int recv_old_len;      /* bytes in recv_old_buf, 0 when there is none */
    FIFOH send_buf_list;   /* data waiting to be sent, oldest first */
    FIFOH recv_msg_list;   /* whole received messages, oldest first */
    char *recv_old_buf;    /* unfinished tail of the last receive, or NULL */
    int socket_status;     /* -1 unknown, else a CONNECT_STATUS */
} TCP_SOCKFD_ST, *PTCP_SOCKFD_ST;

/* The handle applications hold. */
typedef void *PTCP_TH;

/* Connections ---------------------------------------------------------- */

/* Tcp_Set_Sock_Opt on the record's socket; -1 for NULL (with a message). */
LIBBASE_API int Tcp_Fc_Set_Sock_Opt(PTCP_TH ptcp_th, int set_buf_type, int set_len);

/* Sets max_send_len and max_recv_len, unchecked. 0; -1 for NULL. */
LIBBASE_API int Tcp_Fc_Set_Send_Recv_Buf_Size(PTCP_TH ptcp_th, int send_size, int recv_size);

/* A listening socket (Tcp_Server_Create; a plain descriptor, not a record)
 * in *sockfd, printing "Creat server sockfd is success.sockfd[%d]\n". 0; -1
 * after a message. */
LIBBASE_API int Tcp_Fc_Server_Create(int port, SOCKFD_T *sockfd);

/* Accepts one connection into a new connected record in *pptcp_th; the _Addr
 * form also gives the peer's address text (len bytes) and port. 0; -1 when
 * none is waiting, or after a message. */
LIBBASE_API int Tcp_Fc_Server_Accept(SOCKFD_T server_sockid, PTCP_TH *pptcp_th);
LIBBASE_API int Tcp_Fc_Server_Accept_Addr(SOCKFD_T server_sockid, PTCP_TH *pptcp_th, char *ip, int len, int *pport);

/* Blocking connect into a new connected record. 0; -1. */
LIBBASE_API int Tcp_Fc_Connect(char *ip, int port, PTCP_TH *pptcp_th);

/* Starts a non-blocking connect into a new record whose status is CONNECTING
 * or CONNECTED; poll it with Tcp_Fc_Select_Non_Lock_By_TH. 0; -1. */
LIBBASE_API int Tcp_Fc_Connect_Non_Lock(char *ip, int port, PTCP_TH *pptcp_th);

/* Blocking connect, after which sends time out after iSecond seconds (the
 * connect itself is not bounded). 0; -1. */
LIBBASE_API int Tcp_Fc_Connect_Wait_By_Time(char *ip, int port, PTCP_TH *pptcp_th, int iSecond);

/* Tcp_Select_Status on socketid and *socket_status; 0 whatever it found,
 * -1 for socketid < 0. */
LIBBASE_API int Tcp_Fc_Select_Non_Lock(int socketid, int *socket_status);

/* Polls the record's connect and stores the status: 1 connected,
 * 2 connecting, 3 refused (the record stays; close it), -1 otherwise. */
LIBBASE_API int Tcp_Fc_Select_Non_Lock_By_TH(PTCP_TH ptcp_th);

/* Closes the socket and frees the record, both lists (queued data is
 * dropped) and the old buffer. 0; -1 for NULL. */
LIBBASE_API int Tcp_Fc_Socket_Close(PTCP_TH ptcp_th);

/* Raw non-blocking receive (Tcp_Socket_Recv) once connected, bypassing the
 * cutters; -1 when not connected or for NULL arguments. */
LIBBASE_API int Tcp_Fc_Socket_Recv(PTCP_TH ptcp_th, char *pdes_buf, int buf_len);

/* Sends len bytes or queues what the kernel refuses; never blocks and never
 * lets data overtake what is queued. len when sent or queued (the two are
 * not told apart); -1 when not connected, when the send list's byte limit
 * or memory refuses the data (which is then lost), or for bad arguments. A
 * partial send whose rest cannot be queued gives the count sent. */
LIBBASE_API int Tcp_Fc_Socket_Send(PTCP_TH ptcp_th, char *pbuf, int len);

/* Sends from the head of the send list until at least send_size bytes went
 * out, the list is empty or the kernel refuses more; an unsent rest stays
 * at the head. The bytes sent; -2 for an empty list and -1 for a refusal
 * when nothing was sent. */
LIBBASE_API int Tcp_Fc_Loop_Send(PTCP_TH ptcp_th, int send_size);

/* TPKT frames: 3, a reserved byte, a big-endian 16-bit length of the whole
 * frame, the body ------------------------------------------------------- */

/* Receives once (at most 20000 bytes with the old tail) and queues every
 * whole frame of length 7 to 20000; bytes up to a 3 are skipped, frames of
 * length 1 to 6 dropped, and a length of 0 drops the rest of the data. The
 * bytes cut (old tail plus new data); 0 when the receive gave 0 (peer closed,
 * or a frame too long for the buffer is stuck); -1 when nothing was
 * waiting, on errors, when not connected, or while recv_len exceeds
 * max_recv_len (nothing is read then). */
LIBBASE_API int Tcp_Cut_Tpkt_Recv_Cut(PTCP_TH ptcp_th);

/* Takes the oldest frame: its body (no terminator) into pmsg_body and its
 * reserved byte into *preserved. The body length; -1 when there is none or
 * when it is longer than body_len, in which case it is discarded. */
LIBBASE_API int Tcp_Cut_Tpkt_Get_One_Msg_Bin_Head(PTCP_TH ptcp_th, char *pmsg_body, int body_len,
                                                  unsigned char *preserved);

/* Frames body_len (1 to 65531) bytes with the reserved byte and sends them
 * with Tcp_Fc_Socket_Send, whose result it returns (body_len + 4 when sent
 * or queued); -1 for bad arguments. */
LIBBASE_API int Tcp_Cut_Tpkt_Send_One_Msg_Bin_Head(PTCP_TH ptcp_th, unsigned char reserved, char *msg_body,
                                                   int body_len);

/* 1: every receive is dumped frame by frame to standard output. */
LIBBASE_API void Tcp_Cut_Tpkt_Set_Printf_Flg(int flg);

/* SIP messages: from "Command sip:" to the end of the line after the
 * "Content-Length: " line, plus the body of that length ----------------- */

/* Receives once (at most 12288 bytes with the old tail) and queues every
 * whole message, searching the data as text. A negative Content-Length drops
 * its message. The bytes cut; 0 when the receive gave 0 and no message is
 * held (-1 when one is); -1 otherwise, as Tcp_Cut_Tpkt_Recv_Cut. */
LIBBASE_API int Tcp_Cut_Sip_Recv_Cut(PTCP_TH ptcp_th);

/* Takes the oldest message whole (no terminator). Its length; -1 when there
 * is none or when it is longer than buf_len, in which case it is
 * discarded. */
LIBBASE_API int Tcp_Cut_Sip_Get_One_Msg_Sip_Head(PTCP_TH ptcp_th, char *pmsg_buf, int buf_len);

/* Takes the oldest message (5000 bytes at most, longer ones are discarded)
 * and splits it at "<?xml version": the header (blank line included) into
 * pmsg_head, the rest into pmsg_body, no terminators. *head_len and
 * *body_len give the buffer sizes and receive the lengths copied. The whole
 * length; -1, and the message is gone, when there is none, no XML marker or
 * a buffer is too small (each printed). */
LIBBASE_API int Tcp_Cut_Sip_Get_One_Msg_Xmlbody_Siphead(PTCP_TH ptcp_th, char *pmsg_body, int *body_len,
                                                       char *pmsg_head, int *head_len);

/* 1: every receive is printed as text to standard output. */
LIBBASE_API void Tcp_Cut_Sip_Set_Printf_Flg(int flg);

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_TCP_FC_CUT_H */
