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

// Non-cubic cells divide the box evenly and keep it. (Cubic cells grow it to
// whole cells about its centre, which the fluid's placement pins.)
TEST(DomainGrid3, NonCubicCellsDivideTheBoxEvenly) {
    Grid grid;
    grid.set(Box3<float>({0, 0, 0}, {1, 2, 3}), 6, false);
    EXPECT_EQ(grid.getCellSize().z, 3.0f / float(grid.getNz()));
    EXPECT_EQ(grid.getBox(), Box3<float>({0, 0, 0}, {1, 2, 3}));
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
    // The max face belongs to no cell, nor a whole cell below, NaN or far away;
    // half a cell below truncates toward zero into the first cell.
    for (const float x : {2.0f, -3.0f, NAN, 1e12f}) EXPECT_FALSE(grid.locate({x, 0.0f, 0.0f}, ijk)) << x;
    EXPECT_TRUE(grid.locate({-2.5f, 0.0f, 0.0f}, ijk) && ijk.first == 0u);
}

TEST(DomainGrid3, StrayIndicesAreClamped) {
    Grid grid;
    grid.set(centredBox({1, 1, 1}), 27, true);
    grid.resizeCells();
    LBM_Cell3<float> first, last;
    grid.at(0u) = &first;
    grid.at(26u) = &last;
    EXPECT_EQ(grid.at(27u), &last);
    EXPECT_EQ(grid.at(0x7FFFFFFFu), &last);
    EXPECT_EQ(grid.at(0x80000000u), &first);
}

}  // namespace
}  // namespace kelvar::fluid
