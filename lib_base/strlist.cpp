// strlist.cpp - the string list, a FIFO list of Str_Alloc copies.
#include "strlist.h"

#include "fifo.h"
#include "internal/owned_list.h"
#include "str.h"

namespace {

// Shared by Add and Insert: place is Fifo_Push or an index insertion.
template <typename Place>
int add_copy(SLH pl, char *content, Place place)
{
    if (pl == nullptr || content == nullptr)
        return -1;
    return libbase::place_copy(Str_Alloc(content), place);
}

} // namespace

extern "C" {

SLH Strlist_Allocate(int max)
{
    return Fifo_Allocate(max);
}

int Strlist_Free(SLH pl)
{
    return pl == nullptr ? -1 : Fifo_Free(pl);
}

int Strlist_GetCount(SLH pl)
{
    return Fifo_GetCount(pl);
}

int Strlist_Add(SLH pl, char *content)
{
    return add_copy(pl, content, [pl](void *copy) { return Fifo_Push(pl, copy); });
}

char *Strlist_Get(SLH pl, int index)
{
    return static_cast<char *>(Fifo_Index_Get(pl, index));
}

int Strlist_Del(SLH pl, int index)
{
    if (pl == nullptr)
        return -1;
    libbase::delete_copy(pl, index);
    return 0;
}

int Strlist_Insert(SLH pl, int index, char *content)
{
    return add_copy(pl, content, [pl, index](void *copy) { return Fifo_Index_Insert(pl, index, copy); });
}

int Strlist_Index_Content(SLH pl, char *content)
{
    if (pl == nullptr || content == nullptr)
        return -1;
    int count = Fifo_GetCount(pl);
    for (int i = 0; i < count; i++) {
        if (Str_Cmp(Strlist_Get(pl, i), content) == 0)
            return i;
    }
    return -1;
}

int Strlist_Clear(SLH pl)
{
    if (pl == nullptr)
        return -1;
    for (int n = Fifo_GetCount(pl); n > 0; n--)
        Strlist_Del(pl, 0);
    return 0;
}

} // extern "C"
