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
    std::string Get(int tag, int index = 0)
    {
        char out[16];
        int len = -5;
        int r = index == 0 ? d_element_get_et(s, tag, out, sizeof out, &len)
                           : d_element_get_et_by_index(s, tag, index, sizeof out, out, &len);
        return r == 0 ? std::string(out, static_cast<size_t>(len)) : "<" + std::to_string(r) + ">";
    }

    ELEMENT_STREAM s = d_element_allocate_element_stream();
};

} // namespace

TEST_F(Stream, NewestFirstAndByIndex)
{
    EXPECT_EQ(Add(1, "A"), 0);
    EXPECT_EQ(Add(2, "other"), 0);
    EXPECT_EQ(Add(1, "B"), 0);
    EXPECT_EQ(Add(1, ""), 0);
    EXPECT_EQ(Get(1), "");
    EXPECT_EQ(Get(1, 1), "B");
    EXPECT_EQ(Get(1, 2), "A");
    EXPECT_EQ(Get(1, 3), "<-1>");
    EXPECT_EQ(Get(1, -1), "<-1>");
    EXPECT_EQ(Get(3), "<-1>");
    EXPECT_EQ(d_element_get_et_count(s, 1), 3);
    EXPECT_EQ(d_element_get_et_count(s, 3), 0);
}

TEST_F(Stream, EmptyStreamAndNullArguments)
{
    char out[4];
    int len;
    EXPECT_EQ(Get(1), "<-1>");
    EXPECT_EQ(d_element_get_et_count(s, 1), 0);
    EXPECT_EQ(d_element_get_et_count(nullptr, 1), 0);
    EXPECT_EQ(Add(1, "x"), 0);
    EXPECT_EQ(d_element_add_et(nullptr, 1, out, 1), -1);
    EXPECT_EQ(d_element_add_et(s, 1, nullptr, 1), -1);
    EXPECT_EQ(d_element_add_et(s, 1, out, -1), -1);
    EXPECT_EQ(d_element_get_et(s, 1, nullptr, 4, &len), -1);
    EXPECT_EQ(d_element_get_et(s, 1, out, 4, nullptr), -1);
    EXPECT_EQ(d_element_get_et(nullptr, 1, out, 4, &len), -1);
    EXPECT_EQ(d_element_get_et_point(s, 1, nullptr), nullptr);
    EXPECT_EQ(d_element_get_et_count(s, 1), 1);  // the failed adds left it as it was
    d_element_free_element_stream(nullptr);
}

TEST_F(Stream, CopyOutLimits)
{
    Add(1, "abcd");
    char out[4] = {'z', 'z', 'z', 'z'};
    int len = -5;
    EXPECT_EQ(d_element_get_et(s, 1, out, 3, &len), -1);
    EXPECT_EQ(d_element_get_et_by_index(s, 1, 0, -1, out, &len), -1);
    EXPECT_EQ(std::string(out, 4), "zzzz");
    EXPECT_EQ(len, -5);
    EXPECT_EQ(d_element_get_et(s, 1, out, 4, &len), 0);
    EXPECT_EQ(std::string(out, 4), "abcd");
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
    EXPECT_EQ(Get(7, 100), "kept");
}
