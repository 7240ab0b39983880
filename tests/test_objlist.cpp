#include "objlist.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(Objlist, CopiesInAndOutWithBufferBound)
{
    OLH pl = Objlist_Allocate(2);
    char data[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 0};
    char buf[16] = {};
    EXPECT_EQ(Objlist_Add(pl, data, 10), 0);
    data[0] = 99;  // the list keeps its own copy
    EXPECT_EQ(Objlist_Get(pl, 0, buf, 9), -100);
    EXPECT_EQ(buf[0], 0);  // nothing copied
    EXPECT_EQ(Objlist_Get(pl, 0, buf, 10), 10);
    EXPECT_EQ(buf[0], 1);
    EXPECT_EQ(buf[8], 9);
    auto stored = static_cast<char *>(Object_Get_Content_Point(pl, 0));
    ASSERT_NE(stored, nullptr);
    int32_t len;
    memcpy(&len, stored - 4, 4);  // host-order length in front of the bytes
    EXPECT_EQ(len, 10);
    Objlist_Free(pl);
}

TEST(Objlist, ResultCodes)
{
    OLH pl = Objlist_Allocate(2);
    int v = 5, out = 0;
    EXPECT_EQ(Objlist_Add(pl, &v, 0), 0);  // a zero-length object may be stored ...
    EXPECT_EQ(Objlist_Get(pl, 0, &out, 4), -2);  // ... but reads as -2
    EXPECT_EQ(Objlist_Get(pl, 3, &out, 4), -1);
    EXPECT_EQ(Objlist_Get(nullptr, 0, &out, 4), -1);
    EXPECT_EQ(Objlist_Get(pl, 0, nullptr, 4), -1);
    EXPECT_EQ(Objlist_Add(nullptr, &v, 4), -1);
    EXPECT_EQ(Objlist_Add(pl, nullptr, 4), -1);
    EXPECT_EQ(Objlist_Add(pl, &v, -1), -1);
    EXPECT_EQ(Objlist_Free(nullptr), -1);
    EXPECT_EQ(Objlist_Del(nullptr, 0), 0);
    EXPECT_EQ(Objlist_GetCount(nullptr), -1);
    EXPECT_EQ(Object_Get_Content_Point(pl, 7), nullptr);
    Objlist_Free(pl);
}

TEST(Objlist, InsertAndDelete)
{
    OLH pl = Objlist_Allocate(4);
    int values[] = {10, 20, 30};
    Objlist_Add(pl, &values[0], 4);
    Objlist_Add(pl, &values[2], 4);
    EXPECT_EQ(Objlist_Insert(pl, 1, &values[1], 4), 0);
    EXPECT_EQ(Objlist_Insert(pl, 7, &values[1], 4), 0);  // dropped, freed
    ASSERT_EQ(Objlist_GetCount(pl), 3);
    for (int i = 0; i < 3; i++) {
        int out = 0;
        EXPECT_EQ(Objlist_Get(pl, i, &out, 4), 4);
        EXPECT_EQ(out, values[i]);
    }
    EXPECT_EQ(Objlist_Del(pl, 0), 0);
    EXPECT_EQ(Objlist_Del(pl, 9), 0);
    EXPECT_EQ(Objlist_GetCount(pl), 2);
    Objlist_Free(pl);
}
