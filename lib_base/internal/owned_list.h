// internal/owned_list.h - how the string and the object list keep their own
// copies in a FIFO list. Private to the library: never installed.
#pragma once

#include "fifo.h"
#include "mem.h"

namespace libbase {

// Places a new copy with place (a push or an index insertion); a copy that
// cannot be placed is freed, as if it had never been made. 0; -2 when there
// is no copy (no memory).
template <typename Place>
int place_copy(void *copy, Place place)
{
    if (copy == nullptr)
        return -2;
    if (place(copy) < 0)
        Mem_Free(copy);
    return 0;
}

// Takes element index out of the list and frees it; nothing for no such
// element.
inline void delete_copy(FIFOH list, int index)
{
    void *removed = Fifo_Index_Del(list, index);
    if (removed != nullptr)
        Mem_Free(removed);
}

} // namespace libbase
