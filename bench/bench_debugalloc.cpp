// The debug allocator's throughput; it is switched on before anything else
// allocates, so this program runs apart from the other foundation benchmarks.
#include <benchmark/benchmark.h>

#include "TEVRA_Util.h"

static void BM_DebugMallocFree(benchmark::State &state) {
    for (auto _ : state) {
        void *p = tevra_malloc(64, "bench", __LINE__);
        benchmark::DoNotOptimize(p);
        tevra_free(p);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_DebugMallocFree)->Threads(1)->Threads(2)->UseRealTime();

int main(int argc, char **argv) {
    if (tevra_setdebugalloc() != 1)
        return 1;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
