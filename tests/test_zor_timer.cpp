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

// Event 1 of id 5 restarts itself for 3 seconds and stops (5, 2, 0), which
// expires in the same second; event 3 resets (5, 4, 0) to expire later.
void busy_callback(int id, int event)
{
    fired.emplace_back(id, event);
    if (event == 1) {
        Zor_New_Timer_Start(current, busy_callback, 5, 1, 3, 0);
        Zor_New_Timer_Stop(current, 5, 2, 0);
    }
    if (event == 3)
        Zor_New_Timer_Reset(current, 5, 4, 100, 0);
}

// Event 0 of id 1 stops events 1 to 4, which expire in the same second.
void stopping_callback(int id, int event)
{
    fired.emplace_back(id, event);
    for (int other = 1; event == 0 && other <= 4; other++)
        Zor_New_Timer_Stop(current, 1, other, 0);
}

class ZorTimerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        fired.clear();
        current = h;
        start = rec()->nowtime.tv_sec;
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
    pTIMER_ELEMENT Find(int id, int event, int module)
    {
        for (void *p = Fifo_Step_Get_First(rec()->pList[id].pfifo); p != nullptr; p = Fifo_Step_Next(rec()->pList[id].pfifo)) {
            auto t = static_cast<pTIMER_ELEMENT>(p);
            if (t->event == event && t->module == module)
                return t;
        }
        return nullptr;
    }
    long long Expiry(int id, int event, int module) { return atoll(Find(id, event, module)->timer_str); }
    // Starts a timer and re-arms it (from its start second) to expire in
    // the given second, whatever second the start fell in.
    void StartExpiringIn(long long second, int id, int event, int module = 0, Zor_New_Timeout fn = on_timeout)
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
    long long start = 0;  // the service's first second: the first to fire
};

std::string TimeOutLines(int id, int event, int module, int jiffer)
{
    std::string tail = "id = " + std::to_string(id) + " event = " + std::to_string(event) +
                       " module = " + std::to_string(module) + " jiffer = " + std::to_string(jiffer) + "\n";
    return "Time Out : " + tail + "Time Out : Callback Func : " + tail;
}

} // namespace

TEST_F(ZorTimerTest, FiresInTheRunConsumingItsExpirySecondAfterTwoLines)
{
    Zor_New_Timer_Start(h, on_timeout, 3, 1, 2, 0);
    pTIMER_ELEMENT timer = Find(3, 1, 0);
    EXPECT_EQ(Expiry(3, 1, 0), timer->time.tv_sec + 2);
    EXPECT_EQ(timer->hash, Zor_Hash_Fifo_Algorithm(63, timer->timer_str, -1));
    long long due = Expiry(3, 1, 0) - start;  // seconds consumed before its second

    EXPECT_EQ(RunAfter(due * 1000000 + 900000), "");
    EXPECT_TRUE(fired.empty());
    EXPECT_EQ(RunAfter(100000), TimeOutLines(3, 1, 0, 2) + "callback 3 1\n");
    EXPECT_EQ(Running(3), 0);
    EXPECT_EQ(RunAfter(5000000), "");
}

TEST_F(ZorTimerTest, EverySecondFiresOnceInOrderWhateverTheReadings)
{
    // Readings 1.90 s, 0.07 s and 0.08 s apart: the third run consumes the
    // second that follows the first run's, not the one of its own reading.
    for (int i = 3; i >= 0; i--)
        StartExpiringIn(start + i, i, 0);
    RunAfter(1900000);
    EXPECT_EQ(fired, (Fired{{0, 0}}));
    RunAfter(70000);
    EXPECT_EQ(fired.size(), 1u);
    RunAfter(80000);
    EXPECT_EQ(fired, (Fired{{0, 0}, {1, 0}}));
    EXPECT_GE(rec()->totaldelaytime, 50000);
    EXPECT_LT(rec()->totaldelaytime, 150000);

    // After 3.5 s of silence: three seconds, oldest first, 0.5 s kept.
    StartExpiringIn(start + 4, 4, 0);
    StartExpiringIn(start + 5, 5, 0);
    RunAfter(3450000);
    EXPECT_EQ(fired, (Fired{{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}}));
    EXPECT_GE(rec()->totaldelaytime, 500000);
    EXPECT_LT(rec()->totaldelaytime, 600000);
    RunAfter(500000);
    EXPECT_EQ(fired.back(), std::make_pair(5, 0));
}

