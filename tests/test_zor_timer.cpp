// Event timer tests on the real clock. Each test makes its services at a
// known point of a second and lets time pass; no clock is faked.
#include "zor_timer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <regex>
#include <thread>

#include "failing_new.h"
#include "mem.h"
#include "test_support.h"

using testing_support::Printed;
using Fired = std::vector<std::pair<int, int>>;
static Fired fired;
static NEW_PRTH current;  // the service the callbacks act on
static double made;       // the clock reading of the test's first service, in seconds

static void on_timeout(int id, int event) { fired.emplace_back(id, event), printf("callback %d %d\n", id, event); }

// Event 1 stops 2 to 5, due alongside, and starts itself again.
static void busy_callback(int id, int event)
{
    fired.emplace_back(id, event);
    for (int other = 2; event == 1 && other <= 5; other++)
        Zor_New_Timer_Stop(current, id, other, 0);
    Zor_New_Timer_Start(current, busy_callback, id, event, 3, 0);
}

static bool Matches(const std::string &text, const char *re) { return std::regex_match(text, std::regex(re)); }
static pTIMER_LIST Rec(NEW_PRTH h) { return static_cast<pTIMER_LIST>(h); }
static double Seconds(timeval t) { return static_cast<double>(t.tv_sec) + t.tv_usec / 1e6; }
static double Now() { timeval now; return gettimeofday(&now, nullptr), Seconds(now); }
static double SinceMade() { return Now() - made; }
static void Sleep(double seconds) { std::this_thread::sleep_for(std::chrono::duration<double>(seconds)); }
static void SleepPast(NEW_PRTH h, double seconds) { Sleep(Seconds(Rec(h)->oldtime) + seconds - Now()); }

static void Destroy(NEW_PRTH h)  // no call destroys a service: take it apart
{
    for (int id = 0; id <= Rec(h)->max; id++)
        Fifo_Free(Rec(h)->pList[id].pfifo);
    Zor_Hash_Fifo_Free(static_cast<ZOR_HASH_FIFO *>(Rec(h)->pHash));
    Mem_Free(Rec(h)->pList);
    Mem_Free(h);
}

// n services for ids 0 to 9, made together lo to hi seconds into one second.
static std::vector<NEW_PRTH> MakeTogether(int n, double lo, double hi)
{
    std::vector<NEW_PRTH> services(n);
    for (;;) {
        double into = std::fmod(Now(), 1.0);
        if (into < lo || into > (lo + hi) / 2)
            Sleep(std::fmod(1.01 + lo - into, 1.0));
        for (NEW_PRTH &h : services)
            h = Zor_New_Timer_Malloc(9, 63);
        made = Seconds(Rec(services[0])->nowtime);
        if (std::fmod(made, 1.0) >= lo && Now() < std::floor(made) + hi)
            return services;
        for (NEW_PRTH h : services)
            Destroy(h);
    }
}

static int BucketCount(NEW_PRTH h, long long second)  // cells in the hash bucket of an expiry second
{
    std::string key = std::to_string(second);
    auto table = static_cast<zor_hash_fifo_t *>(Rec(h)->pHash);
    return Fifo_GetCount(table->List[Zor_Hash_Fifo_Algorithm(63, key.c_str(), -1)].Lfifo);
}

