// zor_timer.cpp - the event timer service.
#include "zor_timer.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "internal/complain.h"
#include "internal/fifo_cells.h"
#include "internal/lhash_buckets.h"
#include "mem.h"

// Record layouts applications see. The width of time_t decides where the
// struct timeval fields and everything after them lie: on 32-bit ARM a build
// follows the C library's default (a 32-bit time_t, an 8-byte timeval) unless
// it is made with LIBBASE_TIME64 (_TIME_BITS=64: a 16-byte timeval aligned to
// 8 bytes). An application built with the other width allocates these records
// at the wrong size and finds their fields at other offsets.
constexpr size_t kPtr = sizeof(void *);
static_assert(sizeof(NODE_TIMER) == kPtr, "id list layout");
static_assert(offsetof(TIMER_LIST, pHash) == kPtr, "service layout");
static_assert(offsetof(TIMER_LIST, max) == 2 * kPtr, "service layout");
static_assert(offsetof(TIMER_LIST, hash_table) == 2 * kPtr + 4, "service layout");
static_assert(offsetof(TIMER_ELEMENT, p_timerlist) == kPtr, "timer layout");

struct ServiceLayout {
    size_t oldtime, nowtime, delaytime, totaldelaytime, size;
};
struct TimerLayout {
    size_t time, timer_str, jiffer, hash, size;
};

#if defined(__x86_64__)
constexpr ServiceLayout kService{24, 40, 56, 72, 80};
constexpr TimerLayout kTimer{16, 32, 84, 100, 104};
#define LIBBASE_LAYOUT_PINNED 1
#elif defined(__arm__)
constexpr bool kTime64 = sizeof(time_t) == 8;
constexpr ServiceLayout kService = kTime64 ? ServiceLayout{16, 32, 48, 56, 64} : ServiceLayout{16, 24, 32, 40, 44};
constexpr TimerLayout kTimer = kTime64 ? TimerLayout{8, 24, 76, 92, 96} : TimerLayout{8, 16, 68, 84, 88};
#define LIBBASE_LAYOUT_PINNED 1
#endif

#ifdef LIBBASE_LAYOUT_PINNED
static_assert(offsetof(TIMER_LIST, oldtime) == kService.oldtime, "TIMER_LIST layout");
static_assert(offsetof(TIMER_LIST, nowtime) == kService.nowtime, "TIMER_LIST layout");
static_assert(offsetof(TIMER_LIST, delaytime) == kService.delaytime, "TIMER_LIST layout");
static_assert(offsetof(TIMER_LIST, totaldelaytime) == kService.totaldelaytime, "TIMER_LIST layout");
static_assert(sizeof(TIMER_LIST) == kService.size, "TIMER_LIST layout");
static_assert(offsetof(TIMER_ELEMENT, time) == kTimer.time, "TIMER_ELEMENT layout");
static_assert(offsetof(TIMER_ELEMENT, timer_str) == kTimer.timer_str, "TIMER_ELEMENT layout");
static_assert(offsetof(TIMER_ELEMENT, jiffer) == kTimer.jiffer, "TIMER_ELEMENT layout");
static_assert(offsetof(TIMER_ELEMENT, hash) == kTimer.hash, "TIMER_ELEMENT layout");
static_assert(sizeof(TIMER_ELEMENT) == kTimer.size, "TIMER_ELEMENT layout");
#endif

