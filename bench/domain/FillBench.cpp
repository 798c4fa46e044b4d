#include <benchmark/benchmark.h>

#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_geometry/MeshPrimitives.h"

using namespace kelvar;
using namespace kelvar::fluid;

namespace {

constexpr unsigned kEdge = 128;

// A domain of (kEdge + 2)^3 cells and a world box mesh over its inner kEdge^3
// cells, given in cells from the grid's min corner.
struct Domain {
    explicit Domain(unsigned threads) {
        const float side = float(kEdge + 2) - 0.5f;
        fluid.setScale({side, side, side});
        fluid.setResolution(unsigned(side * side * side));
        fluid.setThreads(threads);
        const Vector3<float>& min = fluid.getGrid().getBox().min;
        box = makeBoxMesh({min + Vector3<float>(1.2f, 1.2f, 1.2f), min + Vector3<float>(128.8f, 128.8f, 128.8f)}, 4);
        box.transform(fluid.getXformGridToWorld().getMatrix());
    }
    MAC_LBM_Fluid3 fluid;
    Mesh box;
};

// Fills 128^3 cells from empty: voxelisation, 2M new cells, 16M particles.
void BM_EmitBox(benchmark::State& state) {
    Domain domain(unsigned(state.range(0)));
    for (auto _ : state) {
        state.PauseTiming();
        domain.fluid.initialize();
        state.ResumeTiming();
        domain.fluid.setFluidCells(domain.box, {0.0f, -1.0f, 0.0f}, 1.0f, 7, 1);
    }
    state.counters["cells"] = double(domain.fluid.getLiquidCellCount());
    state.SetItemsProcessed(state.iterations() * domain.fluid.getLiquidCellCount());
}
BENCHMARK(BM_EmitBox)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

// Emission into liquid that is already there: every cell is reset, none made.
void BM_EmitIntoLiquid(benchmark::State& state) {
    Domain domain(unsigned(state.range(0)));
    domain.fluid.setFluidCells(domain.box, {}, 1.0f, 7, 1);
    for (auto _ : state) domain.fluid.setFluidCells(domain.box, {0.0f, -1.0f, 0.0f}, 1.0f, 7, 1);
    state.SetItemsProcessed(state.iterations() * domain.fluid.getLiquidCellCount());
}
BENCHMARK(BM_EmitIntoLiquid)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

// A drain slab moving up and down through the liquid: marking and the sweep
// over the whole grid. The marks are cleared by hand, as a solver step would.
void BM_MoveSinkSlab(benchmark::State& state) {
    Domain domain(unsigned(state.range(0)));
    domain.fluid.setFluidCells(domain.box, {}, 0.0f, 7, 1);
    const Vector3<float>& min = domain.fluid.getGrid().getBox().min;
    Mesh slabs[2];
    for (unsigned s = 0; s < 2; ++s) {
        const float y = 40.2f + 20.0f * float(s);
        slabs[s] = makeBoxMesh({min + Vector3<float>(1.2f, y, 1.2f), min + Vector3<float>(128.8f, y + 3.6f, 128.8f)});
        slabs[s].transform(domain.fluid.getXformGridToWorld().getMatrix());
        slabs[s].setId(3);
    }
    unsigned s = 0;
    for (auto _ : state) {
        state.PauseTiming();
        for (LBM_Cell3<float>* cell : domain.fluid.refGrid().refCells())
            if (cell != nullptr && cell->isSink()) static_cast<LBM_SinkCell3<float>*>(cell)->setFlags(0);
        state.ResumeTiming();
        domain.fluid.setSinkCells(slabs[s], true);
        s ^= 1u;
    }
}
BENCHMARK(BM_MoveSinkSlab)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

// Gravity on every liquid cell of the filled domain.
void BM_SetAcceleration(benchmark::State& state) {
    Domain domain(1);
    domain.fluid.setFluidCells(domain.box, {}, 0.0f, 7, 1);
    for (auto _ : state) domain.fluid.setAcceleration({0.0f, -9.81f, 0.0f});
    state.SetItemsProcessed(state.iterations() * domain.fluid.getLiquidCellCount());
}
BENCHMARK(BM_SetAcceleration)->Unit(benchmark::kMillisecond);

}  // namespace
