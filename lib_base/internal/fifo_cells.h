// internal/fifo_cells.h - cell-level operations on FIFO lists for the
// containers built on them (the list-bucket hash table, the event timer
// service, the received-message lists of the cutters). Private to the
// library: never installed.
#pragma once

#ifndef __cplusplus
#error "fifo_cells.h is internal C++"
#endif

#include "fifo.h"

namespace libbase::fifo_cells {

// Appends pdata at the tail exactly as Fifo_Push does and returns its cell;
// NULL for a NULL list or when no cell can be allocated.
pFIFO_M append(FIFOH list, void *pdata);

// Links cell (a malloc block of sizeof(FIFO_M)) in at the tail holding
// pdata, exactly as Fifo_Push does with a cell of its own; the list then
// owns it. The list's new count. list must not be NULL.
int append_cell(FIFOH list, pFIFO_M cell, void *pdata);

// Unlinks the head cell exactly as Fifo_Pull does, but hands it over
// instead of freeing it; NULL for an empty list. list must not be NULL.
pFIFO_M unlink_head(FIFOH list);

// Makes cell hold pdata in place of its payload, the list left as it is.
void replace_payload(pFIFO_M cell, void *pdata);

// Unlinks and frees, in one pass, every cell holding pdata; a cursor
// standing on one of them moves on to the next cell kept. The number of
// cells unlinked.
int unlink_every(FIFOH list, const void *pdata);

// Calls visit(payload, context) for every cell from the head, leaving the
// cursor alone; cells appended meanwhile are visited too. visit may append
// and replace payloads but must not unlink cells.
void visit(FIFOH list, void (*visit)(void *payload, void *context), void *context);

// Puts the cursor on the first cell holding pdata; false when none does.
bool place_cursor_on(FIFOH list, const void *pdata);

} // namespace libbase::fifo_cells