namespace {

namespace fifo_cells = libbase::fifo_cells;
namespace lhash_buckets = libbase::lhash_buckets;

constexpr const char *kSourceFile = "zor_timer.cpp";
constexpr long long kMicro = 1000000;

// A fixed text, kept on purpose: both key comparisons print it, naming a function this file lacks.
constexpr char kCompareNullKey[] = "Hash_Compare_Func : the parameter is null . key1 = %s key2 = %s\n";
// A fixed text, kept on purpose: it names the expression that failed, blank before the newline too.
constexpr char kIdListNotMade[] = "pTimer->pList[id].pfifo == NULL \n";

// The record behind a handle: what applications see, then where firing
// stands and, per hash bucket, the number of stopped cells.
//
// A run that consumes time fires the seconds its loop probes (from the
// previous reading's second, one per whole second consumed) that no run has
// fired yet, together with any skipped before them; so every second fires
// once, and on time, however the readings fall. A timer keyed to a second
// that has fired already (no time left, or reset into the past) goes out
// with the next run that consumes time.
struct Service {
    TIMER_LIST list;
    long long next_second;          // the first second no run has fired
    long long oldest_late;          // the lowest second below next_second keyed since the last firing, or LLONG_MAX
    unsigned long long firing_runs; // runs that consumed time
    bool firing;                    // a run is calling back
    int *stopped;                   // one counter per bucket, in the same block after the record
};

// A running timer: the element, then its cell in the hash bucket (so that
// taking it out of the table costs the same however full the bucket is),
// its expiry second as a number, and when it was keyed: a run fires only
// timers keyed before it began, never those its own callbacks start.
struct Timer {
    TIMER_ELEMENT element;
    pFIFO_M cell;                   // NULL when not in the table
    long long expiry;
    unsigned long long keyed_in;    // firing_runs at the time
};

// What a stopped or fired timer's bucket cell holds until the bucket is
// swept: a key no second has.
const TIMER_ELEMENT tombstone = [] {
    TIMER_ELEMENT t{};
    t.timer_str[0] = '-';
    return t;
}();

void *tombstone_payload()
{
    return const_cast<TIMER_ELEMENT *>(&tombstone);
}

void error_line(int line, const char *func)
{
    libbase::print_error_at(kSourceFile, line, func);
}

ZOR_HASH_FIFO hash_of(const TIMER_LIST *service)
{
    return service->pHash;
}

Timer *timer_of(void *element)
{
    return static_cast<Timer *>(element);
}

Service *service_of(const TIMER_ELEMENT *element)
{
    return reinterpret_cast<Service *>(element->p_timerlist);
}

const char *text_of(const TIMER_ELEMENT *timer)
{
    return timer == nullptr ? "" : timer->timer_str;
}

// The two key comparisons of the hash table: 0 for a match.
int compare_expiry(const void *key1, const void *key2, int line, const char *func)
{
    auto a = static_cast<const TIMER_ELEMENT *>(key1);
    auto b = static_cast<const TIMER_ELEMENT *>(key2);
    if (a == nullptr || b == nullptr || a->timer_str[0] == '\0' || b->timer_str[0] == '\0') {
        error_line(line, func);
        printf(kCompareNullKey, text_of(a), text_of(b));
        return -1;
    }
    return strcmp(a->timer_str, b->timer_str);
}

// Every timer of the probe's expiry second (lookup and firing).
int Zor_Timer_Compare_Func(const void *key1, const void *key2)
{
    return compare_expiry(key1, key2, __LINE__, __func__);
}

// Only the probe's own timer (deletion).
int Zor_Timer_Del_Compare_Func(const void *key1, const void *key2)
{
    if (compare_expiry(key1, key2, __LINE__, __func__) != 0)
        return -1;
    auto a = static_cast<const TIMER_ELEMENT *>(key1);
    auto b = static_cast<const TIMER_ELEMENT *>(key2);
    return a->id == b->id && a->event == b->event && a->module == b->module ? 0 : -1;
}

// Leaves the list's cursor on the first timer (id, event, module).
pTIMER_ELEMENT find_timer(FIFOH list, int id, int event, int module)
{
    for (void *p = Fifo_Step_Get_First(list); p != nullptr; p = Fifo_Step_Next(list)) {
        auto timer = static_cast<pTIMER_ELEMENT>(p);
        if (timer->id == id && timer->event == event && timer->module == module)
            return timer;
    }
    return nullptr;
}

// Expiry of one timer found in its second's bucket; its bucket cell is let
// go of before this is called, so the callback may start the same
// (id, event, module) again.
void Zor_Timer_Proc_Func(const void *val)
{
    auto timer = static_cast<pTIMER_ELEMENT>(const_cast<void *>(val));
    if (timer == nullptr || timer->p_timerlist == nullptr) {
        error_line(__LINE__, __func__);
        return;
    }
    printf("Time Out : id = %d event = %d module = %d jiffer = %d\n", timer->id, timer->event, timer->module,
           timer->jiffer);
    pTIMER_LIST service = timer->p_timerlist;
    if (timer->id < 0 || timer->id > service->max || service->pList[timer->id].pfifo == nullptr) {
        error_line(__LINE__, __func__);
        return;
    }
    // (id, event, module) is unique among running timers, so the timer
    // itself is the one to take out of its id list.
    FIFOH list = service->pList[timer->id].pfifo;
    if (!fifo_cells::place_cursor_on(list, timer))
        return;
    Fifo_Step_Del_Now(list);
    printf("Time Out : Callback Func : id = %d event = %d module = %d jiffer = %d\n", timer->id, timer->event,
           timer->module, timer->jiffer);
    if (timer->p_callback != nullptr)
        timer->p_callback(timer->id, timer->event);
    Mem_Free(timer);
}

// The id's list, or NULL for a NULL service, an id out of range, or a
// missing list or hash table.
FIFOH id_list(NEW_PRTH rth, int id)
{
    auto service = static_cast<pTIMER_LIST>(rth);
    if (service == nullptr || id < 0 || id > service->max || service->pHash == nullptr)
        return nullptr;
    return service->pList[id].pfifo;
}

// Keys the timer by its first start second plus its duration.
void set_expiry(pTIMER_ELEMENT element)
{
    Timer *timer = timer_of(element);
    timer->expiry = static_cast<long long>(element->time.tv_sec) + element->jiffer;
    memset(element->timer_str, 0, sizeof element->timer_str);
    snprintf(element->timer_str, sizeof element->timer_str, "%lld", timer->expiry);
    element->hash = Zor_Hash_Fifo_Algorithm(element->p_timerlist->hash_table, element->timer_str,
                                            static_cast<int>(strlen(element->timer_str)));
}

void add_to_hash(pTIMER_ELEMENT element)
{
    Timer *timer = timer_of(element);
    Service *record = service_of(element);
    timer->keyed_in = record->firing_runs;
    timer->cell = fifo_cells::append(lhash_buckets::at(hash_of(&record->list), element->hash), element);
    if (timer->cell != nullptr && timer->expiry < record->next_second)
        record->oldest_late = std::min(record->oldest_late, timer->expiry);
}

// Unlinks every tombstone of the bucket in one pass.
void sweep(Service *record, unsigned index)
{
    fifo_cells::unlink_every(lhash_buckets::at(hash_of(&record->list), index), &tombstone);
    record->stopped[index] = 0;
}

// Turns the timer's cell into a tombstone. A bucket is swept once stopped
// cells make up more than half of it, so each stop costs O(1) on average;
// not while a run calls back, as the run is walking a bucket.
void remove_from_hash(pTIMER_ELEMENT element)
{
    Timer *timer = timer_of(element);
    if (timer->cell == nullptr)
        return;
    fifo_cells::replace_payload(timer->cell, tombstone_payload());
    timer->cell = nullptr;
    Service *record = service_of(element);
    auto index = static_cast<unsigned>(element->hash);
    int &stopped = record->stopped[index];
    if (2 * ++stopped > Fifo_GetCount(lhash_buckets::at(hash_of(&record->list), index)) && !record->firing)
        sweep(record, index);
}

// Stops the timer under the list's cursor.
void stop_current(FIFOH list, pTIMER_ELEMENT timer)
{
    remove_from_hash(timer);
    Fifo_Step_Del_Now(list);
    Mem_Free(timer);
}

// A run's own timer of the second being fired: the run began after it was keyed.
bool fires_with(const Timer *timer, const Service *record, long long second)
{
    return timer->expiry == second && timer->keyed_in < record->firing_runs;
}

struct Firing {
    Service *record;
    long long second;
};

void fire_if_due(void *payload, void *context)
{
    auto firing = static_cast<const Firing *>(context);
    if (payload == &tombstone || !fires_with(timer_of(payload), firing->record, firing->second))
        return;
    fifo_cells::replace_payload(timer_of(payload)->cell, tombstone_payload());
    timer_of(payload)->cell = nullptr;
    Zor_Timer_Proc_Func(payload);
}

void fire_second(Service *record, long long second)
{
    char key[sizeof tombstone.timer_str];
    snprintf(key, sizeof key, "%lld", second);
    unsigned index = lhash_buckets::index_of(hash_of(&record->list), key, static_cast<int>(strlen(key)));
    Firing firing{record, second};
    fifo_cells::visit(lhash_buckets::at(hash_of(&record->list), index), fire_if_due, &firing);
    sweep(record, index);
}

// The lowest distinct expiry seconds in [from, end) of the timers a run
// fires, at most kBatch of them, in ascending order.
constexpr int kBatch = 64;
struct DueSeconds {
    const Service *record;
    long long from, end;
    long long second[kBatch];
    int count;
};

void note_due(void *payload, void *context)
{
    auto due = static_cast<DueSeconds *>(context);
    if (payload == &tombstone)
        return;
    const Timer *timer = timer_of(payload);
    long long second = timer->expiry;
    if (second < due->from || second >= due->end || !fires_with(timer, due->record, second))
        return;
    long long *at = std::lower_bound(due->second, due->second + due->count, second);
    if (at == due->second + kBatch || (at < due->second + due->count && *at == second))
        return;
    int kept = std::min(due->count, kBatch - 1);
    std::copy_backward(at, due->second + kept, due->second + kept + 1);
    *at = second;
    due->count = kept + 1;
}

// Fires the seconds in [first, end), oldest first. A long stretch (after a
// silence, a step of the clock or a reset far into the past) visits only
// the seconds that have timers, found a batch at a time.
void fire_seconds(Service *record, long long first, long long end)
{
    ZOR_HASH_FIFO hash = hash_of(&record->list);
    unsigned buckets = lhash_buckets::count(hash);
    if (end - first <= static_cast<long long>(buckets)) {
        for (long long second = first; second < end; second++)
            fire_second(record, second);
        return;
    }
    DueSeconds due{record, first, end, {}, 0};
    do {
        due.count = 0;
        for (unsigned i = 0; i < buckets; i++)
            fifo_cells::visit(lhash_buckets::at(hash, i), note_due, &due);
        for (int i = 0; i < due.count; i++)
            fire_second(record, due.second[i]);
        if (due.count > 0)
            due.from = due.second[due.count - 1] + 1;
    } while (due.count == kBatch);
}

long clamp_to_long(long long value)
{
    return static_cast<long>(std::clamp<long long>(value, LONG_MIN, LONG_MAX));
}

NEW_PRTH creation_failed(int line)
{
    error_line(line, "Zor_New_Timer_Malloc");
    printf("Zor_New_Timer_Malloc : Create Zor New Timer Failed\n");
    return nullptr;
}

} // namespace

