#include "libbase.h"

#include <stdlib.h>
#include <string.h>

static int compare_strings(const void *a, const void *b)
{
    return strcmp((const char *)a, (const char *)b);
}

int c_api_hash(void)
{
    int failed = 0;
    /* The operations take the handle itself; C converts it implicitly. */
    ZOR_HASH table = Zor_Hash_Make(31, compare_strings, free);
    char *value = malloc(4);

    strcpy(value, "one");
    failed += Zor_Hash_Set(table, "k", -1, value) != 0;
    failed += Zor_Hash_Get(table, "k", 1, "one") != value;
    failed += Zor_Hash_Get_Tataol_Node_Count(table) != 1;
    failed += Zor_Hash_Algorithm(31, "ab", 2) != (97 * 33 + 98) % 32;
    Zor_Hash_Free(table);
    return failed;
}
