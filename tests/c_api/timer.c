#include "libbase.h"

int c_api_timer(void)
{
    PRTH set = Relative_Timer_Allocate(NULL, 4); /* no callback: ticks do nothing */
    const TPH *record = set;

    Relative_Timer_Start(set, 1, 2, 15);
    int failed = record == NULL || record->max != 4 || Fifo_GetCount(record->plist_Timer) != 1;
    return failed + (Relative_Timer_Free(set) != 1);
}
