// Units derived by initialize, sub-step counting, and the generic passes.

#include <gtest/gtest.h>

#include <vector>

#include "SolverTestScene.h"
#include "kv_fluids_dyn/solver/internal/GridWrap.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3.h"

namespace kelvar::fluid::test {
namespace {

constexpr float kSqrt3 = 1.7320508f;

TEST(SolverUnits, DerivedFromTheFluidParameters) {
    SceneFluid fluid;
    makeWalledBox(fluid, 16 * 16 * 16);
    fluid.setCompressibility(1.0f);
    fluid.setViscosity(1.0f);
    MAC_LBM_Solver3 solver;
    solver.attach(fluid);
    solver.initialize(3);

    const MAC_LBM_SolverContext3& context = fluid.getSolverContext();
    EXPECT_EQ(context.getDx(), 1.0f / 16.0f);
    EXPECT_FLOAT_EQ(fluid.getMach(), 0.5f);
    // Viscosity 1 is the top of the range: tau = 1.9.
    EXPECT_FLOAT_EQ(context.getLatticeViscosity(), (2.0f * 1.9f - 1.0f) / 6.0f);
    EXPECT_FLOAT_EQ(context.getLatticeMaxSpeed(), 0.5f / kSqrt3);
    EXPECT_FLOAT_EQ(fluid.getSoundSpeed(), fluid.getMaxSpeed() / 0.5f);
    EXPECT_EQ(context.getCellMass(), 1000.0f / 4096.0f);

    // The lowest viscosity maps onto tau = 0.5001.
    fluid.setViscosity(1e-6f);
    solver.initialize(1);
    EXPECT_FLOAT_EQ(context.getLatticeViscosity(), (2.0f * 0.5001f - 1.0f) / 6.0f);

    // A bound below the derived sub-step is taken as it is.
    const float bound = context.getDt() * 0.5f;
    solver.setMaxAllowed_Dt(bound);
    solver.initialize(1);
    EXPECT_EQ(context.getDt(), bound);
    fluid.setMaxInitialSpeed(1000.0f);
    solver.initialize(1);
    EXPECT_FLOAT_EQ(fluid.getMaxSpeed(), 1000.0f);
}

TEST(SolverFrame, WholeSubStepsOnlyAndTheRestIsCarried) {
    MAC_LBM_Solver3 solver;
    SceneFluid fluid;
    makeWalledBox(fluid, 6 * 6 * 6);
    solver.attach(fluid);
    solver.setMaxAllowed_Dt(1.0f / 1024.0f);  // exact multiples below
    solver.initialize(2);
    SolverPassTimes times;
    solver.setPassTimes(&times);

    solver.solve(0.5f / 1024.0f);
    EXPECT_EQ(times.subSteps, 0u);
    EXPECT_EQ(fluid.getSolverContext().getTimeAccumulator(), 0.5f / 1024.0f);
    solver.solve(0.5f / 1024.0f);
    EXPECT_EQ(times.subSteps, 1u);
    solver.solve(3.0f / 1024.0f);
    EXPECT_EQ(times.subSteps, 4u);
    solver.solve(-1.0f);
    solver.solve(0.0f);
    EXPECT_EQ(times.subSteps, 4u);
    EXPECT_EQ(solver.getStep(), 5u);
}

// A lattice cell that records what the generic stream pass hands it.
struct RecordingCell : LBM_Q19_Cell3<float> {
    void stream(std::vector<LBM_Cell3<float>*>& neighbours) override { seen = neighbours; }
    std::vector<LBM_Cell3<float>*> seen;
};

TEST(SolverGenericPasses, PeriodicStreamingWrapsOneAxisOnly) {
    const int wraps[][2] = {{4, 0}, {-1, 3}, {9, 1}, {-4, 0}, {-5, 3}, {2, 2}};  // on an axis of 4 cells
    for (const auto& w : wraps) EXPECT_EQ(wrapGridCoordinate(w[0], 4), w[1]) << w[0];

    SceneFluid fluid;
    fluid.setResolution(64);
    fluid.initialize();
    ASSERT_EQ(fluid.getGrid().getNx(), 4u);
    RecordingCell right, left;
    fluid.refGrid().at(3, 0, 1) = &right;
    fluid.refGrid().at(0, 0, 1) = &left;
    PassSolver solver;

    solver.streamPeriodicBoundaries(fluid, KV_AXIS::X);
    ASSERT_EQ(right.seen.size(), 19u);
    EXPECT_EQ(right.seen[0], &right);
    EXPECT_EQ(right.seen[1], &left);   // +x wraps from 3 to 0
    EXPECT_EQ(left.seen[3], &right);   // -x wraps from 0 to 3
    EXPECT_EQ(left.seen[4], nullptr);  // y stays bounded

    solver.stream(fluid);
    EXPECT_EQ(right.seen[1], nullptr);
    EXPECT_EQ(left.seen[3], nullptr);
    EXPECT_EQ(right.seen[2], nullptr);
    fluid.refGrid().at(3, 0, 1) = nullptr;
    fluid.refGrid().at(0, 0, 1) = nullptr;
}

}  // namespace
}  // namespace kelvar::fluid::test
