#include "zor_timer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <map>
#include <optional>
#include <regex>
#include <thread>

#include "failing_new.h"
#include "mem.h"
#include "test_support.h"

using testing_support::Printed;
using Fired = std::vector<std::pair<int, int>>;
static Fired fired;
static NEW_PRTH current;

// The clock the library reads in this program: the real one, unless a test
// has set it.
static std::optional<timeval> set_clock;

extern "C" int gettimeofday(struct timeval *__restrict tv, void *__restrict) noexcept
{
    if (set_clock) {
        *tv = *set_clock;
        return 0;
    }
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    tv->tv_sec = now.tv_sec;
    tv->tv_usec = static_cast<suseconds_t>(now.tv_nsec / 1000);
    return 0;
}

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

static pTIMER_LIST Rec(NEW_PRTH h) { return static_cast<pTIMER_LIST>(h); }

static void Destroy(NEW_PRTH h)  // no call destroys a service: take it apart
{
    for (int id = 0; id <= Rec(h)->max; id++)
        Fifo_Free(Rec(h)->pList[id].pfifo);
    Zor_Hash_Fifo_Free(static_cast<ZOR_HASH_FIFO *>(Rec(h)->pHash));
    Mem_Free(Rec(h)->pList);
    Mem_Free(h);
}

// A service made on a set clock 0.3 s into second s0.
class ZorTimerTest : public ::testing::Test {
protected:
    static constexpr long long s0 = 1700000000;
    void SetUp() override { fired.clear(), At(0), current = h = Zor_New_Timer_Malloc(9, 63); }
    void TearDown() override { Destroy(h), set_clock.reset(); }
    static void At(long long usec)  // the clock, usec after the service was made
    {
        long long t = s0 * 1000000 + 300000 + usec;
        set_clock = timeval{static_cast<time_t>(t / 1000000), static_cast<suseconds_t>(t % 1000000)};
    }
    std::string RunAt(long long usec) { return At(usec), Printed([&] { Zor_New_Timer_Run(h); }); }
    int Running(int id) { return Fifo_GetCount(Rec(h)->pList[id].pfifo); }
    pTIMER_ELEMENT Find(int id, int event, int module = 0)
    {
        FIFOH list = Rec(h)->pList[id].pfifo;
        auto e = static_cast<pTIMER_ELEMENT>(Fifo_Step_Get_First(list));
        while (e != nullptr && (e->event != event || e->module != module))
            e = static_cast<pTIMER_ELEMENT>(Fifo_Step_Next(list));
        return e;
    }
    int BucketCount(long long second)  // cells in the hash bucket of an expiry second
    {
        std::string key = std::to_string(second);
        auto table = static_cast<zor_hash_fifo_t *>(Rec(h)->pHash);
        return Fifo_GetCount(table->List[Zor_Hash_Fifo_Algorithm(63, key.c_str(), -1)].Lfifo);
    }

    NEW_PRTH h = nullptr;
};

TEST_F(ZorTimerTest, FiresInTheRunThatProbesItsSecondAndResetCountsFromTheFirstStart)
{
    Zor_New_Timer_Start(h, on_timeout, 3, 1, 2, 0);
    Zor_New_Timer_Start(h, on_timeout, 4, 1, 9, 0);
    std::map<int, std::string> printed;  // by run time in ms, runs every 100 ms
    for (int ms = 100; ms <= 10500; ms += 100) {
        if (ms == 8000) {
            Zor_New_Timer_Reset(h, 4, 1, 10, 0);
            Zor_New_Timer_Reset(h, 4, 2, 10, 0);  // not running: starts nothing
        }
        if (std::string text = RunAt(ms * 1000); !text.empty())
            printed[ms] = text;
    }
    EXPECT_EQ(printed, (std::map<int, std::string>{
                           {2000, "Time Out : id = 3 event = 1 module = 0 jiffer = 2\n"
                                  "Time Out : Callback Func : id = 3 event = 1 module = 0 jiffer = 2\n"
                                  "callback 3 1\n"},
                           {10000, "Time Out : id = 4 event = 1 module = 0 jiffer = 10\n"
                                   "Time Out : Callback Func : id = 4 event = 1 module = 0 jiffer = 10\n"
                                   "callback 4 1\n"}}));
}

