#include "binary_tree.h"

#include <gtest/gtest.h>

#include <set>

#include "test_support.h"

static int compare(const void *a, const void *b) { return *static_cast<const int *>(a) - *static_cast<const int *>(b); }

static std::set<void *> freed;
static void record_free(void *p) { freed.insert(p); }


TEST(BinaryTree, BothFlavoursStoreEachKeyOnce)
{
    int a = 5, b = 5, c = 1, d = 9, missing = 7;
    B_TREE_TH tree = B_Tree_Allocte(compare, record_free);
    EXPECT_EQ(B_Tree_Add_Node(tree, &a), 0);
    EXPECT_EQ(B_Tree_Add_Node(tree, &a), -1);  // the same pointer again
    EXPECT_EQ(B_Tree_Add_Node(tree, &b), -1);  // an equal key
    EXPECT_EQ(B_Tree_Add_Node(tree, &d), 0);
    EXPECT_EQ(B_Tree_Add_Node(tree, &c), 0);
    EXPECT_EQ(B_Tree_Return_Node_Count(tree), 3);
    EXPECT_EQ(B_Tree_Return_Node_Count(tree), 3);  // the counter starts afresh
    EXPECT_EQ(B_Tree_Delete_Node(tree, &missing), -1);
    EXPECT_EQ(B_Tree_Search_Node(tree, &b), &a);
    EXPECT_EQ(B_Tree_Delete_Node(tree, &b), 0);  // the root goes, unfreed
    EXPECT_EQ(B_Tree_Search_Node(tree, &a), nullptr);
    B_Tree_Free(tree);
    EXPECT_EQ(freed, (std::set<void *>{&c, &d}));
    EXPECT_EQ(B_Tree_Allocte(compare, nullptr), nullptr);  // a free function is required

    // The copying flavour: leaks and use of released copies show in the sanitizer build.
    tree = B_Tree_Allocte_Malloc(compare);
    int key = 4, equal = 4, other = 2;
    EXPECT_EQ(B_Tree_Add_Node_Malloc(tree, &key, sizeof key), 0);
    EXPECT_EQ(B_Tree_Add_Node_Malloc(tree, &equal, sizeof equal), -1);  // copy released
    EXPECT_EQ(B_Tree_Add_Node_Malloc(tree, &other, -1), -1);
    std::string out = testing_support::Printed([&] { EXPECT_EQ(B_Tree_Add_Node_Malloc(tree, &other, 0), -1); });
    EXPECT_NE(out.find("memalloc is fail!in funtion B_Tree_Add_Node_Malloc\n "), std::string::npos);
    auto stored = static_cast<int *>(B_Tree_Search_Node_Malloc(tree, &equal));
    EXPECT_NE(stored, nullptr);
    EXPECT_NE(stored, &key);
    EXPECT_EQ(B_Tree_Delete_Node_Malloc(tree, &equal), 0);
    EXPECT_EQ(B_Tree_Add_Node_Malloc(tree, &other, sizeof other), 0);
    EXPECT_EQ(B_Tree_Return_Node_Count(tree), 1);
    B_Tree_Free_Malloc(tree);
}
