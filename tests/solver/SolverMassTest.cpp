#include <gtest/gtest.h>

#include "SolverTestScene.h"

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
// and the tank still empties.
TEST(SolverMass, AKeptMassLeavesOnlyThroughTheDrain) {
    WalledScene<> tank(12 * 12 * 12, 2);
    SceneFluid& fluid = tank.fluid;
    fluid.setConserveMass(true);
    fluid.setSinksDrain(true);
    const unsigned n = fluid.getGrid().getNx();
    for (unsigned i = 1; i + 1 < n; ++i)
        for (unsigned k = 1; k + 1 < n; ++k) placeCell(fluid, fluid.acquireSinkCell(), i, 1, k);
    fillBlock(fluid, {1, 2, 1}, {n - 1, n / 2, n - 1}, latticeGravity(fluid));
    fluid.setAcceleration(Vector3<float>(0.0f, -kGravity, 0.0f));

    const double start = fluid.computeLiquidMass();
    double previous = start;
    for (unsigned block = 1; block <= 32; ++block) {
        runSubSteps(tank.solver, fluid, 25);
        const double now = fluid.computeLiquidMass();
        EXPECT_NEAR(now + fluid.getDrainedMass(), start, 1e-4 * start) << "after sub-step " << block * 25;
        EXPECT_LE(now, previous + 1e-5 * start) << "after sub-step " << block * 25;
        previous = now;
    }
    EXPECT_EQ(fluid.getLiquidCellCount(), 0u);
}

}  // namespace
}  // namespace kelvar::fluid::test
