#include <benchmark/benchmark.h>

#include <thread>

#include "kv_basic/Array.h"
#include "kv_fluids_dyn/parallel/RunParallel.h"

namespace {

using kelvar::Array;
using kelvar::fluid::runParallel;

constexpr unsigned int kThreads = 2;

// Cost of one pass of runParallel on two threads: the split, waking the
// parked worker, the launcher's own range and the barrier.
void BM_RunParallelPass(benchmark::State& state) {
    Array<float> values;
    values.resize(uint32_t(state.range(0)), 1.0f);
    for (auto _ : state) {
        runParallel(values, [](unsigned int, float& v) { v = v * 0.5f + 0.5f; }, kThreads);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * state.range(0));
}
BENCHMARK(BM_RunParallelPass)->Arg(0)->Arg(64)->Arg(4096);

// The same pass with two threads created and joined per pass, for comparison.
void BM_ThreadsCreatedPerPass(benchmark::State& state) {
    Array<float> values;
    values.resize(uint32_t(state.range(0)), 1.0f);
    const uint32_t half = values.size() / 2;
    for (auto _ : state) {
        auto work = [&](uint32_t first, uint32_t end) {
            for (uint32_t i = first; i < end; ++i) values[i] = values[i] * 0.5f + 0.5f;
        };
        std::thread first(work, 0u, half);
        std::thread second(work, half, values.size());
        first.join();
        second.join();
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * state.range(0));
}
BENCHMARK(BM_ThreadsCreatedPerPass)->Arg(0)->Arg(64)->Arg(4096);

}  // namespace
