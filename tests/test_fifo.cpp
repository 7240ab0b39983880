#include "fifo.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "mem.h"
#include "test_support.h"

using testing_support::Printed;

namespace {

const std::string kOffsetMessage = "\xBC\xEC\xB2\xE9\xB6\xD3\xC1\xD0\xC6\xAB\xD2\xC6\xC1\xBF\n";

char A[] = "a", B[] = "b", C[] = "c", X[] = "x";

// A list holding a, b, c pushed in that order.
class AbcList : public ::testing::Test {
protected:
    void SetUp() override
    {
        list = Fifo_Allocate(10);
        Fifo_Push(list, A);
        Fifo_Push(list, B);
        Fifo_Push(list, C);
    }
    void TearDown() override { EXPECT_EQ(Fifo_FreeEx(list), 1); }

    std::vector<void *> Contents()
    {
        std::vector<void *> out;
        for (void *p = Fifo_Step_Get_First(list); p != nullptr; p = Fifo_Step_Next(list))
            out.push_back(p);
        return out;
    }
    pFIFO rec() { return static_cast<pFIFO>(list); }

    FIFOH list = nullptr;
};

} // namespace

TEST(Fifo, QueueAndStackOrderAndResults)
{
    FIFOH q = Fifo_Allocate(2);
    EXPECT_EQ(Fifo_Push(q, A), 1);
    EXPECT_EQ(Fifo_Push(q, B), 2);
    EXPECT_EQ(Fifo_Push(q, C), 3);
    EXPECT_EQ(Fifo_GetMaxCount(q), 2);  // capacity is never enforced
    for (int i = 3; i < 30; i++)
        EXPECT_EQ(Fifo_Push(q, X), i + 1);
    EXPECT_EQ(Fifo_GetMaxCount(q), 2);
    EXPECT_EQ(Fifo_Pull(q), A);
    EXPECT_EQ(Fifo_Pull(q), B);
    EXPECT_EQ(Fifo_Pull(q), C);
    Fifo_FreeEx(q);

    FIFOH s = Fifo_Allocate(2);
    EXPECT_EQ(Fifo_Add(s, A), 1);
    EXPECT_EQ(Fifo_Add(s, B), 1);
    EXPECT_EQ(Fifo_Add(s, C), 1);
    EXPECT_EQ(Fifo_Step_Get_Now(s), C);  // Add makes the new head current
    EXPECT_EQ(Fifo_Pull(s), C);
    EXPECT_EQ(Fifo_Pull(s), B);
    EXPECT_EQ(Fifo_Pull(s), A);
    EXPECT_EQ(Fifo_Pull(s), nullptr);
    EXPECT_EQ(Fifo_GetCount(s), 0);
    Fifo_FreeEx(s);
}

TEST(Fifo, NullHandles)
{
    EXPECT_EQ(Printed([] { EXPECT_EQ(Fifo_Free(nullptr), -1); }), "Fifo_Free Input NULL\n");
    EXPECT_EQ(Printed([] { EXPECT_EQ(Fifo_FreeEx(nullptr), -1); }), "Fifo_Free Input NULL\n");
    EXPECT_EQ(Printed([] { EXPECT_EQ(Fifo_Pull(nullptr), nullptr); }), "Fifo_Pull Input NULL\n");
    std::string add = Printed([] { EXPECT_EQ(Fifo_Add(nullptr, A), -1); });
    EXPECT_TRUE(add.rfind("\n[      fifo line", 0) == 0) << add;
    EXPECT_NE(add.find("]  Fifo_Add()\tInput NULL\n"), std::string::npos) << add;
    std::string push = Printed([] { EXPECT_EQ(Fifo_Push(nullptr, A), -1); });
    EXPECT_NE(push.find(" Fifo_Push()\tInput NULL\n"), std::string::npos) << push;
    std::string after = Printed([] { EXPECT_EQ(Fifo_Insert_Afternow(nullptr, A), -1); });
    EXPECT_TRUE(after.rfind("fifo Fifo_Insert_Afternow() line ", 0) == 0) << after;
    EXPECT_EQ(after.substr(after.size() - 6), " erro\n");

    std::string quiet = Printed([] {
        EXPECT_EQ(Fifo_GetCount(nullptr), -1);
        EXPECT_EQ(Fifo_GetMaxCount(nullptr), -1);
        EXPECT_EQ(Fifo_Step_Get_First(nullptr), nullptr);
        EXPECT_EQ(Fifo_Step_Next(nullptr), nullptr);
        EXPECT_EQ(Fifo_Step_Del_Now(nullptr), nullptr);
        EXPECT_EQ(Fifo_Index_Get(nullptr, 0), nullptr);
        EXPECT_EQ(Fifo_Index_Del(nullptr, 0), nullptr);
        EXPECT_EQ(Fifo_Index_Insert(nullptr, 0, A), -1);
    });
    EXPECT_EQ(quiet, "");
}

