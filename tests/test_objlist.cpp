#include "objlist.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(Objlist, OwnCopiesInsertDeleteAndResults)
{
    OLH pl = Objlist_Allocate(2);
    int values[] = {10, 20, 30}, out = 0;
    EXPECT_EQ(Objlist_Add(pl, &values[0], 4), 0);
    EXPECT_EQ(Objlist_Add(pl, &values[2], 4), 0);
    EXPECT_EQ(Objlist_Insert(pl, 1, &values[1], 4), 0);
    EXPECT_EQ(Objlist_Insert(pl, 7, &values[1], 4), 0);  // dropped, freed
    values[0] = 99;  // the list keeps its own copies
    EXPECT_EQ(Objlist_Get(pl, 0, &out, 3), -100);  // too long: nothing copied
    EXPECT_EQ(out, 0);
    ASSERT_EQ(Objlist_GetCount(pl), 3);
    for (int i = 0; i < 3; i++) {
        SCOPED_TRACE(i);
        EXPECT_EQ(Objlist_Get(pl, i, &out, 4), 4);
        EXPECT_EQ(out, 10 * (i + 1));
    }
    int32_t len;
    memcpy(&len, static_cast<char *>(Object_Get_Content_Point(pl, 2)) - 4, 4);  // host-order length in front
    EXPECT_EQ(len, 4);
    EXPECT_EQ(Objlist_Del(pl, 0), 0);
    EXPECT_EQ(Objlist_Del(pl, 9), 0);
    EXPECT_EQ(Objlist_Del(nullptr, 0), 0);
    EXPECT_EQ(Objlist_Add(pl, values, 0), 0);  // a zero-length object may be stored ...
    EXPECT_EQ(Objlist_Get(pl, 2, &out, 4), -2);  // ... but reads as -2
    EXPECT_EQ(Objlist_Get(pl, 3, &out, 4), -1);
    EXPECT_EQ(Objlist_Get(nullptr, 0, &out, 4), -1);
    EXPECT_EQ(Objlist_Get(pl, 0, nullptr, 4), -1);
    EXPECT_EQ(Objlist_Add(nullptr, values, 4), -1);
    EXPECT_EQ(Objlist_Add(pl, nullptr, 4), -1);
    EXPECT_EQ(Objlist_Add(pl, values, -1), -1);
    EXPECT_EQ(Objlist_Free(nullptr), -1);
    EXPECT_EQ(Objlist_GetCount(nullptr), -1);
    EXPECT_EQ(Object_Get_Content_Point(pl, 7), nullptr);
    Objlist_Free(pl);
}
