// lhash.cpp - the list-bucket hash table.
#include "lhash.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "internal/fifo_cells.h"
#include "internal/hash_rule.h"
#include "internal/lhash_buckets.h"

static_assert(sizeof(zor_fifo_t) == sizeof(void *), "bucket layout");
static_assert(offsetof(zor_hash_fifo_t, max) == sizeof(void *), "table layout");
static_assert(offsetof(zor_hash_fifo_t, pcallfunc) == 2 * sizeof(void *), "table layout");
static_assert(offsetof(zor_hash_fifo_t, delfunc) == 4 * sizeof(void *), "table layout");
static_assert(sizeof(zor_hash_fifo_t) == 5 * sizeof(void *), "table layout");

namespace {

namespace fifo_cells = libbase::fifo_cells;
namespace lhash_buckets = libbase::lhash_buckets;
namespace hash_rule = libbase::hash_rule;

zor_hash_fifo_t *table_of(ZOR_HASH_FIFO *phash)
{
    return static_cast<zor_hash_fifo_t *>(static_cast<void *>(phash));
}

// The key's bucket list, or NULL for a NULL table or a missing bucket.
FIFOH bucket_of(ZOR_HASH_FIFO *phash, const void *key, int klen)
{
    return lhash_buckets::at(phash, lhash_buckets::index_of(phash, key, klen));
}

} // namespace

extern "C" {

ZOR_HASH_FIFO Zor_Hash_Fifo_Make(int Hash_Table, COMPAR_LHASH_FUN pcallfunc, EXECUTE_LHASH_FUN procfunc,
                                 Del_LHASH_FUN del_func)
{
    auto table = static_cast<zor_hash_fifo_t *>(malloc(sizeof(zor_hash_fifo_t)));
    if (table == nullptr)
        return nullptr;
    uint32_t mask = hash_rule::mask_for(Hash_Table);
    table->max = mask;
    table->pcallfunc = pcallfunc;
    table->procfunc = procfunc;
    table->delfunc = del_func;
    table->List = static_cast<zor_fifo_t *>(malloc(sizeof(zor_fifo_t) * (static_cast<size_t>(mask) + 1)));
    if (table->List == nullptr) {
        free(table);
        return nullptr;
    }
    for (uint32_t i = 0; i <= mask; i++)
        table->List[i].Lfifo = Fifo_Allocate(1);
    return table;
}

void Zor_Hash_Fifo_Free(ZOR_HASH_FIFO *phash)
{
    zor_hash_fifo_t *table = table_of(phash);
    if (table == nullptr)
        return;
    for (unsigned int i = 0; i <= table->max; i++) {
        if (table->List[i].Lfifo != nullptr)
            Fifo_FreeEx(table->List[i].Lfifo);
    }
    free(table->List);
    free(table);
}

int Zor_Hash_Fifo_Set(ZOR_HASH_FIFO *phash, const void *key, int klen, const void *val)
{
    FIFOH list = bucket_of(phash, key, klen);
    if (list == nullptr)
        return -1;
    return Fifo_Push(list, const_cast<void *>(val)) < 0 ? -1 : 1;
}

void *Zor_Hash_Fifo_Get(ZOR_HASH_FIFO *phash, const void *key, int klen, const void *val)
{
    FIFOH list = bucket_of(phash, key, klen);
    if (list == nullptr || table_of(phash)->pcallfunc == nullptr)
        return nullptr;
    COMPAR_LHASH_FUN matches = table_of(phash)->pcallfunc;
    for (void *element = Fifo_Step_Get_First(list); element != nullptr; element = Fifo_Step_Next(list)) {
        if (matches(element, val) == 0)
            return element;
    }
    return nullptr;
}

void Zor_Hash_Fifo_Del_Node(ZOR_HASH_FIFO *phash, char *key, int klen, const void *val)
{
    FIFOH list = bucket_of(phash, key, klen);
    if (list == nullptr || table_of(phash)->delfunc == nullptr)
        return;
    Del_LHASH_FUN matches = table_of(phash)->delfunc;
    for (void *element = Fifo_Step_Get_First(list); element != nullptr; element = Fifo_Step_Next(list)) {
        if (matches(element, val) == 0) {
            Fifo_Step_Del_Now(list);
            return;
        }
    }
}

void Zor_Hash_Fifo_Traverse_Nodes(ZOR_HASH_FIFO *phash, char *key, int klen, const void *val)
{
    FIFOH list = bucket_of(phash, key, klen);
    if (list == nullptr || table_of(phash)->pcallfunc == nullptr)
        return;
    COMPAR_LHASH_FUN matches = table_of(phash)->pcallfunc;
    EXECUTE_LHASH_FUN process = table_of(phash)->procfunc;
    void *element = Fifo_Step_Get_First(list);
    while (element != nullptr) {
        if (matches(element, val) != 0) {
            element = Fifo_Step_Next(list);
            continue;
        }
        if (process != nullptr)
            process(element);
        // process may have moved the cursor or taken the element out itself;
        // in the latter case the processed ones are gone, so start again.
        if (Fifo_Step_Get_Now(list) != element && !fifo_cells::place_cursor_on(list, element)) {
            element = Fifo_Step_Get_First(list);
            continue;
        }
        Fifo_Step_Del_Now(list);
        element = Fifo_Step_Get_Now(list);
    }
}

int Zor_Hash_Fifo_Algorithm(int Hash_Table, const void *key, int klen)
{
    return static_cast<int>(hash_rule::bucket_index(hash_rule::mask_for(Hash_Table), key, klen));
}

} // extern "C"

namespace libbase::lhash_buckets {

unsigned count(ZOR_HASH_FIFO table)
{
    return table == nullptr ? 0 : static_cast<zor_hash_fifo_t *>(table)->max + 1;
}

unsigned index_of(ZOR_HASH_FIFO table, const void *key, int klen)
{
    return table == nullptr ? 0 : hash_rule::bucket_index(static_cast<zor_hash_fifo_t *>(table)->max, key, klen);
}

FIFOH at(ZOR_HASH_FIFO table, unsigned index)
{
    return index < count(table) ? static_cast<zor_hash_fifo_t *>(table)->List[index].Lfifo : nullptr;
}

} // namespace libbase::lhash_buckets
