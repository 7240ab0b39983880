#include "libbase.h"

#include <string.h>

static int compare_strings(const void *a, const void *b)
{
    return strcmp((const char *)a, (const char *)b);
}

int c_api_binary_tree(void)
{
    int failed = 0;
    B_TREE_TH tree = B_Tree_Allocte_Malloc(compare_strings);

    failed += B_Tree_Add_Node_Malloc(tree, "b", 2) != 0;
    failed += B_Tree_Add_Node_Malloc(tree, "a", 2) != 0;
    failed += B_Tree_Add_Node_Malloc(tree, "a", 2) != -1;
    failed += B_Tree_Return_Node_Count(tree) != 2;
    failed += strcmp((const char *)B_Tree_Search_Node_Malloc(tree, "a"), "a") != 0;
    failed += B_Tree_Delete_Node_Malloc(tree, "a") != 0;
    failed += B_Tree_Search_Node_Malloc(tree, "a") != NULL;
    B_Tree_Free_Malloc(tree);
    return failed;
}
