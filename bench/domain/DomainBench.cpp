#include <benchmark/benchmark.h>

#include <vector>

#include "kv_fluids_dyn/domain/CellPool.h"
#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/lattice/LBM_CellType.h"

using namespace kelvar;
using namespace kelvar::fluid;

namespace {

// A 32 x 32 x 32 domain, walled, with liquid in every inner cell moving
// in a gentle shear.
struct LiquidBox {
    LiquidBox() {
        fluid.setResolution(32 * 32 * 32);
        fluid.initialize();
        fluid.setDomainBoundaryCells();
        const auto& grid = fluid.getGrid();
        cells.resize(grid.getCount());
        for (unsigned n = 0; n < grid.getCount(); ++n) {
            if (fluid.getGrid().at(n) != nullptr) continue;
            cells[n].setType(LBM_CELL_FLUID);
            cells[n].setVelocity({0.001f * float(n % 32), 0.0f, -0.002f});
            fluid.refGrid().at(n) = &cells[n];
        }
    }
    MAC_LBM_Fluid3 fluid;
    std::vector<LBM_Q19_MAC_Cell3F> cells;
};

void BM_GetNeighborCellsByIndex(benchmark::State& state) {
    LiquidBox box;
    const auto& grid = box.fluid.getGrid();
    MAC_LBM_Fluid3::NeighborArray out(18);
    for (auto _ : state) {
        for (unsigned n = 0; n < grid.getCount(); ++n) {
            box.fluid.getNeighborCells(n, grid, out);
            benchmark::DoNotOptimize(out.data());
        }
    }
    state.SetItemsProcessed(state.iterations() * grid.getCount());
}
BENCHMARK(BM_GetNeighborCellsByIndex);

void BM_EvalVelocityAt(benchmark::State& state) {
    LiquidBox box;
    std::vector<Vector3<float>> points;
    for (unsigned n = 0; n < 4096; ++n)
        points.push_back({float(n % 29) - 14.3f, float((n / 29) % 29) - 14.7f, float(n % 23) - 11.1f});
    for (auto _ : state) {
        for (const Vector3<float>& p : points) benchmark::DoNotOptimize(box.fluid.evalVelocityAt(p));
    }
    state.SetItemsProcessed(state.iterations() * points.size());
}
BENCHMARK(BM_EvalVelocityAt);

void BM_CellPoolChurn(benchmark::State& state) {
    CellPool<LBM_Q19_MAC_Cell3F> pool;
    std::vector<LBM_Q19_MAC_Cell3F*> held;
    for (unsigned n = 0; n < 4096; ++n) held.push_back(pool.acquire());
    for (auto _ : state) {
        for (unsigned n = 0; n < 4096; n += 2) pool.release(held[n]);
        for (unsigned n = 0; n < 4096; n += 2) held[n] = pool.acquire();
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * 4096);
}
BENCHMARK(BM_CellPoolChurn);

void BM_SetDomainBoundaryCells(benchmark::State& state) {
    MAC_LBM_Fluid3 fluid;
    fluid.setResolution(64 * 64 * 64);
    for (auto _ : state) {
        fluid.initialize();
        fluid.setDomainBoundaryCells();
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_SetDomainBoundaryCells);

}  // namespace
