#include <gtest/gtest.h>

#include "DomainTestSupport.h"
#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/lattice/LBM_SinkCell3.h"

namespace kelvar::fluid {
namespace {

using test::countTypes;
using test::sizeGrid;
using test::worldBox;

const LBM_SinkCell3<float>* sinkAt(const MAC_LBM_Fluid3& fluid, unsigned i, unsigned j, unsigned k) {
    const LBM_Cell3<float>* cell = fluid.getGrid().at(i, j, k);
    return cell != nullptr && cell->isSink() ? static_cast<const LBM_SinkCell3<float>*>(cell) : nullptr;
}

TEST(DomainSinks, ReplaceLiquidNotWallsAndFollowTheirMesh) {
    MAC_LBM_Fluid3 fluid;
    sizeGrid(fluid, 8, 8, 8);
    fluid.setThreads(2);
    fluid.initialize();
    fluid.setDomainBoundaryCells();
    fluid.setFluidCells(worldBox(fluid, {-1.0f, -1.0f, -1.0f}, {9.0f, 9.0f, 9.0f}), {}, 0.0f, 1, 1);
    // Drains of mesh `id` over cells [x0, x1] x [2, 3] x [2, 3].
    const auto place = [&](float x0, float x1, unsigned id) {
        fluid.setSinkCells(worldBox(fluid, {x0 + 0.2f, 2.2f, 2.2f}, {x1 + 0.8f, 3.8f, 3.8f}, id), true);
    };
    place(-1.0f, 3.0f, 7);  // reaches into the wall at x = 0
    place(5.0f, 5.0f, 9);
    EXPECT_EQ(fluid.getSinkCellCount(), 12u + 4u);
    EXPECT_EQ(fluid.getLiquidCellCount(), 216u - 16u);
    EXPECT_EQ(fluid.get_MAC_ParticleSystem().getParticlesCount(), 216u * 8u);  // particles stay
    EXPECT_TRUE(fluid.getGrid().at(0, 2, 2)->isSolid());
    const LBM_SinkCell3<float>* sink = sinkAt(fluid, 1, 3, 2);
    ASSERT_NE(sink, nullptr);
    EXPECT_TRUE(sink->getSinkId() == 7 && sink->getFlags() == 1 && sink->getGridMonoindex() == 64 + 3 * 8 + 2);

    place(4.0f, 4.0f, 7);  // still marked from the last call: nothing is swept
    EXPECT_EQ(fluid.getSinkCellCount(), 12u + 4u + 4u);
    for (LBM_Cell3<float>* cell : fluid.refGrid().refCells())  // what a solver step does
        if (cell != nullptr && cell->isSink()) static_cast<LBM_SinkCell3<float>*>(cell)->setFlags(0);
    place(3.0f, 4.0f, 7);
    // Id 7 now covers x = 3..4 and x = 1..2 is empty; id 9 stays.
    EXPECT_EQ(fluid.getSinkCellCount(), 8u + 4u);
    EXPECT_EQ(countTypes(fluid)[1], 8u);
    EXPECT_TRUE(fluid.getGrid().at(2, 2, 3) == nullptr && sinkAt(fluid, 3, 2, 3)->getSinkId() == 7 &&
                sinkAt(fluid, 5, 2, 3)->getSinkId() == 9);
    // Liquid linked to an emptied cell is on the surface now; a corner away
    // (no lattice link) or farther it is not.
    const auto typeAt = [&](unsigned i, unsigned j, unsigned k) { return fluid.getGrid().at(i, j, k)->getType(); };
    EXPECT_TRUE(typeAt(1, 1, 2) == LBM_CELL_INTERFACE && typeAt(2, 4, 4) == LBM_CELL_INTERFACE);
    EXPECT_TRUE(typeAt(3, 4, 4) == LBM_CELL_FLUID && typeAt(6, 6, 6) == LBM_CELL_FLUID);
}

// Emission leaves the drains alone and ignores meshes outside the grid.
TEST(DomainSinks, OutsideMakesDrainsOfTheRestOfTheGridAndEmissionKeepsThem) {
    MAC_LBM_Fluid3 fluid;
    sizeGrid(fluid, 6, 6, 6);
    fluid.initialize();
    fluid.setSinkCells(worldBox(fluid, {0.7f, 0.7f, 0.7f}, {4.3f, 4.3f, 4.3f}), false);
    EXPECT_EQ(fluid.getSinkCellCount(), 216u - 27u);
    EXPECT_TRUE(fluid.getGrid().at(2, 2, 2) == nullptr && fluid.getGrid().at(0, 4, 5)->isSink());

    fluid.setFluidCells(worldBox(fluid, {12.0f, 0.0f, 0.0f}, {15.0f, 5.0f, 5.0f}), {}, 0.0f, 1, 1);
    fluid.setFluidCells(Mesh(), {}, 0.0f, 1, 1);
    EXPECT_EQ(fluid.getLiquidCellCount(), 0u);
    fluid.setFluidCells(worldBox(fluid, {-1.0f, -1.0f, -1.0f}, {7.0f, 7.0f, 7.0f}), {}, 0.0f, 1, 1);
    EXPECT_EQ(fluid.getSinkCellCount(), 216u - 27u);
    EXPECT_EQ(countTypes(fluid)[LBM_CELL_FLUID], 27u);
    EXPECT_EQ(fluid.get_MAC_ParticleSystem().getParticlesCount(), 27u * 8u);
}

}  // namespace
}  // namespace kelvar::fluid
