#include "fifo.h"

#include <gtest/gtest.h>

#include <cstring>
#include <regex>

#include "mem.h"
#include "test_support.h"

using testing_support::Printed;

namespace {

char A[] = "a", B[] = "b", C[] = "c", X[] = "x";
using L = std::vector<void *>;

// A list holding a, b, c pushed in that order.
FIFOH Abc()
{
    FIFOH list = Fifo_Allocate(10);
    return Fifo_Push(list, A), Fifo_Push(list, B), Fifo_Push(list, C), list;
}

// The payloads from head to tail (leaves no cell current).
L Contents(FIFOH list)
{
    L out;
    for (void *p = Fifo_Step_Get_First(list); p != nullptr; p = Fifo_Step_Next(list))
        out.push_back(p);
    return out;
}

void *TailOf(FIFOH list) { return static_cast<pFIFO>(list)->tail->pdata; }

} // namespace

TEST(Fifo, QueueAndStackOrderAndResults)
{
    FIFOH q = Fifo_Allocate(2), s = Fifo_Allocate(2);
    // The capacity is never enforced; Add makes the new head current.
    EXPECT_EQ(Fifo_Push(q, A), 1);
    EXPECT_EQ(Fifo_Push(q, B), 2);
    EXPECT_EQ(Fifo_Push(q, C), 3);
    EXPECT_EQ(Fifo_GetMaxCount(q), 2);
    EXPECT_EQ(Fifo_Add(s, A), 1);
    EXPECT_EQ(Fifo_Add(s, B), 1);
    EXPECT_EQ(Fifo_Add(s, C), 1);
    EXPECT_EQ(Fifo_Step_Get_Now(s), C);
    for (char *p : {A, B, C})  // first in, first out
        EXPECT_EQ(Fifo_Pull(q), p) << p;
    for (char *p : {C, B, A})  // added at the head: last in, first out
        EXPECT_EQ(Fifo_Pull(s), p) << p;
    EXPECT_EQ(Fifo_Pull(s), nullptr);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Fifo_Index_Get(s, 0), nullptr); }), ""); // empty: no complaint
    EXPECT_EQ(Fifo_Index_Insert(s, 1, X), -1);
    EXPECT_EQ(Fifo_FreeEx(q), 1);
    EXPECT_EQ(Fifo_FreeEx(s), 1);
}

TEST(Fifo, NullHandles)
{
    std::string printed = Printed([] {
        EXPECT_EQ(Fifo_Free(nullptr), -1);
        EXPECT_EQ(Fifo_FreeEx(nullptr), -1);
        EXPECT_EQ(Fifo_Add(nullptr, A), -1);
        EXPECT_EQ(Fifo_Push(nullptr, A), -1);
        EXPECT_EQ(Fifo_Insert_Afternow(nullptr, A), -1);
        EXPECT_EQ(Fifo_GetCount(nullptr), -1);
        EXPECT_EQ(Fifo_GetMaxCount(nullptr), -1);
        EXPECT_EQ(Fifo_Index_Insert(nullptr, 0, A), -1);
        EXPECT_EQ(Fifo_Pull(nullptr), nullptr);
        EXPECT_EQ(Fifo_Step_Get_First(nullptr), nullptr);
        EXPECT_EQ(Fifo_Step_Next(nullptr), nullptr);
        EXPECT_EQ(Fifo_Step_Del_Now(nullptr), nullptr);
        EXPECT_EQ(Fifo_Index_Get(nullptr, 0), nullptr);
        EXPECT_EQ(Fifo_Index_Del(nullptr, 0), nullptr);
    });
    EXPECT_TRUE(std::regex_match(printed, std::regex("Fifo_Free Input NULL\nFifo_Free Input NULL\n"
                                                     "\n\\[      fifo line[ 0-9]{4}\\]  Fifo_Add\\(\\)\tInput NULL\n"
                                                     "\n\\[      fifo line[ 0-9]{4}\\] Fifo_Push\\(\\)\tInput NULL\n"
                                                     "fifo Fifo_Insert_Afternow\\(\\) line [0-9]+ erro\n"
                                                     "Fifo_Pull Input NULL\n"))) << printed;
}