TEST_F(ZorTimerTest, LongCatchUpVisitsOnlyDueSeconds)
{
    StartExpiringIn(start + 100000, 1, 0);
    StartExpiringIn(start + 70, 2, 0);
    RunAfter(200000LL * 1000000);  // sixty-odd hours; due seconds in order
    EXPECT_EQ(fired, (Fired{{2, 0}, {1, 0}}));
    StartExpiringIn(start + 200000, 3, 0);  // the next second still to fire
    RunAfter(1000000);
    EXPECT_EQ(fired.size(), 3u);
}

TEST_F(ZorTimerTest, ClockStepBackFiresNothingUntilMadeUp)
{
    StartExpiringIn(start, 1, 0);
    RunAfter(-3000000);
    RunAfter(3500000);
    EXPECT_TRUE(fired.empty());
    RunAfter(600000);
    EXPECT_EQ(fired, (Fired{{1, 0}}));
}

TEST_F(ZorTimerTest, DuplicateIsRefusedAndModulesKeepTimersApart)
{
    Zor_New_Timer_Start(h, on_timeout, 2, 7, 5, 0);
    std::string out = Printed([&] { Zor_New_Timer_Start(h, on_timeout, 2, 7, 9, 0); });
    EXPECT_TRUE(std::regex_match(out, std::regex("error \\[ zor_timer\\.cpp:[0-9]+ in Zor_New_Timer_Start : \\]\n"
                                                 "Zor_New_Timer_Start : the event is exist \\. id = 2 event = 7\n")))
        << out;
    EXPECT_EQ(Find(2, 7, 0)->jiffer, 5);
    EXPECT_EQ(Zor_New_Judge_Element_Wether_Exist(rec()->pList[2].pfifo, 2, 7, 0), 1);
    EXPECT_EQ(Zor_New_Judge_Element_Wether_Exist(rec()->pList[2].pfifo, 2, 7, 1), 0);

    StartExpiringIn(start + 1, 2, 7, 1);
    StartExpiringIn(start + 1, 2, 8, 1);
    StartExpiringIn(start + 1, 2, 9, 2);
    EXPECT_EQ(Running(2), 4);
    Zor_New_Timer_Stop_All(h, 2, 1);
    Zor_New_Timer_Stop(h, 2, 7, 0);
    EXPECT_EQ(Running(2), 1);
    RunAfter(2000000);  // the stopped ones left the hash table too
    EXPECT_EQ(fired, (Fired{{2, 9}}));
}

TEST_F(ZorTimerTest, ResetCountsFromTheFirstStart)
{
    Zor_New_Timer_Start(h, on_timeout, 4, 1, 2, 0);
    long long first = Find(4, 1, 0)->time.tv_sec;
    Zor_New_Timer_Reset(h, 4, 1, 10, 0);
    Zor_New_Timer_Reset(h, 4, 2, 10, 0);  // not running: starts nothing
    EXPECT_EQ(Expiry(4, 1, 0), first + 10);
    EXPECT_EQ(Find(4, 1, 0)->jiffer, 10);
    EXPECT_EQ(Running(4), 1);
    RunAfter((first + 10 - start) * 1000000);
    EXPECT_TRUE(fired.empty());
    RunAfter(1000000);
    EXPECT_EQ(fired, (Fired{{4, 1}}));
}

