#include <gtest/gtest.h>

#include "SolverTestScene.h"

namespace kelvar::fluid::test {
namespace {

// The liquid's mass falls to nothing: it may rise by a little where cells
// fill up (a filled cell's mass jumps to its density), never by more; no
// liquid rises above where the surface started, and what left is counted.
TEST(SolverDrain, AFloorDrainEmptiesTheTankForGood) {
    DrainedTank tank(true);
    const double start = tank.mass();
    const unsigned surface = tank.fluid.getGrid().getNy() / 2;
    double previous = start;
    for (unsigned block = 1; block <= 32; ++block) {
        runSubSteps(tank.solver, tank.fluid, 25);
        const double now = tank.mass();
        EXPECT_LE(now, previous + 0.03 * start) << "after sub-step " << block * 25;
        EXPECT_LE(highestLiquidRow(tank.fluid), surface) << "after sub-step " << block * 25;
        previous = now;
    }
    EXPECT_EQ(tank.fluid.getLiquidCellCount(), 0u);
    EXPECT_GT(tank.fluid.getSolverContext().getDrainedDensity(), 0.8 * start);
    EXPECT_FLOAT_EQ(tank.fluid.getDrainedMass(),
                    tank.fluid.getSolverContext().getDrainedDensity() * tank.fluid.getSolverContext().getCellMass());
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

// The specified bookkeeping hands what the drain took back to the liquid
// that is left, which never goes.
TEST(SolverDrain, WithoutTheOptionLiquidLingersOverTheDrain) {
    DrainedTank tank(false);
    runSubSteps(tank.solver, tank.fluid, 800);
    EXPECT_GT(tank.fluid.getLiquidCellCount(), 0u);
    EXPECT_EQ(tank.fluid.getSolverContext().getDrainedDensity(), 0.0f);
}

}  // namespace
}  // namespace kelvar::fluid::test
