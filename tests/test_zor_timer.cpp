#include "zor_timer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "mem.h"
#include "test_support.h"

using testing_support::Printed;

namespace {

using Fired = std::vector<std::pair<int, int>>;
Fired fired;
NEW_PRTH current;

void on_timeout(int id, int event)
{
    fired.emplace_back(id, event);
    printf("callback %d %d\n", id, event);
}

// Event 1 restarts itself for 3 seconds and stops events 2 to 5 of its id,
// due in the same second; event 6 moves event 7 to a later second.
void busy_callback(int id, int event)
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

bool Matches(const std::string &text, const char *pattern)
{
    return std::regex_match(text, std::regex(pattern));
}

class ZorTimerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        fired.clear();
        current = h;
    }
    // No call destroys a service: take it apart through its record.
    void TearDown() override
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
        for (void *p = Fifo_Step_Get_First(list); p != nullptr; p = Fifo_Step_Next(list)) {
            if (static_cast<pTIMER_ELEMENT>(p)->event == event && static_cast<pTIMER_ELEMENT>(p)->module == module)
                return static_cast<pTIMER_ELEMENT>(p);
        }
        return nullptr;
    }
    // Starts a timer re-armed to expire in the given second, whatever
    // second the start fell in.
    void StartFor(long long second, int id, int event, int module = 0, Zor_New_Timeout fn = on_timeout)
    {
        Zor_New_Timer_Start(h, fn, id, event, 0, module);
        Zor_New_Timer_Reset(h, id, event, static_cast<int>(second - Find(id, event, module)->time.tv_sec), module);
    }
    // Pretends the previous run read the clock usec earlier, then runs.
    std::string RunAfter(long long usec)
    {
        long long old = rec()->oldtime.tv_sec * 1000000LL + rec()->oldtime.tv_usec - usec;
        rec()->oldtime.tv_sec = static_cast<time_t>(old / 1000000);
        rec()->oldtime.tv_usec = static_cast<suseconds_t>(old % 1000000);
        return Printed([&] { Zor_New_Timer_Run(h); });
    }

    NEW_PRTH h = Zor_New_Timer_Malloc(9, 63);
    long long start = rec()->nowtime.tv_sec;  // the first second to fire
};

} // namespace

TEST_F(ZorTimerTest, FiresInTheRunConsumingItsExpirySecondAfterTwoLines)
{
    Zor_New_Timer_Start(h, on_timeout, 3, 1, 2, 0);
    pTIMER_ELEMENT timer = Find(3, 1);
    long long expiry = atoll(timer->timer_str);
    EXPECT_EQ(expiry, timer->time.tv_sec + 2);
    EXPECT_EQ(timer->hash, Zor_Hash_Fifo_Algorithm(63, timer->timer_str, -1));

    EXPECT_EQ(RunAfter((expiry - start) * 1000000 + 900000), "");
    EXPECT_EQ(RunAfter(100000), "Time Out : id = 3 event = 1 module = 0 jiffer = 2\n"
                                "Time Out : Callback Func : id = 3 event = 1 module = 0 jiffer = 2\n"
                                "callback 3 1\n");
    EXPECT_EQ(Running(3), 0);
    EXPECT_EQ(RunAfter(5000000), "");
}

TEST_F(ZorTimerTest, EverySecondFiresOnceInOrderWhateverTheReadings)
{
    // Readings 1.90 s, 0.07 s and 0.08 s apart: the third run consumes the
    // second after the first run's, not the one of its own reading.
    for (int i = 5; i >= 0; i--)
        StartFor(start + i, i, 0);
    RunAfter(1900000);
    RunAfter(70000);
    EXPECT_EQ(fired, (Fired{{0, 0}}));
    RunAfter(80000);
    EXPECT_EQ(fired, (Fired{{0, 0}, {1, 0}}));
    EXPECT_GE(rec()->totaldelaytime, 50000);

    // After 3.5 s of silence: three seconds, oldest first, 0.5 s kept.
    RunAfter(3450000);
    EXPECT_EQ(fired, (Fired{{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}}));
    EXPECT_GE(rec()->totaldelaytime, 500000);
    EXPECT_LT(rec()->totaldelaytime, 600000);
    RunAfter(500000);
    EXPECT_EQ(fired.back(), std::make_pair(5, 0));
}

TEST_F(ZorTimerTest, ClockStepsBackAndLongCatchUps)
{
    StartFor(start, 1, 0);
    RunAfter(-3000000);  // nothing fires until the step is made up
    RunAfter(3500000);
    EXPECT_TRUE(fired.empty());
    RunAfter(600000);
    EXPECT_EQ(fired, (Fired{{1, 0}}));

    StartFor(start + 100000, 2, 0);
    StartFor(start + 70, 3, 0);
    RunAfter(200000LL * 1000000);  // days in one run: the due seconds, in order
    EXPECT_EQ(fired, (Fired{{1, 0}, {3, 0}, {2, 0}}));
}

