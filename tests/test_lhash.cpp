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
void record(const void *element)
{
    processed.push_back(element);
}

class LhashTest : public ::testing::Test {
protected:
    void SetUp() override { processed.clear(); }
    void TearDown() override { Zor_Hash_Fifo_Free(static_cast<ZOR_HASH_FIFO *>(table)); }

    ZOR_HASH_FIFO *h() { return static_cast<ZOR_HASH_FIFO *>(table); }
    zor_hash_fifo_t *rec() { return static_cast<zor_hash_fifo_t *>(table); }
    int Count(const char *key) { return Fifo_GetCount(rec()->List[Zor_Hash_Fifo_Algorithm(15, key, -1)].Lfifo); }

    ZOR_HASH_FIFO table = Zor_Hash_Fifo_Make(15, same_text, record, same_text);
    char key[3] = "ab";
    char first[2] = "x", second[2] = "x", other[2] = "y";
};

} // namespace

TEST(Lhash, MaskRuleAndTimes33Hash)
{
    // "ab" hashes to 97 * 33 + 98 = 3299; with mask 15 that is bucket 3.
    EXPECT_EQ(Zor_Hash_Fifo_Algorithm(15, "ab", 2), 3);
    EXPECT_EQ(Zor_Hash_Fifo_Algorithm(15, "ab", -1), 3);
    EXPECT_EQ(Zor_Hash_Fifo_Algorithm(4095, "ab", -1), 3299);
    EXPECT_EQ(Zor_Hash_Fifo_Algorithm(100, "ab", -1), 3);  // not a listed size: mask 15
    EXPECT_EQ(Zor_Hash_Fifo_Algorithm(4095, "ab\0c", 4), (3299 * 33 * 33 + 'c') & 4095);  // NUL counts
    EXPECT_EQ(Zor_Hash_Fifo_Algorithm(16383, "\xff", 1), 255);  // bytes are unsigned
    // Arithmetic wraps at 32 bits.
    EXPECT_EQ(Zor_Hash_Fifo_Algorithm(16383, "zzzzzzzzzzzz", -1), 5176);
    // With mask 9 only the bits of value 1 and 8 count.
    const char small[] = {2, 3, 7, 8, 9};
    std::vector<int> buckets;
    for (char c : small)
        buckets.push_back(Zor_Hash_Fifo_Algorithm(9, &c, 1));
    EXPECT_EQ(buckets, (std::vector<int>{0, 1, 1, 8, 9}));

    for (int size : {9, 15, 31, 63, 127, 255, 511, 1023, 2047, 4095, 8191, 16383, 0, -1, 16, 32767}) {
        auto table = static_cast<zor_hash_fifo_t *>(Zor_Hash_Fifo_Make(size, same_text, record, same_text));
        bool listed = size == 9 || (size >= 15 && size <= 16383 && ((size + 1) & size) == 0);
        EXPECT_EQ(table->max, listed ? static_cast<unsigned>(size) : 15u) << size;
        EXPECT_NE(table->List[table->max].Lfifo, nullptr);
        Zor_Hash_Fifo_Free(static_cast<ZOR_HASH_FIFO *>(static_cast<void *>(table)));
    }
}

TEST_F(LhashTest, FirstMatchWinsForGetAndDelete)
{
    EXPECT_EQ(Zor_Hash_Fifo_Set(h(), key, 2, first), 1);
    EXPECT_EQ(Zor_Hash_Fifo_Set(h(), key, 2, second), 1);
    EXPECT_EQ(Zor_Hash_Fifo_Set(h(), key, 2, first), 1);  // no duplicate check
    EXPECT_EQ(Count(key), 3);
    EXPECT_EQ(Zor_Hash_Fifo_Get(h(), key, 2, "x"), first);
    EXPECT_EQ(Zor_Hash_Fifo_Get(h(), key, 2, "y"), nullptr);
    EXPECT_EQ(Zor_Hash_Fifo_Get(h(), "b", -1, "x"), nullptr);  // another bucket

    Zor_Hash_Fifo_Del_Node(h(), key, 2, "x");
    EXPECT_EQ(Zor_Hash_Fifo_Get(h(), key, 2, "x"), second);
    Zor_Hash_Fifo_Del_Node(h(), key, 2, "y");  // no match: nothing happens
    EXPECT_EQ(Count(key), 2);
}

TEST_F(LhashTest, TraverseProcessesAndUnlinksEveryMatchInOrder)
{
    Zor_Hash_Fifo_Set(h(), key, 2, first);
    Zor_Hash_Fifo_Set(h(), key, 2, other);
    Zor_Hash_Fifo_Set(h(), key, 2, second);
    Zor_Hash_Fifo_Traverse_Nodes(h(), key, 2, "x");
    EXPECT_EQ(processed, (std::vector<const void *>{first, second}));
    EXPECT_EQ(Count(key), 1);
    EXPECT_EQ(Zor_Hash_Fifo_Get(h(), key, 2, "y"), other);
}

namespace {
ZOR_HASH_FIFO *busy_table;
char appended[2] = "x";
// Takes the processed element out itself, then appends a new match.
void unlink_self_and_append(const void *element)
{
    processed.push_back(element);
    Zor_Hash_Fifo_Del_Node(busy_table, const_cast<char *>("ab"), 2, element);
    if (element != appended)
        Zor_Hash_Fifo_Set(busy_table, "ab", 2, appended);
}
} // namespace

TEST_F(LhashTest, TraverseSurvivesProcessChangingTheBucket)
{
    rec()->procfunc = unlink_self_and_append;
    busy_table = h();
    Zor_Hash_Fifo_Set(h(), key, 2, first);
    Zor_Hash_Fifo_Set(h(), key, 2, other);
    Zor_Hash_Fifo_Traverse_Nodes(h(), key, 2, "x");
    EXPECT_EQ(processed, (std::vector<const void *>{first, appended}));
    EXPECT_EQ(Count(key), 1);
}

TEST(Lhash, FreeLeavesElementsAliveAndNullTableIsHarmless)
{
    ZOR_HASH_FIFO table = Zor_Hash_Fifo_Make(31, same_text, record, same_text);
    auto *h = static_cast<ZOR_HASH_FIFO *>(table);
    std::string *kept = new std::string("alive");
    Zor_Hash_Fifo_Set(h, "k", -1, kept);
    Zor_Hash_Fifo_Free(h);
    EXPECT_EQ(*kept, "alive");  // the sanitizer build catches a freed element
    delete kept;

    EXPECT_EQ(Zor_Hash_Fifo_Set(nullptr, "k", -1, "v"), -1);
    EXPECT_EQ(Zor_Hash_Fifo_Get(nullptr, "k", -1, "v"), nullptr);
    Zor_Hash_Fifo_Del_Node(nullptr, const_cast<char *>("k"), -1, "v");
    Zor_Hash_Fifo_Traverse_Nodes(nullptr, const_cast<char *>("k"), -1, "v");
    Zor_Hash_Fifo_Free(nullptr);
}
