#include "timer.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "test_support.h"

namespace {

using Fired = std::vector<std::pair<int, int>>;  // (id, tick)
Fired fired;
int tick;
PRTH current;
int rearm_count;  // a callback re-arms (id 1, event 1) once with this duration

void on_timeout(int id, int event)
{
    fired.emplace_back(id * 10 + event, tick);
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
        tick = 0;
        rearm_count = -1;
        current = set;
    }
    void TearDown() override
    {
        EXPECT_EQ(testing_support::Printed([&] { EXPECT_EQ(Relative_Timer_Free(set), 1); }),
                  "Relative_Timer_Free need codeing here\n");
    }
    void Ticks(int n)
    {
        for (int i = 0; i < n; i++, tick++)
            Relative_Timer_Process(set);
    }
    int Running() { return Fifo_GetCount(static_cast<PTPH>(set)->plist_Timer); }

    PRTH set = Relative_Timer_Allocate(on_timeout, 2);
};

} // namespace

TEST_F(TimerTest, DurationsInTenthsFireWhenTheCountGoesNegative)
{
    Relative_Timer_Start(set, 1, 2, 100);  // 10 ticks: fires on the 11th call
    Relative_Timer_Start(set, 3, 4, 9);    // 0 ticks
    Relative_Timer_Start(set, 3, 4, -15);  // negative: as 0, and a second timer
    Relative_Timer_Start(set, 5, 6, 19);   // 1 tick
    Relative_Timer_Setmax(set, 1);         // changes nothing
    Ticks(11);
    EXPECT_EQ(fired, (Fired{{34, 0}, {34, 0}, {56, 1}, {12, 10}}));
    EXPECT_EQ(Running(), 0);
}

TEST(Timer, NullCallbackFreezesEveryTimer)
{
    PRTH set = Relative_Timer_Allocate(nullptr, 1);
    Relative_Timer_Start(set, 1, 1, 0);
    Relative_Timer_Process(set);
    Relative_Timer_Process(nullptr);
    EXPECT_EQ(static_cast<PTimers>(Fifo_Step_Get_First(static_cast<PTPH>(set)->plist_Timer))->count, 0);
    testing_support::Printed([&] { Relative_Timer_Free(set); });
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
    EXPECT_EQ(Running(), 2);
    Ticks(6);
    EXPECT_EQ(fired, (Fired{{81, 1}, {11, 5}}));
}

TEST_F(TimerTest, CallbackReArmingItsTimerFiresOneTickEarly)
{
    Relative_Timer_Start(set, 1, 1, 0);
    Relative_Timer_Start(set, 2, 2, 0);
    rearm_count = 30;  // a fresh start would fire 4 ticks later
    Ticks(5);
    EXPECT_EQ(fired, (Fired{{11, 0}, {22, 0}, {11, 3}}));
    EXPECT_EQ(Running(), 0);
}
