// Whole sub-steps on small walled boxes built through the public interface.

#include <gtest/gtest.h>

#include "SolverTestScene.h"

namespace kelvar::fluid::test {
namespace {

TEST(SolverScenario, StillWaterSettlesAndKeepsItsDensity) {
    WalledScene<> scene(16 * 16 * 16, 2);
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
    EXPECT_LT(late.maxSpeed, early.maxSpeed);
    EXPECT_LT(late.maxSpeed, fluid.getSolverContext().getLatticeMaxSpeed());
    EXPECT_LT(std::fabs(drift), 0.01);
}

}  // namespace
}  // namespace kelvar::fluid::test
