#include <gtest/gtest.h>

#include "LatticeTestSupport.h"

using namespace kelvar;
using namespace kelvar::fluid;
using namespace kelvar::fluid::test;

// initialize() puts every slot at its weight, the density at their float
// sum and the velocity at rest; the fill state is left alone. An initial
// velocity gives the moments of the incompressible equilibrium.
TEST(LatticeCell, InitializeAndInitialVelocityGiveTheEquilibriumMoments) {
    ProbeCell cell;
    cell.setType(LBM_CELL_INTERFACE);
    cell.setVelocity({1.0f, 2.0f, 3.0f});
    cell.setMass(0.5f);
    cell.initialize();
    EXPECT_EQ(cell.getType(), LBM_CELL_NONE);
    EXPECT_EQ(cell.getVelocity(), Vector3<float>());
    EXPECT_EQ(cell.getMass(), 0.5f);
    float runningSum = 0.0f;
    for (unsigned i = 0; i < kQ; ++i) {
        EXPECT_EQ(cell.getPdfAt(i), cell.getWeights()[i]);
        runningSum += cell.getWeights()[i];
    }
    EXPECT_EQ(bitsOf(cell.getDensity()), bitsOf(runningSum));
    cell.setDensity(0.0f);
    cell.updateDensity();
    EXPECT_EQ(bitsOf(cell.getDensity()), bitsOf(runningSum));

    cell.setDensity(1.2f);
    const Vector3<float> u{0.04f, -0.03f, 0.02f};
    cell.setInitialVelocity(u);
    EXPECT_EQ(cell.getVelocity(), u);
    EXPECT_NEAR(cell.sumOfSlots(), 1.2f, 1e-6f);
    // The first moment is u, so the velocity is u / rho.
    const Vector3<float> v = cell.computeVelocity();
    for (unsigned k = 0; k < 3; ++k) EXPECT_NEAR(v[k], u[k] / 1.2f, 1e-6f) << k;
}

TEST(LatticeCell, EquilibriumIsExact) {
    // Expected bits from collision_reference.py.
    const uint32_t expected[kQ] = {0x3EBAF29Bu, 0x3D8EFA7Cu, 0x3D6C0514u, 0x3D59B0B4u, 0x3D83A9CAu, 0x3D8127D9u,
                                   0x3D708FDDu, 0x3D075525u, 0x3CCE7E97u, 0x3CE5B485u, 0x3D1708AFu, 0x3D142AFDu,
                                   0x3CE16821u, 0x3CD251E0u, 0x3D09F649u, 0x3CF488FBu, 0x3D08740Eu, 0x3CFE17A9u,
                                   0x3CE3D9C7u};
    const float rho = fromBits(0x3F8CCCCDu);
    const Vector3<float> u{fromBits(0x3D4CCCCDu), fromBits(0xBCA3D70Au), fromBits(0x3C54FDF4u)};
    ProbeCell cell;
    cell.setDensity(rho);
    cell.setVelocity(u);
    for (unsigned i = 0; i < kQ; ++i) {
        EXPECT_EQ(bitsOf(cell.calcFeq(i, rho, u)), expected[i]) << i;
        EXPECT_EQ(bitsOf(cell.calcFeqUseRho(i)), expected[i]) << i;
        EXPECT_EQ(cell.calcFeq(i), cell.calcFeq(i, 1.0f, u)) << i;
        EXPECT_EQ(cell.calcFeq(i, 1.0f, Vector3<float>()), cell.getWeights()[i]) << i;
    }
}
