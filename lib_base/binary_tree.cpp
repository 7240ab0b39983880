// binary_tree.cpp - the binary search tree over tsearch/tfind/tdelete/twalk.
#include "binary_tree.h"

#include <search.h>

#include <cstddef>
#include <cstdio>
#include <cstring>

#include "mem.h"

static_assert(offsetof(B_TREE_ST, rootp) == 0, "tree layout");
static_assert(offsetof(B_TREE_ST, cp_fun) == sizeof(void *), "tree layout");
static_assert(offsetof(B_TREE_ST, free_fun) == 2 * sizeof(void *), "tree layout");
static_assert(sizeof(B_TREE_ST) == (sizeof(void *) == 4 ? 12 : 24), "tree layout");
static_assert(preorder == 0 && postorder == 1 && endorder == 2 && leaf == 3, "visit kinds");

namespace {

// A fixed text (applications match it), "funtion" and the blank after the
// line end included.
constexpr char kCopyFailed[] = "memalloc is fail!in funtion B_Tree_Add_Node_Malloc\n ";

// Nodes seen by the counting walk; twalk gives its callback no context.
int G_Tree_Nodes = 0;

// Counts each node once: inner nodes at their middle visit, leaves at
// their only one.
void B_Tree_Action(const void *, const VISIT which, const int)
{
    if (which == postorder || which == leaf)
        G_Tree_Nodes++;
}

void B_Tree_Malloc_Free_Fun(void *pnode)
{
    if (pnode != nullptr)
        Mem_Free(pnode);
}

B_TREE_ST *tree_of(B_TREE_TH bt_th)
{
    return static_cast<B_TREE_ST *>(bt_th);
}

// tsearch/tfind hand back a node whose first member is the stored pointer.
void *stored_at(void *node)
{
    return node == nullptr ? nullptr : *static_cast<void **>(node);
}

} // namespace

extern "C" {

B_TREE_TH B_Tree_Allocte(COMPAR_FUN compar_fun, FREE_NODE_FUN free_fun)
{
    if (compar_fun == nullptr || free_fun == nullptr)
        return nullptr;
    auto tree = static_cast<B_TREE_ST *>(Mem_Malloc(sizeof(B_TREE_ST)));
    if (tree == nullptr)
        return nullptr;
    tree->cp_fun = compar_fun;
    tree->free_fun = free_fun;
    return tree;
}

int B_Tree_Add_Node(B_TREE_TH bt_th, const void *key)
{
    if (bt_th == nullptr || key == nullptr)
        return -1;
    B_TREE_ST *tree = tree_of(bt_th);
    // tsearch returns the stored node whether or not it inserted, so a
    // pointer stored before would look like a fresh insert: look first.
    if (tfind(key, &tree->rootp, tree->cp_fun) != nullptr)
        return -1;
    void *node = tsearch(key, &tree->rootp, tree->cp_fun);
    return node != nullptr && stored_at(node) == key ? 0 : -1;
}

void *B_Tree_Search_Node(B_TREE_TH bt_th, const void *key)
{
    if (bt_th == nullptr || key == nullptr)
        return nullptr;
    B_TREE_ST *tree = tree_of(bt_th);
    return stored_at(tfind(key, &tree->rootp, tree->cp_fun));
}

int B_Tree_Delete_Node(B_TREE_TH bt_th, const void *key)
{
    if (bt_th == nullptr || key == nullptr)
        return -1;
    B_TREE_ST *tree = tree_of(bt_th);
    // Stored pointers are never NULL, so a removal always reports non-NULL.
    return tdelete(key, &tree->rootp, tree->cp_fun) != nullptr ? 0 : -1;
}

void B_Tree_Walk(B_TREE_TH bt_th, ACTION_FUN action_fun)
{
    if (bt_th == nullptr || action_fun == nullptr)
        return;
    twalk(tree_of(bt_th)->rootp, action_fun);
}

void B_Tree_Free(B_TREE_TH bt_th)
{
    if (bt_th == nullptr)
        return;
    B_TREE_ST *tree = tree_of(bt_th);
    tdestroy(tree->rootp, tree->free_fun);
    Mem_Free(tree);
}

int B_Tree_Return_Node_Count(B_TREE_TH bt_th)
{
    if (bt_th == nullptr)
        return -1;
    G_Tree_Nodes = 0;
    twalk(tree_of(bt_th)->rootp, B_Tree_Action);
    int count = G_Tree_Nodes;
    G_Tree_Nodes = 0;
    return count;
}

B_TREE_TH B_Tree_Allocte_Malloc(COMPAR_FUN compar_fun)
{
    return B_Tree_Allocte(compar_fun, B_Tree_Malloc_Free_Fun);
}

int B_Tree_Add_Node_Malloc(B_TREE_TH bt_th, const void *key, int key_len)
{
    if (bt_th == nullptr || key == nullptr || key_len < 0)
        return -1;
    void *copy = Mem_Malloc(key_len);
    if (copy == nullptr) {
        printf(kCopyFailed);
        return -1;
    }
    memcpy(copy, key, static_cast<size_t>(key_len));
    if (B_Tree_Add_Node(bt_th, copy) == -1) {
        Mem_Free(copy);
        return -1;
    }
    return 0;
}

void *B_Tree_Search_Node_Malloc(B_TREE_TH bt_th, const void *key)
{
    return B_Tree_Search_Node(bt_th, key);
}

int B_Tree_Delete_Node_Malloc(B_TREE_TH bt_th, const void *key)
{
    void *copy = B_Tree_Search_Node(bt_th, key);
    if (copy == nullptr)
        return -1;
    // Unlink first: tdelete still compares against the stored copy.
    if (B_Tree_Delete_Node(bt_th, key) == -1)
        return -1;
    Mem_Free(copy);
    return 0;
}

void B_Tree_Free_Malloc(B_TREE_TH bt_th)
{
    B_Tree_Free(bt_th);
}

} // extern "C"
