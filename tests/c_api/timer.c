#include "libbase.h"

static int timer_fired;

static void on_timer(int id, int event)
{
    timer_fired += id * 10 + event;
}

int c_api_timer(void)
{
    int failed = 0, tick;
    PRTH set = Relative_Timer_Allocate(on_timer, 4);

    Relative_Timer_Start(set, 1, 2, 15);
    Relative_Timer_Setmax(set, 8);
    for (tick = 0; tick < 2; tick++)
        Relative_Timer_Process(set);
    failed += timer_fired != 12;
    Relative_Timer_Start(set, 3, 4, 100);
    Relative_Timer_Reset(set, 3, 4, 0);
    Relative_Timer_Stop(set, 3, 4);
    Relative_Timer_Stopall(set, 3);
    failed += Relative_Timer_Free(set) != 1;
    return failed;
}
