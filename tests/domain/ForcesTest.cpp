#include <gtest/gtest.h>

#include "DomainTestSupport.h"
#include "FillTestSupport.h"
#include "kv_fluids_dyn/lattice/LBM_CellType.h"

namespace kelvar::fluid {
namespace {

using test::cellAt;
using test::liquidAt;
using test::sizeGrid;
using test::worldBox;

// A walled 6^3 domain with liquid in cells 1..4 x 1..3 x 1..4 (the top layer
// interface), one drain, one gas cell kept by the pool (type empty), and
// non-trivial units.
class DomainForcing : public ::testing::Test {
protected:
    void SetUp() override {
        sizeGrid(fluid, 6, 6, 6);
        fluid.initialize();
        fluid.setDomainBoundaryCells();
        fluid.setFluidCells(worldBox(fluid, {0.5f, 0.5f, 0.5f}, {5.5f, 3.3f, 5.5f}), {}, 0.0f, 1, 1);
        Mesh drain = worldBox(fluid, {4.2f, 1.2f, 4.2f}, {4.8f, 1.8f, 4.8f});
        fluid.setSinkCells(drain, true);
        auto& gas = static_cast<LBM_Q19_MAC_Cell3F&>(*fluid.refGrid().at(2, 3, 2));
        gas.setEmpty();
        fluid.setUnitFactors(0.01f, 0.05f, 0.125f);
    }
    Vector3<float> forceAt(unsigned i, unsigned j, unsigned k) const { return liquidAt(fluid, i, j, k).getForce(); }

    MAC_LBM_Fluid3 fluid;
    const Vector3<float> f{3.0f, -4.0f, 12.0f};
};

TEST_F(DomainForcing, GlobalFormsChangeEveryLiquidCellOnly) {
    const Vector3<float> lattice = fluid.worldToGridForce(f);
    fluid.addForce(f);
    fluid.addForce(f);
    EXPECT_EQ(forceAt(1, 1, 1), lattice + lattice);
    EXPECT_EQ(forceAt(4, 3, 1), lattice + lattice);  // interface cell
    EXPECT_EQ(forceAt(2, 3, 2), Vector3<float>());   // gas
    EXPECT_EQ(cellAt(fluid, 4, 1, 4)->getType(), LBM_CELL_SINK);

    fluid.setForce(f);
    EXPECT_EQ(forceAt(3, 2, 3), lattice);
    fluid.addAcceleration(f);
    EXPECT_EQ(forceAt(3, 2, 3), lattice + fluid.worldToGridAcceleration(f));
    fluid.setAcceleration({});
    for (const LBM_Cell3<float>* cell : fluid.getGrid().getCells()) {
        if (cell != nullptr && cell->isFluid()) {
            EXPECT_EQ(static_cast<const LBM_Q19_MAC_Cell3F*>(cell)->getForce(), Vector3<float>());
        }
    }
    EXPECT_EQ(fluid.getSolidCellCount(), 216u - 64u);
    EXPECT_EQ(fluid.getSinkCellCount(), 1u);
}

// Forces take a grid-space position and any cell with a force field;
// accelerations a world position and only fluid or interface cells.
TEST_F(DomainForcing, PositionalFormsFindTheirCell) {
    const Vector3<float>& min = fluid.getGrid().getBox().min;
    const auto gridPoint = [&](float x, float y, float z) { return min + Vector3<float>(x, y, z); };
    const auto worldPoint = [&](float x, float y, float z) { return fluid.gridToWorldPosition(gridPoint(x, y, z)); };
    const Vector3<float> lattice = fluid.worldToGridForce(f);

    fluid.addForce(gridPoint(2.5f, 3.5f, 2.5f), f);
    fluid.addForce(gridPoint(0.5f, 0.5f, 0.5f), f);   // wall: no force field
    fluid.addForce(gridPoint(6.5f, 1.5f, 1.5f), f);   // outside the grid
    fluid.addForce(gridPoint(-0.5f, 1.5f, 1.5f), f);  // outside, though it truncates to cell 0
    EXPECT_EQ(forceAt(2, 3, 2), lattice);
    fluid.setForce(gridPoint(1.5f, 1.5f, 1.5f), f);
    fluid.setForce(gridPoint(1.5f, 1.5f, 1.5f), f);
    EXPECT_EQ(forceAt(1, 1, 1), lattice);

    const Vector3<float> a = fluid.worldToGridAcceleration(f);
    fluid.addAcceleration(worldPoint(1.5f, 1.5f, 1.5f), f);
    fluid.addAcceleration(worldPoint(2.5f, 3.5f, 2.5f), f);  // gas: unchanged
    fluid.addAcceleration(worldPoint(1.5f, 1.5f, 9.0f), f);
    EXPECT_EQ(forceAt(1, 1, 1), lattice + a);
    EXPECT_EQ(forceAt(2, 3, 2), lattice);
}

TEST(DomainForces, RotatedFluidGetsTheWorldDirectionAtLatticeLength) {
    MAC_LBM_Fluid3 still;
    MAC_LBM_Fluid3 turned;
    for (MAC_LBM_Fluid3* fluid : {&still, &turned}) {
        sizeGrid(*fluid, 4, 4, 4);
        fluid->setUnitFactors(0.01f, 0.05f, 0.125f);
        fluid->initialize();
        fluid->setFluidCells(worldBox(*fluid, {0.0f, 0.0f, 0.0f}, {4.0f, 4.0f, 4.0f}), {}, 0.0f, 1, 1);
    }
    turned.setRotation({30.0f, 90.0f, -45.0f});
    const Vector3<float> g(0.0f, -9.81f, 0.0f);
    still.setAcceleration(g);
    turned.setAcceleration(g);
    const Vector3<float> s = liquidAt(still, 1, 1, 1).getForce();
    const Vector3<float> t = liquidAt(turned, 1, 1, 1).getForce();
    EXPECT_NEAR(t.length(), s.length(), 1e-6f * s.length());
    EXPECT_FLOAT_EQ(s.length(), 9.81f * still.getAccelerationFactor());
    // Turned back into the world, the stored vector points along g.
    const Vector3<float> back = turned.getXformGridToWorld().transformVector(t);
    test::expectNear(back / back.length(), {0.0f, -1.0f, 0.0f});
}

}  // namespace
}  // namespace kelvar::fluid
