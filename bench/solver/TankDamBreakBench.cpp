// The reference dam break that the library's speed is compared on: a tank
// of 206 x 64 x 64 cells (3.22 m x 1 m x 1 m at 64 cells per metre) with a
// water column of 79 x 35 x 62 cells against its -x wall, gravity 9.81,
// viscosity 0.05 and compressibility 1, filled from a box mesh as a host
// would. Reports seconds per sub-step, MLUPS over all cells and over liquid
// cells, each pass's share of the sub-step and the heap memory the scene
// holds per liquid cell.
//
//   bench/bin/solver_tank_bench
//   bench/bin/solver_tank_bench --benchmark_filter=/threads:2

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <memory>

#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/solver/MAC_LBM_Solver3.h"
#include "kv_geometry/MeshPrimitives.h"

namespace {

using namespace kelvar;
using namespace kelvar::fluid;

constexpr unsigned kNx = 206, kNy = 64, kNz = 64;
// The column in cells, from the first cell inside the walls.
constexpr unsigned kColumnX = 79, kColumnY = 35, kColumnZ = 62;
constexpr float kCellsPerMetre = 64.0f;
constexpr float kGravity = 9.81f;
constexpr float kViscosity = 0.05f;
constexpr float kCompressibility = 1.0f;
constexpr float kExpectedSpeed = 3.0f;
constexpr unsigned kWarmUpSubSteps = 3;

const char* const kPassNames[SolverPassTimes::PassCount] = {
    "cellArrays", "epsilon", "stream", "reconstruct", "massExchange",
    "collision",  "advect",  "label",  "rhoAfter",    "distribute",
};

// Bytes the process holds from the heap (small blocks and mapped ones).
double heapBytes() {
    const struct mallinfo2 info = mallinfo2();
    return double(info.uordblks) + double(info.hblkhd);
}

struct TankDamBreak {
    explicit TankDamBreak(unsigned threads) {
        const float length = float(kNx) / kCellsPerMetre;
        fluid.setLargestLength(length);
        fluid.setScale(Vector3<float>(length, float(kNy) / kCellsPerMetre, float(kNz) / kCellsPerMetre));
        fluid.setDensity(1000.0f);
        fluid.setViscosity(kViscosity);
        fluid.setCompressibility(kCompressibility);
        fluid.setMaxForce(kGravity);
        fluid.setMaxInitialSpeed(kExpectedSpeed);
        fluid.setResolution(kNx * kNy * kNz);
        fluid.initialize();
        fluid.setDomainBoundaryCells();
        // Faces on the cell-centre planes of the column's first and last
        // cells, so that its outer layer becomes the interface.
        const Vector3<float>& origin = fluid.getGrid().getBox().min;
        const Vector3<float> low = origin + Vector3<float>(1.5f, 1.5f, 1.5f);
        const Vector3<float> high = origin + Vector3<float>(float(kColumnX) + 0.5f, float(kColumnY) + 0.5f,
                                                            float(kColumnZ) + 0.5f);
        fluid.setFluidCells(makeBoxMesh(Box3<float>(fluid.gridToWorldPosition(low), fluid.gridToWorldPosition(high))),
                            Vector3<float>(), 0.5f, 1, 1);
        solver.attach(fluid);
        solver.initialize(threads);
        for (unsigned s = 0; s < kWarmUpSubSteps; ++s) step();
    }

    void step() {
        fluid.setAcceleration(Vector3<float>(0.0f, -kGravity, 0.0f));
        solver.solve(fluid.getSolverContext().getDt());
    }

    MAC_LBM_Fluid3 fluid;
    MAC_LBM_Solver3 solver;
};

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
