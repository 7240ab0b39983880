/* zor_timer.h - the event timer service, driven by the wall clock.
 *
 * Each timer belongs to an owner id (0 to max inclusive), carries an event
 * and a module number, and runs for jiffer seconds; (id, event, module) is
 * unique among running timers. When it expires its own callback gets
 * (id, event). The owner calls Zor_New_Timer_Run often (several times a
 * second). Each run reads the clock and consumes the whole seconds of time
 * elapsed since the previous run, carrying the sub-second remainder to the
 * next; for each second consumed it probes one expiry second, counting up
 * from the second of the previous run's reading. It fires, oldest first,
 * every expiry second up to the last it probes that no run has fired yet,
 * so no second is skipped or fired twice. With frequent runs a timer of
 * jiffer seconds started just after the service was made fires jiffer
 * seconds later, within one run period. A timer whose expiry second has
 * fired already when it is started or reset (jiffer 0, or a reset into the
 * past) fires in the next run that consumes time.
 *
 * Timers are kept in one list per id (to find one by id, event and module)
 * and in a list-bucket hash table keyed by the decimal text of their expiry
 * second (to find everything due in a second). Callbacks run on the thread
 * calling Zor_New_Timer_Run and may start, stop and reset timers. There is
 * no operation that destroys a service. One thread at a time per service. */
#ifndef LIBBASE_ZOR_TIMER_H
#define LIBBASE_ZOR_TIMER_H

#include <sys/time.h>

#include "libbase_api.h"
#include "fifo.h"
#include "lhash.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef void *NEW_PRTH;

typedef void (*Zor_New_Timeout)(int id, int event);

typedef struct _NODE_TIMER {
    FIFOH pfifo;                       /* one id's running timers, in order of starting */
} NODE_TIMER, *pNODE_TIMER;

typedef struct _TIMER_LIST {
    pNODE_TIMER pList;                 /* max + 1 id lists */
    ZOR_HASH_FIFO pHash;               /* running timers by expiry second */
    int max;                           /* highest id */
    int hash_table;                    /* hash size argument */
    struct timeval oldtime;            /* clock reading of the previous run */
    struct timeval nowtime;            /* clock reading of the current run */
    long delaytime;                    /* microseconds part of the last interval */
    long delaytime2;                   /* seconds part of the last interval */
    long totaldelaytime;               /* elapsed microseconds not yet consumed */
} TIMER_LIST, *pTIMER_LIST;

typedef struct _TIMER_ELEMENT {
    Zor_New_Timeout p_callback;
    pTIMER_LIST p_timerlist;           /* the owning service */
    struct timeval time;               /* clock reading at the (first) start */
    char timer_str[50];                /* expiry second as decimal text: the hash key */
    int jiffer;                        /* duration in seconds */
    int module;
    int id;
    int event;
    int hash;                          /* bucket index of timer_str */
} TIMER_ELEMENT, *pTIMER_ELEMENT;

/* A new service for ids 0 to max with a hash table sized by hash_table (9,
 * 15, 31, ... 16383, anything else gives 15); NULL on failure, after
 * "error [ %s:%d in %s: ]\n" and
 * "Zor_New_Timer_Malloc : Create Zor New Timer Failed\n". */
LIBBASE_API NEW_PRTH Zor_New_Timer_Malloc(int max, int hash_table);

/* Starts a timer of jiffer seconds that calls pfunc(id, event) on expiry.
 * A NULL service prints the error line and
 * "Zor_New_Timer_Start : Timer Handle is null\n"; an id out of range is
 * ignored; a running (id, event, module) is left alone after
 * "error [ %s:%d in %s : ]\n" and
 * "Zor_New_Timer_Start : the event is exist . id = %d event = %d\n".
 * When the id's list is missing, this call only creates it. */
LIBBASE_API void Zor_New_Timer_Start(NEW_PRTH rth, Zor_New_Timeout pfunc, int id, int event, int jiffer,
                                     int module);

/* Stops the timer (id, event, module) without calling it; silent when
 * there is none or an argument is bad. */
LIBBASE_API void Zor_New_Timer_Stop(NEW_PRTH rth, int id, int event, int module);

/* Stops every timer of id whose module is module. */
LIBBASE_API void Zor_New_Timer_Stop_All(NEW_PRTH rth, int id, int module);

/* Re-arms the running timer (id, event, module) to expire jiffer seconds
 * after its first start (not after now); nothing when it is not running. */
LIBBASE_API void Zor_New_Timer_Reset(NEW_PRTH rth, int id, int event, int jiffer, int module);

/* Reads the clock, consumes the elapsed whole seconds and fires the expiry
 * seconds they bring due, as described at the top of this file.
 * Each expiring timer prints
 * "Time Out : id = %d event = %d module = %d jiffer = %d\n" and
 * "Time Out : Callback Func : id = %d event = %d module = %d jiffer = %d\n"
 * before its callback, and is freed after it. */
LIBBASE_API void Zor_New_Timer_Run(NEW_PRTH rth);

/* 1 when the id list mfifo holds a timer (id, event, module), 0 when not,
 * -1 after the error line for a NULL list. */
LIBBASE_API int Zor_New_Judge_Element_Wether_Exist(FIFOH mfifo, int id, int event, int module);

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_ZOR_TIMER_H */
