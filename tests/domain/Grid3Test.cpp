#include "kv_fluids_dyn/domain/Grid3.h"

#include <gtest/gtest.h>

#include <cmath>

namespace kelvar::fluid {
namespace {

using Grid = Grid3<LBM_Cell3<float>, float>;

Box3<float> centredBox(const Vector3<float>& extent) {
    return Box3<float>(extent * -0.5f, extent * 0.5f);
}

struct SizingCase {
    Vector3<float> extent;
    unsigned int requested;
    unsigned int nx, ny, nz;
};

TEST(Grid3, CountsFollowTheTruncatedCubeRootPlusOne) {
    // The edge comes out just above the exact cube root, so boxes of whole
    // edges keep their count; the +1 after the truncation gives even an exact
    // fit one extra cell (N = 1 on the unit box yields 2 per axis).
    const SizingCase cases[] = {
        {{1, 1, 1}, 8, 2, 2, 2},        // edge just above 0.5
        {{1, 1, 1}, 1000, 10, 10, 10},  // edge just above 0.1: 9.99... -> 9 + 1
        {{2, 1, 1}, 8, 4, 2, 2},        // edge (1/4)^(1/3) ~ 0.63
        {{1, 1, 1}, 1, 2, 2, 2},
        {{1, 1, 1}, 27, 3, 3, 3},
        {{1, 1, 1}, 64, 4, 4, 4},
        {{1, 1, 1}, 100, 5, 5, 5},      // edge ~0.215: 4.64 -> 4 + 1
        {{4, 2, 1}, 64, 8, 4, 2},
        {{3, 1, 1}, 3000, 30, 10, 10},
        {{1, 1, 1}, 0, 1, 1, 1},        // no count: infinite edge, one cell
    };
    for (const SizingCase& c : cases) {
        Grid grid;
        grid.set(centredBox(c.extent), c.requested, true);
        EXPECT_EQ(grid.getNx(), c.nx) << c.requested;
        EXPECT_EQ(grid.getNy(), c.ny) << c.requested;
        EXPECT_EQ(grid.getNz(), c.nz) << c.requested;
        EXPECT_EQ(grid.getStride(), c.ny * c.nz);
        EXPECT_EQ(grid.getCount(), c.nx * c.ny * c.nz);
        EXPECT_EQ(grid.getRequestedCount(), c.requested);
    }
}

TEST(Grid3, DefaultCoversTheUnitBoxWithTwoCellsPerAxis) {
    const Grid grid;
    EXPECT_EQ(grid.getNx(), 2u);
    EXPECT_EQ(grid.getNy(), 2u);
    EXPECT_EQ(grid.getNz(), 2u);
    EXPECT_EQ(grid.getCubicCellSize(), 0.5f);
    EXPECT_EQ(grid.getCellSize(), Vector3<float>(0.5f, 0.5f, 0.5f));
    EXPECT_EQ(grid.getInvCellSize(), Vector3<float>(2, 2, 2));
    EXPECT_EQ(grid.getBox(), Box3<float>({-0.5f, -0.5f, -0.5f}, {0.5f, 0.5f, 0.5f}));
    ASSERT_EQ(grid.getCells().size(), 8u);
    for (LBM_Cell3<float>* cell : grid.getCells()) EXPECT_EQ(cell, nullptr);
}

TEST(Grid3, CubicCellsRecentreTheBoxOnWholeCells) {
    Grid grid;
    grid.set(Box3<float>({1, 2, 3}, {3, 3, 4}), 8, true);  // extent (2, 1, 1), centre (2, 2.5, 3.5)
    EXPECT_EQ(grid.getNx(), 4u);
    EXPECT_EQ(grid.getCubicCellSize(), 0.5f);
    EXPECT_EQ(grid.getBox().center(), Vector3<float>(2.0f, 2.5f, 3.5f));
    EXPECT_EQ(grid.getBox().extent(), Vector3<float>(2.0f, 1.0f, 1.0f));

    // Non-cubic cells divide the box evenly per axis and keep it.
    Grid uneven;
    uneven.set(Box3<float>({0, 0, 0}, {1, 2, 3}), 6, false);
    const Vector3<float> size = uneven.getCellSize();
    EXPECT_EQ(size.x, 1.0f / float(uneven.getNx()));
    EXPECT_EQ(size.y, 2.0f / float(uneven.getNy()));
    EXPECT_EQ(size.z, 3.0f / float(uneven.getNz()));
    EXPECT_EQ(uneven.getBox(), Box3<float>({0, 0, 0}, {1, 2, 3}));
}

TEST(Grid3, RelayKeepsCountsAndMeasuresInCells) {
    Grid grid;
    grid.set(centredBox({2, 1, 1}), 8, true);
    grid.relay(1.0f);
    EXPECT_EQ(grid.getNx(), 4u);
    EXPECT_EQ(grid.getLatticeCellSize(), 1.0f);
    EXPECT_EQ(grid.getCubicCellSize(), 1.0f);
    EXPECT_EQ(grid.getInvCellSize(), Vector3<float>(1, 1, 1));
    EXPECT_EQ(grid.getBox(), Box3<float>({-2, -1, -1}, {2, 1, 1}));

    Tuple3<unsigned int> ijk;
    ASSERT_TRUE(grid.locate({-2.0f, -1.0f, 0.999f}, ijk));
    EXPECT_EQ(ijk, (Tuple3<unsigned int>{0, 0, 1}));
    ASSERT_TRUE(grid.locate({1.5f, 0.0f, -0.5f}, ijk));
    EXPECT_EQ(ijk, (Tuple3<unsigned int>{3, 1, 0}));
    EXPECT_FALSE(grid.locate({2.0f, 0.0f, 0.0f}, ijk));   // max face belongs to no cell
    EXPECT_FALSE(grid.locate({-3.5f, 0.0f, 0.0f}, ijk));  // a whole cell below
    EXPECT_TRUE(grid.locate({-2.5f, 0.0f, 0.0f}, ijk));   // truncation toward zero: first cell
    EXPECT_FALSE(grid.locate({NAN, 0.0f, 0.0f}, ijk));
}

TEST(Grid3, CellArrayGrowsButNeverShrinksAndKeepsPointers) {
    Grid grid;
    LBM_Cell3<float> cell;
    grid.set(centredBox({1, 1, 1}), 27, true);
    grid.relay(1.0f);
    grid.resizeCells();
    ASSERT_EQ(grid.getCells().size(), 27u);
    grid.at(1, 2, 0) = &cell;
    EXPECT_EQ(grid.at(1 * 9 + 2 * 3 + 0), &cell);
    EXPECT_EQ(grid.index(1, 2, 0), 15u);

    grid.set(centredBox({1, 1, 1}), 8, true);
    grid.resizeCells();
    EXPECT_EQ(grid.getCells().size(), 8u);
    EXPECT_GE(grid.getCells().capacity(), 27u);

    grid.clearCells();
    for (LBM_Cell3<float>* c : grid.getCells()) EXPECT_EQ(c, nullptr);
}

TEST(Grid3, OutOfRangeIndicesAreClampedIntoTheArray) {
    Grid grid;  // 8 cells
    LBM_Cell3<float> first, last;
    grid.at(0u) = &first;
    grid.at(7u) = &last;
    EXPECT_EQ(grid.at(8u), &last);
    EXPECT_EQ(grid.at(0x7FFFFFFFu), &last);
    EXPECT_EQ(grid.at(0x80000000u), &first);
    EXPECT_EQ(grid.at(0xFFFFFFFFu), &first);
}

TEST(Grid3, TruncationToCellIndex) {
    EXPECT_EQ(truncateToCellIndex(0.0f), 0u);
    EXPECT_EQ(truncateToCellIndex(-0.999f), 0u);
    EXPECT_EQ(truncateToCellIndex(3.999f), 3u);
    EXPECT_EQ(truncateToCellIndex(-1.0f), 0xFFFFFFFFu);
    EXPECT_EQ(truncateToCellIndex(1e10f), 0xFFFFFFFFu);
    EXPECT_EQ(truncateToCellIndex(INFINITY), 0xFFFFFFFFu);
}

}  // namespace
}  // namespace kelvar::fluid
