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
    EXPECT_EQ((std::vector<int>{Fifo_Push(q, A), Fifo_Push(q, B), Fifo_Push(q, C), Fifo_GetMaxCount(q), Fifo_Add(s, A),
                                Fifo_Add(s, B), Fifo_Add(s, C)}),
              (std::vector<int>{1, 2, 3, 2, 1, 1, 1}));
    EXPECT_EQ((L{Fifo_Step_Get_Now(s), Fifo_Pull(q), Fifo_Pull(q), Fifo_Pull(q), Fifo_Pull(s), Fifo_Pull(s),
                 Fifo_Pull(s), Fifo_Pull(s)}), (L{C, A, B, C, C, B, A, nullptr}));
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Fifo_Index_Get(s, 0), nullptr); }), ""); // empty: no complaint
    EXPECT_EQ(Fifo_Index_Insert(s, 1, X), -1);
    EXPECT_EQ(Fifo_FreeEx(q) + Fifo_FreeEx(s), 2);
}

TEST(Fifo, NullHandles)
{
    std::string printed = Printed([] {
        EXPECT_EQ((std::vector<int>{Fifo_Free(nullptr), Fifo_FreeEx(nullptr), Fifo_Add(nullptr, A),
                                    Fifo_Push(nullptr, A), Fifo_Insert_Afternow(nullptr, A), Fifo_GetCount(nullptr),
                                    Fifo_GetMaxCount(nullptr), Fifo_Index_Insert(nullptr, 0, A)}),
                  std::vector<int>(8, -1));
        EXPECT_EQ((L{Fifo_Pull(nullptr), Fifo_Step_Get_First(nullptr), Fifo_Step_Next(nullptr),
                     Fifo_Step_Del_Now(nullptr), Fifo_Index_Get(nullptr, 0), Fifo_Index_Del(nullptr, 0)}),
                  L(6, nullptr));
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
    EXPECT_EQ((L{Fifo_Step_Get_First(list), Fifo_Step_Del_Now(list), Fifo_Step_Get_Now(list), Fifo_Step_Next(list),
                 Fifo_Step_Del_Now(list), Fifo_Step_Get_Now(list), Fifo_Step_Del_Now(list)}),
              (L{A, A, B, C, C, nullptr, nullptr}));
    EXPECT_EQ(Fifo_Push(list, X), 2);
    EXPECT_EQ(Contents(list), (L{B, X}));

    for (Fifo_Step_Get_First(list); Fifo_Step_Get_Now(list) != nullptr;)
        Fifo_Step_Del_Now(list);
    EXPECT_TRUE(Fifo_GetCount(list) == 0 && static_cast<pFIFO>(list)->head == nullptr &&
                static_cast<pFIFO>(list)->tail == nullptr);
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
                  "\xBC\xEC\xB2\xE9\xB6\xD3\xC1\xD0\xC6\xAB\xD2\xC6\xC1\xBF\n");
    // A delete that misses still clears the cursor; index 0 pulls, the cursor lands on the new head.
    EXPECT_EQ((L{Fifo_Step_Get_Now(list), Fifo_Index_Del(list, 3), Fifo_Step_Get_Now(list), Fifo_Index_Del(list, 2),
                 Fifo_Index_Del(list, 0), Fifo_Step_Get_Now(list)}), (L{B, nullptr, nullptr, C, A, B}));

    EXPECT_EQ(Fifo_Index_Insert(list, 0, X), 1); // X B, through Fifo_Add
    EXPECT_EQ(Fifo_Step_Get_Now(list), X);
    EXPECT_EQ((std::vector<int>{Fifo_Index_Insert(list, 1, A), Fifo_Index_Insert(list, 3, C),
                                Fifo_Index_Insert(list, 5, X)}),
              (std::vector<int>{0, 4, -1})); // X A B C: the middle, then through Fifo_Push, then a miss
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
