#include <gtest/gtest.h>

#include "SolverTestScene.h"
#include "kv_geometry/MeshPrimitives.h"

namespace kelvar::fluid::test {
namespace {

// A column of liquid collapsing against one wall of a 16^3 box: cells empty,
// fill and appear along the whole run.
struct Collapse : WalledScene<> {
    explicit Collapse(bool conserve) : WalledScene<>(16 * 16 * 16, 2) {
        fluid.setConserveMass(conserve);
        fillBlock(fluid, {1, 1, 1}, {6, 12, 15}, latticeGravity(fluid));
        fluid.setAcceleration(Vector3<float>(0.0f, -kGravity, 0.0f));
    }
};

// Kept, the liquid's mass moves only by rounding, however much the surface
// churns; left to the density bookkeeping it drifts by far more.
TEST(SolverMass, AKeptMassStaysThroughACollapse) {
    Collapse kept(true);
    Collapse plain(false);
    const double start = kept.fluid.computeLiquidMass();
    ASSERT_EQ(start, plain.fluid.computeLiquidMass());
    double plainDrift = 0.0;
    for (unsigned block = 1; block <= 12; ++block) {
        runSubSteps(kept.solver, kept.fluid, 50);
        runSubSteps(plain.solver, plain.fluid, 50);
        EXPECT_NEAR(kept.fluid.computeLiquidMass(), start, 1e-5 * start) << "after sub-step " << block * 50;
        plainDrift = std::max(plainDrift, std::fabs(plain.fluid.computeLiquidMass() - start) / start);
    }
    EXPECT_GT(plainDrift, 1e-3);
    const LiquidStats stats = liquidStats(kept.fluid);
    EXPECT_TRUE(stats.finite);
    EXPECT_GT(stats.cells, 0u);
    // All that was owed went back but the rounding of what the cells took.
    EXPECT_LT(std::fabs(kept.fluid.getSolverContext().getLostMass()), 1e-3f);
}

// With drains, what the liquid loses is what was drained, it never gains,
// none rises above where the surface started, and the tank still empties.
TEST(SolverMass, AKeptMassLeavesOnlyThroughTheDrain) {
    DrainedTank tank(true, 2, true);
    SceneFluid& fluid = tank.fluid;
    const double start = fluid.computeLiquidMass();
    double previous = start;
    for (unsigned block = 1; block <= 32; ++block) {
        runSubSteps(tank.solver, fluid, 25);
        const double now = fluid.computeLiquidMass();
        EXPECT_NEAR(now + fluid.getDrainedMass(), start, 1e-4 * start) << "after sub-step " << block * 25;
        EXPECT_LE(now, previous + 1e-5 * start) << "after sub-step " << block * 25;
        EXPECT_LE(highestLiquidRow(fluid), fluid.getGrid().getNy() / 2) << "after sub-step " << block * 25;
        previous = now;
    }
    EXPECT_EQ(fluid.getLiquidCellCount(), 0u);
}

// A spout pouring into a 16^3 tank with a drain in its floor: the level
// rises until the drain takes nearly all the spout gives. Over the last 100
// of 400 frames the drain takes over 80 % of what is poured in, and the
// liquid grows by under a third of what it grew in the first 100.
TEST(SolverMass, APouredTankWithADrainLevelsOff) {
    WalledScene<> tank(16 * 16 * 16, 2);
    SceneFluid& fluid = tank.fluid;
    fluid.setConserveMass(true);
    fluid.setSinksDrain(true);
    for (unsigned i = 9; i < 15; ++i)
        for (unsigned k = 5; k < 11; ++k) placeCell(fluid, fluid.acquireSinkCell(), i, 1, k);
    const Vector3<float>& min = fluid.getGrid().getBox().min;
    const Mesh spout = makeBoxMesh(Box3<float>(fluid.gridToWorldPosition(min + Vector3<float>(2.5f, 10.5f, 6.5f)),
                                               fluid.gridToWorldPosition(min + Vector3<float>(4.5f, 12.5f, 9.5f))));
    constexpr unsigned kFrames = 400, kWindow = 100;
    std::vector<double> liquid(kFrames + 1, 0.0), drained(kFrames + 1, 0.0);
    for (unsigned frame = 1; frame <= kFrames; ++frame) {
        fluid.setFluidCells(spout, Vector3<float>(), 0.5f, int(frame), 1);
        fluid.setAcceleration(Vector3<float>(0.0f, -kGravity, 0.0f));
        tank.solver.preSolve();
        tank.solver.solve(1.0f / 30.0f);
        liquid[frame] = fluid.computeLiquidMass();
        drained[frame] = fluid.getDrainedMass();
    }
    const unsigned late = kFrames - kWindow;
    const double lateDrained = drained[kFrames] - drained[late];
    const double latePoured = liquid[kFrames] - liquid[late] + lateDrained;
    EXPECT_GT(lateDrained, 0.8 * latePoured);
    EXPECT_LT(liquid[kFrames] - liquid[late], (liquid[kWindow] - liquid[0]) / 3.0);
}

}  // namespace
}  // namespace kelvar::fluid::test
