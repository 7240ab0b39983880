#include "libbase.h"

#include <string.h>

int c_api_core(void)
{
    int failed = 0;
    FIFOH fifo = Fifo_Allocate(2);
    SLH strings = Strlist_Allocate(4);
    OLH objects = Objlist_Allocate(4);
    char text[] = "a;b", *cursor = text, key[] = ";", *word = Str_Alloc("C99");
    int value = 7, out = 0;

    failed += Fifo_Push(fifo, word) != 1;
    failed += Fifo_Pull(fifo) != word;
    failed += strcmp(Str_Tok(&cursor, key), "a") != 0;
    failed += Strlist_Add(strings, word) != 0 || Strlist_Index_Content(strings, "C99") != 0;
    failed += Objlist_Add(objects, &value, sizeof value) != 0;
    failed += Objlist_Get(objects, 0, &out, sizeof out) != (int)sizeof out || out != 7;
    failed += strncmp(LibBase_GetLibVersion(), "libbase_R1.1.4; ", 16) != 0;
    Mem_Free(word);
    Fifo_Free(fifo);
    Strlist_Free(strings);
    Objlist_Free(objects);
    return failed;
}
