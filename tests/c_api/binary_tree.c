#include "libbase.h"

#include <string.h>

static int compare_strings(const void *a, const void *b)
{
    return strcmp(a, b);
}

int c_api_binary_tree(void)
{
    B_TREE_TH tree = B_Tree_Allocte_Malloc(compare_strings);
    const B_TREE_ST *record = tree;
    int failed = record == NULL || record->cp_fun != compare_strings;

    failed += B_Tree_Add_Node_Malloc(tree, "a", 2) != 0 || B_Tree_Search_Node_Malloc(tree, "a") == NULL;
    B_Tree_Free_Malloc(tree);
    return failed;
}
