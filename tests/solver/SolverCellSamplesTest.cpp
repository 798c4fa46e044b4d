// The advection samples velocities from a dense copy of the grid's cells;
// these tests hold that copy to the grid itself, bit for bit, on random
// scenes of every cell type.

#include <bit>
#include <cstdint>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "kv_fluids_dyn/solver/internal/AdvectionPass.h"
#include "kv_fluids_dyn/solver/internal/SolverRandom.h"
#include "kv_fluids_dyn/solver/internal/VelocitySampler.h"

namespace kelvar::fluid::test {
namespace {

using Grid = VelocitySampler::Grid;

// A grid of about `requested` cells with edge `edge`, each site left empty
// or given a cell of a random type (liquid, surface, solid, sink, gas,
// unclassified) and a random velocity.
class RandomScene {
public:
    RandomScene(uint32_t seed, float edge) : random(seed) {
        grid.set(Box3<float>({0.0f, 0.0f, 0.0f}, {1.5f, 1.0f, 0.75f}), 10 * 7 * 5, true);
        grid.relay(edge);
        grid.resizeCells();
        static const unsigned char kTypes[] = {LBM_CELL_FLUID, LBM_CELL_FLUID,  LBM_CELL_INTERFACE, LBM_CELL_SOLID,
                                               LBM_CELL_SINK,  LBM_CELL_EMPTY, LBM_CELL_NONE};
        cells.reserve(grid.getCells().size());
        for (LBM_Cell3<float>*& slot : grid.refCells()) {
            if (random() % 4 == 0) {
                slot = nullptr;
                continue;
            }
            cells.push_back(std::make_unique<LBM_Cell3<float>>());
            LBM_Cell3<float>& cell = *cells.back();
            cell.setType(kTypes[random() % (sizeof(kTypes) / sizeof(kTypes[0]))]);
            cell.setVelocity(Vector3<float>(component(), component(), component()));
            slot = &cell;
        }
    }

    // A point in the grid or up to two cells around it; every other
    // coordinate a whole or half number of cells, on faces and centres.
    Vector3<float> point() {
        Vector3<float> p;
        for (unsigned a = 0; a < 3; ++a) {
            const float count = float(a == 0 ? grid.getNx() : a == 1 ? grid.getNy() : grid.getNz());
            float cells = -2.0f + (count + 4.0f) * float(random()) / float(SolverRand::kMax);
            if (random() % 2 == 0) cells = float(int(cells * 2.0f)) * 0.5f;
            p[a] = grid.getBox().min[a] + cells * grid.getCellSize()[a];
        }
        return p;
    }

    Grid grid;

private:
    float component() { return float(random() - SolverRand::kMax / 2) * 3.1e-6f; }

    SolverRand random;
    std::vector<std::unique_ptr<LBM_Cell3<float>>> cells;
};

void expectSameBits(const Vector3<float>& got, const Vector3<float>& expected, int n) {
    for (unsigned a = 0; a < 3; ++a)
        ASSERT_EQ(std::bit_cast<uint32_t>(got[a]), std::bit_cast<uint32_t>(expected[a])) << "point " << n << " axis " << a;
}

void compareSamplers(RandomScene& scene, unsigned threads) {
    Array<CellSample> samples;
    AdvectionPass::sampleCells(scene.grid, samples, threads);
    ASSERT_EQ(samples.size(), scene.grid.getCells().size());
    const VelocitySampler cells(scene.grid);
    const SampledVelocitySampler sampled(scene.grid, CellSampleLookup{samples.data()});
    const Vector3<float> outside(0.25f, -0.5f, 0.125f);

    for (int n = 0; n < 20000; ++n) {
        const Vector3<float> p = scene.point();
        const LBM_Cell3<float>* cell = cells.cellAt(p);
        const CellSample* sample = sampled.cellAt(p);
        ASSERT_EQ(cell != nullptr, sample != nullptr && sample->hasCell()) << n;
        if (cell != nullptr) {
            ASSERT_EQ(uint32_t(cell->getType()), sample->type) << n;
            expectSameBits(sample->getVelocity(), cell->getVelocity(), n);
        }
        expectSameBits(sampled(p), cells(p), n);

        // The advection's call: p's offset and its own cell's velocity.
        const Vector3<float>& fallback = cell != nullptr && cell->isFluid() ? cell->getVelocity() : outside;
        expectSameBits(sampled.sample(p, sampled.offsetOf(p), fallback), cells.sample(p, cells.offsetOf(p), fallback),
                       n);
        if (::testing::Test::HasFatalFailure()) return;
    }
}

// Unit cells (the solver's grids) and another cell size (the general
// path), with the samples taken on 1 to 3 threads.
TEST(SolverCellSamples, SampledVelocitiesMatchTheCells) {
    const struct {
        uint32_t seed;
        float edge;
    } scenes[] = {{1, 1.0f}, {2, 1.0f}, {3, 1.0f}, {4, 0.75f}};
    for (const auto& s : scenes) {
        RandomScene scene(s.seed, s.edge);
        compareSamplers(scene, 1 + s.seed % 3);
        if (HasFatalFailure()) return;
    }
}

}  // namespace
}  // namespace kelvar::fluid::test
