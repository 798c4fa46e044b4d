#include <gtest/gtest.h>

#include "DomainTestSupport.h"
#include "FillTestSupport.h"
#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/lattice/LBM_SinkCell3.h"

namespace kelvar::fluid {
namespace {

using test::cellAt;
using test::countTypes;
using test::sizeGrid;
using test::worldBox;

// A walled 8^3 domain full of liquid.
class DomainSinkDrains : public ::testing::Test {
protected:
    void SetUp() override {
        sizeGrid(fluid, 8, 8, 8);
        fluid.setThreads(2);
        fluid.initialize();
        fluid.setDomainBoundaryCells();
        fluid.setFluidCells(worldBox(fluid, {-1.0f, -1.0f, -1.0f}, {9.0f, 9.0f, 9.0f}), {}, 0.0f, 1, 1);
        ASSERT_EQ(fluid.getLiquidCellCount(), 216u);
    }
    // Drain mesh over cells [x0, x1] x [2, 3] x [2, 3].
    void place(float x0, float x1, unsigned id) {
        Mesh mesh = worldBox(fluid, {x0 + 0.2f, 2.2f, 2.2f}, {x1 + 0.8f, 3.8f, 3.8f});
        mesh.setId(id);
        fluid.setSinkCells(mesh, true);
    }
    // What the solver does at every step.
    void clearMarks() {
        for (LBM_Cell3<float>* cell : fluid.refGrid().refCells())
            if (cell != nullptr && cell->isSink()) static_cast<LBM_SinkCell3<float>*>(cell)->setFlags(0);
    }
    const LBM_SinkCell3<float>* sinkAt(unsigned i, unsigned j, unsigned k) const {
        const LBM_Cell3<float>* cell = cellAt(fluid, i, j, k);
        return cell != nullptr && cell->isSink() ? static_cast<const LBM_SinkCell3<float>*>(cell) : nullptr;
    }

    MAC_LBM_Fluid3 fluid;
};

TEST_F(DomainSinkDrains, ReplaceLiquidButNotWallsAndFollowTheirMesh) {
    place(-1.0f, 3.0f, 7);  // reaches into the wall at x = 0
    place(5.0f, 5.0f, 9);
    EXPECT_EQ(fluid.getSinkCellCount(), 12u + 4u);
    EXPECT_EQ(fluid.getLiquidCellCount(), 216u - 16u);
    EXPECT_EQ(fluid.get_MAC_ParticleSystem().getParticlesCount(), 216u * 8u);  // particles stay
    EXPECT_EQ(cellAt(fluid, 0, 2, 2)->getType(), LBM_CELL_SOLID);
    const LBM_SinkCell3<float>* sink = sinkAt(1, 3, 2);
    ASSERT_NE(sink, nullptr);
    EXPECT_TRUE(sink->getSinkId() == 7 && sink->getFlags() == 1 && sink->getGridMonoindex() == 8 * 8 + 3 * 8 + 2);

    clearMarks();
    place(3.0f, 4.0f, 7);
    // Id 7 now covers x = 3..4; x = 1..2 is empty; id 9 was not placed
    // again but is another mesh's and stays.
    EXPECT_EQ(fluid.getSinkCellCount(), 8u + 4u);
    for (unsigned i = 1; i <= 5; ++i) {
        const LBM_SinkCell3<float>* s = sinkAt(i, 2, 3);
        const bool expected = i <= 2 ? cellAt(fluid, i, 2, 3) == nullptr
                                     : s != nullptr && s->getSinkId() == (i == 5 ? 9u : 7u);
        EXPECT_TRUE(expected) << i;
    }
    // Liquid next to an emptied cell is on the surface now; far away it is not.
    EXPECT_EQ(cellAt(fluid, 1, 1, 2)->getType(), LBM_CELL_INTERFACE);
    EXPECT_EQ(cellAt(fluid, 2, 4, 4)->getType(), LBM_CELL_INTERFACE);
    EXPECT_EQ(cellAt(fluid, 3, 4, 4)->getType(), LBM_CELL_FLUID);  // (2, 3, 3) is a corner away: no lattice link
    EXPECT_EQ(cellAt(fluid, 6, 6, 6)->getType(), LBM_CELL_FLUID);
    EXPECT_EQ(countTypes(fluid)[1], 8u);
}

TEST_F(DomainSinkDrains, StayWhileMarkedUntilTheNextStep) {
    place(1.0f, 2.0f, 7);
    place(4.0f, 5.0f, 7);  // the first placement's marks are still set
    EXPECT_EQ(fluid.getSinkCellCount(), 16u);
}

TEST(DomainSinks, OutsideMakesDrainsOfTheRestOfTheGrid) {
    MAC_LBM_Fluid3 fluid;
    sizeGrid(fluid, 6, 6, 6);
    fluid.initialize();
    fluid.setSinkCells(worldBox(fluid, {0.7f, 0.7f, 0.7f}, {4.3f, 4.3f, 4.3f}), false);
    EXPECT_EQ(fluid.getSinkCellCount(), 216u - 27u);
    EXPECT_EQ(cellAt(fluid, 2, 2, 2), nullptr);
    EXPECT_TRUE(cellAt(fluid, 0, 4, 5)->isSink());
}

}  // namespace
}  // namespace kelvar::fluid