// Services made early in second s, each run once a second later.
TEST(ZorTimer, WhatIsDueGoesOutInTheFirstRunThatConsumesASecond)
{
    std::vector<NEW_PRTH> services = MakeTogether(2, 0, 0.5);
    NEW_PRTH h = current = services[0], crowded = services[1];
    auto s = static_cast<long long>(made);
    Zor_New_Timer_Start(h, on_timeout, 1, 7, 0, 0);
    std::string out = Printed([&] { Zor_New_Timer_Start(h, on_timeout, 1, 7, 9, 0); });
    EXPECT_TRUE(Matches(out, "error \\[ zor_timer\\.cpp:[0-9]+ in Zor_New_Timer_Start : \\]\n"
                             "Zor_New_Timer_Start : the event is exist \\. id = 1 event = 7\n")) << out;
    EXPECT_EQ("", Printed([&] {  // modules keep timers apart; ids outside 0..max are quietly ignored
        for (auto [event, module] : {std::pair{7, 0}, {7, 1}, {8, 0}, {9, 1}})
            Zor_New_Timer_Start(h, on_timeout, 2, event, 0, module);
        for (int id : {-1, 10})
            Zor_New_Timer_Start(h, on_timeout, id, 1, 0, 0), Zor_New_Timer_Reset(h, id, 1, 1, 0),
                Zor_New_Timer_Stop(h, id, 1, 0), Zor_New_Timer_Stop_All(h, id, 0);
    }));
    Zor_New_Timer_Stop_All(h, 2, 0);
    Zor_New_Timer_Stop(h, 2, 9, 1);
    Fifo_Free(Rec(h)->pList[6].pfifo);  // a missing id list: the first start only prepares it
    Rec(h)->pList[6].pfifo = nullptr;
    for (auto [id, event] : {std::pair{6, 1}, {6, 2}, {9, 1}})
        Zor_New_Timer_Start(h, on_timeout, id, event, 0, 0);
    for (int event = 1; event <= 5; event++)
        Zor_New_Timer_Start(h, busy_callback, 5, event, 0, 0);
    Zor_New_Timer_Start(h, on_timeout, 3, 1, 1000, 0);
    Zor_New_Timer_Reset(h, 3, 1, -1, 0);  // into the past: fires first
    Zor_New_Timer_Reset(h, 3, 2, 0, 0);   // not running: starts nothing
    EXPECT_TRUE(Matches(Printed([] { Zor_New_Timer_Start(nullptr, on_timeout, 1, 1, 1, 0); }),
                        "error \\[ zor_timer\\.cpp:[0-9]+ in Zor_New_Timer_Start: \\]\n"
                        "Zor_New_Timer_Start : Timer Handle is null\n"));
    EXPECT_TRUE(Matches(Printed([] { EXPECT_EQ(Zor_New_Timer_Malloc(-1, 15), nullptr); }),
                        "error \\[ zor_timer\\.cpp:[0-9]+ in Zor_New_Timer_Malloc: \\]\n"
                        "Zor_New_Timer_Malloc : Create Zor New Timer Failed\n"));
    for (int i = 0; i < 100; i++)  // one second's bucket mostly stopped, its last cell too, then added to
        Zor_New_Timer_Start(crowded, on_timeout, i % 10, 100 + i / 10, 0, 0);
    for (int id = 9; id > 0; id--)
        Zor_New_Timer_Stop_All(crowded, id, 0);
    EXPECT_LE(BucketCount(crowded, s), 20);  // stopped cells do not pile up
    for (int id : {4, 5, 6})
        Zor_New_Timer_Start(crowded, on_timeout, id, 200, 0, 0);
    Zor_New_Timer_Stop(crowded, 5, 200, 0);
    for (int i = 199; i >= 0; i--) {  // and a long catch-up: due 400 to 2 seconds before their start
        Zor_New_Timer_Start(crowded, on_timeout, i % 10, 1000 + i, 1000, 0);
        Zor_New_Timer_Reset(crowded, i % 10, 1000 + i, 2 * i - 400, 0);
    }
    SleepPast(crowded, 1.05);  // made last
    fired.clear();
    out = Printed([&] { Zor_New_Timer_Run(h); });
    EXPECT_EQ(fired, (Fired{{3, 1}, {1, 7}, {2, 7}, {6, 2}, {9, 1}, {5, 1}}));
    EXPECT_NE(out.find("Time Out : id = 1 event = 7 module = 0 jiffer = 0\n"
                       "Time Out : Callback Func : id = 1 event = 7 module = 0 jiffer = 0\ncallback 1 7\n"),
              std::string::npos) << out;
    EXPECT_EQ(Zor_New_Judge_Element_Wether_Exist(Rec(h)->pList[5].pfifo, 5, 1, 0), 1);  // restarted
    fired.clear();
    fired.reserve(300);  // the callback must not allocate either
    Printed([&] {
        testing_support::FailingAllocations none;  // the run still returns
        Zor_New_Timer_Run(crowded);
    });
    ASSERT_EQ(fired.size(), 212u);
    for (int i = 0; i < 200; i++)  // oldest second first
        EXPECT_EQ(fired[i], std::make_pair(i % 10, 1000 + i));
    for (int i = 0; i < 10; i++)  // then the crowded second in the order of starting
        EXPECT_EQ(fired[200 + i], std::make_pair(0, 100 + i));
    EXPECT_EQ(Fired(fired.begin() + 210, fired.end()), (Fired{{4, 200}, {6, 200}}));
    EXPECT_EQ(BucketCount(crowded, s), 0);
    for (NEW_PRTH service : services)
        Destroy(service);
}

