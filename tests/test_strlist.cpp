#include "strlist.h"

#include <gtest/gtest.h>

#include "test_support.h"

using testing_support::Printed;

static char *S(const char *s) { return const_cast<char *>(s); }

TEST(Strlist, OwnCopiesInsertDeleteClearAndResults)
{
    SLH pl = Strlist_Allocate(1);
    char word[] = "a";
    EXPECT_EQ(Strlist_Add(pl, word), 0);
    word[0] = 'z';  // the list keeps its own copy
    // Past the end: not kept, not leaked; count: at the end; 0: at the front.
    for (auto [at, s] : {std::pair{9, "dropped"}, {1, "b"}, {0, "first"}, {2, "m"}, {4, "last"}})
        EXPECT_EQ(Strlist_Insert(pl, at, S(s)), 0) << s;
    EXPECT_EQ(Strlist_Del(pl, 2), 0);
    EXPECT_EQ(Strlist_Del(pl, 5), 0);
    std::string all;
    for (int i = 0; i < Strlist_GetCount(pl); i++)
        all += Strlist_Get(pl, i) + std::string(",");
    EXPECT_EQ(all, "first,a,b,last,");
    EXPECT_EQ(Strlist_Index_Content(pl, S("b")), 2);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Strlist_Get(pl, 4), nullptr); }),
              "\xBC\xEC\xB2\xE9\xB6\xD3\xC1\xD0\xC6\xAB\xD2\xC6\xC1\xBF\n");
    EXPECT_EQ(Strlist_Index_Content(pl, S("B")), -1);
    EXPECT_EQ(Strlist_Add(nullptr, S("a")), -1);
    EXPECT_EQ(Strlist_Add(pl, nullptr), -1);
    EXPECT_EQ(Strlist_Insert(pl, 0, nullptr), -1);
    EXPECT_EQ(Strlist_Del(nullptr, 0), -1);
    EXPECT_EQ(Strlist_Clear(nullptr), -1);
    EXPECT_EQ(Strlist_GetCount(nullptr), -1);
    EXPECT_EQ(Strlist_Index_Content(nullptr, S("a")), -1);
    EXPECT_EQ(Printed([] { EXPECT_EQ(Strlist_Free(nullptr), -1); }), "");
    EXPECT_EQ(Strlist_Clear(pl), 0);
    EXPECT_EQ(Strlist_Add(pl, S("again")), 0);
    EXPECT_STREQ(Strlist_Get(pl, 0), "again");
    EXPECT_EQ(Strlist_Free(pl), 1);
}
