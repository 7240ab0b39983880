// The event timer service holding 100 000 running timers (1000 ids with
// 100 timers each): runs that fire nothing, and start/stop of one timer.
#include <benchmark/benchmark.h>

#include "mem.h"
#include "zor_timer.h"

// The clock the library reads in this program, moved on by the benchmarks:
// runs that each consume up to 100 000 seconds cannot wait for the real one.
static timeval clock_now{1700000000, 300000};

extern "C" int gettimeofday(struct timeval *__restrict tv, void *__restrict) noexcept
{
    *tv = clock_now;
    return 0;
}

namespace {

constexpr int kIds = 1000;
constexpr int kTimers = 100000;
constexpr int kFarAway = 2000000000;  // seconds: nothing comes due while measuring

void on_timeout(int, int) {}

// spread: expiry seconds spread over an hour; otherwise all in one second.
NEW_PRTH make_service(bool spread)
{
    NEW_PRTH h = Zor_New_Timer_Malloc(kIds - 1, 16383);
    for (int i = 0; i < kTimers; i++)
        Zor_New_Timer_Start(h, on_timeout, i % kIds, i / kIds, kFarAway + (spread ? i % 3600 : 0), 0);
    return h;
}

void destroy(NEW_PRTH h)
{
    auto rec = static_cast<pTIMER_LIST>(h);
    for (int id = 0; id <= rec->max; id++)
        Fifo_Free(rec->pList[id].pfifo);
    Zor_Hash_Fifo_Free(static_cast<ZOR_HASH_FIFO *>(rec->pHash));
    Mem_Free(rec->pList);
    Mem_Free(h);
}

// Each run consumes state.range(0) seconds (the clock moves on by that
// much) and fires nothing.
void BM_Run_NothingDue(benchmark::State &state)
{
    NEW_PRTH h = make_service(true);
    for (auto _ : state) {
        clock_now.tv_sec += state.range(0);
        Zor_New_Timer_Run(h);
    }
    state.counters["seconds_per_run"] = static_cast<double>(state.range(0));
    destroy(h);
}
BENCHMARK(BM_Run_NothingDue)->Arg(0)->Arg(1)->Arg(10)->Arg(1000)->Arg(100000);

// Start and stop one more timer of one id.
void BM_StartStop(benchmark::State &state)
{
    bool spread = state.range(0) != 0;
    NEW_PRTH h = make_service(spread);
    for (auto _ : state) {
        Zor_New_Timer_Start(h, on_timeout, 7, 1000, kFarAway, 0);
        Zor_New_Timer_Stop(h, 7, 1000, 0);
    }
    state.SetLabel(spread ? "expiries spread over an hour" : "all in one second");
    destroy(h);
}
BENCHMARK(BM_StartStop)->Arg(1)->Arg(0);

// Reset one timer to another second and back.
void BM_Reset(benchmark::State &state)
{
    NEW_PRTH h = make_service(true);
    for (auto _ : state) {
        Zor_New_Timer_Reset(h, 7, 50, kFarAway + 10, 0);
        Zor_New_Timer_Reset(h, 7, 50, kFarAway + 20, 0);
    }
    destroy(h);
}
BENCHMARK(BM_Reset);

} // namespace