TEST_F(ZorTimerTest, DuplicateIsRefusedAndModulesKeepTimersApart)
{
    Zor_New_Timer_Start(h, on_timeout, 2, 7, 5, 0);
    std::string out = Printed([&] { Zor_New_Timer_Start(h, on_timeout, 2, 7, 9, 0); });
    EXPECT_TRUE(Matches(out, "error \\[ zor_timer\\.cpp:[0-9]+ in Zor_New_Timer_Start : \\]\n"
                             "Zor_New_Timer_Start : the event is exist \\. id = 2 event = 7\n"))
        << out;
    EXPECT_EQ(Find(2, 7)->jiffer, 5);

    StartFor(start + 1, 2, 7, 1);
    StartFor(start + 1, 2, 8, 1);
    StartFor(start + 1, 2, 9, 2);
    EXPECT_EQ(Zor_New_Judge_Element_Wether_Exist(rec()->pList[2].pfifo, 2, 7, 1), 1);
    Zor_New_Timer_Stop_All(h, 2, 1);
    Zor_New_Timer_Stop(h, 2, 7, 0);
    EXPECT_EQ(Running(2), 1);
    RunAfter(2000000);  // the stopped ones left the hash table too
    EXPECT_EQ(fired, (Fired{{2, 9}}));
}

TEST_F(ZorTimerTest, ResetCountsFromTheFirstStart)
{
    Zor_New_Timer_Start(h, on_timeout, 4, 1, 2, 0);
    long long first = Find(4, 1)->time.tv_sec;
    Zor_New_Timer_Reset(h, 4, 1, 10, 0);
    Zor_New_Timer_Reset(h, 4, 2, 10, 0);  // not running: starts nothing
    EXPECT_EQ(Running(4), 1);
    RunAfter((first + 10 - start) * 1000000);
    EXPECT_TRUE(fired.empty());
    RunAfter(1000000);
    EXPECT_EQ(fired, (Fired{{4, 1}}));
}

TEST_F(ZorTimerTest, BadArgumentsAndTheIdRange)
{
    std::string out = Printed([&] {
        for (int id : {-1, 10}) {
            Zor_New_Timer_Start(h, on_timeout, id, 1, 0, 0);
            Zor_New_Timer_Reset(h, id, 1, 1, 0);
            Zor_New_Timer_Stop(h, id, 1, 0);
            Zor_New_Timer_Stop_All(h, id, 0);
        }
        Zor_New_Timer_Stop(nullptr, 1, 1, 0);
        Zor_New_Timer_Reset(nullptr, 1, 1, 1, 0);
        Zor_New_Timer_Run(nullptr);
    });
    EXPECT_EQ(out, "");
    EXPECT_TRUE(Matches(Printed([] { Zor_New_Timer_Start(nullptr, on_timeout, 1, 1, 1, 0); }),
                        "error \\[ zor_timer\\.cpp:[0-9]+ in Zor_New_Timer_Start: \\]\n"
                        "Zor_New_Timer_Start : Timer Handle is null\n"));
    EXPECT_TRUE(Matches(Printed([] { EXPECT_EQ(Zor_New_Timer_Malloc(-1, 15), nullptr); }),
                        "error \\[ zor_timer\\.cpp:[0-9]+ in Zor_New_Timer_Malloc: \\]\n"
                        "Zor_New_Timer_Malloc : Create Zor New Timer Failed\n"));

    // A missing id list: the first start only prepares it.
    Fifo_Free(rec()->pList[6].pfifo);
    rec()->pList[6].pfifo = nullptr;
    Zor_New_Timer_Start(h, on_timeout, 6, 1, 0, 0);
    EXPECT_EQ(Running(6), 0);
    StartFor(start, 6, 1);
    StartFor(start, 9, 1);  // id max is usable
    StartFor(start, 0, 1);
    RunAfter(1000000);
    EXPECT_EQ(fired, (Fired{{6, 1}, {9, 1}, {0, 1}}));
}

TEST_F(ZorTimerTest, CallbacksMayStartStopAndReset)
{
    for (int event = 1; event <= 7; event++)
        StartFor(start, 5, event, 0, busy_callback);
    for (int event = 10; event < 40; event++)
        StartFor(start + 1, 2, event);
    for (int event = 39; event > 10; event--)  // newest first: the far end of the bucket
        Zor_New_Timer_Stop(h, 2, event, 0);
    std::string out = RunAfter(2000000);
    EXPECT_EQ(fired, (Fired{{5, 1}, {5, 6}, {2, 10}}));
    EXPECT_TRUE(Matches(out, "Time Out : id = 5 event = 1 module = 0 jiffer = -?[01]\n"
                             "Time Out : Callback Func : id = 5 event = 1 module = 0 jiffer = -?[01]\n"
                             "Time Out : id = 5 event = 6 (.|\n)*callback 2 10\n"))
        << out;
    EXPECT_EQ(Find(5, 1)->jiffer, 3);
    EXPECT_EQ(Find(5, 7)->jiffer, 100);
    auto table = static_cast<zor_hash_fifo_t *>(rec()->pHash);
    int cells = 0;
    for (unsigned i = 0; i <= table->max; i++)
        cells += Fifo_GetCount(table->List[i].Lfifo);
    EXPECT_LT(cells, 10);  // the stopped cells do not pile up
}