TEST_F(AbcList, StepWalkAndDeleteNow)
{
    EXPECT_EQ(Fifo_Step_Get_First(list), A);
    EXPECT_EQ(Fifo_Step_Del_Now(list), A);
    EXPECT_EQ(Fifo_Step_Get_Now(list), B);  // the cursor moved on to the successor
    EXPECT_EQ(Fifo_Step_Next(list), C);
    EXPECT_EQ(Fifo_Step_Del_Now(list), C);   // the tail
    EXPECT_EQ(Fifo_Step_Get_Now(list), nullptr);
    EXPECT_EQ(rec()->tail->pdata, B);
    EXPECT_EQ(Fifo_Step_Del_Now(list), nullptr);
    EXPECT_EQ(Fifo_Step_Next(list), nullptr);
    EXPECT_EQ(Fifo_Push(list, X), 2);
    EXPECT_EQ(Contents(), (std::vector<void *>{B, X}));
}

TEST_F(AbcList, DeletingEverythingEmptiesTheList)
{
    Fifo_Step_Get_First(list);
    while (Fifo_Step_Get_Now(list) != nullptr)
        Fifo_Step_Del_Now(list);
    EXPECT_EQ(Fifo_GetCount(list), 0);
    EXPECT_EQ(rec()->head, nullptr);
    EXPECT_EQ(rec()->tail, nullptr);
    EXPECT_EQ(Fifo_Push(list, X), 1);
    EXPECT_EQ(Fifo_Step_Get_Now(list), X);  // a push into an empty list makes it current
}

TEST_F(AbcList, IndexGet)
{
    EXPECT_EQ(Fifo_Index_Get(list, 1), B);
    EXPECT_EQ(Fifo_Step_Get_Now(list), B);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Fifo_Index_Get(list, 3), nullptr); }), kOffsetMessage);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Fifo_Index_Get(list, -1), nullptr); }), kOffsetMessage);
    EXPECT_EQ(Fifo_Step_Get_Now(list), B);
    EXPECT_EQ(Fifo_Index_Get(list, 0), A);
    EXPECT_EQ(Fifo_Step_Get_Now(list), A);

    FIFOH empty = Fifo_Allocate(1);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Fifo_Index_Get(empty, 0), nullptr); }), "");
    Fifo_FreeEx(empty);
}

TEST_F(AbcList, IndexDel)
{
    Fifo_Index_Get(list, 2);
    EXPECT_EQ(Fifo_Index_Del(list, 3), nullptr);
    EXPECT_EQ(Fifo_Step_Get_Now(list), nullptr);  // cleared even though nothing was removed
    EXPECT_EQ(Fifo_GetCount(list), 3);
    EXPECT_EQ(Fifo_Index_Del(list, 2), C);
    EXPECT_EQ(rec()->tail->pdata, B);
    EXPECT_EQ(Fifo_Push(list, X), 3);
    EXPECT_EQ(Fifo_Index_Del(list, 0), A);
    EXPECT_EQ(Fifo_Step_Get_Now(list), B);  // index 0 pulls, the cursor lands on the new head
    EXPECT_EQ(Fifo_Index_Del(list, -4), B);
    EXPECT_EQ(Contents(), (std::vector<void *>{X}));
}

TEST_F(AbcList, IndexInsertResults)
{
    Fifo_Index_Get(list, 1);
    EXPECT_EQ(Fifo_Index_Insert(list, 0, X), 1);
    EXPECT_EQ(Fifo_Step_Get_Now(list), X);  // through Fifo_Add
    EXPECT_EQ(Fifo_Index_Del(list, 0), X);
    EXPECT_EQ(Fifo_Index_Insert(list, 1, X), 0);
    EXPECT_EQ(Contents(), (std::vector<void *>{A, X, B, C}));
    EXPECT_EQ(Fifo_Index_Del(list, 1), X);
    EXPECT_EQ(Fifo_Index_Insert(list, 3, X), 4);
    EXPECT_EQ(rec()->tail->pdata, X);
    EXPECT_EQ(Fifo_Index_Insert(list, 5, X), -1);
    EXPECT_EQ(Fifo_GetCount(list), 4);

    FIFOH empty = Fifo_Allocate(1);
    EXPECT_EQ(Fifo_Index_Insert(empty, 1, X), -1);
    EXPECT_EQ(Fifo_GetCount(empty), 0);
    Fifo_FreeEx(empty);
}

TEST_F(AbcList, InsertAfterNow)
{
    Fifo_Step_Get_First(list);
    EXPECT_EQ(Fifo_Insert_Afternow(list, X), 1);
    EXPECT_EQ(Fifo_Step_Get_Now(list), A);  // the cursor stays
    EXPECT_EQ(Contents(), (std::vector<void *>{A, X, B, C}));
    // At the end the cursor is cleared: the insertion appends.
    EXPECT_EQ(Fifo_Insert_Afternow(list, X), 1);
    EXPECT_EQ(rec()->tail->pdata, X);
    EXPECT_EQ(Fifo_GetCount(list), 5);
}

TEST(Fifo, FreeReleasesPayloadsUpToANullOne)
{
    FIFOH list = Fifo_Allocate(3);
    Fifo_Push(list, Mem_Malloc(8));
    Fifo_Push(list, Mem_Malloc(8));
    EXPECT_EQ(Fifo_Free(list), 1);  // the sanitizer build checks both were freed

    list = Fifo_Allocate(3);
    char *kept = static_cast<char *>(malloc(8));
    Fifo_Push(list, Mem_Malloc(8));
    Fifo_Push(list, nullptr);
    Fifo_Push(list, kept);
    EXPECT_EQ(Fifo_Free(list), 1);
    strcpy(kept, "alive");  // still the caller's
    free(kept);
}
