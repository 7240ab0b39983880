#define _POSIX_C_SOURCE 200809L
#include "libbase.h"

#include <netinet/in.h>
#include <sys/socket.h>

int c_api_tcp(void)
{
    int failed = 0;
    char ip[] = "127.0.0.1", buf[4];
    struct sockaddr_in sa;
    socklen_t len = sizeof sa;
    T_SOCKET_TH th = {0, CONNECTING};
    int status = CONNECTED, server = Tcp_Server_Create_Bind_Ip(ip, 0);

    failed += server < 1 || getsockname(server, (struct sockaddr *)&sa, &len) != 0;
    failed += Tcp_Connect_Non_Lock(ip, ntohs(sa.sin_port), &th) != 0 || th.socketId < 1;
    failed += Tcp_Select_Status(th.socketId, &status) != 0 || status != CONNECTED;
    failed += Tcp_Socket_Recv(th.socketId, buf, sizeof buf) != -1;
    failed += Tcp_Socket_Close(th.socketId) != 0;
    failed += Tcp_Socket_Close(server) != 0;
    return failed;
}
