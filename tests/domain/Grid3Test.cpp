#include "kv_fluids_dyn/domain/Grid3.h"

#include <gtest/gtest.h>

#include <cmath>

namespace kelvar::fluid {
namespace {

using Grid = Grid3<LBM_Cell3<float>, float>;

Box3<float> centredBox(const Vector3<float>& extent) {
    return Box3<float>(extent * -0.5f, extent * 0.5f);
}

TEST(DomainGrid3, CountsFollowTheTruncatedCubeRootPlusOne) {
    // The edge comes out just above the exact cube root, so boxes of whole
    // edges keep their count; the +1 after the truncation gives even an exact
    // fit one extra cell (N = 1 on the unit box yields 2 per axis).
    struct Case {
        Vector3<float> extent;
        unsigned int requested, nx, ny, nz;
    };
    const Case cases[] = {
        {{1, 1, 1}, 8, 2, 2, 2},        // edge just above 0.5
        {{1, 1, 1}, 1000, 10, 10, 10},  // edge just above 0.1: 9.99... -> 9 + 1
        {{2, 1, 1}, 8, 4, 2, 2},        // edge (1/4)^(1/3) ~ 0.63
        {{1, 1, 1}, 1, 2, 2, 2},        {{1, 1, 1}, 27, 3, 3, 3},   {{1, 1, 1}, 64, 4, 4, 4},
        {{1, 1, 1}, 100, 5, 5, 5},      {{4, 2, 1}, 64, 8, 4, 2},   {{3, 1, 1}, 3000, 30, 10, 10},
        {{1, 1, 1}, 0, 1, 1, 1},  // no count: infinite edge, one cell
    };
    for (const Case& c : cases) {
        Grid grid;
        grid.set(centredBox(c.extent), c.requested, true);
        EXPECT_EQ(grid.getNx(), c.nx) << c.requested;
        EXPECT_EQ(grid.getNy(), c.ny) << c.requested;
        EXPECT_EQ(grid.getNz(), c.nz) << c.requested;
        EXPECT_EQ(grid.getStride(), c.ny * c.nz);
        EXPECT_EQ(grid.getCount(), c.nx * c.ny * c.nz);
    }
}

TEST(DomainGrid3, CubicCellsRecentreTheBoxOnWholeCells) {
    Grid grid;
    grid.set(Box3<float>({1, 2, 3}, {3, 3, 4.2f}), 8, true);  // counts (3, 2, 2), cubic edge 2/3
    EXPECT_EQ(grid.getCellSize(), Vector3<float>(2.0f / 3.0f, 2.0f / 3.0f, 2.0f / 3.0f));
    const Vector3<float> centre = grid.getBox().center();
    EXPECT_NEAR(centre.y, 2.5f, 1e-6f);
    EXPECT_NEAR(centre.z, 3.6f, 1e-6f);
    EXPECT_NEAR(grid.getBox().extent().y, 4.0f / 3.0f, 1e-6f);  // grown to whole cells
    EXPECT_NEAR(grid.getBox().extent().z, 4.0f / 3.0f, 1e-6f);

    Grid uneven;  // non-cubic cells divide the box evenly and keep it
    uneven.set(Box3<float>({0, 0, 0}, {1, 2, 3}), 6, false);
    EXPECT_EQ(uneven.getCellSize().z, 3.0f / float(uneven.getNz()));
    EXPECT_EQ(uneven.getBox(), Box3<float>({0, 0, 0}, {1, 2, 3}));
}

TEST(DomainGrid3, RelayMeasuresInCellsAndLocatesByTruncation) {
    Grid grid;
    grid.set(centredBox({2, 1, 1}), 8, true);
    grid.relay(1.0f);
    EXPECT_EQ(grid.getNx(), 4u);
    EXPECT_EQ(grid.getInvCellSize(), Vector3<float>(1, 1, 1));
    EXPECT_EQ(grid.getBox(), Box3<float>({-2, -1, -1}, {2, 1, 1}));

    Tuple3<unsigned int> ijk;
    ASSERT_TRUE(grid.locate({1.5f, 0.0f, 0.999f}, ijk));
    EXPECT_EQ(ijk, (Tuple3<unsigned int>{3, 1, 1}));
    EXPECT_FALSE(grid.locate({2.0f, 0.0f, 0.0f}, ijk));   // the max face belongs to no cell
    EXPECT_FALSE(grid.locate({-3.0f, 0.0f, 0.0f}, ijk));  // a whole cell below
    EXPECT_TRUE(grid.locate({-2.5f, 0.0f, 0.0f}, ijk));   // toward zero: the first cell
    EXPECT_EQ(ijk.first, 0u);
    EXPECT_FALSE(grid.locate({NAN, 0.0f, 0.0f}, ijk));
    EXPECT_FALSE(grid.locate({1e12f, 0.0f, 0.0f}, ijk));
}

TEST(DomainGrid3, CellArrayOnlyGrowsAndStrayIndicesAreClamped) {
    Grid grid;
    grid.set(centredBox({1, 1, 1}), 27, true);
    grid.resizeCells();
    LBM_Cell3<float> first, last;
    grid.at(0u) = &first;
    grid.at(26u) = &last;
    EXPECT_EQ(grid.at(27u), &last);
    EXPECT_EQ(grid.at(0x7FFFFFFFu), &last);
    EXPECT_EQ(grid.at(0x80000000u), &first);

    grid.set(centredBox({1, 1, 1}), 8, true);
    grid.resizeCells();
    EXPECT_EQ(grid.getCells().size(), 8u);
    EXPECT_GE(grid.getCells().capacity(), 27u);
}

}  // namespace
}  // namespace kelvar::fluid
