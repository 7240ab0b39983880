#include "lhash.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

// Elements are C strings; a probe matches an element with the same text.
int same_text(const void *element, const void *val)
{
    return strcmp(static_cast<const char *>(element), static_cast<const char *>(val));
}

std::vector<const void *> processed;
ZOR_HASH_FIFO *table;
char first[] = "x", second[] = "x", other[] = "y", appended[] = "x", key[] = "ab";

void record(const void *element)
{
    processed.push_back(element);
}

// Takes the processed element out itself, then appends a new match.
void unlink_self_and_append(const void *element)
{
    processed.push_back(element);
    Zor_Hash_Fifo_Del_Node(table, key, 2, element);
    if (element != appended)
        Zor_Hash_Fifo_Set(table, key, 2, appended);
}

class LhashTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        processed.clear();
        table = static_cast<ZOR_HASH_FIFO *>(Zor_Hash_Fifo_Make(15, same_text, record, same_text));
    }
    void TearDown() override { Zor_Hash_Fifo_Free(table); }
    int Count() { return Fifo_GetCount(static_cast<zor_hash_fifo_t *>(static_cast<void *>(table))->List[3].Lfifo); }
};

} // namespace

TEST(Lhash, MaskRuleAndTimes33Hash)
{
    // "ab" hashes to 97 * 33 + 98 = 3299, bucket 3 under mask 15.
    EXPECT_EQ(Zor_Hash_Fifo_Algorithm(15, "ab", 2), 3);
    EXPECT_EQ(Zor_Hash_Fifo_Algorithm(100, "ab", -1), 3);  // not a listed size: mask 15
    EXPECT_EQ(Zor_Hash_Fifo_Algorithm(4095, "ab", -1), 3299);
    EXPECT_EQ(Zor_Hash_Fifo_Algorithm(4095, "ab\0c", 4), (3299 * 33 * 33 + 'c') & 4095);  // NUL counts
    EXPECT_EQ(Zor_Hash_Fifo_Algorithm(16383, "\xff", 1), 255);                            // unsigned bytes
    EXPECT_EQ(Zor_Hash_Fifo_Algorithm(16383, "zzzzzzzzzzzz", -1), 5176);                  // 32-bit wrap
    const char small[] = {2, 3, 7, 8, 9};  // mask 9: only the bits of 1 and 8 count
    std::vector<int> buckets;
    for (const char &c : small)
        buckets.push_back(Zor_Hash_Fifo_Algorithm(9, &c, 1));
    EXPECT_EQ(buckets, (std::vector<int>{0, 1, 1, 8, 9}));

    for (int size : {9, 16383, 0, 16}) {
        auto made = static_cast<zor_hash_fifo_t *>(Zor_Hash_Fifo_Make(size, same_text, record, same_text));
        EXPECT_EQ(made->max, size == 9 || size == 16383 ? static_cast<unsigned>(size) : 15u);
        Zor_Hash_Fifo_Free(static_cast<ZOR_HASH_FIFO *>(static_cast<void *>(made)));
    }
}

TEST_F(LhashTest, FirstMatchWinsForGetAndDeleteWhileTraverseTakesAll)
{
    EXPECT_EQ(Zor_Hash_Fifo_Set(table, key, 2, first), 1);
    EXPECT_EQ(Zor_Hash_Fifo_Set(table, key, 2, other), 1);
    EXPECT_EQ(Zor_Hash_Fifo_Set(table, key, -1, second), 1);
    EXPECT_EQ(Zor_Hash_Fifo_Get(table, key, 2, "x"), first);
    EXPECT_EQ(Zor_Hash_Fifo_Get(table, "b", -1, "x"), nullptr);  // another bucket
    Zor_Hash_Fifo_Del_Node(table, key, 2, "x");
    Zor_Hash_Fifo_Del_Node(table, key, 2, "z");  // no match
    EXPECT_EQ(Zor_Hash_Fifo_Get(table, key, 2, "x"), second);
    EXPECT_EQ(Zor_Hash_Fifo_Set(table, key, 2, first), 1);

    Zor_Hash_Fifo_Traverse_Nodes(table, key, 2, "x");
    EXPECT_EQ(processed, (std::vector<const void *>{second, first}));
    EXPECT_EQ(Count(), 1);
    EXPECT_EQ(Zor_Hash_Fifo_Get(table, key, 2, "y"), other);
}

TEST_F(LhashTest, TraverseSurvivesProcessChangingTheBucket)
{
    static_cast<zor_hash_fifo_t *>(static_cast<void *>(table))->procfunc = unlink_self_and_append;
    Zor_Hash_Fifo_Set(table, key, 2, first);
    Zor_Hash_Fifo_Set(table, key, 2, other);
    Zor_Hash_Fifo_Traverse_Nodes(table, key, 2, "x");
    EXPECT_EQ(processed, (std::vector<const void *>{first, appended}));
    EXPECT_EQ(Count(), 1);
}

TEST_F(LhashTest, FreeLeavesElementsAliveAndNullTableIsHarmless)
{
    std::string *kept = new std::string("alive");
    Zor_Hash_Fifo_Set(table, "k", -1, kept);
    Zor_Hash_Fifo_Free(table);
    table = nullptr;
    EXPECT_EQ(*kept, "alive");  // the sanitizer build catches a freed element
    delete kept;
    EXPECT_EQ(Zor_Hash_Fifo_Set(nullptr, "k", -1, "v"), -1);
    EXPECT_EQ(Zor_Hash_Fifo_Get(nullptr, "k", -1, "v"), nullptr);
    Zor_Hash_Fifo_Del_Node(nullptr, key, -1, "v");
    Zor_Hash_Fifo_Traverse_Nodes(nullptr, key, -1, "v");
}
