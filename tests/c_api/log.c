#include "libbase.h"

#include <string.h>

int c_api_log(void)
{
    CONFIG_INFO_ST config = {"", 1, 5, 0, NULL}; /* an empty path is refused */
    char text[] = "hi", out[32];

    return VelquistLog_ConfigParameter(&config) != -1 || glibPrintFlag != 7 || netaddrlen != 0
           || net_sockaddr.sin_family != 0 || term_color(out, text, 31, 0, (int)sizeof out) != out
           || strcmp(out, "\033[31;40mhi\033[0;37;40m") != 0;
}
