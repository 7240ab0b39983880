#include "hash.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "test_support.h"

namespace {

// The operations are declared with ZOR_HASH * but take the handle itself.
ZOR_HASH *H(ZOR_HASH table) { return static_cast<ZOR_HASH *>(table); }

int compare_strings(const void *a, const void *b)
{
    return strcmp(static_cast<const char *>(a), static_cast<const char *>(b));
}

int frees = 0;
void free_counted(void *p)
{
    frees++;
    free(p);
}

int visits = 0;
void count_visit(const void *, const VISIT, const int) { visits++; }

} // namespace

TEST(Hash, MaskRuleAndTimes33)
{
    EXPECT_EQ(Zor_Hash_Algorithm(15, "ab", 2), 3);  // 97 * 33 + 98 = 3299
    EXPECT_EQ(Zor_Hash_Algorithm(16383, "ab", -1), 3299);
    EXPECT_EQ(Zor_Hash_Algorithm(100, "ab", 2), 3);  // unlisted: mask 15
    EXPECT_EQ(Zor_Hash_Algorithm(255, "\xff", 1), 255);  // bytes are unsigned
    EXPECT_EQ(Zor_Hash_Algorithm(255, "a\0b", 3), (97 * 33 * 33 + 98) & 255);
    EXPECT_EQ(Zor_Hash_Algorithm(255, "a\0b", -1), 97);
    EXPECT_EQ(Zor_Hash_Algorithm(16383, "\xff\xff\xff\xff\xff\xff\xff", 7), 0x12ac9859 & 16383);  // wraps
    const char small[] = {2, 7, 8, 15};  // mask 9 keeps the bits of 1 and 8
    EXPECT_EQ(Zor_Hash_Algorithm(9, &small[0], 1), 0);
    EXPECT_EQ(Zor_Hash_Algorithm(9, &small[1], 1), 1);
    EXPECT_EQ(Zor_Hash_Algorithm(9, &small[2], 1), 8);
    EXPECT_EQ(Zor_Hash_Algorithm(9, &small[3], 1), 9);

    for (int size : {0, 9}) {
        ZOR_HASH table = Zor_Hash_Make(size, compare_strings, free_counted);
        int last = size == 0 ? 15 : 9;
        EXPECT_EQ(Zor_Hash_Get_One_HashTable_Node_Count(H(table), last), 0);
        EXPECT_EQ(Zor_Hash_Get_One_HashTable_Node_Count(H(table), last + 1), -1);
        EXPECT_EQ(Zor_Hash_Node_Count_By_Traverse_Binary_Tree(H(table), -1), -1);
        Zor_Hash_Free(H(table));
    }
}

TEST(Hash, CountersMoveOnRefusedSetAndFailedDelete)
{
    ZOR_HASH table = Zor_Hash_Make(15, compare_strings, free_counted);
    char v[] = "v", key[] = "key";
    int bucket = Zor_Hash_Algorithm(15, key, -1);
    EXPECT_EQ(Zor_Hash_Set(H(table), key, -1, v), 0);
    EXPECT_EQ(Zor_Hash_Set(H(table), key, 3, v), -1);
    EXPECT_EQ(Zor_Hash_Get_One_HashTable_Node_Count(H(table), bucket), 2);
    EXPECT_EQ(Zor_Hash_Node_Count_By_Traverse_Binary_Tree(H(table), bucket), 1);
    EXPECT_EQ(Zor_Hash_Del_Node(H(table), key, -1, "absent"), -1);
    EXPECT_EQ(Zor_Hash_Del_Node(H(table), key, -1, "v"), 0);  // unlinked, not freed
    EXPECT_EQ(Zor_Hash_Get_Tataol_Node_Count(H(table)), 0);
    EXPECT_EQ(Zor_Hash_Node_Count_By_Traverse_Binary_Tree(H(table), bucket), 0);
    Zor_Hash_Free(H(table));
}

TEST(Hash, KeyChoosesBucketValueFindsElement)
{
    ZOR_HASH table = Zor_Hash_Make(15, compare_strings, free_counted);
    char *a = strdup("same"), *b = strdup("same"), *c = strdup("other");
    EXPECT_EQ(Zor_Hash_Set(H(table), "ab", 2, a), 0);
    EXPECT_EQ(Zor_Hash_Set(H(table), "ac", 2, b), 0);  // equal value, other bucket
    EXPECT_EQ(Zor_Hash_Set(H(table), "ab", 2, c), 0);
    EXPECT_EQ(Zor_Hash_Get(H(table), "ab", 2, "same"), a);
    EXPECT_EQ(Zor_Hash_Get(H(table), "ac", 2, "same"), b);
    EXPECT_EQ(Zor_Hash_Get(H(table), "ac", 2, "other"), nullptr);  // stored under "ab"

    char expected[128];
    snprintf(expected, sizeof expected, "************  Zor_Hash_Get_Print   Zor_Hash_Get = 3, btree=%p\n",
             static_cast<zor_hash_t *>(table)->b_tree[3].binary_tree);
    visits = 0;
    EXPECT_EQ(testing_support::Printed([&] { EXPECT_EQ(Zor_Hash_Get_Print(H(table), "ab", 2, count_visit), nullptr); }),
              expected);
    EXPECT_EQ(visits, 4);  // a root with one child: three visits and a leaf
    frees = 0;
    Zor_Hash_Free(H(table));  // releases every element once
    EXPECT_EQ(frees, 3);
}

TEST(Hash, NullTableAndMissingFunctions)
{
    char key[] = "k";
    EXPECT_EQ(Zor_Hash_Set(nullptr, key, 1, key), -1);
    EXPECT_EQ(Zor_Hash_Del_Node(nullptr, key, 1, key), -1);
    EXPECT_EQ(Zor_Hash_Get_Tataol_Node_Count(nullptr), -1);
    EXPECT_EQ(testing_support::Printed([&] { EXPECT_EQ(Zor_Hash_Get(nullptr, key, 1, key), nullptr); }),
              "Zor_Hash_Get    phash == null \n");
    EXPECT_EQ(testing_support::Printed([&] { Zor_Hash_Get_Print(nullptr, key, 1, count_visit); }), "");
    Zor_Hash_Free(nullptr);

    // Without a free function the buckets get no tree: every use fails.
    ZOR_HASH table = Zor_Hash_Make(15, compare_strings, nullptr);
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(Zor_Hash_Set(H(table), key, 1, key), -1);
    EXPECT_EQ(Zor_Hash_Get(H(table), key, 1, key), nullptr);
    EXPECT_EQ(Zor_Hash_Get_Tataol_Node_Count(H(table)), 1);
    EXPECT_EQ(Zor_Hash_Node_Count_By_Traverse_Binary_Tree(H(table), Zor_Hash_Algorithm(15, key, 1)), -1);
    Zor_Hash_Free(H(table));
}
