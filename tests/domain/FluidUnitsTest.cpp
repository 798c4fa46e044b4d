#include <gtest/gtest.h>

#include "DomainTestSupport.h"
#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/lattice/LBM_SolidCell3.h"

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
    EXPECT_EQ(fluid.getGrid().getCells().size(), 12u);
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
        {&MAC_LBM_Fluid3::worldToGridVelocity, &MAC_LBM_Fluid3::gridToWorldVelocity, fluid.getVelocityFactor()},
        {&MAC_LBM_Fluid3::worldToGridForce, &MAC_LBM_Fluid3::gridToWorldForce, fluid.getForceFactor()},
        {&MAC_LBM_Fluid3::worldToGridAcceleration, &MAC_LBM_Fluid3::gridToWorldAcceleration,
         fluid.getAccelerationFactor()},
        {&MAC_LBM_Fluid3::worldToGridMomentum, &MAC_LBM_Fluid3::gridToWorldMomentum, fluid.getMomentumFactor()},
    };
    for (const auto& pair : pairs) {
        for (const Vector3<float>& v : {Vector3<float>(3, -4, 12), Vector3<float>(0, 0, 1e-3f)}) {
            const Vector3<float> grid = (fluid.*pair.in)(v);
            EXPECT_FLOAT_EQ(grid.length(), v.length() * pair.factor);
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

TEST(DomainVelocity, LookupByIndexAndPosition) {
    MAC_LBM_Fluid3 fluid;
    fluid.setResolution(27);  // 3 x 3 x 3, box -1.5 .. 1.5
    LBM_Q19_MAC_Cell3F liquid;
    liquid.setType(LBM_CELL_INTERFACE);
    liquid.setVelocity({1, 2, 3});
    LBM_SolidCell3<float> wall;
    wall.setVelocity({4, 5, 6});
    fluid.refGrid().at(1, 2, 0) = &liquid;
    fluid.refGrid().at(0, 0, 0) = &wall;

    const Vector3<float>& zero = fluid.getVelocityAt(0u, 0u, 1u);  // no cell
    EXPECT_TRUE(zero == Vector3<float>() && &fluid.getVelocityAt(1u, 2u, 0u) == &liquid.getVelocity());
    EXPECT_EQ(&fluid.getVelocityAt(0u, 0u, 0u), &zero);  // solid
    for (unsigned a = 0; a < 3; ++a)  // one past the end on each axis
        EXPECT_EQ(&fluid.getVelocityAt(a == 0 ? 3u : 0u, a == 1 ? 3u : 0u, a == 2 ? 3u : 0u), &zero) << a;
    EXPECT_EQ(fluid.getVelocityAt(Vector3<float>(-0.2f, 1.4f, -1.0f)), liquid.getVelocity());
    EXPECT_EQ(&fluid.getVelocityAt(Vector3<float>(-0.2f, 1.5f, -1.0f)), &zero);  // on the max face
    liquid.setType(LBM_CELL_EMPTY);
    EXPECT_EQ(&fluid.getVelocityAt(1u, 2u, 0u), &zero);
}

}  // namespace
}  // namespace kelvar::fluid
