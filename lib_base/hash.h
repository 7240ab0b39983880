/* hash.h - a hash table whose buckets are binary trees.
 *
 * The key only chooses the bucket: its times-33 hash AND the table's mask.
 * Inside the bucket the tree orders and finds elements by the compare
 * function applied to a separate value pointer, so get and delete need both
 * the key (for the bucket) and a probe value (for the tree). Elements are
 * the caller's pointers; Zor_Hash_Free releases each through the free
 * function. The size argument is a mask: one of 9, 15, 31, 63, 127, 255,
 * 511, 1023, 2047, 4095, 8191, 16383, anything else meaning 15; the table
 * has mask + 1 buckets (9 gives 10, of which only 0, 1, 8 and 9 are used).
 *
 * The operations are declared with ZOR_HASH * but take the handle itself,
 * as returned by Zor_Hash_Make. One thread at a time per table. */
#ifndef LIBBASE_HASH_H
#define LIBBASE_HASH_H

#include "binary_tree.h"
#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef void *ZOR_HASH;

typedef int (*Compare_Func)(const void *, const void *);
typedef void (*Free_Node_Func)(void *);

typedef struct _zor_btreet_t {
    B_TREE_TH binary_tree;     /* the bucket's tree, NULL if it could not be made */
    int count;                 /* sets minus deletes through the table */
} zor_btreet_t;

typedef struct _zor_hash_t {
    zor_btreet_t *b_tree;      /* max + 1 buckets */
    unsigned int max;          /* the index mask */
} zor_hash_t;

/* A new table of mask + 1 buckets, each a tree made with
 * B_Tree_Allocte(cpm_func, free_func); NULL when memory is short. With a
 * NULL function the table is still made, but its buckets have no tree and
 * every set, get and delete on them fails. */
LIBBASE_API ZOR_HASH Zor_Hash_Make(int Hash_Table, Compare_Func cpm_func, Free_Node_Func free_func);

/* Frees every bucket tree, which passes each stored element to the free
 * function, then the table. NULL is ignored. */
LIBBASE_API void Zor_Hash_Free(ZOR_HASH *phash);

/* Adds val to the bucket of key (klen bytes, or up to the NUL when klen is
 * -1). The bucket's counter goes up even when the add is refused. 0 when
 * added; -1 when an equal value is already in the bucket or for a NULL
 * table. */
LIBBASE_API int Zor_Hash_Set(ZOR_HASH *phash, const void *key, int klen, const void *val);

/* The element of key's bucket equal to val, or NULL. A NULL table prints
 * "Zor_Hash_Get    phash == null \n". */
LIBBASE_API void *Zor_Hash_Get(ZOR_HASH *phash, const void *key, int klen, const void *val);

/* Unlinks the element of key's bucket equal to val, without freeing it.
 * The bucket's counter goes down even when nothing is found. 0 when
 * removed; -1 when not found or for a NULL table. */
LIBBASE_API int Zor_Hash_Del_Node(ZOR_HASH *phash, char *key, int klen, const void *val);

/* Prints "************  Zor_Hash_Get_Print   Zor_Hash_Get = <index>,
 * btree=<tree>\n" for key's bucket and walks its tree with pFun. Always
 * NULL; a NULL table prints nothing. */
LIBBASE_API void *Zor_Hash_Get_Print(ZOR_HASH *phash, const void *key, int klen, ACTION_FUN pFun);

/* The sum of the bucket counters; -1 for a NULL table. */
LIBBASE_API int Zor_Hash_Get_Tataol_Node_Count(ZOR_HASH *phash);

/* The counter of bucket hashtable (0 to mask); -1 for a NULL table or an
 * index outside the table. */
LIBBASE_API int Zor_Hash_Get_One_HashTable_Node_Count(ZOR_HASH *phash, int hashtable);

/* The real number of elements in bucket hashtable, counted by walking its
 * tree; -1 as for Zor_Hash_Get_One_HashTable_Node_Count. */
LIBBASE_API int Zor_Hash_Node_Count_By_Traverse_Binary_Tree(ZOR_HASH *phash, int hashtable);

/* The bucket index that a table made with Hash_Table gives key. */
LIBBASE_API int Zor_Hash_Algorithm(int Hash_Table, const void *key, int klen);

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_HASH_H */
