// Post + get of one message through a mailbox, next to the plain baseline of
// a mutex-guarded std::deque of owned bodies.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "message.h"

namespace {

void BM_MessagePostGet(benchmark::State &state)
{
    const int len = static_cast<int>(state.range(0));
    Message_Init(2);
    std::vector<char> body(static_cast<size_t>(len) + 1, 'x'), out(MESSAGE_BUF_SIZE);
    int src, code, got;
    for (auto _ : state) {
        Message_Post(1, 0, 7, body.data(), len);
        Message_Get(1, &src, &code, out.data(), &got);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(state.iterations() * len);
}

struct Queued {
    int msg, src;
    std::string body;
};

void BM_DequeBaselinePostGet(benchmark::State &state)
{
    const size_t len = static_cast<size_t>(state.range(0));
    std::mutex mutex;
    std::deque<Queued> queue;
    std::vector<char> body(len + 1, 'x'), out(MESSAGE_BUF_SIZE);
    for (auto _ : state) {
        Queued q{7, 0, std::string(body.data(), len)};
        {
            std::lock_guard<std::mutex> lock(mutex);
            queue.push_back(std::move(q));
        }
        Queued taken;
        {
            std::lock_guard<std::mutex> lock(mutex);
            taken = std::move(queue.front());
            queue.pop_front();
        }
        memcpy(out.data(), taken.body.data(), taken.body.size());
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(len));
}

// What a zero-filled full-size record per message would cost instead.
void BM_FullRecordBaselinePostGet(benchmark::State &state)
{
    struct Full {
        int msg, len, src_mod;
        char buf[MESSAGE_BUF_SIZE];
    };
    const size_t len = static_cast<size_t>(state.range(0));
    std::mutex mutex;
    std::deque<Full *> queue;
    std::vector<char> body(len + 1, 'x'), out(MESSAGE_BUF_SIZE);
    for (auto _ : state) {
        auto rec = static_cast<Full *>(calloc(1, sizeof(Full)));
        rec->msg = 7;
        rec->len = static_cast<int>(len);
        memcpy(rec->buf, body.data(), len);
        {
            std::lock_guard<std::mutex> lock(mutex);
            queue.push_back(rec);
        }
        Full *taken;
        {
            std::lock_guard<std::mutex> lock(mutex);
            taken = queue.front();
            queue.pop_front();
        }
        memcpy(out.data(), taken->buf, static_cast<size_t>(taken->len));
        free(taken);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(len));
}

} // namespace

BENCHMARK(BM_MessagePostGet)->Arg(16)->Arg(256)->Arg(4096)->Arg(14999);
BENCHMARK(BM_DequeBaselinePostGet)->Arg(16)->Arg(256)->Arg(4096)->Arg(14999);
BENCHMARK(BM_FullRecordBaselinePostGet)->Arg(16)->Arg(256)->Arg(4096)->Arg(14999);
