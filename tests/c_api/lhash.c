#include "libbase.h"

#include <string.h>

static int same_text(const void *element, const void *val)
{
    return strcmp((const char *)element, (const char *)val);
}

static void ignore(const void *element)
{
    (void)element;
}

int c_api_lhash(void)
{
    int failed = 0;
    char key[] = "ab", value[] = "v";
    ZOR_HASH_FIFO table = Zor_Hash_Fifo_Make(31, same_text, ignore, same_text);

    failed += Zor_Hash_Fifo_Algorithm(15, key, -1) != 3;
    failed += Zor_Hash_Fifo_Set(table, key, 2, value) != 1;
    failed += Zor_Hash_Fifo_Get(table, key, 2, "v") != value;
    Zor_Hash_Fifo_Del_Node(table, key, 2, "v");
    failed += Zor_Hash_Fifo_Get(table, key, 2, "v") != NULL;
    Zor_Hash_Fifo_Traverse_Nodes(table, key, 2, "v");
    Zor_Hash_Fifo_Free(table);
    return failed;
}
