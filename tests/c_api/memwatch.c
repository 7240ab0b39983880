/* An application's sources routed through the memory debugger. */
#define _XOPEN_SOURCE 700 /* mkdtemp */
#define MEMWATCH
#include "libbase.h"

#include <stdio.h>

int c_api_memwatch(void)
{
    int failed = 0;
    MW_STATS before, after;
    char path[] = "/tmp/libbase-c-api-memwatch-XXXXXX", log[64];
    char *word, *grown;

    if (mkdtemp(path) == NULL)
        return 1;
    snprintf(log, sizeof log, "%s/mw.log", path);
    failed += mwSetLogFile(log) != 0;
    mwStatistics(&before);
    word = strdup("routed");
    grown = realloc(malloc(4), 64);
    failed += word == NULL || grown == NULL || strcmp(word, "routed") != 0;
    failed += mwCHECK() != 0;
    failed += mwREPORT() != (int)before.blocks_in_use + 2;
    free(word);
    free(grown);
    free(calloc(2, 8));
    mwStatistics(&after);
    failed += after.allocations != before.allocations + 3 || after.frees != before.frees + 3;
    remove(log);
    remove(path);
    return failed;
}
