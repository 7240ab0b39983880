// The list-bucket hash table next to std::unordered_map: lookups and
// insert/delete churn in a table holding n elements.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "lhash.h"

namespace {

struct Item {
    char key[16];
};

int same_key(const void *element, const void *val)
{
    return strcmp(static_cast<const Item *>(element)->key, static_cast<const Item *>(val)->key);
}

void ignore(const void *) {}

std::vector<Item> make_items(int n)
{
    std::vector<Item> items(static_cast<size_t>(n));
    for (int i = 0; i < n; i++)
        snprintf(items[i].key, sizeof items[i].key, "key%d", i);
    return items;
}

ZOR_HASH_FIFO *make_table(std::vector<Item> &items)
{
    auto table = static_cast<ZOR_HASH_FIFO *>(Zor_Hash_Fifo_Make(16383, same_key, ignore, same_key));
    for (Item &item : items)
        Zor_Hash_Fifo_Set(table, item.key, -1, &item);
    return table;
}

std::unordered_map<std::string_view, Item *> make_map(std::vector<Item> &items)
{
    std::unordered_map<std::string_view, Item *> map;
    for (Item &item : items)
        map.emplace(item.key, &item);
    return map;
}

void BM_Lhash_Get(benchmark::State &state)
{
    auto items = make_items(static_cast<int>(state.range(0)));
    ZOR_HASH_FIFO *table = make_table(items);
    size_t i = 0;
    for (auto _ : state) {
        Item &probe = items[i++ % items.size()];
        benchmark::DoNotOptimize(Zor_Hash_Fifo_Get(table, probe.key, -1, &probe));
    }
    Zor_Hash_Fifo_Free(table);
}
BENCHMARK(BM_Lhash_Get)->Arg(1000)->Arg(100000);

void BM_UnorderedMap_Get(benchmark::State &state)
{
    auto items = make_items(static_cast<int>(state.range(0)));
    auto map = make_map(items);
    size_t i = 0;
    for (auto _ : state) {
        Item &probe = items[i++ % items.size()];
        benchmark::DoNotOptimize(map.find(probe.key));
    }
}
BENCHMARK(BM_UnorderedMap_Get)->Arg(1000)->Arg(100000);

void BM_Lhash_SetDel(benchmark::State &state)
{
    auto items = make_items(static_cast<int>(state.range(0)));
    ZOR_HASH_FIFO *table = make_table(items);
    Item extra;
    snprintf(extra.key, sizeof extra.key, "extra");
    for (auto _ : state) {
        Zor_Hash_Fifo_Set(table, extra.key, -1, &extra);
        Zor_Hash_Fifo_Del_Node(table, extra.key, -1, &extra);
    }
    Zor_Hash_Fifo_Free(table);
}
BENCHMARK(BM_Lhash_SetDel)->Arg(1000)->Arg(100000);

void BM_UnorderedMap_SetDel(benchmark::State &state)
{
    auto items = make_items(static_cast<int>(state.range(0)));
    auto map = make_map(items);
    Item extra;
    snprintf(extra.key, sizeof extra.key, "extra");
    for (auto _ : state) {
        map.emplace(extra.key, &extra);
        map.erase(extra.key);
    }
}
BENCHMARK(BM_UnorderedMap_SetDel)->Arg(1000)->Arg(100000);

} // namespace
