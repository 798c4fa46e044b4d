// Whole sub-steps on small walled boxes built through the public interface.

#include <gtest/gtest.h>

#include <cstdio>

#include "SolverTestScene.h"

namespace kelvar::fluid::test {
namespace {

// Both scenes run in a 16^3 box (14^3 inside the walls) on two workers.
constexpr unsigned kBox = 16 * 16 * 16;

TEST(SolverScenario, FallingBlockReachesTheFloorAndSpreads) {
    WalledScene<> scene(kBox, 2);
    SceneFluid& fluid = scene.fluid;
    ASSERT_EQ(fluid.getGrid().getNx(), 16u);
    // A 4 x 4 x 4 block hanging in the middle, well above the floor (y = 1).
    fillBlock(fluid, {6, 9, 6}, {10, 13, 10}, latticeGravity(fluid));
    const LiquidStats before = liquidStats(fluid);

    uint32_t lowestCellY = 16;
    for (unsigned s = 0; s < 600; ++s) {
        runSubSteps(scene.solver, fluid, 1);
        const auto& grid = fluid.getGrid();
        for (uint32_t index = 0; index < grid.getCount(); ++index) {
            const LBM_Cell3<float>* c = grid.at(index);
            if (c != nullptr && c->isFluid())
                lowestCellY = std::min(lowestCellY, (index % grid.getStride()) / grid.getNz());
        }
    }
    const LiquidStats after = liquidStats(fluid);
    ASSERT_TRUE(after.finite);
    EXPECT_EQ(lowestCellY, 1u) << "the liquid never reached the floor";
    EXPECT_LT(after.centroidY, before.centroidY - 3.0);

    // Spread: the liquid touches more floor columns than the block's 4 x 4.
    uint32_t floorCells = 0;
    for (unsigned i = 1; i < 15; ++i)
        for (unsigned k = 1; k < 15; ++k) {
            const LBM_Cell3<float>* c = fluid.getGrid().at(i, 1, k);
            floorCells += c != nullptr && c->isFluid();
        }
    // Cells appear wherever a particle lands, so as the 8 particles per cell
    // spread out the liquid volume (and density sum) grows: report it.
    std::printf("falling block: centroid y %.2f -> %.2f, %u floor cells wet, %u liquid cells (from %u), "
                "density sum %.2f -> %.2f, lostMass %.3g\n",
                before.centroidY, after.centroidY, floorCells, after.cells, before.cells, before.densitySum,
                after.densitySum, fluid.getSolverContext().getLostMass());
    EXPECT_GT(floorCells, 16u);
}

TEST(SolverScenario, StillWaterSettlesAndKeepsItsDensity) {
    WalledScene<> scene(kBox, 2);
    SceneFluid& fluid = scene.fluid;
    // Water 5 cells deep over the whole floor of the box.
    fillBlock(fluid, {1, 1, 1}, {15, 6, 15}, latticeGravity(fluid));
    const LiquidStats start = liquidStats(fluid);

    runSubSteps(scene.solver, fluid, 100);
    const LiquidStats early = liquidStats(fluid);
    runSubSteps(scene.solver, fluid, 900);
    const LiquidStats late = liquidStats(fluid);

    ASSERT_TRUE(late.finite);
    const double drift = (late.densitySum - start.densitySum) / start.densitySum;
    std::printf("still water: largest speed %.3g after 100 sub-steps, %.3g after 1000; density drift %.4f %% "
                "(sum %.3f -> %.3f, lostMass %.4g, %u -> %u cells)\n",
                early.maxSpeed, late.maxSpeed, 100.0 * drift, start.densitySum, late.densitySum,
                fluid.getSolverContext().getLostMass(), start.cells, late.cells);
    EXPECT_LT(late.maxSpeed, early.maxSpeed);
    EXPECT_LT(late.maxSpeed, fluid.getSolverContext().getLatticeMaxSpeed());
    EXPECT_LT(std::fabs(drift), 0.01);
}

}  // namespace
}  // namespace kelvar::fluid::test
