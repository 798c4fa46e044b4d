// The free-surface sub-step gives bit-identical results whatever the number
// of worker threads, and from run to run: the hashes must agree exactly.

#include <gtest/gtest.h>

#include "SolverTestScene.h"

namespace kelvar::fluid::test {
namespace {

// A column of liquid collapsing in a 12^3 box, with a sink on the floor next
// to it, so that particles are re-seeded and deleted and cells created,
// emptied and converted along the way. With `conserveMass` the sink drains
// and the liquid's mass is kept, which moves mass between neighbours. With
// `pushed` the host adds a sideways acceleration half way, a walk over the
// grid that the fluid splits over its workers.
uint64_t runDamBreak(unsigned threads, unsigned subSteps, bool conserveMass = false, bool pushed = false) {
    WalledScene<> scene(12 * 12 * 12, threads);
    SceneFluid& fluid = scene.fluid;
    fluid.setConserveMass(conserveMass);
    fluid.setSinksDrain(conserveMass);
    fillBlock(fluid, {1, 1, 1}, {5, 8, 11}, latticeGravity(fluid));
    placeCell(fluid, fluid.acquireSinkCell(), 5, 1, 5);
    const uint32_t particles = fluid.get_MAC_ParticleSystem().getParticlesCount();

    if (pushed) {
        runSubSteps(scene.solver, fluid, subSteps / 2);
        fluid.addAcceleration(Vector3<float>(0.5f, 0.0f, 0.0f));
        subSteps -= subSteps / 2;
    }
    runSubSteps(scene.solver, fluid, subSteps);
    EXPECT_TRUE(liquidStats(fluid).finite);
    EXPECT_LT(fluid.get_MAC_ParticleSystem().getParticlesCount(), particles) << "the sink took nothing";
    return hashState(fluid);
}

TEST(SolverDeterminism, SameStateWithOneAndTwoThreadsAndFromRunToRun) {
    const uint64_t single = runDamBreak(1, 100);
    const uint64_t dual = runDamBreak(2, 100);
    const uint64_t dualAgain = runDamBreak(2, 100);
    EXPECT_EQ(single, dual);
    EXPECT_EQ(dual, dualAgain);
    // Three workers leave the last one a larger range than the others.
    EXPECT_EQ(single, runDamBreak(3, 100));
}

TEST(SolverDeterminism, AHostPushIsTheSameOnAnyThreadCount) {
    const uint64_t single = runDamBreak(1, 100, false, true);
    EXPECT_EQ(single, runDamBreak(2, 100, false, true));
    EXPECT_EQ(single, runDamBreak(3, 100, false, true));
    EXPECT_NE(single, runDamBreak(1, 100));
}

TEST(SolverDeterminism, KeepingTheMassIsTheSameOnAnyThreadCount) {
    const uint64_t single = runDamBreak(1, 100, true);
    EXPECT_EQ(single, runDamBreak(2, 100, true));
    EXPECT_EQ(single, runDamBreak(3, 100, true));
    EXPECT_NE(single, runDamBreak(1, 100, false));
}

}  // namespace
}  // namespace kelvar::fluid::test
