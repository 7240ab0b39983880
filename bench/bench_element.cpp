// Reading the last of 100 elements from a full body, next to a plain copy of
// its value and a copy of the whole body.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>

#include "element.h"

namespace {

constexpr unsigned kElements = 100;
constexpr unsigned kValueLen = 92;  // 100 elements of 8 + 92 bytes fill the body

std::unique_ptr<M_Body> FullBody(bool same_tag)
{
    auto md = std::make_unique<M_Body>();
    md->len = 0;
    unsigned char value[kValueLen];
    for (unsigned i = 0; i < kElements; i++) {
        memset(value, static_cast<int>(i), sizeof value);
        element_add_data(md.get(), same_tag ? 1 : i, value, sizeof value);
    }
    return md;
}

void BM_GetLastByTag(benchmark::State &state)
{
    auto md = FullBody(false);
    unsigned char out[kValueLen];
    unsigned int len;
    for (auto _ : state) {
        benchmark::DoNotOptimize(element_get_data(md.get(), kElements - 1, out, sizeof out, &len));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_GetLastByTag);

void BM_GetLastByIndex(benchmark::State &state)
{
    auto md = FullBody(true);
    unsigned char out[kValueLen];
    unsigned int len;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            element_get_data_by_index(md.get(), 1, out, kElements - 1, sizeof out, &len));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_GetLastByIndex);

void BM_MemcpyValue(benchmark::State &state)
{
    auto md = FullBody(false);
    unsigned char out[kValueLen];
    const unsigned char *value = md->buf + md->len - kValueLen;
    for (auto _ : state) {
        benchmark::DoNotOptimize(value);
        memcpy(out, value, sizeof out);
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_MemcpyValue);

// What a read would cost on top of its walk if it copied the body first.
void BM_MemcpyWholeBody(benchmark::State &state)
{
    auto md = FullBody(false);
    auto local = std::make_unique<M_Body>();
    for (auto _ : state) {
        benchmark::DoNotOptimize(md.get());
        memcpy(local.get(), md.get(), sizeof(M_Body));
        benchmark::DoNotOptimize(local.get());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_MemcpyWholeBody);

} // namespace
