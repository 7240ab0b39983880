#include "timer.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "test_support.h"

using testing_support::Printed;

namespace {

using Fired = std::vector<std::pair<int, int>>;  // (id, event) in firing order, by tick
Fired fired;
std::vector<int> fired_on_tick;
int tick;
PRTH current;
int rearm_count;  // a callback re-arms (id 1, event 1) once with this duration

void on_timeout(int id, int event)
{
    fired.emplace_back(id, event);
    fired_on_tick.push_back(tick);
    if (id == 1 && event == 1 && rearm_count >= 0) {
        Relative_Timer_Reset(current, 1, 1, rearm_count);
        rearm_count = -1;
    }
}

class TimerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        fired.clear();
        fired_on_tick.clear();
        tick = 0;
        rearm_count = -1;
        current = set;
    }
    void TearDown() override { Printed([&] { Relative_Timer_Free(set); }); }

    void Ticks(int n)
    {
        for (int i = 0; i < n; i++) {
            tick++;
            Relative_Timer_Process(set);
        }
    }
    int Running() { return Fifo_GetCount(static_cast<PTPH>(set)->plist_Timer); }

    PRTH set = Relative_Timer_Allocate(on_timeout, 2);
};

} // namespace

TEST_F(TimerTest, DurationsInTenthsFireWhenTheCountGoesNegative)
{
    Relative_Timer_Start(set, 1, 2, 100);  // 10 ticks: fires on the 11th
    Relative_Timer_Start(set, 3, 4, 9);    // 0 ticks: fires on the next
    Relative_Timer_Start(set, 5, 6, -15);  // negative: also the next
    Relative_Timer_Start(set, 7, 8, 19);   // truncated to 1 tick
    Ticks(10);
    EXPECT_EQ(fired, (Fired{{3, 4}, {5, 6}, {7, 8}}));
    EXPECT_EQ(fired_on_tick, (std::vector<int>{1, 1, 2}));
    Ticks(1);
    EXPECT_EQ(fired.back(), std::make_pair(1, 2));
    EXPECT_EQ(fired_on_tick.back(), 11);
    EXPECT_EQ(Running(), 0);
    Ticks(3);
    EXPECT_EQ(fired.size(), 4u);
}

TEST_F(TimerTest, CapacityIsNotEnforcedAndStartingTwiceMakesTwoTimers)
{
    for (int i = 0; i < 5; i++)
        Relative_Timer_Start(set, 1, 2, 0);
    Relative_Timer_Setmax(set, 1);
    EXPECT_EQ(Running(), 5);
    Ticks(1);
    EXPECT_EQ(fired.size(), 5u);
}

TEST(Timer, NullCallbackFreezesEveryTimer)
{
    PRTH set = Relative_Timer_Allocate(nullptr, 1);
    Relative_Timer_Start(set, 1, 1, 0);
    for (int i = 0; i < 3; i++)
        Relative_Timer_Process(set);
    auto timer = static_cast<PTimers>(Fifo_Step_Get_First(static_cast<PTPH>(set)->plist_Timer));
    EXPECT_EQ(timer->count, 0);
    Relative_Timer_Process(nullptr);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Relative_Timer_Free(set), 1); }), "Relative_Timer_Free need codeing here\n");
}

TEST_F(TimerTest, StopStopallAndResetTakeFirstMatches)
{
    Relative_Timer_Start(set, 1, 1, 100);
    Relative_Timer_Start(set, 1, 1, 50);  // same (id, event), started second
    Relative_Timer_Start(set, 7, 1, 0);
    Relative_Timer_Start(set, 8, 1, 30);
    Relative_Timer_Start(set, 7, 2, 0);
    Relative_Timer_Stop(set, 1, 1);       // only the first started
    Relative_Timer_Stopall(set, 7);
    Relative_Timer_Reset(set, 8, 1, 10);  // 3 ticks -> 1 tick
    Relative_Timer_Reset(set, 9, 9, 0);   // no match: starts nothing
    Relative_Timer_Stop(set, 9, 9);
    EXPECT_EQ(Running(), 2);
    Ticks(6);
    EXPECT_EQ(fired, (Fired{{8, 1}, {1, 1}}));
    EXPECT_EQ(fired_on_tick, (std::vector<int>{2, 6}));
}

TEST_F(TimerTest, CallbackReArmingItsTimerFiresOneTickEarly)
{
    Relative_Timer_Start(set, 1, 1, 0);
    Relative_Timer_Start(set, 2, 2, 0);
    rearm_count = 30;  // a fresh start would fire 4 ticks later
    Ticks(5);
    EXPECT_EQ(fired, (Fired{{1, 1}, {2, 2}, {1, 1}}));
    EXPECT_EQ(fired_on_tick, (std::vector<int>{1, 1, 4}));
    EXPECT_EQ(Running(), 0);
}
