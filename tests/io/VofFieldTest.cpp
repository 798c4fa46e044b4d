#include <gtest/gtest.h>

#include <cmath>

#include "HandFilledFluid.h"

namespace kelvar::fluid {
namespace {

using test::HandFilledFluid;

constexpr float kLoneInterface = 0.5f - 0.5f / 27.0f;

TEST(VofField, DeepLiquidIsFlatAndWallsAreGas) {
    HandFilledFluid fluid(5, 5, 5);
    const auto& grid = fluid.getGrid();
    for (unsigned n = 0; n < grid.getCount(); ++n)
        fluid.placeLiquid(n / 25, n / 5 % 5, n % 5, LBM_CELL_FLUID, 0.75f);
    // Walls around a full interior read exactly 0.5 whatever their neighbours.
    fluid.setDomainBoundaryCells();
    fluid.rebuildVof();
    for (unsigned i = 0; i < 5; ++i)
        for (unsigned j = 0; j < 5; ++j)
            for (unsigned k = 0; k < 5; ++k) {
                const bool wall = i % 4 == 0 || j % 4 == 0 || k % 4 == 0;
                EXPECT_EQ(fluid.value(i, j, k), wall ? 0.5f : -0.5f) << i << j << k;
            }
}

TEST(VofField, SurfaceSitesAreSmoothedByDistanceAndRebuiltOnlyWhenOutOfDate) {
    HandFilledFluid fluid(5, 5, 5);
    fluid.placeLiquid(2, 2, 2, LBM_CELL_INTERFACE, 0.5f);
    fluid.placeLiquid(3, 2, 2, LBM_CELL_EMPTY, 0.0f);
    fluid.placeSink(2, 2, 3);
    fluid.rebuildVof();
    EXPECT_FALSE(fluid.getDirtyFlags().test(MAC_LBM_Fluid3::VOF_DIRTY));
    // Voxels sit on the cell centres of the grid box.
    const Box3<float>& box = fluid.getGrid().getBox();
    EXPECT_EQ(fluid.get_VOF_Field().voxelPosition(0, 0, 0), box.min + Vector3<float>(0.5f, 0.5f, 0.5f));
    EXPECT_EQ(fluid.get_VOF_Field().voxelPosition(4, 4, 4), box.max - Vector3<float>(0.5f, 0.5f, 0.5f));
    EXPECT_EQ(fluid.value(2, 2, 2), kLoneInterface);
    EXPECT_EQ(fluid.value(3, 2, 2), 0.5f);  // an existing gas cell is not smoothed
    // Sites without a cell, and sinks, take the neighbour weighted by distance.
    EXPECT_EQ(fluid.value(1, 2, 2), 0.5f - 0.5f / 27.0f);
    EXPECT_EQ(fluid.value(2, 2, 3), 0.5f - 0.5f / 27.0f);
    EXPECT_EQ(fluid.value(1, 1, 2), 0.5f - (0.5f / std::sqrt(2.0f)) / 27.0f);
    EXPECT_EQ(fluid.value(1, 1, 1), 0.5f - (0.5f / std::sqrt(3.0f)) / 27.0f);
    EXPECT_EQ(fluid.value(0, 2, 2), 0.5f);

    // A full cell next to the interface counts its own fill and its neighbours',
    // once the field is marked out of date.
    fluid.placeLiquid(2, 1, 2, LBM_CELL_FLUID, 1.0f, MAC_FLAG_NEAR_INTERFACE);
    fluid.compute_VOF_Field();
    EXPECT_EQ(fluid.value(2, 2, 2), kLoneInterface);
    fluid.rebuildVof();
    EXPECT_EQ(fluid.value(2, 1, 2), 0.5f - (1.0f + 0.5f) / 27.0f);
    EXPECT_EQ(fluid.value(2, 2, 2), 0.5f - (0.5f + 1.0f) / 27.0f);
    EXPECT_EQ(fluid.value(1, 2, 2), 0.5f - (0.5f + 1.0f / std::sqrt(2.0f)) / 27.0f);
}

TEST(VofField, ResolutionFactorTakesWholeVoxelsAndLeavesTheRestGas) {
    HandFilledFluid fluid(3, 4, 5);
    fluid.placeLiquid(0, 0, 0, LBM_CELL_FLUID, 1.0f);
    fluid.setVOFResolutionFactor(2.9f);
    fluid.rebuildVof();
    const ScalarField3<float>& field = fluid.get_VOF_Field();
    EXPECT_EQ(field.getResolution(), (Tuple3<unsigned int>{6, 8, 10}));
    EXPECT_EQ(field.getSpacing(), Vector3<float>(1.0f, 1.0f, 1.0f));
    EXPECT_EQ(fluid.value(0, 0, 0), -0.5f);
    EXPECT_EQ(fluid.value(5, 7, 9), 0.5f);

    // Below one voxel per cell the field is empty and nothing is read.
    fluid.setVOFResolutionFactor(0.5f);
    fluid.rebuildVof();
    EXPECT_EQ(fluid.get_VOF_Field().voxelCount(), 0u);
}

TEST(SkyPoint, LowestFlaggedInterfaceCellOfTheColumn) {
    HandFilledFluid fluid(3, 6, 3);  // box from (-1.5, -3, -1.5)
    fluid.placeLiquid(1, 1, 1, LBM_CELL_INTERFACE, 0.5f);
    fluid.placeLiquid(1, 2, 1, LBM_CELL_FLUID, 1.0f, MAC_FLAG_SKY);
    fluid.placeLiquid(1, 3, 1, LBM_CELL_INTERFACE, 0.5f, MAC_FLAG_SKY);
    fluid.placeLiquid(1, 5, 1, LBM_CELL_INTERFACE, 0.5f, MAC_FLAG_SKY);
    fluid.placeLiquid(0, 4, 0, LBM_CELL_INTERFACE, 0.5f, MAC_FLAG_SKY);
    fluid.placeLiquid(2, 4, 2, LBM_CELL_INTERFACE, 0.5f);
    Vector3<float> point;
    ASSERT_TRUE(fluid.getPointInSkyInterfaceCell(0.5f, 0.5f, point));
    EXPECT_EQ(point, Vector3<float>(0.0f, 0.5f, 0.0f));  // centre of cell row 3
    ASSERT_TRUE(fluid.getPointInSkyInterfaceCell(0.0f, 0.0f, point));
    EXPECT_EQ(point, Vector3<float>(-1.5f, 1.5f, -1.5f));  // the domain's minimum x and z

    // No flagged interface cell in the column, or no column at all.
    const Vector3<float> untouched(7.0f, 7.0f, 7.0f);
    point = untouched;
    EXPECT_FALSE(fluid.getPointInSkyInterfaceCell(0.9f, 0.9f, point));
    EXPECT_FALSE(fluid.getPointInSkyInterfaceCell(1.0f, 0.0f, point));
    EXPECT_FALSE(fluid.getPointInSkyInterfaceCell(-0.5f, 0.0f, point));
    EXPECT_EQ(point, untouched);
}

}  // namespace
}  // namespace kelvar::fluid
