#define _POSIX_C_SOURCE 200809L
#include "libbase.h"

#include <netinet/in.h>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>

int c_api_tcp_fc_cut(void)
{
    int failed = 0, server = -1, port = 0, tries;
    char ip[] = "127.0.0.1", peer_ip[16], body[] = "hello", out[16];
    unsigned char reserved = 0;
    struct sockaddr_in sa;
    socklen_t len = sizeof sa;
    PTCP_TH client = NULL, accepted = NULL;
    struct pollfd pfd;

    failed += Tcp_Fc_Server_Create(0, &server) != 0;
    failed += getsockname(server, (struct sockaddr *)&sa, &len) != 0;
    failed += Tcp_Fc_Connect(ip, ntohs(sa.sin_port), &client) != 0;
    pfd.fd = server;
    pfd.events = POLLIN;
    poll(&pfd, 1, 2000);
    failed += Tcp_Fc_Server_Accept_Addr(server, &accepted, peer_ip, sizeof peer_ip, &port) != 0;
    failed += strcmp(peer_ip, ip) != 0 || port < 1;
    failed += Tcp_Cut_Tpkt_Send_One_Msg_Bin_Head(client, 9, body, 5) != 9;
    for (tries = 0; tries < 100 && Tcp_Cut_Tpkt_Recv_Cut(accepted) < 0; tries++) {
        pfd.fd = ((PTCP_SOCKFD_ST)accepted)->sockfd;
        poll(&pfd, 1, 20);
    }
    failed += Tcp_Cut_Tpkt_Get_One_Msg_Bin_Head(accepted, out, sizeof out, &reserved) != 5;
    failed += memcmp(out, body, 5) != 0 || reserved != 9;
    failed += Tcp_Fc_Socket_Close(client) != 0 || Tcp_Fc_Socket_Close(accepted) != 0;
    failed += Tcp_Socket_Close(server) != 0;
    return failed;
}
