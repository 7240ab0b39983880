#include "libbase.h"

int c_api_udp(void)
{
    int failed = 0;
    char ip[] = "127.0.0.1", data[] = "ping", buf[8];
    int fd = Udp_Socket_Create_bind_ip_port(ip, 0);

    failed += fd < 1;
    failed += Udp_Socket_Recv(fd, buf, sizeof buf) != -1;
    failed += Udp_Socket_Send(fd, data, 4, ip, 9) != 1;
    failed += Udp_Socket_Close(fd) != 0;
    failed += Udp_Socket_Close(0) != -1;
    return failed;
}
