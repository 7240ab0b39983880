#include "libbase.h"

int c_api_tcp_fc_cut(void)
{
    struct sockaddr_in sa;
    socklen_t len = sizeof sa;
    SOCKFD_T server = -1;
    PTCP_TH client = NULL;
    int failed = Tcp_Fc_Server_Create(0, &server) != 0 || getsockname(server, (struct sockaddr *)&sa, &len) != 0;

    failed += Tcp_Fc_Connect("127.0.0.1", ntohs(sa.sin_port), &client) != 0
              || ((PTCP_SOCKFD_ST)client)->socket_status != CONNECTED;
    failed += Tcp_Cut_Tpkt_Send_One_Msg_Bin_Head(client, 9, "hello", 5) != 9;
    return failed + (Tcp_Fc_Socket_Close(client) != 0 || Tcp_Socket_Close(server) != 0);
}
