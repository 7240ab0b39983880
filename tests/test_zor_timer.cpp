#include "zor_timer.h"

#include <gtest/gtest.h>

#include <regex>

#include "mem.h"
#include "test_support.h"

using testing_support::Printed;
using Fired = std::vector<std::pair<int, int>>;
static Fired fired;
static NEW_PRTH current;

static void on_timeout(int id, int event) { fired.emplace_back(id, event), printf("callback %d %d\n", id, event); }

// Event 1 restarts itself for 3 s and stops 2 to 5, due alongside; 6 moves 7 later.
static void busy_callback(int id, int event)
{
    fired.emplace_back(id, event);
    if (event == 1) {
        Zor_New_Timer_Start(current, busy_callback, id, 1, 3, 0);
        for (int other = 2; other <= 5; other++)
            Zor_New_Timer_Stop(current, id, other, 0);
    }
    if (event == 6)
        Zor_New_Timer_Reset(current, id, 7, 100, 0);
}

static bool Matches(const std::string &text, const char *re) { return std::regex_match(text, std::regex(re)); }

class ZorTimerTest : public ::testing::Test {
protected:
    void SetUp() override { fired.clear(), current = h; }
    void TearDown() override  // no call destroys a service: take it apart
    {
        for (int id = 0; id <= rec()->max; id++)
            Fifo_Free(rec()->pList[id].pfifo);
        Zor_Hash_Fifo_Free(static_cast<ZOR_HASH_FIFO *>(rec()->pHash));
        Mem_Free(rec()->pList);
        Mem_Free(h);
    }
    pTIMER_LIST rec() { return static_cast<pTIMER_LIST>(h); }
    int Running(int id) { return Fifo_GetCount(rec()->pList[id].pfifo); }
    pTIMER_ELEMENT Find(int id, int event, int module = 0)
    {
        FIFOH list = rec()->pList[id].pfifo;
        auto e = static_cast<pTIMER_ELEMENT>(Fifo_Step_Get_First(list));
        while (e != nullptr && (e->event != event || e->module != module))
            e = static_cast<pTIMER_ELEMENT>(Fifo_Step_Next(list));
        return e;
    }
    void StartDue(long long second, int id, int event, int module = 0, Zor_New_Timeout fn = on_timeout)
    {
        Zor_New_Timer_Start(h, fn, id, event, 0, module);
        Zor_New_Timer_Reset(h, id, event, static_cast<int>(second - Find(id, event, module)->time.tv_sec), module);
    }
    std::string RunAfter(long long usec)  // as if the previous run read the clock usec earlier
    {
        long long old = rec()->oldtime.tv_sec * 1000000LL + rec()->oldtime.tv_usec - usec;
        rec()->oldtime = {static_cast<time_t>(old / 1000000), static_cast<suseconds_t>(old % 1000000)};
        return Printed([&] { Zor_New_Timer_Run(h); });
    }

    NEW_PRTH h = Zor_New_Timer_Malloc(9, 63);
    long long start = rec()->nowtime.tv_sec;  // the first second to fire
};

TEST_F(ZorTimerTest, FiresAfterTwoLinesAndResetCountsFromTheFirstStart)
{
    Zor_New_Timer_Start(h, on_timeout, 3, 1, 2, 0);
    Zor_New_Timer_Start(h, on_timeout, 4, 1, 2, 0);
    Zor_New_Timer_Reset(h, 4, 1, 10, 0);
    Zor_New_Timer_Reset(h, 4, 2, 10, 0);  // not running: starts nothing
    long long expiry = Find(3, 1)->time.tv_sec + 2 - start, reset = Find(4, 1)->time.tv_sec + 10 - start;
    EXPECT_EQ(RunAfter(expiry * 1000000 + 900000), "");
    EXPECT_EQ(RunAfter(100000), "Time Out : id = 3 event = 1 module = 0 jiffer = 2\n"
                                "Time Out : Callback Func : id = 3 event = 1 module = 0 jiffer = 2\n"
                                "callback 3 1\n");
    EXPECT_EQ(Running(3), 0);
    EXPECT_EQ(Running(4), 1);
    RunAfter((reset - expiry - 1) * 1000000);
    EXPECT_EQ(fired.size(), 1u);
    RunAfter(1000000);
    EXPECT_EQ(fired.back(), std::make_pair(4, 1));
}

