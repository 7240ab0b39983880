#include "libbase.h"

int c_api_core(void)
{
    FIFOH fifo = Fifo_Allocate(2);
    SLH strings = Strlist_Allocate(4);
    OLH objects = Objlist_Allocate(4);
    char *word = Str_Alloc("C99");
    int failed = Fifo_Push(fifo, word) != 1 || Fifo_Pull(fifo) != word || Objlist_Add(objects, word, 4) != 0;

    failed += Strlist_Add(strings, word) != 0 || Strlist_Index_Content(strings, "C99") != 0;
    Mem_Free(word);
    Fifo_Free(fifo);
    Strlist_Free(strings);
    Objlist_Free(objects);
    return failed + (LibBase_GetLibVersion() == NULL);
}