// Services made together, 0.4 s to 0.6 s into a second; one is run every
// 20 ms, the others once after a silence. Firings are named by the second,
// rounded, after making.
static std::vector<std::string> wall_fired;

// Timer 1 fires in the first second after making and keys three timers to
// seconds already consumed, and one to the next by its first start.
static void on_wall_timeout(int id, int event)
{
    wall_fired.push_back(std::to_string(id) + " " + std::to_string(event) + " @" +
                         std::to_string(std::lround(SinceMade())));
    if (id != 1)
        return;
    Zor_New_Timer_Start(current, on_wall_timeout, 3, 3, 0, 0);
    Zor_New_Timer_Start(current, on_wall_timeout, 4, 4, 1, 0);
    Zor_New_Timer_Reset(current, 4, 4, -3, 0);
    Zor_New_Timer_Reset(current, 7, 7, 2, 0);
}

TEST(ZorTimerWallClock, FiresOnTimeAndCatchesUpAfterSilence)
{
    wall_fired.clear();
    std::vector<NEW_PRTH> services = MakeTogether(3, 0.4, 0.6);
    NEW_PRTH every20ms = current = services[0], silent2200ms = services[1], silent3500ms = services[2];
    for (auto [id, jiffer] : {std::pair{1, 1}, {2, 2}, {7, 100}})
        Zor_New_Timer_Start(every20ms, on_wall_timeout, id, id, jiffer, 0);
    for (int jiffer = 0; jiffer <= 3; jiffer++) {
        Zor_New_Timer_Start(silent2200ms, on_wall_timeout, 5, jiffer, jiffer, 0);
        Zor_New_Timer_Start(silent3500ms, on_wall_timeout, 6, jiffer, jiffer, 0);
    }
    Printed([&] {
        bool silence_broken = false;
        while (SinceMade() < 2.4) {
            Zor_New_Timer_Run(every20ms);
            if (!silence_broken && SinceMade() >= 2.2)
                silence_broken = true, Zor_New_Timer_Run(silent2200ms);
            Sleep(0.02);
        }
        SleepPast(silent3500ms, 3.5);
        Zor_New_Timer_Run(silent3500ms);
    });
    // After 1 s and 2 s; the late ones with the next run that consumes time, oldest second first; after
    // 2.2 s of silence the second the service was made in and the next; after 3.5 s three seconds.
    EXPECT_EQ(wall_fired, (std::vector<std::string>{"1 1 @1", "4 4 @2", "3 3 @2", "2 2 @2", "7 7 @2",
                                                     "5 0 @2", "5 1 @2", "6 0 @4", "6 1 @4", "6 2 @4"}));
    EXPECT_GE(Rec(silent3500ms)->totaldelaytime, 500000);  // the half second left over
    EXPECT_LT(Rec(silent3500ms)->totaldelaytime, 900000);
    for (NEW_PRTH h : services)
        Destroy(h);
}
