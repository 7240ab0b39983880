// zor_timer.cpp - the event timer service.
#include "zor_timer.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "internal/complain.h"
#include "mem.h"

constexpr size_t kPtr = sizeof(void *);
constexpr size_t kTimeval = sizeof(struct timeval);
static_assert(sizeof(NODE_TIMER) == kPtr, "id list layout");
static_assert(offsetof(TIMER_LIST, pHash) == kPtr, "service layout");
static_assert(offsetof(TIMER_LIST, max) == 2 * kPtr, "service layout");
static_assert(offsetof(TIMER_LIST, hash_table) == 2 * kPtr + 4, "service layout");
static_assert(offsetof(TIMER_LIST, oldtime) == 2 * kPtr + 8, "service layout");
static_assert(offsetof(TIMER_LIST, nowtime) == 2 * kPtr + 8 + kTimeval, "service layout");
static_assert(offsetof(TIMER_LIST, delaytime) == 2 * kPtr + 8 + 2 * kTimeval, "service layout");
static_assert(offsetof(TIMER_LIST, totaldelaytime) == offsetof(TIMER_LIST, delaytime) + 2 * sizeof(long),
              "service layout");
static_assert(offsetof(TIMER_ELEMENT, p_timerlist) == kPtr, "timer layout");
static_assert(offsetof(TIMER_ELEMENT, time) == 2 * kPtr, "timer layout");
static_assert(offsetof(TIMER_ELEMENT, timer_str) == 2 * kPtr + kTimeval, "timer layout");
static_assert(offsetof(TIMER_ELEMENT, jiffer) == 2 * kPtr + kTimeval + 52, "timer layout");
static_assert(offsetof(TIMER_ELEMENT, hash) == 2 * kPtr + kTimeval + 68, "timer layout");

