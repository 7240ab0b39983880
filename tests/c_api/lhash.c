#include "libbase.h"

int c_api_lhash(void)
{
    ZOR_HASH_FIFO table = Zor_Hash_Fifo_Make(31, NULL, NULL, NULL);
    const zor_hash_fifo_t *record = table;
    int failed = record == NULL || record->max != 31 || Zor_Hash_Fifo_Set(table, "ab", 2, "v") != 1
                 || Fifo_GetCount(record->List[Zor_Hash_Fifo_Algorithm(31, "ab", 2)].Lfifo) != 1;

    Zor_Hash_Fifo_Free(table);
    return failed;
}
