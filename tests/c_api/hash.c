#include "libbase.h"

int c_api_hash(void)
{
    ZOR_HASH table = Zor_Hash_Make(31, NULL, NULL); /* no compare function: no bucket trees */
    const zor_hash_t *record = table;
    int failed = record == NULL || record->max != 31 || record->b_tree[0].binary_tree != NULL;

    failed += Zor_Hash_Set(table, "k", -1, "v") != -1 || Zor_Hash_Algorithm(31, "ab", 2) != (97 * 33 + 98) % 32;
    Zor_Hash_Free(table);
    return failed;
}
