// Sub-steps of the reference tank dam break (bench/TankDamBreak.h). Reports
// seconds per sub-step, MLUPS over all cells and over liquid cells, each
// pass's share of the sub-step and the heap memory the scene holds per
// liquid cell.
//
//   bench/bin/solver_tank_bench
//   bench/bin/solver_tank_bench --benchmark_filter=/threads:2

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <memory>

#include "TankDamBreak.h"

namespace {

using namespace kelvar;
using namespace kelvar::fluid;
using namespace kelvar::bench;

const char* const kPassNames[SolverPassTimes::PassCount] = {
    "cellArrays", "epsilon", "stream", "reconstruct", "massExchange",
    "collision",  "advect",  "label",  "rhoAfter",    "distribute",
};

// Bytes the process holds from the heap (small blocks and mapped ones).
double heapBytes() {
    const struct mallinfo2 info = mallinfo2();
    return double(info.uordblks) + double(info.hblkhd);
}

void BM_TankDamBreak(benchmark::State& state) {
    const unsigned threads = unsigned(state.range(0));
    const double heapBefore = heapBytes();
    auto dam = std::make_unique<TankDamBreak>(threads);
    const double sceneBytes = heapBytes() - heapBefore;
    const auto& grid = dam->fluid.getGrid();
    if (grid.getNx() != kNx || grid.getNy() != kNy || grid.getNz() != kNz) {
        state.SkipWithError("grid came out with other counts");
        return;
    }

    SolverPassTimes times;
    dam->solver.setPassTimes(&times);
    double liquidUpdates = 0.0;
    for (auto _ : state) {
        liquidUpdates += dam->fluid.getLiquidCellCount();
        dam->step();
    }
    dam->solver.setPassTimes(nullptr);

    const double subSteps = double(state.iterations());
    const double liquidCells = liquidUpdates / subSteps;
    state.counters["s_per_substep"] = benchmark::Counter(subSteps, benchmark::Counter::kIsRate |
                                                                       benchmark::Counter::kInvert);
    state.counters["MLUPS_liquid"] = benchmark::Counter(liquidUpdates * 1e-6, benchmark::Counter::kIsRate);
    state.counters["MLUPS_grid"] =
        benchmark::Counter(subSteps * double(grid.getCount()) * 1e-6, benchmark::Counter::kIsRate);
    state.counters["liquid_cells"] = liquidCells;
    state.counters["particles"] = dam->fluid.get_MAC_ParticleSystem().getParticlesCount();
    state.counters["bytes_per_liquid_cell"] = liquidCells > 0.0 ? sceneBytes / liquidCells : 0.0;
    double total = 0.0;
    for (double s : times.seconds) total += s;
    for (unsigned p = 0; p < SolverPassTimes::PassCount; ++p)
        state.counters[std::string("%") + kPassNames[p]] = total > 0.0 ? 100.0 * times.seconds[p] / total : 0.0;
}

BENCHMARK(BM_TankDamBreak)
    ->ArgName("threads")
    ->Arg(1)
    ->Arg(2)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(20);

}  // namespace
