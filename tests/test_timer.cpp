#include "timer.h"

#include <gtest/gtest.h>

#include <array>

#include "test_support.h"

using Fired = std::vector<std::pair<int, int>>;  // (10 * id + event, tick)
static Fired fired;
static PRTH current;
static int tick, rearm_count;  // the callback of (1, 1) re-arms it once with rearm_count tenths

static void on_timeout(int id, int event)
{
    fired.emplace_back(id * 10 + event, tick);
    if (id == 1 && event == 1 && rearm_count >= 0)
        Relative_Timer_Reset(current, 1, 1, rearm_count), rearm_count = -1;
}

class TimerTest : public ::testing::Test {
protected:
    void SetUp() override { fired.clear(), tick = 0, rearm_count = -1, current = set; }
    void TearDown() override
    {
        EXPECT_EQ(testing_support::Printed([&] { EXPECT_EQ(Relative_Timer_Free(set), 1); }),
                  "Relative_Timer_Free need codeing here\n");
    }
    void Ticks(int n) { for (; n > 0; n--, tick++) Relative_Timer_Process(set); }
    void Start(std::vector<std::array<int, 3>> all) { for (auto &t : all) Relative_Timer_Start(set, t[0], t[1], t[2]); }
    int Running() { return Fifo_GetCount(static_cast<PTPH>(set)->plist_Timer); }

    PRTH set = Relative_Timer_Allocate(on_timeout, 2);
};

TEST_F(TimerTest, TenthsFireWhenTheCountGoesNegativeAndAreThenRemoved)
{
    // 100 tenths: fires on the 11th call; 9: on the 1st; -15: as 0, and a second (3, 4); 19: on the 2nd.
    Start({{1, 2, 100}, {3, 4, 9}, {3, 4, -15}, {5, 6, 19}, {1, 1, 0}});
    rearm_count = 30;  // re-armed from its callback: fires after 3 ticks, not 4
    Ticks(11);
    EXPECT_EQ(fired, (Fired{{34, 0}, {34, 0}, {11, 0}, {56, 1}, {11, 3}, {12, 10}}));
    EXPECT_EQ(Running(), 0);

    PRTH frozen = Relative_Timer_Allocate(nullptr, 1);  // no callback: no timer counts down
    Relative_Timer_Start(frozen, 1, 1, 0);
    Relative_Timer_Process(frozen);
    EXPECT_EQ(static_cast<PTimers>(Fifo_Step_Get_First(static_cast<PTPH>(frozen)->plist_Timer))->count, 0);
    testing_support::Printed([&] { Relative_Timer_Free(frozen); });
}

TEST_F(TimerTest, StopStopallAndResetTakeFirstMatches)
{
    Start({{1, 1, 100}, {1, 1, 50}, {7, 1, 0}, {8, 1, 30}, {7, 2, 0}});
    Relative_Timer_Stop(set, 1, 1);       // only the first started of the two
    Relative_Timer_Stopall(set, 7);
    Relative_Timer_Reset(set, 8, 1, 10);  // 3 ticks -> 1 tick
    Relative_Timer_Reset(set, 9, 9, 0);   // no match: starts nothing
    Ticks(6);
    EXPECT_EQ(fired, (Fired{{81, 1}, {11, 5}}));
}
