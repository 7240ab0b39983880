#include "libbase.h"

int c_api_tcp(void)
{
    struct sockaddr_in sa;
    socklen_t len = sizeof sa;
    T_SOCKET_TH th = {0, CONNECT_REFUSE};
    int server = Tcp_Server_Create_Bind_Ip("127.0.0.1", 0);
    int failed = server < 1 || getsockname(server, (struct sockaddr *)&sa, &len) != 0;

    failed += Tcp_Connect_Non_Lock("127.0.0.1", ntohs(sa.sin_port), &th) != 0
              || th.connect_status == CONNECT_REFUSE;
    return failed + (Tcp_Socket_Close(th.socketId) != 0 || Tcp_Socket_Close(server) != 0);
}
