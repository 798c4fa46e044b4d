// Sub-steps of a dam break: a block of liquid filling about a fifth of a
// walled box collapses under gravity. Reports million lattice-cell updates
// per second counted over the liquid cells only (MLUPS_liquid) and over every
// cell of the grid (MLUPS_grid), and each pass's share of the sub-step time.
//
//   bench/bin/solver_bench --benchmark_filter=DamBreak
//   valgrind --tool=callgrind --toggle-collect='*MAC_LBM_Solver3::solve*'
//       bench/bin/solver_bench --benchmark_filter=DamBreakFixed

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <memory>
#include <tuple>

#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/solver/MAC_LBM_Solver3.h"

namespace {

using namespace kelvar;
using namespace kelvar::fluid;

struct BenchFluid : MAC_LBM_Fluid3 {
    using MAC_LBM_Fluid3::acquireLiquidCell;
};

constexpr float kGravity = 9.81f;
// Sub-steps run before measuring, so that the pools and per-thread lists
// have grown and the block has started to move.
constexpr unsigned kWarmUpSubSteps = 3;

const char* const kPassNames[SolverPassTimes::PassCount] = {
    "cellArrays", "epsilon", "stream", "reconstruct", "massExchange",
    "collision",  "advect",  "label",  "rhoAfter",    "distribute",
};

// One scene per grid size and thread count, built on first use.
struct DamBreak {
    DamBreak(unsigned nx, unsigned ny, unsigned nz, unsigned threads) {
        fluid.setLargestLength(float(nx) / float(ny));
        fluid.setScale(Vector3<float>(float(nx) / float(ny), 1.0f, float(nz) / float(ny)));
        fluid.setDensity(1000.0f);
        fluid.setViscosity(0.05f);
        fluid.setCompressibility(0.1f);
        fluid.setMaxForce(kGravity);
        fluid.setResolution(nx * ny * nz);
        fluid.initialize();
        fluid.setDomainBoundaryCells();
        solver.attach(fluid);
        solver.initialize(threads);
        fill(Vector3<float>(0.0f, -kGravity * fluid.getAccelerationFactor(), 0.0f));
        for (unsigned s = 0; s < kWarmUpSubSteps; ++s) solver.solve(fluid.getSolverContext().getDt());
    }

    // Liquid over x < nx/2, y < 0.4 ny, the whole depth: a fifth of the box.
    void fill(const Vector3<float>& force) {
        auto& grid = fluid.refGrid();
        const unsigned nx = grid.getNx(), ny = grid.getNy(), nz = grid.getNz();
        const unsigned hx = nx / 2, hy = ny * 2 / 5;
        const Vector3<float>& origin = grid.getBox().min;
        for (unsigned i = 1; i < hx; ++i)
            for (unsigned j = 1; j < hy; ++j)
                for (unsigned k = 1; k + 1 < nz; ++k) {
                    LBM_Q19_MAC_Cell3F* cell = fluid.acquireLiquidCell();
                    cell->initialize();
                    const bool surface = i + 1 == hx || j + 1 == hy;
                    cell->setType(surface ? LBM_CELL_INTERFACE : LBM_CELL_FLUID);
                    cell->setMass(cell->getDensity());
                    cell->setEpsilon(1.0f);
                    cell->setForce(force);
                    cell->setGridMonoindex(grid.index(i, j, k));
                    grid.at(i, j, k) = cell;
                    for (unsigned n = 0; n < 8; ++n)
                        fluid.ref_MAC_ParticleSystem().createParticle(
                            Vector3<float>(origin.x + float(i) + ((n & 1) ? 0.75f : 0.25f),
                                           origin.y + float(j) + ((n & 2) ? 0.75f : 0.25f),
                                           origin.z + float(k) + ((n & 4) ? 0.75f : 0.25f)),
                            Vector3<float>(), 0, Vector2<float>());
                }
    }

    BenchFluid fluid;
    MAC_LBM_Solver3 solver;
};

DamBreak& scene(unsigned nx, unsigned ny, unsigned nz, unsigned threads) {
    static std::map<std::tuple<unsigned, unsigned, unsigned, unsigned>, std::unique_ptr<DamBreak>> scenes;
    auto& slot = scenes[{nx, ny, nz, threads}];
    if (!slot) {
        scenes.clear();  // one large scene in memory at a time
        auto& fresh = scenes[{nx, ny, nz, threads}];
        fresh = std::make_unique<DamBreak>(nx, ny, nz, threads);
        return *fresh;
    }
    return *slot;
}

void BM_DamBreak(benchmark::State& state) {
    const unsigned nx = unsigned(state.range(0)), ny = unsigned(state.range(1)), nz = unsigned(state.range(2));
    const unsigned threads = unsigned(state.range(3));
    DamBreak& dam = scene(nx, ny, nz, threads);
    const auto& grid = dam.fluid.getGrid();
    if (grid.getNx() != nx || grid.getNy() != ny || grid.getNz() != nz) {
        state.SkipWithError("grid came out with other counts");
        return;
    }

    SolverPassTimes times;
    dam.solver.setPassTimes(&times);
    double liquidUpdates = 0.0;
    for (auto _ : state) {
        liquidUpdates += dam.fluid.getLiquidCellCount();
        dam.solver.solve(dam.fluid.getSolverContext().getDt());
    }
    dam.solver.setPassTimes(nullptr);

    const double subSteps = double(state.iterations());
    state.counters["MLUPS_liquid"] = benchmark::Counter(liquidUpdates * 1e-6, benchmark::Counter::kIsRate);
    state.counters["MLUPS_grid"] =
        benchmark::Counter(subSteps * double(grid.getCount()) * 1e-6, benchmark::Counter::kIsRate);
    state.counters["liquid_cells"] = liquidUpdates / subSteps;
    state.counters["particles"] = dam.fluid.get_MAC_ParticleSystem().getParticlesCount();
    double total = 0.0;
    for (double s : times.seconds) total += s;
    for (unsigned p = 0; p < SolverPassTimes::PassCount; ++p)
        state.counters[std::string("%") + kPassNames[p]] = total > 0.0 ? 100.0 * times.seconds[p] / total : 0.0;
}

BENCHMARK(BM_DamBreak)
    ->ArgNames({"nx", "ny", "nz", "threads"})
    ->Args({64, 64, 64, 1})
    ->Args({64, 64, 64, 2})
    ->Args({206, 64, 64, 1})
    ->Args({206, 64, 64, 2})
    ->Args({128, 128, 128, 1})
    ->Args({128, 128, 128, 2})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->MinTime(2.0);

// A fixed number of sub-steps of a small dam break on one thread, for
// instruction counts under callgrind (instructions per sub-step divide by
// the iteration count, not by a timing-dependent one).
BENCHMARK(BM_DamBreak)
    ->Name("DamBreakFixed")
    ->ArgNames({"nx", "ny", "nz", "threads"})
    ->Args({48, 48, 48, 1})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(20);

}  // namespace