namespace {

constexpr const char *kSourceFile = "zor_timer.cpp";
constexpr long long kMicro = 1000000;

// The record behind a handle: what applications see, then the next expiry
// second still to fire and, per hash bucket, the number of stopped cells.
// Carrying that second from run to run (rather than restarting from the
// previous reading's second) is what makes every consumed second fire
// exactly once, however the readings fall.
struct Service {
    TIMER_LIST list;
    long long next_second;
    int *stopped;  // max + 1 counters, in the same block after the record
};

// A running timer: the element, then its cell in the hash bucket, so that
// taking it out of the table costs the same however full the bucket is.
struct Timer {
    TIMER_ELEMENT element;
    pFIFO_M cell;
};

// What a stopped timer's bucket cell holds until the bucket is swept: a key
// no second has, so that no lookup matches it.
const TIMER_ELEMENT tombstone = [] {
    TIMER_ELEMENT t{};
    t.timer_str[0] = '-';
    return t;
}();

void error_line(int line, const char *func)
{
    libbase::print_error_at(kSourceFile, line, func);
}

ZOR_HASH_FIFO *hash_of(const TIMER_LIST *service)
{
    return static_cast<ZOR_HASH_FIFO *>(service->pHash);
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
        printf("Hash_Compare_Func : the parameter is null . key1 = %s key2 = %s\n", text_of(a), text_of(b));
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

// Leaves the list's cursor on timer itself; false when it is not there.
bool place_cursor_on(FIFOH list, const TIMER_ELEMENT *timer)
{
    for (void *p = Fifo_Step_Get_First(list); p != nullptr; p = Fifo_Step_Next(list)) {
        if (p == timer)
            return true;
    }
    return false;
}

// Expiry of one timer found in its second's bucket; the table unlinks the
// bucket cell after this returns, so the callback may start the same
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
    if (!place_cursor_on(list, timer))
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
void set_expiry(pTIMER_ELEMENT timer)
{
    memset(timer->timer_str, 0, sizeof timer->timer_str);
    snprintf(timer->timer_str, sizeof timer->timer_str, "%lld",
             static_cast<long long>(timer->time.tv_sec) + timer->jiffer);
    timer->hash = Zor_Hash_Fifo_Algorithm(timer->p_timerlist->hash_table, timer->timer_str,
                                          static_cast<int>(strlen(timer->timer_str)));
}

pFIFO bucket_of(const TIMER_ELEMENT *timer)
{
    auto table = static_cast<zor_hash_fifo_t *>(timer->p_timerlist->pHash);
    return static_cast<pFIFO>(table->List[timer->hash].Lfifo);
}

void add_to_hash(pTIMER_ELEMENT timer)
{
    auto self = reinterpret_cast<Timer *>(timer);
    self->cell = nullptr;
    if (Zor_Hash_Fifo_Set(hash_of(timer->p_timerlist), timer->timer_str, static_cast<int>(strlen(timer->timer_str)),
                          timer) == 1)
        self->cell = bucket_of(timer)->tail;
}

// Unlinks every stopped cell of the bucket in one pass; a cursor standing
// on one moves to the cell after it.
void sweep(pFIFO bucket)
{
    pFIFO_M prev = nullptr, next;
    for (pFIFO_M cell = bucket->head; cell != nullptr; cell = next) {
        next = cell->pNext;
        if (cell->pdata != &tombstone) {
            prev = cell;
            continue;
        }
        (prev == nullptr ? bucket->head : prev->pNext) = next;
        if (bucket->tail == cell)
            bucket->tail = prev;
        if (bucket->pos == cell)
            bucket->pos = next;
        bucket->mcount--;
        Mem_Free(cell);
    }
}

// Marks the timer's cell stopped; a bucket is swept once stopped cells
// make up more than half of it, so each stop costs O(1) on average.
void remove_from_hash(pTIMER_ELEMENT timer)
{
    auto self = reinterpret_cast<Timer *>(timer);
    if (self->cell == nullptr)
        return;
    self->cell->pdata = const_cast<TIMER_ELEMENT *>(&tombstone);
    self->cell = nullptr;
    int &stopped = reinterpret_cast<Service *>(timer->p_timerlist)->stopped[timer->hash];
    pFIFO bucket = bucket_of(timer);
    if (2 * ++stopped > bucket->mcount) {
        sweep(bucket);
        stopped = 0;
    }
}

// Stops the timer under the list's cursor.
void stop_current(FIFOH list, pTIMER_ELEMENT timer)
{
    remove_from_hash(timer);
    Fifo_Step_Del_Now(list);
    Mem_Free(timer);
}

void fire_second(pTIMER_LIST service, long long second)
{
    TIMER_ELEMENT probe{};
    snprintf(probe.timer_str, sizeof probe.timer_str, "%lld", second);
    Zor_Hash_Fifo_Traverse_Nodes(hash_of(service), probe.timer_str, static_cast<int>(strlen(probe.timer_str)),
                                 &probe);
}

// The distinct expiry seconds in [first, end) of the running timers, in
// ascending order; false when memory runs out.
bool due_seconds(const TIMER_LIST *service, long long first, long long end, std::vector<long long> &due)
{
    auto table = static_cast<const zor_hash_fifo_t *>(service->pHash);
    try {
        for (unsigned int i = 0; i <= table->max; i++) {
            auto bucket = static_cast<pFIFO>(table->List[i].Lfifo);
            for (pFIFO_M cell = bucket == nullptr ? nullptr : bucket->head; cell != nullptr; cell = cell->pNext) {
                long long second = strtoll(static_cast<pTIMER_ELEMENT>(cell->pdata)->timer_str, nullptr, 10);
                if (second >= first && second < end)
                    due.push_back(second);
            }
        }
    } catch (...) {
        return false;
    }
    std::sort(due.begin(), due.end());
    due.erase(std::unique(due.begin(), due.end()), due.end());
    return true;
}

// Fires the count seconds from first on, oldest first. A long catch-up
// (after the clock jumps ahead, say) visits only the seconds that have
// timers instead of every second in between.
void fire_seconds(pTIMER_LIST service, long long first, long long count)
{
    auto buckets = static_cast<const zor_hash_fifo_t *>(service->pHash)->max + 1LL;
    std::vector<long long> due;
    if (count > buckets && due_seconds(service, first, first + count, due)) {
        for (long long second : due)
            fire_second(service, second);
        return;
    }
    for (long long i = 0; i < count; i++)
        fire_second(service, first + i);
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
    int buckets = static_cast<int>(static_cast<zor_hash_fifo_t *>(hash)->max) + 1;
    auto record = static_cast<Service *>(Mem_Malloc(static_cast<int>(sizeof(Service) + sizeof(int) * static_cast<size_t>(buckets))));
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
            printf("pTimer->pList[id].pfifo == NULL \n");
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
    if (record == nullptr)
        return;
    pTIMER_LIST service = &record->list;
    gettimeofday(&service->nowtime, nullptr);
    long long usec = static_cast<long long>(service->nowtime.tv_usec) - service->oldtime.tv_usec;
    long long sec = static_cast<long long>(service->nowtime.tv_sec) - service->oldtime.tv_sec;
    service->delaytime = clamp_to_long(usec);
    service->delaytime2 = clamp_to_long(sec);
    long long total = service->totaldelaytime + usec + sec * kMicro;
    long long loop = total / kMicro;
    long long first = record->next_second;
    if (loop > 0) {
        total -= loop * kMicro;
        record->next_second += loop;
    }
    // The state is complete before any callback runs.
    service->totaldelaytime = clamp_to_long(total);
    service->oldtime = service->nowtime;
    if (loop > 0 && service->pHash != nullptr)
        fire_seconds(service, first, loop);
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
