// timer.cpp - tick-driven relative timers.
#include "timer.h"

#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include "mem.h"

static_assert(offsetof(TPH, p_callback) == sizeof(void *), "set layout");
static_assert(offsetof(TPH, max) == 2 * sizeof(void *), "set layout");
static_assert(sizeof(TPH) == (sizeof(void *) == 4 ? 12 : 24), "set layout");
static_assert(offsetof(Timers, count) == 12 && sizeof(Timers) == 16, "timer layout");

namespace {

// A fixed text (applications match it), "codeing" included: every call of
// Relative_Timer_Free prints it, although the function does its work.
constexpr char kFreeNote[] = "Relative_Timer_Free need codeing here\n";

FIFOH timers_of(PRTH rth)
{
    return rth == nullptr ? nullptr : static_cast<PTPH>(rth)->plist_Timer;
}

// Leaves the cursor on the first timer with id and event; NULL when none.
PTimers find_first(FIFOH list, int id, int event)
{
    for (void *p = Fifo_Step_Get_First(list); p != nullptr; p = Fifo_Step_Next(list)) {
        auto timer = static_cast<PTimers>(p);
        if (timer->id == id && timer->event == event)
            return timer;
    }
    return nullptr;
}

} // namespace

extern "C" {

PRTH Relative_Timer_Allocate(Func_Relative_Timeout pfunc, int max)
{
    auto set = static_cast<PTPH>(Mem_Malloc(sizeof(TPH)));
    if (set == nullptr)
        return nullptr;
    set->plist_Timer = Fifo_Allocate(max);
    set->p_callback = pfunc;
    set->max = max;
    return set;
}

int Relative_Timer_Free(PRTH rth)
{
    printf(kFreeNote);
    if (rth == nullptr)
        return 1;
    FIFOH list = timers_of(rth);
    if (list != nullptr)
        Fifo_Free(list);
    Mem_Free(rth);
    return 1;
}

void Relative_Timer_Start(PRTH rth, int id, int timer_event, int count)
{
    FIFOH list = timers_of(rth);
    if (list == nullptr)
        return;
    auto timer = static_cast<PTimers>(malloc(sizeof(Timers)));
    if (timer == nullptr)
        return;
    timer->type_t = timer_event;
    timer->id = id;
    timer->event = timer_event;
    timer->count = count / 10;
    if (Fifo_Push(list, timer) < 0)
        free(timer);
}

void Relative_Timer_Stop(PRTH rth, int id, int timer_event)
{
    FIFOH list = timers_of(rth);
    if (list == nullptr)
        return;
    if (find_first(list, id, timer_event) != nullptr)
        Mem_Free(Fifo_Step_Del_Now(list));
}

void Relative_Timer_Stopall(PRTH rth, int id)
{
    FIFOH list = timers_of(rth);
    if (list == nullptr)
        return;
    void *p = Fifo_Step_Get_First(list);
    while (p != nullptr) {
        if (static_cast<PTimers>(p)->id == id) {
            Mem_Free(Fifo_Step_Del_Now(list));
            p = Fifo_Step_Get_Now(list);
        } else {
            p = Fifo_Step_Next(list);
        }
    }
}

void Relative_Timer_Reset(PRTH rth, int id, int timer_event, int count)
{
    FIFOH list = timers_of(rth);
    if (list == nullptr)
        return;
    PTimers timer = find_first(list, id, timer_event);
    if (timer != nullptr)
        timer->count = count / 10;
}

void Relative_Timer_Setmax(PRTH, int) {}

void Relative_Timer_Process(PRTH rth)
{
    FIFOH list = timers_of(rth);
    if (list == nullptr)
        return;
    void *p = Fifo_Step_Get_First(list);
    Func_Relative_Timeout callback = static_cast<PTPH>(rth)->p_callback;
    if (callback == nullptr)
        return;
    while (p != nullptr) {
        auto timer = static_cast<PTimers>(p);
        if (timer->count > INT_MIN)  // one left behind by its callback keeps going down
            timer->count--;
        if (timer->count < 0) {
            callback(timer->id, timer->event);
            // Still under the cursor and not re-armed: it is done. A timer
            // re-armed by its callback stays, and is taken again below.
            if (Fifo_Step_Get_Now(list) == timer && timer->count < 0)
                Mem_Free(Fifo_Step_Del_Now(list));
        } else {
            Fifo_Step_Next(list);
        }
        p = Fifo_Step_Get_Now(list);
    }
}

} // extern "C"
