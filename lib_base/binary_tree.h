/* binary_tree.h - a binary search tree over the C library's tsearch family.
 *
 * Two flavours share one handle type. The plain flavour stores the caller's
 * pointers and, when the tree is freed, hands each one to the free function
 * given at allocation. The _Malloc flavour stores its own heap copies of the
 * caller's keys and frees them itself. Keys that compare equal are stored
 * once: a second add is refused. One thread at a time per tree; node counts
 * also share one process-wide counter, so count from one thread at a time. */
#ifndef LIBBASE_BINARY_TREE_H
#define LIBBASE_BINARY_TREE_H

#include <search.h> /* VISIT: preorder, postorder, endorder, leaf */

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef void *B_TREE_TH;

/* Orders two stored pointers: negative, 0 or positive. */
typedef int (*COMPAR_FUN)(const void *, const void *);
/* Releases one stored pointer when the tree is freed. */
typedef void (*FREE_NODE_FUN)(void *);
/* Walk callback: nodep points at the stored pointer. */
typedef void (*ACTION_FUN)(const void *nodep, const VISIT which, const int depth);

typedef struct __B_TREE_ST {
    void *rootp;               /* the root as tsearch keeps it, NULL when empty */
    COMPAR_FUN cp_fun;         /* ordering of the stored pointers */
    FREE_NODE_FUN free_fun;    /* releases a stored pointer at B_Tree_Free */
} B_TREE_ST;

/* A new empty tree; NULL when either function is NULL or memory is short. */
LIBBASE_API B_TREE_TH B_Tree_Allocte(COMPAR_FUN compar_fun, FREE_NODE_FUN free_fun);

/* Stores key itself. 0 when inserted; -1 when an equal key is already
 * stored (the tree is unchanged), for a NULL argument, or on no memory. */
LIBBASE_API int B_Tree_Add_Node(B_TREE_TH bt_th, const void *key);

/* The stored pointer equal to key, or NULL. */
LIBBASE_API void *B_Tree_Search_Node(B_TREE_TH bt_th, const void *key);

/* Unlinks the node equal to key without freeing the stored pointer.
 * 0 when removed; -1 when not found or for a NULL argument. */
LIBBASE_API int B_Tree_Delete_Node(B_TREE_TH bt_th, const void *key);

/* twalk over the tree with action_fun; nothing when either is NULL. */
LIBBASE_API void B_Tree_Walk(B_TREE_TH bt_th, ACTION_FUN action_fun);

/* Passes every stored pointer to the free function, then frees the tree.
 * NULL is ignored. */
LIBBASE_API void B_Tree_Free(B_TREE_TH bt_th);

/* Number of nodes, counted by a walk; -1 for a NULL handle. */
LIBBASE_API int B_Tree_Return_Node_Count(B_TREE_TH bt_th);

/* A tree that owns copies of its keys and releases them with Mem_Free. */
LIBBASE_API B_TREE_TH B_Tree_Allocte_Malloc(COMPAR_FUN compar_fun);

/* Stores a copy of the key_len bytes at key. 0 when inserted; -1 for a NULL
 * argument, a negative length, an equal stored key (the copy is released),
 * or when no copy can be allocated, which prints
 * "memalloc is fail!in funtion B_Tree_Add_Node_Malloc\n " (a length of 0
 * gets no copy either). */
LIBBASE_API int B_Tree_Add_Node_Malloc(B_TREE_TH bt_th, const void *key, int key_len);

/* The stored copy equal to key, or NULL. */
LIBBASE_API void *B_Tree_Search_Node_Malloc(B_TREE_TH bt_th, const void *key);

/* Removes the copy equal to key and frees it. 0 when removed; -1 when not
 * found or for a NULL argument. */
LIBBASE_API int B_Tree_Delete_Node_Malloc(B_TREE_TH bt_th, const void *key);

/* Frees the tree and every copy in it; NULL is ignored. */
LIBBASE_API void B_Tree_Free_Malloc(B_TREE_TH bt_th);

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_BINARY_TREE_H */