TEST_F(ZorTimerTest, EverySecondFiresOnceOldestFirstWhateverTheReadings)
{
    for (int i = 5; i >= 0; i--)
        Zor_New_Timer_Start(h, on_timeout, i, 0, i, 0);
    RunAt(1900000);  // probes s0
    RunAt(1970000);
    EXPECT_EQ(fired, (Fired{{0, 0}}));
    RunAt(2050000);  // probes s0 + 2: s0 + 1 goes first
    EXPECT_EQ(fired, (Fired{{0, 0}, {1, 0}, {2, 0}}));
    RunAt(5550000);  // 3.5 s of silence: probes s0 + 2 to s0 + 4, of which s0 + 2 has fired
    EXPECT_EQ(fired, (Fired{{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}}));
    EXPECT_EQ(Rec(h)->totaldelaytime, 550000);
    RunAt(6000000);
    EXPECT_EQ(fired.back(), std::make_pair(5, 0));
    Zor_New_Timer_Start(h, on_timeout, 7, 0, 100000, 0);
    Zor_New_Timer_Start(h, on_timeout, 8, 0, 70, 0);
    RunAt(200006000000);  // days in one run: the due seconds, in order
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
        Zor_New_Timer_Start(h, on_timeout, 2, event, 1, module);
    Zor_New_Timer_Stop_All(h, 2, 1);
    Zor_New_Timer_Stop(h, 2, 7, 0);
    RunAt(6000000);  // the stopped ones left the hash table too
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
    Fifo_Free(Rec(h)->pList[6].pfifo);  // a missing id list: the first start only prepares it
    Rec(h)->pList[6].pfifo = nullptr;
    Zor_New_Timer_Start(h, on_timeout, 6, 1, 0, 0);
    EXPECT_EQ(Running(6), 0);
    for (int id : {6, 9, 0})
        Zor_New_Timer_Start(h, on_timeout, id, 1, 0, 0);
    RunAt(1000000);
    EXPECT_EQ(fired, (Fired{{6, 1}, {9, 1}, {0, 1}}));
}

TEST_F(ZorTimerTest, CallbacksMayStartStopAndReset)
{
    for (int event = 1; event <= 7; event++)
        Zor_New_Timer_Start(h, busy_callback, 5, event, 0, 0);
    RunAt(2000000);
    EXPECT_EQ(fired, (Fired{{5, 1}, {5, 6}}));
    EXPECT_EQ(Find(5, 1)->jiffer, 3);
    EXPECT_EQ(Find(5, 7)->jiffer, 100);
}

TEST_F(ZorTimerTest, StoppingMostOfOneSecondLeavesItsBucketUsable)
{
    for (int i = 0; i < 100; i++)
        Zor_New_Timer_Start(h, on_timeout, i % 10, i / 10, 1, 0);
    for (int id = 9; id >= 0; id--)  // the last one in the bucket goes first
        for (int event = 1; event < 10; event++)
            Zor_New_Timer_Stop(h, id, event, 0);
    EXPECT_LE(BucketCount(s0 + 1), 20);  // stopped cells do not pile up
    RunAt(2000000);
    EXPECT_EQ(fired, (Fired{{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}, {5, 0}, {6, 0}, {7, 0}, {8, 0}, {9, 0}}));
    EXPECT_EQ(BucketCount(s0 + 1), 0);

    long long again = s0 + 3;  // a later second of the same bucket
    while (Zor_Hash_Fifo_Algorithm(63, std::to_string(again).c_str(), -1) !=
           Zor_Hash_Fifo_Algorithm(63, std::to_string(s0 + 1).c_str(), -1))
        again++;
    fired.clear();
    for (int id : {4, 5, 6})
        Zor_New_Timer_Start(h, on_timeout, id, 1, static_cast<int>(again - (s0 + 2)), 0);
    Zor_New_Timer_Stop(h, 5, 1, 0);
    RunAt((again - s0 + 1) * 1000000);
    EXPECT_EQ(fired, (Fired{{4, 1}, {6, 1}}));
    EXPECT_EQ(BucketCount(again), 0);
}

TEST_F(ZorTimerTest, ARunReturnsWhenNoMemoryIsLeft)
{
    fired.reserve(300);  // the callback must not allocate either
    for (int i = 199; i >= 0; i--)
        Zor_New_Timer_Start(h, on_timeout, i % 10, i, i + 1, 0);
    Printed([&] {
        testing_support::FailingAllocations none;
        Zor_New_Timer_Run(h), At(1000000000), Zor_New_Timer_Run(h);
    });
    ASSERT_EQ(fired.size(), 200u);
    for (int i = 0; i < 200; i++)
        EXPECT_EQ(fired[i], std::make_pair(i % 10, i));
}

