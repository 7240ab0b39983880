#include "lhash.h"

#include <gtest/gtest.h>

#include <cstring>

static const char *text(const void *p) { return static_cast<const char *>(p); }
static int same(const void *a, const void *b) { return strcmp(text(a), text(b)); }

static std::vector<const void *> processed;
static ZOR_HASH_FIFO *table;
static char first[] = "x", second[] = "x", other[] = "y", appended[] = "x", key[] = "ab";  // "ab": bucket 3

static void record(const void *element) { processed.push_back(element); }

static void unlink_self_and_append(const void *element)
{
    record(element);
    Zor_Hash_Fifo_Del_Node(table, key, 2, element);
    if (element != appended)
        Zor_Hash_Fifo_Set(table, key, 2, appended);
}

// The operations are declared with ZOR_HASH_FIFO * but take the handle itself.
static ZOR_HASH_FIFO *Make(int n) { return static_cast<ZOR_HASH_FIFO *>(Zor_Hash_Fifo_Make(n, same, record, same)); }
static zor_hash_fifo_t *Rec(ZOR_HASH_FIFO *t) { return static_cast<zor_hash_fifo_t *>(static_cast<void *>(t)); }

TEST(Lhash, MaskRuleAndTimes33Hash)
{
    EXPECT_EQ(Zor_Hash_Fifo_Algorithm(15, "ab", 2), 3);    // 97 * 33 + 98 = 3299
    EXPECT_EQ(Zor_Hash_Fifo_Algorithm(100, "ab", -1), 3);  // not a listed size: mask 15
    EXPECT_EQ(Zor_Hash_Fifo_Algorithm(4095, "ab\0c", 4), (3299 * 33 * 33 + 'c') & 4095);  // NUL counts
    EXPECT_EQ(Zor_Hash_Fifo_Algorithm(16383, "\xff", 1), 255);                            // unsigned bytes
    EXPECT_EQ(Zor_Hash_Fifo_Algorithm(16383, "zzzzzzzzzzzz", -1), 5176);                  // 32-bit wrap
    for (char c : {2, 3, 7, 8, 9})  // mask 9: only the bits of 1 and 8 count
        EXPECT_EQ(Zor_Hash_Fifo_Algorithm(9, &c, 1), c & 9);
    for (int size : {9, 16383, 0, 16}) {
        ZOR_HASH_FIFO *made = Make(size);
        EXPECT_EQ(Rec(made)->max, size == 9 || size == 16383 ? static_cast<unsigned>(size) : 15u);
        Zor_Hash_Fifo_Free(made);
    }
}

TEST(Lhash, FirstMatchWinsTraverseTakesEveryMatchFreeLeavesElements)
{
    processed.clear();
    table = Make(15);
    for (char *element : {first, other, second})
        EXPECT_EQ(Zor_Hash_Fifo_Set(table, key, 2, element), 1);
    EXPECT_EQ(Zor_Hash_Fifo_Get(table, "b", -1, "x"), nullptr);  // another bucket
    Zor_Hash_Fifo_Del_Node(table, key, 2, "x");
    Zor_Hash_Fifo_Del_Node(table, key, 2, "z");  // no match
    EXPECT_EQ(Zor_Hash_Fifo_Get(table, key, -1, "x"), second);
    Zor_Hash_Fifo_Set(table, key, 2, first);
    Zor_Hash_Fifo_Traverse_Nodes(table, key, 2, "x");
    EXPECT_EQ(processed, (std::vector<const void *>{second, first}));
    EXPECT_EQ(Zor_Hash_Fifo_Get(table, key, 2, "x"), nullptr);
    Rec(table)->procfunc = unlink_self_and_append;  // the bucket changes while it is walked
    Zor_Hash_Fifo_Set(table, key, 2, first);
    Zor_Hash_Fifo_Traverse_Nodes(table, key, 2, "x");
    EXPECT_EQ(processed, (std::vector<const void *>{second, first, first, appended}));
    EXPECT_EQ(Fifo_GetCount(Rec(table)->List[3].Lfifo), 1);
    EXPECT_EQ(Zor_Hash_Fifo_Get(table, key, 2, "y"), other);
    std::string kept = "alive";  // not from malloc: releasing it would crash
    Zor_Hash_Fifo_Set(table, "k", -1, &kept);
    Zor_Hash_Fifo_Free(table);
}
