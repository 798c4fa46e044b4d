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
    EXPECT_TRUE(liquidStats(kept.fluid).finite);
    // All that was owed went back but the rounding of what the cells took.
    EXPECT_LT(std::fabs(kept.fluid.getSolverContext().getLostMass()), 1e-3f);
}

// A floor drain empties the tank for good, no liquid rising above the start.
// Plain bookkeeping may gain a little mass as cells fill, and counts what
// left; kept, the liquid never gains and loses only what was drained.
void expectTheDrainEmptiesTheTank(bool keptMass) {
    DrainedTank tank(true, 2, keptMass);
    SceneFluid& fluid = tank.fluid;
    const auto mass = [&] { return keptMass ? fluid.computeLiquidMass() : tank.mass(); };
    const double start = mass();
    double previous = start;
    for (unsigned subStep = 25; subStep <= 800; subStep += 25) {
        runSubSteps(tank.solver, fluid, 25);
        const double now = mass();
        EXPECT_LE(now, previous + (keptMass ? 1e-5 : 0.03) * start) << "after sub-step " << subStep;
        EXPECT_LE(highestLiquidRow(fluid), fluid.getGrid().getNy() / 2) << "after sub-step " << subStep;
        if (keptMass) {
            EXPECT_NEAR(now + fluid.getDrainedMass(), start, 1e-4 * start) << "after sub-step " << subStep;
        }
        previous = now;
    }
    EXPECT_EQ(fluid.getLiquidCellCount(), 0u);
    if (!keptMass) {
        EXPECT_GT(fluid.getSolverContext().getDrainedDensity(), 0.8 * start);
    }
}

TEST(SolverMass, AKeptMassLeavesOnlyThroughTheDrain) { expectTheDrainEmptiesTheTank(true); }

TEST(SolverDrain, AFloorDrainEmptiesTheTankForGood) { expectTheDrainEmptiesTheTank(false); }

// A spout pours into a 16^3 tank with a floor drain: over the last 100 of
// 400 frames the drain takes over 80 % of the inflow, and the liquid grows by
// under a third of what it grew in the first 100.
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

// The drained total is summed in grid order: the same bits on any number
// of threads.
TEST(SolverDrain, DrainingIsTheSameOnOneAndTwoThreads) {
    DrainedTank one(true, 1);
    DrainedTank two(true, 2);
    runSubSteps(one.solver, one.fluid, 150);
    runSubSteps(two.solver, two.fluid, 150);
    EXPECT_EQ(hashState(one.fluid), hashState(two.fluid));
    EXPECT_EQ(one.fluid.getSolverContext().getDrainedDensity(), two.fluid.getSolverContext().getDrainedDensity());
}

// Without the option, what the drain took is owed back to the liquid that
// is left, which never goes.
TEST(SolverDrain, WithoutTheOptionLiquidLingersOverTheDrain) {
    DrainedTank tank(false);
    runSubSteps(tank.solver, tank.fluid, 800);
    EXPECT_GT(tank.fluid.getLiquidCellCount(), 0u);
    EXPECT_EQ(tank.fluid.getSolverContext().getDrainedDensity(), 0.0f);
}

}  // namespace
}  // namespace kelvar::fluid::test
