// objlist.cpp - the object list, a FIFO list of length-prefixed blocks.
#include "objlist.h"

#include <cstdint>
#include <cstring>

#include "fifo.h"
#include "internal/owned_list.h"
#include "mem.h"

namespace {

constexpr int kLengthSize = sizeof(int32_t);

// A Mem_Malloc block holding len, then len bytes of content.
void *make_block(const void *content, int len)
{
    auto block = static_cast<char *>(Mem_Malloc(len + kLengthSize));
    if (block != nullptr) {
        int32_t stored = len;
        memcpy(block, &stored, kLengthSize);
        memcpy(block + kLengthSize, content, static_cast<size_t>(len));
    }
    return block;
}

int32_t stored_length(const void *block)
{
    int32_t len;
    memcpy(&len, block, kLengthSize);
    return len;
}

// Shared by Add and Insert: place is Fifo_Push or an index insertion.
template <typename Place>
int add_block(OLH pl, void *content, int len, Place place)
{
    if (pl == nullptr || content == nullptr || len < 0 || len > INT32_MAX - kLengthSize)
        return -1;
    return libbase::place_copy(make_block(content, len), place);
}

} // namespace

extern "C" {

OLH Objlist_Allocate(int max)
{
    return Fifo_Allocate(max);
}

int Objlist_Free(OLH pl)
{
    return pl == nullptr ? -1 : Fifo_Free(pl);
}

int Objlist_GetCount(OLH pl)
{
    return Fifo_GetCount(pl);
}

int Objlist_Add(OLH pl, void *content, int len)
{
    return add_block(pl, content, len, [pl](void *block) { return Fifo_Push(pl, block); });
}

int Objlist_Insert(OLH pl, int index, void *content, int len)
{
    return add_block(pl, content, len,
                     [pl, index](void *block) { return Fifo_Index_Insert(pl, index, block); });
}

int Objlist_Get(OLH pl, int index, void *content, int maxclen)
{
    if (pl == nullptr || content == nullptr)
        return -1;
    void *block = Fifo_Index_Get(pl, index);
    if (block == nullptr)
        return -1;
    int32_t len = stored_length(block);
    if (len < 1)
        return -2;
    if (len > maxclen)
        return -100;
    memcpy(content, static_cast<char *>(block) + kLengthSize, static_cast<size_t>(len));
    return len;
}

void *Object_Get_Content_Point(OLH pl, int index)
{
    auto block = static_cast<char *>(Fifo_Index_Get(pl, index));
    return block == nullptr ? nullptr : block + kLengthSize;
}

int Objlist_Del(OLH pl, int index)
{
    libbase::delete_copy(pl, index);
    return 0;
}

} // extern "C"
