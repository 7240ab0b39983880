#include "hash.h"

#include <gtest/gtest.h>

#include <cstring>

#include "test_support.h"

static const char *text(const void *p) { return static_cast<const char *>(p); }
static int same(const void *a, const void *b) { return strcmp(text(a), text(b)); }

static int frees = 0;
static void release(void *p) { frees++, free(p); }

// The operations are declared with ZOR_HASH * but take the handle itself.
static ZOR_HASH *Make(int n, Free_Node_Func f = release) { return static_cast<ZOR_HASH *>(Zor_Hash_Make(n, same, f)); }

TEST(Hash, MaskRuleTimes33AndTablesThatCannotWork)
{
    EXPECT_EQ(Zor_Hash_Algorithm(15, "ab", 2), 3);       // 97 * 33 + 98 = 3299
    EXPECT_EQ(Zor_Hash_Algorithm(100, "ab", -1), 3);     // unlisted: mask 15
    EXPECT_EQ(Zor_Hash_Algorithm(255, "\xff", 1), 255);  // bytes are unsigned
    EXPECT_EQ(Zor_Hash_Algorithm(255, "a\0b", 3), (97 * 33 * 33 + 98) & 255);
    EXPECT_EQ(Zor_Hash_Algorithm(16383, "\xff\xff\xff\xff\xff\xff\xff", 7), 0x12ac9859 & 16383);  // wraps
    for (char c : {2, 7, 8, 15})  // mask 9 keeps the bits of 1 and 8
        EXPECT_EQ(Zor_Hash_Algorithm(9, &c, 1), c & 9) << int(c);
    for (int last : {15, 9}) {  // size 0 is unlisted: 16 buckets
        SCOPED_TRACE(last);
        ZOR_HASH *table = Make(last == 15 ? 0 : 9);
        EXPECT_EQ(Zor_Hash_Get_One_HashTable_Node_Count(table, last), 0);
        EXPECT_EQ(Zor_Hash_Get_One_HashTable_Node_Count(table, last + 1), -1);
        Zor_Hash_Free(table);
    }
    char key[] = "k";
    EXPECT_EQ(testing_support::Printed([&] { EXPECT_EQ(Zor_Hash_Get(nullptr, key, 1, key), nullptr); }),
              "Zor_Hash_Get    phash == null \n");
    ZOR_HASH *table = Make(15, nullptr);  // the buckets get no tree: every use fails
    EXPECT_EQ(Zor_Hash_Set(table, key, 1, key), -1);
    EXPECT_EQ(Zor_Hash_Get(table, key, 1, key), nullptr);
    EXPECT_EQ(Zor_Hash_Get_Tataol_Node_Count(table), 1);
    Zor_Hash_Free(table);
}

TEST(Hash, KeyChoosesBucketValueFindsElementCountersMoveOnFailures)
{
    frees = 0;
    ZOR_HASH *table = Make(15);
    char *a = strdup("same"), *b = strdup("same"), *c = strdup("other"), ab[] = "ab";
    EXPECT_EQ(Zor_Hash_Set(table, ab, 2, a), 0);
    EXPECT_EQ(Zor_Hash_Set(table, "ac", -1, b), 0);  // equal value, other bucket
    EXPECT_EQ(Zor_Hash_Set(table, ab, 2, c), 0);
    EXPECT_EQ(Zor_Hash_Get(table, ab, 2, "same"), a);
    EXPECT_EQ(Zor_Hash_Get(table, "ac", 2, "same"), b);
    EXPECT_EQ(Zor_Hash_Get(table, "ac", 2, "other"), nullptr);  // stored under "ab"
    EXPECT_EQ(Zor_Hash_Set(table, ab, 2, "same"), -1);          // refused, yet counted
    EXPECT_EQ(Zor_Hash_Get_One_HashTable_Node_Count(table, 3), 3);
    EXPECT_EQ(Zor_Hash_Node_Count_By_Traverse_Binary_Tree(table, 3), 2);
    EXPECT_EQ(Zor_Hash_Del_Node(table, ab, 2, "absent"), -1);  // failed, yet counted
    EXPECT_EQ(Zor_Hash_Get_Tataol_Node_Count(table), 3);
    char expected[128];
    snprintf(expected, sizeof expected, "************  Zor_Hash_Get_Print   Zor_Hash_Get = 3, btree=%p\n",
             static_cast<zor_hash_t *>(static_cast<void *>(table))->b_tree[3].binary_tree);
    EXPECT_EQ(testing_support::Printed([&] { EXPECT_EQ(Zor_Hash_Get_Print(table, ab, 2, nullptr), nullptr); }),
              expected);
    EXPECT_EQ(Zor_Hash_Del_Node(table, ab, 2, "other"), 0);  // unlinked, not freed
    free(c);
    Zor_Hash_Free(table);  // releases the rest
    EXPECT_EQ(frees, 2);
}
