#define _POSIX_C_SOURCE 200809L
#include "libbase.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

int c_api_tlog(void)
{
    int failed = 0;
    char dir[] = "/tmp/libbase-c-tlog-XXXXXX", path[128], text[] = "from C";

    if (mkdtemp(dir) == NULL)
        return 1;
    snprintf(path, sizeof path, "%s/t.log", dir);
    failed += Zor_Log_Init_T(path, 0, 100, 4) != 1;
    failed += logfile == NULL || strcmp(file, path) != 0 || gt_log_max != 100L || log_level != 4;
    failed += realtime_printf != 0;
    Zor_Log_Print(2, text);
    if (logfile != NULL) {
        long size = ftell(logfile);
        failed += size < (long)strlen("<Sys_I  : Jan  1 00:00:00> from C\n");
    }
    unlink(path);
    rmdir(dir);
    return failed;
}
