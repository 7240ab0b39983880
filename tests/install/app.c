/* A small application built against the installed library. */
#include <libbase.h>
#include <stdio.h>
#include <string.h>

int main(void)
{
    FIFOH list = Fifo_Allocate(4);
    char *word = Str_Alloc("installed");
    if (list == NULL || word == NULL || Fifo_Push(list, word) != 1)
        return 1;
    if (strcmp((char *)Fifo_Pull(list), "installed") != 0)
        return 1;
    Mem_Free(word);
    Fifo_Free(list);
    printf("%s\n", LibBase_GetLibVersion());
    return 0;
}
