/* timer.h - tick-driven relative timers.
 *
 * A set of one-shot timers addressed by (id, event). The owner calls
 * Relative_Timer_Process once per tick; every running timer counts down one
 * tick per call and, when a decrement makes its count negative, the set's
 * callback gets (id, event) and the timer is removed. Durations are given in
 * tenths of a tick: count runs for count / 10 ticks, so a timer started with
 * count c fires on the (c / 10 + 1)-th tick after its start.
 *
 * Every walk uses the timer list's one cursor: a callback that starts, stops
 * or resets timers moves it, and the tick goes on from where it stands. A
 * callback that resets its own timer keeps it, and the same tick counts it
 * down once more. One thread at a time per set. */
#ifndef LIBBASE_TIMER_H
#define LIBBASE_TIMER_H

#include "libbase_api.h"
#include "fifo.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef void *PRTH;

typedef void (*Func_Relative_Timeout)(int id, int event);

typedef struct _TPH {
    FIFOH plist_Timer;                 /* running timers, in order of starting */
    Func_Relative_Timeout p_callback;  /* expiry callback */
    int max;                           /* capacity given at creation, not enforced */
} TPH, *PTPH;

typedef struct _Timers {
    int type_t;                        /* copy of event */
    int id;
    int event;
    int count;                         /* remaining ticks */
} Timers, *PTimers;

/* A new empty set calling pfunc on expiry, or NULL when it cannot be
 * allocated. A NULL pfunc makes ticks do nothing at all. */
LIBBASE_API PRTH Relative_Timer_Allocate(Func_Relative_Timeout pfunc, int max);

/* Prints "Relative_Timer_Free need codeing here\n", frees every running
 * timer and the set. Always 1. */
LIBBASE_API int Relative_Timer_Free(PRTH rth);

/* Appends a timer of count / 10 ticks (truncated toward zero). Starting an
 * (id, event) twice runs two timers. Fails silently. */
LIBBASE_API void Relative_Timer_Start(PRTH rth, int id, int timer_event, int count);

/* Removes the first-started timer with id and timer_event, if any. */
LIBBASE_API void Relative_Timer_Stop(PRTH rth, int id, int timer_event);

/* Removes every timer with id. */
LIBBASE_API void Relative_Timer_Stopall(PRTH rth, int id);

/* Sets the first-started matching timer to count / 10 remaining ticks;
 * does nothing when none matches (it never starts a timer). */
LIBBASE_API void Relative_Timer_Reset(PRTH rth, int id, int timer_event, int count);

/* Does nothing: the capacity is fixed at creation. */
LIBBASE_API void Relative_Timer_Setmax(PRTH rth, int max);

/* One tick: counts every timer down and fires (then removes) those that
 * run out, in order of starting. */
LIBBASE_API void Relative_Timer_Process(PRTH rth);

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_TIMER_H */
