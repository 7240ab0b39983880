#define MEMWATCH /* this file's allocations go through the debugger */
#include "libbase.h"

int c_api_memwatch(void)
{
    MW_STATS before, after;

    mwSetLogFile("/dev/null"); /* mwStatistics logs a line */
    mwStatistics(&before);
    free(realloc(strdup("routed"), 64));
    mwStatistics(&after);
    return mwCHECK() != 0 || after.allocations != before.allocations + 1 || after.frees != before.frees + 1;
}
