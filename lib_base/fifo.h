/* fifo.h - the FIFO list: a singly linked list of untyped payload pointers
 * with a head, a tail and one built-in cursor.
 *
 * Push/Pull make a queue, Add/Pull a stack; the step operations walk the
 * list with the cursor, the index operations address cells by 0-based index.
 * The list owns its cells; payloads stay the caller's, except that Fifo_Free
 * passes them to Mem_Free. The capacity given at allocation is reported but
 * never enforced. One thread at a time per list. */
#ifndef LIBBASE_FIFO_H
#define LIBBASE_FIFO_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef void *FIFOH;

typedef struct _FIFO_M {
    void *pdata;               /* the payload */
    struct _FIFO_M *pNext;     /* next cell, NULL at the tail */
} FIFO_M, *pFIFO_M;

typedef struct _FIFO {
    pFIFO_M head;              /* first cell, NULL when empty */
    pFIFO_M tail;              /* last cell, NULL when empty */
    pFIFO_M pos;               /* the cursor, NULL when no cell is current */
    int mcount;                /* number of cells */
    int max_count;             /* nominal capacity, never enforced */
} _FIFO, *pFIFO;

/* A new empty list, or NULL after printing
 * "Alloc memery fail in funtion Fifo_Allocate.\n". */
LIBBASE_API FIFOH Fifo_Allocate(int max);

/* Pulls every cell, passing each payload to Mem_Free, then frees the list.
 * A NULL payload ends the freeing of payloads: those behind it stay the
 * caller's. 1; -1 after "Fifo_Free Input NULL\n" for a NULL handle. */
LIBBASE_API int Fifo_Free(FIFOH mfifo);

/* As Fifo_Free, but the payloads are left untouched. */
LIBBASE_API int Fifo_FreeEx(FIFOH mfifo);

/* Number of cells / the nominal capacity; -1 for a NULL handle. */
LIBBASE_API int Fifo_GetCount(FIFOH mfifo);
LIBBASE_API int Fifo_GetMaxCount(FIFOH mfifo);

/* Inserts at the head and makes the new cell current. 1; -1 for a NULL
 * handle (with a trace line) or when no cell can be allocated. */
LIBBASE_API int Fifo_Add(FIFOH mfifo, void *pdata);

/* Appends at the tail; the cursor moves only if the list was empty.
 * The new count; -1 as for Fifo_Add. */
LIBBASE_API int Fifo_Push(FIFOH mfifo, void *pdata);

/* Unlinks the head and puts the cursor on the new head. The payload; NULL
 * for an empty list, or after "Fifo_Pull Input NULL\n" for a NULL handle. */
LIBBASE_API void *Fifo_Pull(FIFOH mfifo);

/* Cursor walk: Get_First makes the head current, Next moves on (clearing
 * the cursor at the end), Get_Now reads the current payload. NULL when
 * there is nothing there. */
LIBBASE_API void *Fifo_Step_Get_First(FIFOH mfifo);
LIBBASE_API void *Fifo_Step_Get_Now(FIFOH mfifo);
LIBBASE_API void *Fifo_Step_Next(FIFOH mfifo);

/* Unlinks the current cell; the cursor moves to its successor, so a
 * deleting loop continues with Fifo_Step_Get_Now. The payload, or NULL. */
LIBBASE_API void *Fifo_Step_Del_Now(FIFOH mfifo);

/* Makes the cell at index current and returns its payload. An index out of
 * range prints the GBK line "check the queue offset" and gives NULL. */
LIBBASE_API void *Fifo_Index_Get(FIFOH mfifo, int index);

/* Clears the cursor, then unlinks the cell at index (index <= 0 pulls the
 * head, leaving the cursor on the new head). The payload, or NULL. */
LIBBASE_API void *Fifo_Index_Del(FIFOH mfifo, int index);

/* Inserts so that pdata gets the given index: 1 at the head (index <= 0),
 * 0 in the middle, the new count at the end; -1 past the end, on an empty
 * list with index >= 1, or for a NULL handle. The cursor is untouched. */
LIBBASE_API int Fifo_Index_Insert(FIFOH mfifo, int index, void *pdata);

/* Inserts right after the current cell, or appends when none is current;
 * the cursor stays. 1; -1 for a NULL handle (with a trace line). */
LIBBASE_API int Fifo_Insert_Afternow(FIFOH mfifo, void *pdata);

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_FIFO_H */
