// The dense cell samples against the grid, and the eight-lane particle
// moves against the one-particle path, bit for bit on random scenes.

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "SolverTestScene.h"

#include "kv_fluids_dyn/solver/internal/AdvectionLanes.h"
#include "kv_fluids_dyn/solver/internal/AdvectionPass.h"
#include "kv_fluids_dyn/solver/internal/CellListsPass.h"
#include "kv_fluids_dyn/solver/internal/CollisionPass.h"
#include "kv_fluids_dyn/solver/internal/SolverRandom.h"
#include "kv_fluids_dyn/solver/internal/VelocitySampler.h"

namespace kelvar::fluid::test {
namespace {

using Grid = VelocitySampler::Grid;

// A grid of about `requested` cells with edge `edge`, each site left empty
// or given a cell of a random type (liquid, surface, solid, sink, gas,
// unclassified) and a random velocity; with `liquidShare` n, n in 8 sites
// more are liquid.
class RandomScene {
public:
    RandomScene(uint32_t seed, float edge, unsigned requested = 10 * 7 * 5, uint32_t liquidShare = 0)
        : random(seed) {
        grid.set(Box3<float>({0.0f, 0.0f, 0.0f}, {1.5f, 1.0f, 0.75f}), requested, true);
        grid.relay(edge);
        grid.resizeCells();
        static const unsigned char kTypes[] = {LBM_CELL_FLUID, LBM_CELL_FLUID,  LBM_CELL_INTERFACE, LBM_CELL_SOLID,
                                               LBM_CELL_SINK,  LBM_CELL_EMPTY, LBM_CELL_NONE};
        cells.reserve(grid.getCells().size());
        for (LBM_Cell3<float>*& slot : grid.refCells()) {
            const bool liquid = liquidShare > 0 && uint32_t(random() % 8) < liquidShare;
            if (!liquid && random() % 4 == 0) {
                slot = nullptr;
                continue;
            }
            cells.push_back(std::make_unique<LBM_Cell3<float>>());
            LBM_Cell3<float>& cell = *cells.back();
            cell.setType(liquid ? kTypes[0] : kTypes[random() % (sizeof(kTypes) / sizeof(kTypes[0]))]);
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

    // A step of up to `cells` cells per axis, every other one a whole or
    // half number of cells.
    Vector3<float> step(float cells) {
        Vector3<float> v;
        for (unsigned a = 0; a < 3; ++a) {
            v[a] = cells * (2.0f * float(random()) / float(SolverRand::kMax) - 1.0f);
            if (random() % 2 == 0) v[a] = float(int(v[a] * 2.0f)) * 0.5f;
        }
        return v;
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

// The sub-step's samples, which the collision writes for the liquid and the
// advection brings up to date where a type changed, against a full copy of
// the grid: rounds thirty sub-steps apart, while the column collapses
// beside a sink (cells emptied and created), with a solid block that
// changes speed.
TEST(SolverCellSamples, CollisionAndUpdatedTypesMatchAFullCopy) {
    constexpr unsigned kThreads = 2;
    WalledScene<> scene(12 * 12 * 12, kThreads);
    SceneFluid& fluid = scene.fluid;
    fillBlock(fluid, {1, 1, 1}, {5, 8, 11}, latticeGravity(fluid));
    placeCell(fluid, fluid.acquireSinkCell(), 5, 1, 5);
    LBM_SolidCell3<float>* block = placeCell(fluid, fluid.acquireSolidCell(), 8, 3, 6);
    block->setType(LBM_CELL_SOLID);

    AdvectionPass pass;
    CellListsPass lists;
    GridTypes types;
    Array<CellSample> full;
    for (unsigned round = 0; round < 4; ++round) {
        runSubSteps(scene.solver, fluid, 30);
        block->setVelocity(Vector3<float>(0.01f * float(round), -0.02f, 0.005f));
        lists.run(fluid, types, kThreads);
        collideLiquidCells(fluid.refArrLiquidCells(), fluid.getSolverContext(), kThreads,
                           pass.samplesForCollision(fluid.getGrid()));
        pass.runOnCollided(fluid, types, kThreads);

        AdvectionPass::sampleCells(fluid.getGrid(), full, 1);
        const Array<CellSample>& updated = pass.cellSamples();
        ASSERT_EQ(updated.size(), full.size());
        for (uint32_t n = 0; n < full.size(); ++n) {
            ASSERT_EQ(updated[n].type, full[n].type) << "round " << round << " position " << n;
            // What the advection reads: the velocities of liquid and solids.
            if (full[n].isFluid() || full[n].isSolid()) expectSameBits(updated[n].velocity, full[n].velocity, int(n));
            if (HasFatalFailure()) return;
        }
    }
}

// Squared length in double, as the advection measures speeds.
double length2(const Vector3<float>& v) {
    return double(v.x) * double(v.x) + double(v.y) * double(v.y) + double(v.z) * double(v.z);
}

// Moves random particles with the lanes and each taken one with the
// one-particle path; particles handed back must be untouched. Returns how
// many the lanes took.
uint32_t compareLanes(RandomScene& scene, uint32_t count, float stepCells) {
    Array<CellSample> samples;
    AdvectionPass::sampleCells(scene.grid, samples, 1);
    const SampledVelocitySampler sampled(scene.grid, CellSampleLookup{samples.data()});
    const AdvectionLanes lanes(sampled.latticeShape(), sampled.onExactLattice(), samples.data());
    EXPECT_TRUE(lanes.enabled() || !__builtin_cpu_supports("avx2"));

    std::vector<MAC_Particle3> before(count);
    for (uint32_t n = 0; n < count; ++n) {
        before[n].id = n;
        before[n].position = scene.point();
        before[n].velocity = scene.step(stepCells);
    }
    std::vector<MAC_Particle3> moved = before;
    std::vector<MAC_Particle3*> pointers(count);
    for (uint32_t n = 0; n < count; ++n) pointers[n] = &moved[n];
    std::vector<uint32_t> landed(count, ParticleLandings::kRecompute);
    std::vector<uint32_t> rest(count);
    std::vector<bool> handedBack(count, false);
    double lowest = HUGE_VAL, highest = -HUGE_VAL;
    // In uneven batches, so that the lanes also see a remainder.
    for (uint32_t first = 0, batch = 13; first < count; first += batch, batch = batch % 40 + 7) {
        const uint32_t size = std::min(batch, count - first);
        const uint32_t left = lanes.move(pointers.data() + first, size, landed.data() + first, rest.data(),
                                         lowest, highest);
        for (uint32_t r = 0; r < left; ++r) handedBack[first + rest[r]] = true;
        for (uint32_t r = 1; r < left; ++r) EXPECT_LT(rest[r - 1], rest[r]);
    }

    uint32_t taken = 0;
    double expectedLowest = HUGE_VAL, expectedHighest = -HUGE_VAL;
    for (uint32_t n = 0; n < count; ++n) {
        if (handedBack[n]) {
            expectSameBits(moved[n].position, before[n].position, int(n));
            expectSameBits(moved[n].velocity, before[n].velocity, int(n));
            // The one-particle path's landing cell is the cell of where the
            // particle ends, or left for the relabelling to find after a bounce.
            MAC_Particle3 particle = before[n];
            const CellSample* own = sampled.cellAt(particle.position);
            if (own == nullptr || !own->isFluid()) continue;
            const Vector3<float> velocity =
                sampled.sample(particle.position, sampled.offsetOf(particle.position), own->getVelocity());
            const uint32_t landing = AdvectionPass::moveOnSamples(sampled, scene.grid, velocity, particle);
            uint32_t index;
            if (landing != ParticleLandings::kRecompute) {
                EXPECT_EQ(landing, sampled.indexAtOffset(sampled.offsetOf(particle.position), index)
                                       ? index
                                       : ParticleLandings::kOutside)
                    << n;
            }
            continue;
        }
        ++taken;
        MAC_Particle3 expected = before[n];
        const Vector3<float> offset = sampled.offsetOf(expected.position);
        const CellSample* own = sampled.cellAtOffset(offset);
        EXPECT_TRUE(own != nullptr && own->isFluid()) << n;
        if (own == nullptr || !own->isFluid()) return taken;
        const Vector3<float> velocity = sampled.sample(expected.position, offset, own->getVelocity());
        const uint32_t landing = AdvectionPass::moveOnSamples(sampled, scene.grid, velocity, expected);
        expectSameBits(moved[n].position, expected.position, int(n));
        expectSameBits(moved[n].velocity, expected.velocity, int(n));
        EXPECT_EQ(landed[n], landing) << n;
        // What the relabelling would find from the position.
        uint32_t index;
        EXPECT_EQ(landed[n], sampled.indexAtOffset(sampled.offsetOf(moved[n].position), index)
                                 ? index
                                 : ParticleLandings::kOutside)
            << n;
        expectedLowest = std::min(expectedLowest, length2(expected.velocity));
        expectedHighest = std::max(expectedHighest, length2(expected.velocity));
        if (::testing::Test::HasFailure()) return taken;
    }
    EXPECT_EQ(std::bit_cast<uint64_t>(lowest), std::bit_cast<uint64_t>(expectedLowest));
    EXPECT_EQ(std::bit_cast<uint64_t>(highest), std::bit_cast<uint64_t>(expectedHighest));
    return taken;
}

// Mostly liquid scenes, where the lanes take most particles, and mixed ones,
// where they hand many back (own cell not liquid, corners outside the grid,
// landing in a solid or outside); steps of up to a cell and of up to three.
TEST(SolverCellSamples, LanesMoveParticlesAsTheOneParticlePath) {
    const struct {
        uint32_t seed;
        unsigned requested;
        uint32_t liquidShare;
        float stepCells;
    } scenes[] = {{11, 24 * 16 * 12, 7, 1.0f}, {12, 24 * 16 * 12, 6, 3.0f}, {13, 10 * 7 * 5, 0, 1.0f},
                  {14, 10 * 7 * 5, 4, 2.0f}};
    for (const auto& s : scenes) {
        RandomScene scene(s.seed, 1.0f, s.requested, s.liquidShare);
        const uint32_t taken = compareLanes(scene, 20000, s.stepCells);
        if (HasFailure()) return;
        if (__builtin_cpu_supports("avx2") && s.liquidShare >= 6) {
            EXPECT_GT(taken, 20000u / 4) << s.seed;
        }
    }
}

}  // namespace
}  // namespace kelvar::fluid::test