// Real time: services made together, 0.4 s to 0.6 s into a second; one is
// run every 20 ms, the others once after a silence.
static std::vector<std::string> wall_fired;  // "id event @seconds after making, rounded"
static timeval wall_made;

static double SinceMade()
{
    timeval now;
    gettimeofday(&now, nullptr);
    return static_cast<double>(now.tv_sec - wall_made.tv_sec) + (now.tv_usec - wall_made.tv_usec) / 1e6;
}

static void on_wall_timeout(int id, int event)
{
    wall_fired.push_back(std::to_string(id) + " " + std::to_string(event) + " @" + std::to_string(std::lround(SinceMade())));
    if (id == 1 && event == 1)  // no time left: goes with the next run that consumes time
        Zor_New_Timer_Start(current, on_wall_timeout, 1, 9, 0, 0);
}

TEST(ZorTimerWallClock, FiresOnTimeAndCatchesUpAfterSilence)
{
    wall_fired.clear();
    NEW_PRTH every20ms = nullptr, silent2200ms = nullptr, silent3500ms = nullptr;
    while (every20ms == nullptr) {
        timeval now;
        gettimeofday(&now, nullptr);
        std::this_thread::sleep_for(std::chrono::microseconds((1420000 - now.tv_usec) % 1000000));
        every20ms = Zor_New_Timer_Malloc(9, 63), silent2200ms = Zor_New_Timer_Malloc(9, 63);
        silent3500ms = Zor_New_Timer_Malloc(9, 63);
        wall_made = Rec(every20ms)->nowtime;
        if (wall_made.tv_usec >= 400000 && Rec(silent3500ms)->nowtime.tv_usec < 600000)
            break;
        for (NEW_PRTH h : {every20ms, silent2200ms, silent3500ms})
            Destroy(h);
        every20ms = nullptr;
    }
    current = every20ms;
    Zor_New_Timer_Start(every20ms, on_wall_timeout, 1, 1, 1, 0);
    Zor_New_Timer_Start(every20ms, on_wall_timeout, 2, 2, 2, 0);
    for (int jiffer = 0; jiffer <= 3; jiffer++) {
        Zor_New_Timer_Start(silent2200ms, on_wall_timeout, 5, jiffer, jiffer, 0);
        Zor_New_Timer_Start(silent3500ms, on_wall_timeout, 6, jiffer, jiffer, 0);
    }
    Printed([&] {
        bool late_started = false, silence_broken = false;
        while (SinceMade() < 2.4) {
            Zor_New_Timer_Run(every20ms);
            if (!late_started && !wall_fired.empty()) {  // the second this run is in has fired
                late_started = true;
                Zor_New_Timer_Start(every20ms, on_wall_timeout, 3, 3, 0, 0);
                Zor_New_Timer_Start(every20ms, on_wall_timeout, 4, 4, 1, 0);
                Zor_New_Timer_Reset(every20ms, 4, 4, -3, 0);
            }
            if (!silence_broken && SinceMade() >= 2.2)
                silence_broken = true, Zor_New_Timer_Run(silent2200ms);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        std::this_thread::sleep_for(std::chrono::microseconds(static_cast<long>((3.5 - SinceMade()) * 1e6)));
        Zor_New_Timer_Run(silent3500ms);
    });
    // After 1 s and 2 s; the late ones with the next run that consumes time, oldest second first; after
    // 2.2 s of silence the second the service was made in and the next; after 3.5 s three seconds.
    EXPECT_EQ(wall_fired, (std::vector<std::string>{"1 1 @1", "4 4 @2", "1 9 @2", "3 3 @2", "2 2 @2", "5 0 @2",
                                                     "5 1 @2", "6 0 @4", "6 1 @4", "6 2 @4"}));
    EXPECT_GE(Rec(silent3500ms)->totaldelaytime, 500000);  // the half second left over
    EXPECT_LT(Rec(silent3500ms)->totaldelaytime, 900000);
    for (NEW_PRTH h : {every20ms, silent2200ms, silent3500ms})
        Destroy(h);
}
