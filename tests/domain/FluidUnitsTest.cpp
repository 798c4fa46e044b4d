#include <gtest/gtest.h>

#include "DomainTestSupport.h"

namespace kelvar::fluid {
namespace {

using test::expectNear;

Vector3<unsigned int> counts(const MAC_LBM_Fluid3& fluid) {
    return {fluid.getGrid().getNx(), fluid.getGrid().getNy(), fluid.getGrid().getNz()};
}

// setResolution relays the grid in cells of one cubic edge, 0.5 world units
// here: 2 x 2 x 3 of them overshoot the 1.2 on z.
TEST(DomainPlacement, PlacementFollowsTheGrownBoxPositionAndRotation) {
    MAC_LBM_Fluid3 fluid;
    fluid.setScale({1, 1, 1.2f});
    fluid.setResolution(8);
    ASSERT_EQ(counts(fluid), Vector3<unsigned int>(2, 2, 3));
    EXPECT_NEAR(fluid.gridToWorldLength(1.0f), 0.5f, 1e-6f);
    EXPECT_NEAR(fluid.worldToGridLength(1.0f), 2.0f, 1e-6f);
    expectNear(fluid.gridToWorldPosition({1, 1, 1.5f}), {0.5f, 0.5f, 0.75f});

    fluid.setPosition({10, 20, 30});
    fluid.setRotation({0, 0, 90});
    expectNear(fluid.gridToWorldPosition({2, 0, 0}), {10, 21, 30});
    const Vector3<float> world(10.3f, 19.1f, 30.6f);
    expectNear(fluid.gridToWorldPosition(fluid.worldToGridPosition(world)), world, 1e-4f);

    // Changing the scale alone stretches the existing grid over the new box.
    fluid.setRotation({0, 0, 0});
    fluid.setPosition({0, 0, 0});
    fluid.setScale({2, 2, 2.4f});
    ASSERT_EQ(counts(fluid), Vector3<unsigned int>(2, 2, 3));
    expectNear(fluid.gridToWorldPosition({1, 1, 1.5f}), {1.0f, 1.0f, 1.5f});
}

// Sub-step 0.002 s, cells of 0.05 m and 0.125 kg: velocities scale by
// dt / dx, forces by dt^2 / (m dx), accelerations by dt^2 / dx, momenta by
// dt / (m dx); only the direction turns.
TEST(DomainUnits, VectorsKeepTheirLengthUnderNonUniformScaleAndRotation) {
    MAC_LBM_Fluid3 fluid;
    fluid.setScale({1, 2, 3});
    fluid.setRotation({30, 45, 60});
    fluid.setPosition({1, -2, 3});
    fluid.setResolution(1000);
    fluid.setUnitFactors(0.002f, 0.05f, 0.125f);

    using Convert = Vector3<float> (MAC_LBM_Fluid3::*)(const Vector3<float>&) const;
    const struct {
        Convert in, out;
        float factor;
    } pairs[] = {
        {&MAC_LBM_Fluid3::worldToGridVelocity, &MAC_LBM_Fluid3::gridToWorldVelocity, 0.04f},
        {&MAC_LBM_Fluid3::worldToGridForce, &MAC_LBM_Fluid3::gridToWorldForce, 6.4e-4f},
        {&MAC_LBM_Fluid3::worldToGridAcceleration, &MAC_LBM_Fluid3::gridToWorldAcceleration, 8e-5f},
        {&MAC_LBM_Fluid3::worldToGridMomentum, &MAC_LBM_Fluid3::gridToWorldMomentum, 0.32f},
    };
    for (const auto& pair : pairs) {
        for (const Vector3<float>& v : {Vector3<float>(3, -4, 12), Vector3<float>(0, 0, 1e-3f)}) {
            const Vector3<float> grid = (fluid.*pair.in)(v);
            EXPECT_NEAR(grid.length(), v.length() * pair.factor, 1e-5f * grid.length()) << pair.factor;
            expectNear((fluid.*pair.out)(grid), v, 1e-5f * v.length());
        }
        EXPECT_EQ((fluid.*pair.in)({0, 0, 0}), Vector3<float>(0, 0, 0));
    }
    // Mass divides on the way in, unlike speed and density.
    EXPECT_EQ(fluid.worldToGridMass(3.0f), 24.0f);
    EXPECT_FLOAT_EQ(fluid.gridToWorldMass(fluid.worldToGridMass(0.7f)), 0.7f);
}

TEST(DomainUnits, OrientedBoxIntoGridSpace) {
    MAC_LBM_Fluid3 fluid;
    fluid.setScale({2, 1, 1});
    fluid.setResolution(8);  // one world unit is two cells
    fluid.setPosition({5, 0, 0});
    fluid.setRotation({0, 90, 0});

    Obb3<float> box;
    box.center = {5, 0, 0.5f};
    box.halfExtent = {0.25f, 0.5f, 1.0f};
    const Obb3<float> inGrid = fluid.worldToGridOrientedBox(box);
    expectNear(inGrid.center, {-1, 0, 0});
    // World x is grid +z, world z is grid -x after undoing the turn about y.
    expectNear(inGrid.axis[0], {0, 0, 1}, 1e-6f);
    expectNear(inGrid.axis[1], {0, 1, 0}, 1e-6f);
    expectNear(inGrid.axis[2], {-1, 0, 0}, 1e-6f);
    expectNear(inGrid.halfExtent, {0.5f, 1.0f, 2.0f});
}

}  // namespace
}  // namespace kelvar::fluid