TEST(Fifo, StepWalkAndDeleteNow)
{
    FIFOH list = Abc();
    // Deleting moves the cursor on to the successor; deleting the tail clears it.
    EXPECT_EQ(Fifo_Step_Get_First(list), A);
    EXPECT_EQ(Fifo_Step_Del_Now(list), A);
    EXPECT_EQ(Fifo_Step_Get_Now(list), B);
    EXPECT_EQ(Fifo_Step_Next(list), C);
    EXPECT_EQ(Fifo_Step_Del_Now(list), C);
    EXPECT_EQ(Fifo_Step_Get_Now(list), nullptr);
    EXPECT_EQ(Fifo_Step_Del_Now(list), nullptr);
    EXPECT_EQ(Fifo_Push(list, X), 2);
    EXPECT_EQ(Contents(list), (L{B, X}));

    for (Fifo_Step_Get_First(list); Fifo_Step_Get_Now(list) != nullptr;)
        Fifo_Step_Del_Now(list);
    EXPECT_EQ(Fifo_GetCount(list), 0);
    EXPECT_EQ(static_cast<pFIFO>(list)->head, nullptr);
    EXPECT_EQ(static_cast<pFIFO>(list)->tail, nullptr);
    EXPECT_EQ(Fifo_Push(list, X), 1);
    EXPECT_EQ(Fifo_Step_Get_Now(list), X); // a push into an empty list makes it current
    EXPECT_EQ(Fifo_FreeEx(list), 1);
}

TEST(Fifo, Indexing)
{
    FIFOH list = Abc();
    EXPECT_EQ(Fifo_Index_Get(list, 1), B);
    for (int bad : {3, -1}) // "offset out of range"; the cursor stays
        EXPECT_EQ(Printed([&] { EXPECT_EQ(Fifo_Index_Get(list, bad), nullptr); }),
                  "\xBC\xEC\xB2\xE9\xB6\xD3\xC1\xD0\xC6\xAB\xD2\xC6\xC1\xBF\n")
            << bad;
    // A delete that misses still clears the cursor; index 0 pulls, the cursor lands on the new head.
    EXPECT_EQ(Fifo_Step_Get_Now(list), B);
    EXPECT_EQ(Fifo_Index_Del(list, 3), nullptr);
    EXPECT_EQ(Fifo_Step_Get_Now(list), nullptr);
    EXPECT_EQ(Fifo_Index_Del(list, 2), C);
    EXPECT_EQ(Fifo_Index_Del(list, 0), A);
    EXPECT_EQ(Fifo_Step_Get_Now(list), B);

    EXPECT_EQ(Fifo_Index_Insert(list, 0, X), 1); // X B, through Fifo_Add
    EXPECT_EQ(Fifo_Step_Get_Now(list), X);
    EXPECT_EQ(Fifo_Index_Insert(list, 1, A), 0);  // X A B: the middle
    EXPECT_EQ(Fifo_Index_Insert(list, 3, C), 4);  // X A B C, through Fifo_Push
    EXPECT_EQ(Fifo_Index_Insert(list, 5, X), -1);
    EXPECT_EQ(Fifo_Index_Del(list, -1), X);
    EXPECT_EQ(Contents(list), (L{A, B, C}));

    Fifo_Step_Get_First(list);
    EXPECT_EQ(Fifo_Insert_Afternow(list, X), 1);
    EXPECT_EQ(Fifo_Step_Get_Now(list), A); // the cursor stays
    EXPECT_EQ(Contents(list), (L{A, X, B, C}));
    EXPECT_EQ(Fifo_Insert_Afternow(list, X), 1); // no cell current: appends
    EXPECT_EQ(TailOf(list), X);
    EXPECT_EQ(Fifo_GetCount(list), 5);
    EXPECT_EQ(Fifo_FreeEx(list), 1);
}

TEST(Fifo, FreeReleasesPayloadsUpToANullOne)
{
    FIFOH list = Fifo_Allocate(3);
    Fifo_Push(list, Mem_Malloc(8));
    Fifo_Push(list, Mem_Malloc(8));
    EXPECT_EQ(Fifo_Free(list), 1); // the sanitizer build checks both were freed

    list = Fifo_Allocate(3);
    char *kept = static_cast<char *>(malloc(8));
    for (void *p : L{Mem_Malloc(8), nullptr, kept})
        Fifo_Push(list, p);
    EXPECT_EQ(Fifo_Free(list), 1); // stops at the NULL payload
    strcpy(kept, "alive");         // still the caller's
    free(kept);
}
