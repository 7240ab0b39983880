#include "libbase.h"

int c_api_udp(void)
{
    char ip[] = "127.0.0.1", buf[8];
    int fd = Udp_Socket_Create_bind_ip_port(ip, 0);
    int failed = fd < 1 || Udp_Socket_Recv(fd, buf, sizeof buf) != -1;

    failed += Udp_Socket_Send(fd, "ping", 4, ip, 9) != 1;
    return failed + (Udp_Socket_Close(fd) != 0);
}
