#include "libbase.h"

#include <stddef.h>

static void on_event_timer(int id, int event)
{
    (void)id;
    (void)event;
}

int c_api_zor_timer(void)
{
    int failed = 0, id;
    NEW_PRTH service = Zor_New_Timer_Malloc(2, 63);
    pTIMER_LIST record = (pTIMER_LIST)service;

    failed += service == NULL;
    Zor_New_Timer_Start(service, on_event_timer, 2, 1, 60, 0);
    Zor_New_Timer_Start(service, on_event_timer, 2, 2, 60, 0);
    failed += Zor_New_Judge_Element_Wether_Exist(record->pList[2].pfifo, 2, 1, 0) != 1;
    Zor_New_Timer_Reset(service, 2, 1, 30, 0);
    Zor_New_Timer_Stop(service, 2, 1, 0);
    Zor_New_Timer_Stop_All(service, 2, 0);
    Zor_New_Timer_Run(service);
    failed += Fifo_GetCount(record->pList[2].pfifo) != 0;

    /* No call destroys a service: take it apart through its record. */
    for (id = 0; id <= record->max; id++)
        Fifo_Free(record->pList[id].pfifo);
    Zor_Hash_Fifo_Free(record->pHash);
    Mem_Free(record->pList);
    Mem_Free(service);
    return failed;
}
