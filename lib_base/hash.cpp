// hash.cpp - the hash table with binary-tree buckets.
#include "hash.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include "internal/hash_rule.h"

static_assert(offsetof(zor_btreet_t, binary_tree) == 0, "bucket layout");
static_assert(offsetof(zor_btreet_t, count) == sizeof(void *), "bucket layout");
static_assert(sizeof(zor_btreet_t) == 2 * sizeof(void *), "bucket layout");
static_assert(offsetof(zor_hash_t, b_tree) == 0, "table layout");
static_assert(offsetof(zor_hash_t, max) == sizeof(void *), "table layout");
static_assert(sizeof(zor_hash_t) == 2 * sizeof(void *), "table layout");

namespace {

namespace hash_rule = libbase::hash_rule;

// A fixed text (applications match it): it labels the bucket index
// "Zor_Hash_Get".
constexpr char kPrintHeader[] = "************  Zor_Hash_Get_Print   Zor_Hash_Get = %d, btree=%p\n";

zor_hash_t *table_of(ZOR_HASH *phash)
{
    return reinterpret_cast<zor_hash_t *>(phash);
}

zor_btreet_t *bucket_for_key(zor_hash_t *table, const void *key, int klen)
{
    return &table->b_tree[hash_rule::bucket_index(table->max, key, klen)];
}

// The bucket at index, or NULL when the index lies outside the table.
zor_btreet_t *bucket_at(zor_hash_t *table, int index)
{
    if (table == nullptr || index < 0 || static_cast<unsigned int>(index) > table->max)
        return nullptr;
    return &table->b_tree[index];
}

} // namespace

extern "C" {

ZOR_HASH Zor_Hash_Make(int Hash_Table, Compare_Func cpm_func, Free_Node_Func free_func)
{
    auto table = static_cast<zor_hash_t *>(malloc(sizeof(zor_hash_t)));
    if (table == nullptr)
        return nullptr;
    table->max = hash_rule::mask_for(Hash_Table);
    table->b_tree = static_cast<zor_btreet_t *>(malloc((table->max + 1) * sizeof(zor_btreet_t)));
    if (table->b_tree == nullptr) {
        free(table);
        return nullptr;
    }
    for (unsigned int i = 0; i <= table->max; i++) {
        table->b_tree[i].binary_tree = B_Tree_Allocte(cpm_func, free_func);
        table->b_tree[i].count = 0;
    }
    return table;
}

void Zor_Hash_Free(ZOR_HASH *phash)
{
    zor_hash_t *table = table_of(phash);
    if (table == nullptr)
        return;
    for (unsigned int i = 0; i <= table->max; i++)
        B_Tree_Free(table->b_tree[i].binary_tree);
    free(table->b_tree);
    free(table);
}

int Zor_Hash_Set(ZOR_HASH *phash, const void *key, int klen, const void *val)
{
    zor_hash_t *table = table_of(phash);
    if (table == nullptr)
        return -1;
    zor_btreet_t *bucket = bucket_for_key(table, key, klen);
    bucket->count++;  // counted whether or not the tree takes it
    return B_Tree_Add_Node(bucket->binary_tree, val);
}

void *Zor_Hash_Get(ZOR_HASH *phash, const void *key, int klen, const void *val)
{
    zor_hash_t *table = table_of(phash);
    if (table == nullptr) {
        printf("Zor_Hash_Get    phash == null \n");
        return nullptr;
    }
    return B_Tree_Search_Node(bucket_for_key(table, key, klen)->binary_tree, val);
}

int Zor_Hash_Del_Node(ZOR_HASH *phash, char *key, int klen, const void *val)
{
    zor_hash_t *table = table_of(phash);
    if (table == nullptr)
        return -1;
    zor_btreet_t *bucket = bucket_for_key(table, key, klen);
    bucket->count--;  // counted whether or not the tree had it
    return B_Tree_Delete_Node(bucket->binary_tree, val);
}

void *Zor_Hash_Get_Print(ZOR_HASH *phash, const void *key, int klen, ACTION_FUN pFun)
{
    zor_hash_t *table = table_of(phash);
    if (table == nullptr)
        return nullptr;
    unsigned int index = hash_rule::bucket_index(table->max, key, klen);
    B_TREE_TH tree = table->b_tree[index].binary_tree;
    printf(kPrintHeader, static_cast<int>(index), tree);
    B_Tree_Walk(tree, pFun);
    return nullptr;
}

int Zor_Hash_Get_Tataol_Node_Count(ZOR_HASH *phash)
{
    zor_hash_t *table = table_of(phash);
    if (table == nullptr)
        return -1;
    int total = 0;
    for (unsigned int i = 0; i <= table->max; i++)
        total += table->b_tree[i].count;
    return total;
}

int Zor_Hash_Get_One_HashTable_Node_Count(ZOR_HASH *phash, int hashtable)
{
    zor_btreet_t *bucket = bucket_at(table_of(phash), hashtable);
    return bucket == nullptr ? -1 : bucket->count;
}

int Zor_Hash_Node_Count_By_Traverse_Binary_Tree(ZOR_HASH *phash, int hashtable)
{
    zor_btreet_t *bucket = bucket_at(table_of(phash), hashtable);
    return bucket == nullptr ? -1 : B_Tree_Return_Node_Count(bucket->binary_tree);
}

int Zor_Hash_Algorithm(int Hash_Table, const void *key, int klen)
{
    return static_cast<int>(hash_rule::bucket_index(hash_rule::mask_for(Hash_Table), key, klen));
}

} // extern "C"
