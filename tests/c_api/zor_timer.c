#include "libbase.h"

int c_api_zor_timer(void)
{
    pTIMER_LIST service = Zor_New_Timer_Malloc(0, 9); /* ids 0 to 0 */

    Zor_New_Timer_Start(service, NULL, 0, 1, 60, 0);
    int failed = Zor_New_Judge_Element_Wether_Exist(service->pList[0].pfifo, 0, 1, 0) != 1;
    /* No call destroys a service: take it apart (the id list owns the timer). */
    Fifo_Free(service->pList[0].pfifo);
    Zor_Hash_Fifo_Free(service->pHash);
    Mem_Free(service->pList);
    Mem_Free(service);
    return failed;
}
