#include "strlist.h"

#include <gtest/gtest.h>

#include "test_support.h"

using testing_support::Printed;

namespace {
char *S(const char *s) { return const_cast<char *>(s); }
}

TEST(Strlist, AddGetFindDelete)
{
    SLH pl = Strlist_Allocate(1);
    char word[] = "a";
    EXPECT_EQ(Strlist_Add(pl, word), 0);
    word[0] = 'z';  // the list keeps its own copy
    EXPECT_EQ(Strlist_Add(pl, S("b")), 0);
    EXPECT_STREQ(Strlist_Get(pl, 0), "a");
    EXPECT_EQ(Strlist_Index_Content(pl, S("b")), 1);
    EXPECT_EQ(Strlist_Index_Content(pl, S("B")), -1);
    EXPECT_EQ(Strlist_Del(pl, 5), 0);
    EXPECT_EQ(Strlist_GetCount(pl), 2);
    EXPECT_EQ(Strlist_Insert(pl, 1, S("m")), 0);
    EXPECT_EQ(Strlist_Insert(pl, 0, S("first")), 0);
    EXPECT_EQ(Strlist_Insert(pl, 4, S("last")), 0);
    EXPECT_EQ(Strlist_Insert(pl, 9, S("dropped")), 0);  // past the end: not kept, not leaked
    ASSERT_EQ(Strlist_GetCount(pl), 5);
    const char *expected[] = {"first", "a", "m", "b", "last"};
    for (int i = 0; i < 5; i++)
        EXPECT_STREQ(Strlist_Get(pl, i), expected[i]);
    EXPECT_EQ(Strlist_Del(pl, 2), 0);
    EXPECT_STREQ(Strlist_Get(pl, 2), "b");
    EXPECT_EQ(Strlist_Free(pl), 1);
}

TEST(Strlist, ClearLeavesAUsableList)
{
    SLH pl = Strlist_Allocate(3);
    for (const char *s : {"x", "y", "z"})
        Strlist_Add(pl, S(s));
    EXPECT_EQ(Strlist_Clear(pl), 0);
    EXPECT_EQ(Strlist_GetCount(pl), 0);
    EXPECT_EQ(Strlist_Add(pl, S("again")), 0);
    EXPECT_STREQ(Strlist_Get(pl, 0), "again");
    Strlist_Free(pl);
}

TEST(Strlist, BadArgumentsAndOffsetMessage)
{
    SLH pl = Strlist_Allocate(1);
    Strlist_Add(pl, S("a"));
    EXPECT_EQ(Strlist_Add(nullptr, S("a")), -1);
    EXPECT_EQ(Strlist_Add(pl, nullptr), -1);
    EXPECT_EQ(Strlist_Insert(pl, 0, nullptr), -1);
    EXPECT_EQ(Strlist_Del(nullptr, 0), -1);
    EXPECT_EQ(Strlist_Clear(nullptr), -1);
    EXPECT_EQ(Strlist_GetCount(nullptr), -1);
    EXPECT_EQ(Strlist_Index_Content(nullptr, S("a")), -1);
    EXPECT_EQ(Printed([] { EXPECT_EQ(Strlist_Free(nullptr), -1); }), "");
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Strlist_Get(pl, 1), nullptr); }),
              "\xBC\xEC\xB2\xE9\xB6\xD3\xC1\xD0\xC6\xAB\xD2\xC6\xC1\xBF\n");
    Strlist_Free(pl);
}