extern "C" {

NEW_PRTH Zor_New_Timer_Malloc(int max, int hash_table)
{
    ZOR_HASH_FIFO hash = Zor_Hash_Fifo_Make(hash_table, Zor_Timer_Compare_Func, Zor_Timer_Proc_Func,
                                            Zor_Timer_Del_Compare_Func);
    if (hash == nullptr)
        return nullptr;
    size_t buckets = lhash_buckets::count(hash);
    auto record = static_cast<Service *>(Mem_Malloc(static_cast<int>(sizeof(Service) + sizeof(int) * buckets)));
    if (record == nullptr) {
        Zor_Hash_Fifo_Free(static_cast<ZOR_HASH_FIFO *>(hash));
        return creation_failed(__LINE__);
    }
    record->stopped = reinterpret_cast<int *>(record + 1);
    pTIMER_LIST service = &record->list;
    service->pHash = hash;
    if (max >= 0 && max < INT_MAX / static_cast<int>(sizeof(NODE_TIMER)))
        service->pList = static_cast<pNODE_TIMER>(Mem_Malloc((max + 1) * static_cast<int>(sizeof(NODE_TIMER))));
    if (service->pList == nullptr) {
        Zor_Hash_Fifo_Free(static_cast<ZOR_HASH_FIFO *>(hash));
        Mem_Free(record);
        return creation_failed(__LINE__);
    }
    for (int id = 0; id <= max; id++)
        service->pList[id].pfifo = Fifo_Allocate(1);
    service->max = max;
    service->hash_table = hash_table;
    gettimeofday(&service->nowtime, nullptr);
    service->oldtime = service->nowtime;
    record->next_second = service->nowtime.tv_sec;
    record->oldest_late = LLONG_MAX;
    return record;
}

void Zor_New_Timer_Start(NEW_PRTH rth, Zor_New_Timeout pfunc, int id, int event, int jiffer, int module)
{
    auto service = static_cast<pTIMER_LIST>(rth);
    if (service == nullptr) {
        error_line(__LINE__, __func__);
        printf("Zor_New_Timer_Start : Timer Handle is null\n");
        return;
    }
    if (id < 0 || id > service->max || service->pHash == nullptr)
        return;
    FIFOH list = service->pList[id].pfifo;
    if (list == nullptr) {
        // The first start on a missing list only prepares it.
        service->pList[id].pfifo = Fifo_Allocate(1);
        if (service->pList[id].pfifo == nullptr)
            printf(kIdListNotMade);
        return;
    }
    if (Zor_New_Judge_Element_Wether_Exist(list, id, event, module) == 1) {
        libbase::print_error_at_spaced(kSourceFile, __LINE__, __func__);
        printf("Zor_New_Timer_Start : the event is exist . id = %d event = %d\n", id, event);
        return;
    }
    auto timer = static_cast<pTIMER_ELEMENT>(Mem_Malloc(sizeof(Timer)));
    if (timer == nullptr)
        return;
    timer->p_callback = pfunc;
    timer->id = id;
    timer->event = event;
    timer->jiffer = jiffer;
    timer->module = module;
    timer->p_timerlist = service;
    gettimeofday(&timer->time, nullptr);
    set_expiry(timer);
    if (Fifo_Push(list, timer) < 0) {
        Mem_Free(timer);
        return;
    }
    add_to_hash(timer);
}

void Zor_New_Timer_Stop(NEW_PRTH rth, int id, int event, int module)
{
    FIFOH list = id_list(rth, id);
    if (list == nullptr)
        return;
    pTIMER_ELEMENT timer = find_timer(list, id, event, module);
    if (timer != nullptr)
        stop_current(list, timer);
}

void Zor_New_Timer_Stop_All(NEW_PRTH rth, int id, int module)
{
    FIFOH list = id_list(rth, id);
    if (list == nullptr)
        return;
    void *p = Fifo_Step_Get_First(list);
    while (p != nullptr) {
        auto timer = static_cast<pTIMER_ELEMENT>(p);
        if (timer->module == module) {
            stop_current(list, timer);
            p = Fifo_Step_Get_Now(list);
        } else {
            p = Fifo_Step_Next(list);
        }
    }
}

void Zor_New_Timer_Reset(NEW_PRTH rth, int id, int event, int jiffer, int module)
{
    FIFOH list = id_list(rth, id);
    if (list == nullptr)
        return;
    pTIMER_ELEMENT timer = find_timer(list, id, event, module);
    if (timer == nullptr)
        return;
    remove_from_hash(timer);
    timer->jiffer = jiffer;
    set_expiry(timer);
    add_to_hash(timer);
}

void Zor_New_Timer_Run(NEW_PRTH rth)
{
    auto record = static_cast<Service *>(rth);
    if (record == nullptr || record->firing) // called from a callback: the run under way fires
        return;
    pTIMER_LIST service = &record->list;
    gettimeofday(&service->nowtime, nullptr);
    long long usec = static_cast<long long>(service->nowtime.tv_usec) - service->oldtime.tv_usec;
    long long sec = static_cast<long long>(service->nowtime.tv_sec) - service->oldtime.tv_sec;
    service->delaytime = clamp_to_long(usec);
    service->delaytime2 = clamp_to_long(sec);
    long long total = service->totaldelaytime + usec + sec * kMicro;
    long long loop = total / kMicro;
    // The loop probes loop seconds from the previous reading's second on.
    long long last_probed = static_cast<long long>(service->oldtime.tv_sec) + loop - 1;
    if (loop > 0)
        total -= loop * kMicro;
    // The state is complete before any callback runs.
    service->totaldelaytime = clamp_to_long(total);
    service->oldtime = service->nowtime;
    if (loop <= 0 || service->pHash == nullptr)
        return;
    long long first = std::min(record->next_second, record->oldest_late);
    record->next_second = std::max(record->next_second, last_probed + 1);
    record->oldest_late = LLONG_MAX;
    record->firing_runs++;
    record->firing = true;
    fire_seconds(record, first, record->next_second);
    record->firing = false;
}

int Zor_New_Judge_Element_Wether_Exist(FIFOH mfifo, int id, int event, int module)
{
    if (mfifo == nullptr) {
        error_line(__LINE__, __func__);
        return -1;
    }
    return find_timer(mfifo, id, event, module) != nullptr ? 1 : 0;
}

} // extern "C"
