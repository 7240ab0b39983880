/* lhash.h - the list-bucket hash table.
 *
 * A chained table whose buckets are FIFO lists of caller-owned element
 * pointers. The table keeps no keys: a key only chooses the bucket, and
 * elements inside a bucket are found with the caller's callbacks against a
 * separate probe value. The table never copies or frees an element.
 *
 * Size rule: the size argument is taken as the index mask when it is one of
 * 9, 15, 31, 63, 127, 255, 511, 1023, 2047, 4095, 8191 or 16383, anything
 * else gives 15; the table has mask + 1 buckets and a key's bucket is its
 * times-33 hash AND the mask (with 9 only buckets 0, 1, 8 and 9 are used).
 * A key is klen bytes, or a NUL-terminated string when klen is -1.
 *
 * The operations take the handle itself, although their parameter is
 * declared ZOR_HASH_FIFO*. One thread at a time per table. */
#ifndef LIBBASE_LHASH_H
#define LIBBASE_LHASH_H

#include "libbase_api.h"
#include "fifo.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef void *ZOR_HASH_FIFO;

/* 0 when element matches the probe val (lookup and traversal). */
typedef int (*COMPAR_LHASH_FUN)(const void *element, const void *val);
/* Applied by a traversal to each matching element. */
typedef void (*EXECUTE_LHASH_FUN)(const void *element);
/* 0 when element matches the probe val (deletion). */
typedef int (*Del_LHASH_FUN)(const void *element, const void *val);

typedef struct _zor_fifo_t {
    FIFOH Lfifo;                   /* the bucket's elements, in insertion order */
} zor_fifo_t;

typedef struct _zor_hash_fifo_t {
    zor_fifo_t *List;              /* max + 1 buckets */
    unsigned int max;              /* the index mask */
    COMPAR_LHASH_FUN pcallfunc;
    EXECUTE_LHASH_FUN procfunc;
    Del_LHASH_FUN delfunc;
} zor_hash_fifo_t;

/* A new empty table sized by the rule above, or NULL when it cannot be
 * allocated. */
LIBBASE_API ZOR_HASH_FIFO Zor_Hash_Fifo_Make(int Hash_Table, COMPAR_LHASH_FUN pcallfunc,
                                             EXECUTE_LHASH_FUN procfunc, Del_LHASH_FUN del_func);

/* Frees the bucket lists (their cells only: the elements stay alive), the
 * bucket array and the table. NULL is ignored. */
LIBBASE_API void Zor_Hash_Fifo_Free(ZOR_HASH_FIFO *phash);

/* Appends val to the key's bucket; duplicates are not looked for.
 * 1; -1 for a NULL table, a missing bucket or a failed append. */
LIBBASE_API int Zor_Hash_Fifo_Set(ZOR_HASH_FIFO *phash, const void *key, int klen, const void *val);

/* The first element of the key's bucket for which pcallfunc(element, val)
 * is 0, or NULL. */
LIBBASE_API void *Zor_Hash_Fifo_Get(ZOR_HASH_FIFO *phash, const void *key, int klen, const void *val);

/* Unlinks the first element of the key's bucket for which
 * delfunc(element, val) is 0. The element is not freed. */
LIBBASE_API void Zor_Hash_Fifo_Del_Node(ZOR_HASH_FIFO *phash, char *key, int klen, const void *val);

/* For every element of the key's bucket for which pcallfunc(element, val)
 * is 0, in insertion order: calls procfunc(element), then unlinks it.
 * procfunc may add to or remove from the bucket; elements it appends are
 * examined in the same traversal. */
LIBBASE_API void Zor_Hash_Fifo_Traverse_Nodes(ZOR_HASH_FIFO *phash, char *key, int klen, const void *val);

/* The bucket index that a table made with Hash_Table gives the key. */
LIBBASE_API int Zor_Hash_Fifo_Algorithm(int Hash_Table, const void *key, int klen);

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_LHASH_H */
