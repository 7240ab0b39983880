#include "hash.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

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

char *dup_string(const char *s)
{
    char *p = static_cast<char *>(malloc(strlen(s) + 1));
    strcpy(p, s);
    return p;
}

int visits = 0;
void count_visit(const void *, const VISIT which, const int)
{
    if (which == postorder || which == leaf)
        visits++;
}

// Number of buckets a table has: the first index the counters refuse.
int bucket_count(ZOR_HASH table)
{
    int n = 0;
    while (Zor_Hash_Get_One_HashTable_Node_Count(H(table), n) != -1)
        n++;
    return n;
}

} // namespace

TEST(Hash, MaskRuleAndTimes33)
{
    EXPECT_EQ(Zor_Hash_Algorithm(15, "ab", 2), 3);  // 97 * 33 + 98 = 3299
    EXPECT_EQ(Zor_Hash_Algorithm(16383, "ab", -1), 3299);
    EXPECT_EQ(Zor_Hash_Algorithm(100, "ab", 2), 3);  // unlisted: mask 15
    EXPECT_EQ(Zor_Hash_Algorithm(16384, "ab", 2), 3);
    EXPECT_EQ(Zor_Hash_Algorithm(255, "\xff", 1), 255);  // bytes are unsigned
    EXPECT_EQ(Zor_Hash_Algorithm(255, "a\0b", 3), (97 * 33 * 33 + 98) & 255);  // NUL hashed
    EXPECT_EQ(Zor_Hash_Algorithm(255, "a\0b", -1), 97);  // -1 stops at the NUL
    uint32_t wrapped = 0;
    for (int i = 0; i < 12; i++)
        wrapped = wrapped * 33 + 0xff;
    EXPECT_EQ(Zor_Hash_Algorithm(16383, std::string(12, '\xff').c_str(), 12), static_cast<int>(wrapped & 16383));
    // Mask 9 keeps only the bits of 1 and 8.
    const char small[] = {2, 3, 7, 8, 15};
    const int expect[] = {0, 1, 1, 8, 9};
    for (int i = 0; i < 5; i++)
        EXPECT_EQ(Zor_Hash_Algorithm(9, &small[i], 1), expect[i]);

    for (int size : {0, 9, 15, 16383}) {
        ZOR_HASH table = Zor_Hash_Make(size, compare_strings, free_counted);
        EXPECT_EQ(bucket_count(table), size == 0 ? 16 : size + 1);
        Zor_Hash_Free(H(table));
    }
}

TEST(Hash, CountersMoveOnRefusedSetAndFailedDelete)
{
    ZOR_HASH table = Zor_Hash_Make(15, compare_strings, free_counted);
    char *v = dup_string("v");
    int bucket = Zor_Hash_Algorithm(15, "key", -1);
    EXPECT_EQ(Zor_Hash_Set(H(table), "key", -1, v), 0);
    EXPECT_EQ(Zor_Hash_Set(H(table), "key", 3, v), -1);
    EXPECT_EQ(Zor_Hash_Get_One_HashTable_Node_Count(H(table), bucket), 2);
    EXPECT_EQ(Zor_Hash_Node_Count_By_Traverse_Binary_Tree(H(table), bucket), 1);

    char key[] = "key";
    EXPECT_EQ(Zor_Hash_Del_Node(H(table), key, -1, "absent"), -1);
    EXPECT_EQ(Zor_Hash_Get_Tataol_Node_Count(H(table)), 1);
    EXPECT_EQ(Zor_Hash_Del_Node(H(table), key, -1, "v"), 0);  // unlinked, not freed
    EXPECT_EQ(Zor_Hash_Get_Tataol_Node_Count(H(table)), 0);
    EXPECT_EQ(Zor_Hash_Node_Count_By_Traverse_Binary_Tree(H(table), bucket), 0);
    free(v);
    Zor_Hash_Free(H(table));
}

TEST(Hash, KeyChoosesBucketValueFindsElement)
{
    ZOR_HASH table = Zor_Hash_Make(15, compare_strings, free_counted);
    char *a = dup_string("same"), *b = dup_string("same"), *c = dup_string("other");
    ASSERT_NE(Zor_Hash_Algorithm(15, "ab", 2), Zor_Hash_Algorithm(15, "ac", 2));
    EXPECT_EQ(Zor_Hash_Set(H(table), "ab", 2, a), 0);
    EXPECT_EQ(Zor_Hash_Set(H(table), "ac", 2, b), 0);  // equal value, other bucket
    EXPECT_EQ(Zor_Hash_Set(H(table), "ab", 2, c), 0);
    EXPECT_EQ(Zor_Hash_Get(H(table), "ab", 2, "same"), a);
    EXPECT_EQ(Zor_Hash_Get(H(table), "ac", 2, "same"), b);
    EXPECT_EQ(Zor_Hash_Get(H(table), "ac", 2, "other"), nullptr);  // stored under "ab"
    EXPECT_EQ(Zor_Hash_Get_Tataol_Node_Count(H(table)), 3);

    int bucket = Zor_Hash_Algorithm(15, "ab", 2);
    char expected[128];
    snprintf(expected, sizeof expected, "************  Zor_Hash_Get_Print   Zor_Hash_Get = %d, btree=%p\n", bucket,
             static_cast<zor_hash_t *>(table)->b_tree[bucket].binary_tree);
    visits = 0;
    std::string out = testing_support::Printed([&] { EXPECT_EQ(Zor_Hash_Get_Print(H(table), "ab", 2, count_visit), nullptr); });
    EXPECT_EQ(out, expected);
    EXPECT_EQ(visits, 2);

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
    EXPECT_EQ(Zor_Hash_Get_One_HashTable_Node_Count(nullptr, 0), -1);
    EXPECT_EQ(Zor_Hash_Node_Count_By_Traverse_Binary_Tree(nullptr, 0), -1);
    EXPECT_EQ(testing_support::Printed([&] { EXPECT_EQ(Zor_Hash_Get(nullptr, key, 1, key), nullptr); }),
              "Zor_Hash_Get    phash == null \n");
    EXPECT_EQ(testing_support::Printed([&] { EXPECT_EQ(Zor_Hash_Get_Print(nullptr, key, 1, count_visit), nullptr); }), "");
    Zor_Hash_Free(nullptr);

    // Without a free function the buckets get no tree: every use fails.
    ZOR_HASH table = Zor_Hash_Make(15, compare_strings, nullptr);
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(Zor_Hash_Set(H(table), key, 1, key), -1);
    EXPECT_EQ(Zor_Hash_Get(H(table), key, 1, key), nullptr);
    EXPECT_EQ(Zor_Hash_Get_Tataol_Node_Count(H(table)), 1);
    EXPECT_EQ(Zor_Hash_Node_Count_By_Traverse_Binary_Tree(H(table), Zor_Hash_Algorithm(15, key, 1)), -1);
    EXPECT_EQ(Zor_Hash_Get_One_HashTable_Node_Count(H(table), -1), -1);
    Zor_Hash_Free(H(table));
}
