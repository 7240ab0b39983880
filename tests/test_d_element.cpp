#include "d_element.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// A stream that frees itself.
class Stream : public ::testing::Test {
protected:
    void TearDown() override { d_element_free_element_stream(s); }

    int Add(int tag, std::string value)
    {
        return d_element_add_et(s, tag, value.data(), static_cast<int>(value.size()));
    }
    // The value of occurrence index of tag, or "<-1>".
    std::string Get(int tag, int index = 0, int room = 16)
    {
        char out[16] = "untouched";
        int len = -5;
        int r = index == 0 ? d_element_get_et(s, tag, out, room, &len)
                           : d_element_get_et_by_index(s, tag, index, room, out, &len);
        return r == 0 ? std::string(out, static_cast<size_t>(len)) : "<" + std::string(out) + ">";
    }

    ELEMENT_STREAM s = d_element_allocate_element_stream();
};

} // namespace

TEST_F(Stream, NewestFirstByIndexAndCount)
{
    EXPECT_EQ(Get(1), "<untouched>");
    EXPECT_EQ(d_element_get_et_count(s, 1), 0);
    EXPECT_EQ(Add(1, "A"), 0);
    EXPECT_EQ(Add(2, "other"), 0);
    EXPECT_EQ(Add(1, "B"), 0);
    EXPECT_EQ(Add(1, ""), 0);
    EXPECT_EQ(Get(1), "");
    EXPECT_EQ(Get(1, 1), "B");
    EXPECT_EQ(Get(1, 2), "A");
    EXPECT_EQ(Get(1, 3), "<untouched>");
    EXPECT_EQ(d_element_get_et_count(s, 1), 3);
    EXPECT_EQ(d_element_get_et_count(nullptr, 1), 0);
}

TEST_F(Stream, CopyOutLimitsAndFailedAdds)
{
    Add(1, "abcd");
    EXPECT_EQ(Get(1, 0, 3), "<untouched>");
    EXPECT_EQ(Get(1, 0, 4), "abcd");
    EXPECT_EQ(d_element_add_et(s, 1, nullptr, 1), -1);
    EXPECT_EQ(d_element_add_et(s, 1, s, -1), -1);
    EXPECT_EQ(d_element_get_et_count(s, 1), 1);
}

TEST_F(Stream, PointerStaysValidUntilFree)
{
    Add(7, "kept");
    int len = 0;
    auto p = static_cast<const char *>(d_element_get_et_point(s, 7, &len));
    ASSERT_NE(p, nullptr);
    for (int i = 0; i < 100; i++)
        Add(7, std::string(50, 'n'));
    EXPECT_EQ(std::string(p, static_cast<size_t>(len)), "kept");
    EXPECT_EQ(d_element_get_et_point(s, 8, &len), nullptr);
}
