#define _POSIX_C_SOURCE 200809L
#include "libbase.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

int c_api_log(void)
{
    int failed = 0;
    char dir[] = "/tmp/libbase-c-log-XXXXXX", path[128], text[] = "hi", out[64], source[] = "log.c";
    CONFIG_INFO_ST config;
    FILE *f;

    if (mkdtemp(dir) == NULL)
        return 1;
    snprintf(path, sizeof path, "%s/app.log", dir);
    memset(&config, 0, sizeof config);
    strcpy(config.m_chFilePath, path);
    config.m_iLogFileMaxSize = 1;
    config.m_iLogMaxNum = 5;
    failed += VelquistLog_ConfigParameter(&config) != 0;
    MT_Log_SetLevel(7);
    LogSetPrintfLvl(0);
    Log_Trace_Proc(2, 1, source, __LINE__, "from C %d", 99);
    LogSetPrintfLvl(7);
    f = fopen(path, "rb");
    failed += f == NULL;
    if (f != NULL) {
        char line[256] = "";
        failed += fgets(line, sizeof line, f) == NULL || strstr(line, "]: from C 99  <") == NULL;
        fclose(f);
    }
    failed += term_color(out, text, 31, 0, (int)sizeof out) != out || strcmp(out, "\033[31;40mhi\033[0;37;40m") != 0;
    failed += glibPrintFlag != 7 || netaddrlen != 0 || VelquistLog_GetUsedFileNodeNum() != 0;
    failed += Net_Udp_Close() != -1 || net_sockaddr.sin_family != 0;
    unlink(path);
    rmdir(dir);
    return failed;
}