TEST_F(ZorTimerTest, EverySecondFiresOnceInOrderWhateverTheReadings)
{
    // Runs 1.90 s, 0.07 s, 0.08 s apart: the third consumes the second after the first's.
    for (int i = 5; i >= 0; i--)
        StartDue(start + i, i, 0);
    RunAfter(1900000);
    RunAfter(70000);
    EXPECT_EQ(fired.size(), 1u);
    RunAfter(80000);
    EXPECT_EQ(fired, (Fired{{0, 0}, {1, 0}}));
    RunAfter(3450000);  // after 3.5 s of silence: three seconds, oldest first, 0.5 s kept
    EXPECT_EQ(fired, (Fired{{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}}));
    EXPECT_EQ(rec()->totaldelaytime / 100000, 5);
    RunAfter(500000);
    EXPECT_EQ(fired.back(), std::make_pair(5, 0));
    StartDue(start + 100000, 7, 0);
    StartDue(start + 70, 8, 0);
    RunAfter(200000LL * 1000000);  // days in one run: the due seconds, in order
    EXPECT_EQ(fired, (Fired{{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}, {5, 0}, {8, 0}, {7, 0}}));
}

TEST_F(ZorTimerTest, DuplicateIsRefusedAndModulesKeepTimersApart)
{
    Zor_New_Timer_Start(h, on_timeout, 2, 7, 5, 0);
    std::string out = Printed([&] { Zor_New_Timer_Start(h, on_timeout, 2, 7, 9, 0); });
    EXPECT_TRUE(Matches(out, "error \\[ zor_timer\\.cpp:[0-9]+ in Zor_New_Timer_Start : \\]\n"
                             "Zor_New_Timer_Start : the event is exist \\. id = 2 event = 7\n")) << out;
    EXPECT_EQ(Find(2, 7)->jiffer, 5);
    for (auto [event, module] : {std::pair{7, 1}, {8, 1}, {9, 2}})
        StartDue(start + 1, 2, event, module);
    Zor_New_Timer_Stop_All(h, 2, 1);
    Zor_New_Timer_Stop(h, 2, 7, 0);
    RunAfter(2000000);  // the stopped ones left the hash table too
    EXPECT_EQ(fired, (Fired{{2, 9}}));
}

TEST_F(ZorTimerTest, BadArgumentsAndTheIdRange)
{
    EXPECT_EQ("", Printed([&] {  // ids outside 0..max: quietly nothing
        for (int id : {-1, 10}) {
            Zor_New_Timer_Start(h, on_timeout, id, 1, 0, 0);
            Zor_New_Timer_Reset(h, id, 1, 1, 0);
            Zor_New_Timer_Stop(h, id, 1, 0);
            Zor_New_Timer_Stop_All(h, id, 0);
        }
    }));
    EXPECT_TRUE(Matches(Printed([] { Zor_New_Timer_Start(nullptr, on_timeout, 1, 1, 1, 0); }),
                        "error \\[ zor_timer\\.cpp:[0-9]+ in Zor_New_Timer_Start: \\]\n"
                        "Zor_New_Timer_Start : Timer Handle is null\n"));
    EXPECT_TRUE(Matches(Printed([] { EXPECT_EQ(Zor_New_Timer_Malloc(-1, 15), nullptr); }),
                        "error \\[ zor_timer\\.cpp:[0-9]+ in Zor_New_Timer_Malloc: \\]\n"
                        "Zor_New_Timer_Malloc : Create Zor New Timer Failed\n"));
    Fifo_Free(rec()->pList[6].pfifo);  // a missing id list: the first start only prepares it
    rec()->pList[6].pfifo = nullptr;
    Zor_New_Timer_Start(h, on_timeout, 6, 1, 0, 0);
    EXPECT_EQ(Running(6), 0);
    for (int id : {6, 9, 0})
        StartDue(start, id, 1);
    RunAfter(1000000);
    EXPECT_EQ(fired, (Fired{{6, 1}, {9, 1}, {0, 1}}));
}

TEST_F(ZorTimerTest, CallbacksMayStartStopAndReset)
{
    for (int event = 1; event <= 7; event++)
        StartDue(start, 5, event, 0, busy_callback);
    RunAfter(2000000);
    EXPECT_EQ(fired, (Fired{{5, 1}, {5, 6}}));
    EXPECT_EQ(Find(5, 1)->jiffer, 3);
    EXPECT_EQ(Find(5, 7)->jiffer, 100);
}
