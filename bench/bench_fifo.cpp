// The FIFO list as a queue next to std::list<void*>: a million pointers
// pushed at the tail, then pulled from the head.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <list>

#include "fifo.h"

namespace {

constexpr int kCount = 1000000;

void *Payload(int i)
{
    return reinterpret_cast<void *>(static_cast<uintptr_t>(i) + 1);
}

void BM_FifoPushPull(benchmark::State &state)
{
    FIFOH list = Fifo_Allocate(kCount);
    for (auto _ : state) {
        for (int i = 0; i < kCount; i++)
            Fifo_Push(list, Payload(i));
        for (int i = 0; i < kCount; i++)
            benchmark::DoNotOptimize(Fifo_Pull(list));
    }
    state.SetItemsProcessed(state.iterations() * kCount);
    Fifo_FreeEx(list);
}

void BM_StdListPushPull(benchmark::State &state)
{
    std::list<void *> list;
    for (auto _ : state) {
        for (int i = 0; i < kCount; i++)
            list.push_back(Payload(i));
        for (int i = 0; i < kCount; i++) {
            benchmark::DoNotOptimize(list.front());
            list.pop_front();
        }
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}

} // namespace

BENCHMARK(BM_FifoPushPull)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StdListPushPull)->Unit(benchmark::kMillisecond);
