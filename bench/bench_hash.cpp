// Tree-bucket hash table next to std::unordered_map: filling and emptying,
// and lookups that hit, with string keys.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "hash.h"

namespace {

constexpr int kMask = 16383;

int compare_strings(const void *a, const void *b)
{
    return strcmp(static_cast<const char *>(a), static_cast<const char *>(b));
}

void keep(void *) {}

ZOR_HASH *H(ZOR_HASH table) { return static_cast<ZOR_HASH *>(table); }

std::vector<std::string> make_keys(int n)
{
    std::vector<std::string> keys;
    keys.reserve(static_cast<size_t>(n));
    for (int i = 0; i < n; i++)
        keys.push_back("subscriber-" + std::to_string(i * 7919));
    return keys;
}

void BM_ZorHash_SetDel(benchmark::State &state)
{
    auto keys = make_keys(static_cast<int>(state.range(0)));
    ZOR_HASH table = Zor_Hash_Make(kMask, compare_strings, keep);
    for (auto _ : state) {
        for (auto &k : keys)
            Zor_Hash_Set(H(table), k.c_str(), -1, k.c_str());
        for (auto &k : keys)
            Zor_Hash_Del_Node(H(table), k.data(), -1, k.c_str());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    Zor_Hash_Free(H(table));
}

void BM_UnorderedMap_InsertErase(benchmark::State &state)
{
    auto keys = make_keys(static_cast<int>(state.range(0)));
    std::unordered_map<std::string_view, const char *> map;
    for (auto _ : state) {
        for (auto &k : keys)
            map.emplace(k, k.c_str());
        for (auto &k : keys)
            map.erase(k);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_ZorHash_Get(benchmark::State &state)
{
    auto keys = make_keys(static_cast<int>(state.range(0)));
    ZOR_HASH table = Zor_Hash_Make(kMask, compare_strings, keep);
    for (auto &k : keys)
        Zor_Hash_Set(H(table), k.c_str(), -1, k.c_str());
    for (auto _ : state) {
        for (auto &k : keys)
            benchmark::DoNotOptimize(Zor_Hash_Get(H(table), k.c_str(), -1, k.c_str()));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    Zor_Hash_Free(H(table));
}

void BM_UnorderedMap_Find(benchmark::State &state)
{
    auto keys = make_keys(static_cast<int>(state.range(0)));
    std::unordered_map<std::string_view, const char *> map;
    for (auto &k : keys)
        map.emplace(k, k.c_str());
    for (auto _ : state) {
        for (auto &k : keys)
            benchmark::DoNotOptimize(map.find(k));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_ZorHash_MakeFree(benchmark::State &state)
{
    for (auto _ : state)
        Zor_Hash_Free(H(Zor_Hash_Make(static_cast<int>(state.range(0)), compare_strings, keep)));
}

} // namespace

BENCHMARK(BM_ZorHash_SetDel)->Arg(1000)->Arg(100000);
BENCHMARK(BM_UnorderedMap_InsertErase)->Arg(1000)->Arg(100000);
BENCHMARK(BM_ZorHash_Get)->Arg(1000)->Arg(100000);
BENCHMARK(BM_UnorderedMap_Find)->Arg(1000)->Arg(100000);
BENCHMARK(BM_ZorHash_MakeFree)->Arg(15)->Arg(16383);
