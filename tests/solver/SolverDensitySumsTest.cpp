// The sub-step's density sums read the cells on several workers and add on
// one; these tests hold them to the plain sequential sums, bit for bit.

#include <bit>
#include <cstdint>

#include <gtest/gtest.h>

#include "SolverTestScene.h"
#include "kv_fluids_dyn/solver/internal/CellListsPass.h"
#include "kv_fluids_dyn/solver/internal/DensitySums.h"
#include "kv_fluids_dyn/solver/internal/SolverRandom.h"

namespace kelvar::fluid::test {
namespace {

// A falling block whose cells get densities of very different sizes, so
// that any other order of the additions shows in the last bits.
struct MixedDensities : ::testing::Test {
    MixedDensities() {
        fillBlock(scene.fluid, {1, 1, 1}, {9, 8, 9}, latticeGravity(scene.fluid));
        runSubSteps(scene.solver, scene.fluid, 4);
        SolverRand random(7);
        for (LBM_Cell3<float>* cell : scene.fluid.refGrid().getCells())
            if (cell != nullptr && cell->isFluid())
                static_cast<LBM_Q19_MAC_Cell3F*>(cell)->setDensity(float(1 + random()) * (random() % 2 ? 1e-3f : 7.0f));
    }
    WalledScene<PassSolver> scene{12 * 12 * 12, 2};
};

TEST_F(MixedDensities, ListedDensitiesSumAsTheCellsDo) {
    const float expected = liquidDensitySum(scene.fluid.getArrLiquidCells());
    for (unsigned threads : {1u, 2u, 3u}) {
        CellListsPass lists;
        lists.run(scene.fluid, threads);
        EXPECT_EQ(std::bit_cast<uint32_t>(lists.liquidDensitySum()), std::bit_cast<uint32_t>(expected)) << threads;
    }
}

TEST_F(MixedDensities, SumAfterRelabellingMatchesTheSequentialMerge) {
    // Every other liquid cell listed, the rest created, a few of each
    // emptied: the merge by grid index interleaves the two lists.
    LiquidCells listed, created;
    uint32_t n = 0;
    for (LBM_Q19_MAC_Cell3F* cell : scene.fluid.refArrLiquidCells()) {
        if (n % 7 == 3) cell->setType(LBM_CELL_EMPTY);
        (n++ % 2 ? created : listed).push_back(cell);
    }
    ASSERT_GT(created.size(), 100u);
    const float expected = liquidDensitySumAfterRelabel(listed, created);
    Array<ListedDensity> scratch;
    for (unsigned threads : {1u, 2u, 3u}) {
        const float got = liquidDensitySumAfterRelabel(listed, created, scratch, threads);
        EXPECT_EQ(std::bit_cast<uint32_t>(got), std::bit_cast<uint32_t>(expected)) << threads;
    }
}

}  // namespace
}  // namespace kelvar::fluid::test
