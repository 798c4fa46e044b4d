#include <benchmark/benchmark.h>

#include <vector>

#include "kv_fluids_dyn/lattice/LBM_Q19_MAC_Cell3F.h"

using namespace kelvar;
using namespace kelvar::fluid;

namespace {

// Exposes the protected collision operators.
struct BenchCell : LBM_Q19_MAC_Cell3F {
    using LBM_Q19_Cell3<float>::collisionBGK;
    using LBM_Q19_Cell3<float>::collisionRLBSmag;
};

constexpr float kNu = 0.02f;

// Cells near equilibrium with a little shear and a gravity-like force.
std::vector<BenchCell> makeCells(unsigned count) {
    std::vector<BenchCell> cells(count);
    for (unsigned k = 0; k < count; ++k) {
        BenchCell& c = cells[k];
        c.initialize();
        c.setType(LBM_CELL_FLUID);
        c.setInitialVelocity({0.01f * float(k % 7), -0.02f, 0.005f * float(k % 3)});
        for (unsigned i = 7; i < 19; ++i) c.setPdfAt(i, c.getPdfAt(i) * (i % 2 ? 1.01f : 0.99f));
        c.setForce({0.0f, -1e-4f, 0.0f});
    }
    return cells;
}

void BM_CollisionBGK(benchmark::State& state) {
    std::vector<BenchCell> cells = makeCells(static_cast<unsigned>(state.range(0)));
    for (auto _ : state) {
        for (BenchCell& c : cells) c.collisionBGK(kNu);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_CollisionBGK)->Arg(4096);

void BM_CollisionRLBSmag(benchmark::State& state) {
    std::vector<BenchCell> cells = makeCells(static_cast<unsigned>(state.range(0)));
    for (auto _ : state) {
        for (BenchCell& c : cells) c.collisionRLBSmag(kNu);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_CollisionRLBSmag)->Arg(4096);

// Swap streaming over a fully liquid periodic block of edge n.
void BM_StreamPassFluid(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const unsigned count = static_cast<unsigned>(n * n * n);
    std::vector<BenchCell> cells = makeCells(count);
    std::vector<LBM_Q19_MAC_Cell3F::Neighbours> links(count);
    const LBM_Cell3Shifter& shift = cells[0].getShifter();
    const auto wrap = [n](int v) { return (v + n) % n; };
    for (int x = 0; x < n; ++x)
        for (int y = 0; y < n; ++y)
            for (int z = 0; z < n; ++z) {
                LBM_Q19_MAC_Cell3F::Neighbours& nb = links[unsigned((x * n + y) * n + z)];
                nb.resize(19);
                for (unsigned i = 0; i < 19; ++i) {
                    const int xi = wrap(x + shift[i].first);
                    const int yi = wrap(y + shift[i].second);
                    const int zi = wrap(z + shift[i].third);
                    nb[i] = &cells[unsigned((xi * n + yi) * n + zi)];
                }
            }
    for (auto _ : state) {
        for (unsigned k = 0; k < count; ++k) cells[k].streamPassFluid(links[k]);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(BM_StreamPassFluid)->Arg(32);

}  // namespace
