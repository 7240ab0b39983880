#include "d_element.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

// Occurrence index of tag (0 = newest, -1 = the plain read) in room bytes, or "<untouched>".
static std::string Get(ELEMENT_STREAM s, int tag, int index = -1, int room = 16)
{
    char out[16] = "untouched";
    int len = -5;
    int r = index < 0 ? d_element_get_et(s, tag, out, room, &len)
                      : d_element_get_et_by_index(s, tag, index, room, out, &len);
    return r == 0 ? std::string(out, size_t(len)) : "<" + std::string(out) + ">";
}

TEST(DElement, NewestFirstCopyOutLimitsAndStablePointers)
{
    ELEMENT_STREAM s = d_element_allocate_element_stream();
    EXPECT_EQ(Get(s, 1), "<untouched>");
    for (auto [tag, value] : {std::pair{1, "A"}, {2, "other"}, {1, "B"}, {1, ""}})
        EXPECT_EQ(d_element_add_et(s, tag, const_cast<char *>(value), int(strlen(value))), 0) << value;
    EXPECT_EQ(Get(s, 1), "");  // the newest
    EXPECT_EQ(Get(s, 1, 0), "");
    EXPECT_EQ(Get(s, 1, 1), "B");
    EXPECT_EQ(Get(s, 1, 2), "A");
    EXPECT_EQ(Get(s, 1, 3), "<untouched>");
    EXPECT_EQ(Get(s, 2, -1, 4), "<untouched>");  // no room: nothing copied
    EXPECT_EQ(Get(s, 2, -1, 5), "other");
    EXPECT_EQ(d_element_add_et(s, 1, nullptr, 1), -1);
    EXPECT_EQ(d_element_add_et(s, 1, s, -1), -1);
    EXPECT_EQ(d_element_get_et_count(s, 1), 3);  // failed adds leave nothing
    EXPECT_EQ(d_element_get_et_count(nullptr, 1), 0);
    int len = 0;
    auto p = static_cast<const char *>(d_element_get_et_point(s, 2, &len));
    for (int i = 0; i < 100; i++)
        d_element_add_et(s, 2, const_cast<char *>(p), len);
    EXPECT_EQ(std::string(p, size_t(len)), "other");  // valid until the stream is freed
    EXPECT_EQ(d_element_get_et_point(s, 8, &len), nullptr);
    d_element_free_element_stream(s);
}