TEST_F(ZorTimerTest, IdsRunFromZeroToMaxInclusive)
{
    std::string out = Printed([&] {
        for (int id : {-1, 10}) {
            Zor_New_Timer_Start(h, on_timeout, id, 1, 0, 0);
            Zor_New_Timer_Reset(h, id, 1, 1, 0);
            Zor_New_Timer_Stop(h, id, 1, 0);
            Zor_New_Timer_Stop_All(h, id, 0);
        }
        Zor_New_Timer_Stop(nullptr, 1, 1, 0);
        Zor_New_Timer_Stop_All(nullptr, 1, 0);
        Zor_New_Timer_Reset(nullptr, 1, 1, 1, 0);
        Zor_New_Timer_Run(nullptr);
    });
    EXPECT_EQ(out, "");
    StartExpiringIn(start, 9, 1);
    StartExpiringIn(start, 0, 1);
    RunAfter(1000000);
    EXPECT_EQ(fired, (Fired{{9, 1}, {0, 1}}));

    out = Printed([] { Zor_New_Timer_Start(nullptr, on_timeout, 1, 1, 1, 0); });
    EXPECT_TRUE(std::regex_match(out, std::regex("error \\[ zor_timer\\.cpp:[0-9]+ in Zor_New_Timer_Start: \\]\n"
                                                 "Zor_New_Timer_Start : Timer Handle is null\n")))
        << out;
}

TEST_F(ZorTimerTest, FirstStartOnAMissingIdListOnlyPreparesIt)
{
    Fifo_Free(rec()->pList[6].pfifo);
    rec()->pList[6].pfifo = nullptr;
    Zor_New_Timer_Start(h, on_timeout, 6, 1, 0, 0);
    ASSERT_NE(rec()->pList[6].pfifo, nullptr);
    EXPECT_EQ(Running(6), 0);
    Zor_New_Timer_Start(h, on_timeout, 6, 1, 0, 0);
    EXPECT_EQ(Running(6), 1);
}

TEST_F(ZorTimerTest, CallbacksMayStartStopAndReset)
{
    StartExpiringIn(start, 5, 1, 0, busy_callback);
    StartExpiringIn(start, 5, 2, 0, busy_callback);
    StartExpiringIn(start, 5, 3, 0, busy_callback);
    StartExpiringIn(start, 5, 4, 0, busy_callback);
    std::string out = RunAfter(1000000);
    EXPECT_EQ(fired, (Fired{{5, 1}, {5, 3}}));  // 2 stopped, 4 re-armed
    EXPECT_EQ(out, TimeOutLines(5, 1, 0, 0) + TimeOutLines(5, 3, 0, 0));
    EXPECT_EQ(Running(5), 2);
    EXPECT_EQ(Find(5, 1, 0)->jiffer, 3);
    EXPECT_EQ(Find(5, 4, 0)->jiffer, 100);
}

TEST_F(ZorTimerTest, StoppingMostOfABusySecondKeepsTheRest)
{
    for (int event = 0; event < 6; event++)
        StartExpiringIn(start, 1, event, 0, stopping_callback);
    for (int event = 10; event < 40; event++)
        StartExpiringIn(start + 1, 2, event);
    for (int event = 39; event > 10; event--)  // newest first: the far end of the bucket
        Zor_New_Timer_Stop(h, 2, event, 0);
    RunAfter(2000000);
    EXPECT_EQ(fired, (Fired{{1, 0}, {1, 5}, {2, 10}}));
    auto table = static_cast<zor_hash_fifo_t *>(rec()->pHash);
    int cells = 0;
    for (unsigned i = 0; i <= table->max; i++)
        cells += Fifo_GetCount(table->List[i].Lfifo);
    EXPECT_LT(cells, 10);  // the 29 stopped cells do not pile up
}

TEST(ZorTimer, CreationNeedsAUsableIdRange)
{
    std::string out = Printed([] { EXPECT_EQ(Zor_New_Timer_Malloc(-1, 15), nullptr); });
    EXPECT_TRUE(std::regex_match(out, std::regex("error \\[ zor_timer\\.cpp:[0-9]+ in Zor_New_Timer_Malloc: \\]\n"
                                                 "Zor_New_Timer_Malloc : Create Zor New Timer Failed\n")))
        << out;
}
