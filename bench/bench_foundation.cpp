// Allocation through the default hooks, array-list pushback and binary search.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <vector>

#include "TEVRA_ArrayList.h"
#include "TEVRA_Util.h"

static void BM_TevraMallocFree(benchmark::State &state) {
    for (auto _ : state) {
        void *p = tevra_malloc(64, "bench", __LINE__);
        benchmark::DoNotOptimize(p);
        tevra_free(p);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_TevraMallocFree);

static void BM_SystemMallocFree(benchmark::State &state) {
    for (auto _ : state) {
        void *p = std::malloc(64);
        benchmark::DoNotOptimize(p);
        std::free(p);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SystemMallocFree);

static void BM_ArrayListPushback(benchmark::State &state) {
    static int item = 1;
    const int n = static_cast<int>(state.range(0));
    for (auto _ : state) {
        TEVRA_ArrayList *list = tevra_arraylist_new(nullptr, nullptr);
        for (int i = 0; i < n; ++i)
            tevra_arraylist_pushback(list, &item);
        benchmark::DoNotOptimize(list->items);
        tevra_arraylist_free(list);
    }
    state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_ArrayListPushback)->Arg(1000)->Arg(100000);

static int compare_ints(const void *key, const void *element) {
    int a = *static_cast<const int *>(key);
    int b = *static_cast<const int *>(element);
    return (a > b) - (a < b);
}

static void BM_Bsearch10000(benchmark::State &state) {
    std::vector<int> values(10000);
    for (int i = 0; i < 10000; ++i)
        values[i] = i * 2;
    int key = 0;
    long index = 0;
    for (auto _ : state) {
        key = (key + 7919) % 20000;
        benchmark::DoNotOptimize(tevra_bsearch(&key, values.data(), 10000, sizeof(int),
                                               compare_ints, &index));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Bsearch10000);

BENCHMARK_MAIN();
