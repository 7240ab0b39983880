// Mailboxes next to what an application would write instead: a pthread
// mutex around a std::deque of owned messages (header and body copied into
// a std::vector<char> outside the lock).
#include <benchmark/benchmark.h>

#include <pthread.h>

#include <cstring>
#include <deque>
#include <thread>
#include <vector>

#include "message.h"

namespace {

constexpr int kPosters = 4;
constexpr int kPerPoster = 5000;

// One message through one mailbox, on one thread.
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

// Four threads post kPerPoster messages each; this thread gets them all.
void BM_MessageFourPosters(benchmark::State &state)
{
    const int len = static_cast<int>(state.range(0));
    Message_Init(kPosters + 1);
    std::vector<char> body(static_cast<size_t>(len), 'x'), out(MESSAGE_BUF_SIZE);
    for (auto _ : state) {
        std::vector<std::thread> posters;
        for (int p = 1; p <= kPosters; p++)
            posters.emplace_back([&, p] {
                for (int i = 0; i < kPerPoster; i++)
                    Message_Post(0, p, i, body.data(), len);
            });
        int src, code, got;
        for (int taken = 0; taken < kPosters * kPerPoster;) {
            if (Message_Get(0, &src, &code, out.data(), &got) == 1)
                taken++;
            else
                std::this_thread::yield();  // as a polling application would
        }
        for (std::thread &t : posters)
            t.join();
    }
    state.SetItemsProcessed(state.iterations() * kPosters * kPerPoster);
}

struct Header {
    int msg, len, src_mod;
};

// The same with the deque: allocation and copy outside the lock.
void BM_DequeFourPosters(benchmark::State &state)
{
    const size_t len = static_cast<size_t>(state.range(0));
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    std::deque<std::vector<char>> queue;
    std::vector<char> body(len, 'x'), out(MESSAGE_BUF_SIZE);
    for (auto _ : state) {
        std::vector<std::thread> posters;
        for (int p = 1; p <= kPosters; p++)
            posters.emplace_back([&, p] {
                for (int i = 0; i < kPerPoster; i++) {
                    std::vector<char> m(sizeof(Header) + len);
                    Header h = {i, static_cast<int>(len), p};
                    memcpy(m.data(), &h, sizeof h);
                    memcpy(m.data() + sizeof h, body.data(), len);
                    pthread_mutex_lock(&mutex);
                    queue.push_back(std::move(m));
                    pthread_mutex_unlock(&mutex);
                }
            });
        for (int taken = 0; taken < kPosters * kPerPoster;) {
            std::vector<char> m;
            pthread_mutex_lock(&mutex);
            if (!queue.empty()) {
                m = std::move(queue.front());
                queue.pop_front();
            }
            pthread_mutex_unlock(&mutex);
            if (m.empty()) {
                std::this_thread::yield();
                continue;
            }
            Header h;
            memcpy(&h, m.data(), sizeof h);
            memcpy(out.data(), m.data() + sizeof h, static_cast<size_t>(h.len));
            benchmark::DoNotOptimize(out.data());
            taken++;
        }
        for (std::thread &t : posters)
            t.join();
    }
    state.SetItemsProcessed(state.iterations() * kPosters * kPerPoster);
}

} // namespace

BENCHMARK(BM_MessagePostGet)->Arg(16)->Arg(256)->Arg(4096)->Arg(14999);
BENCHMARK(BM_MessageFourPosters)->Arg(64)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DequeFourPosters)->Arg(64)->UseRealTime()->Unit(benchmark::kMillisecond);
