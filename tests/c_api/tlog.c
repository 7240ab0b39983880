#define _POSIX_C_SOURCE 200809L /* mkdtemp */
#include "libbase.h"

#include <stdlib.h>
#include <string.h>

int c_api_tlog(void)
{
    char dir[] = "/tmp/libbase-c-tlog-XXXXXX", path[64], text[] = "from C";

    if (mkdtemp(dir) == NULL)
        return 1;
    snprintf(path, sizeof path, "%s/t.log", dir);
    int failed = Zor_Log_Init_T(path, 0, 100, 4) != 1 || strcmp(file, path) != 0 || log_level != 4;
    Zor_Log_Print(2, text); /* a dated line, longer than the text */
    failed += gt_log_max != 100L || logfile == NULL || ftell(logfile) <= (long)sizeof text;
    remove(path);
    remove(dir);
    return failed;
}
