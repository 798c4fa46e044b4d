#include <gtest/gtest.h>

#include "DomainTestSupport.h"
#include "FillTestSupport.h"
#include "kv_fluids_dyn/lattice/LBM_CellType.h"

namespace kelvar::fluid {
namespace {

using test::liquidAt;
using test::worldBox;

// A walled 6^3 fluid with non-trivial units, liquid in cells 1..4 x 1..3 x
// 1..4 (the top layer interface), one drain at (4, 1, 4), and one gas cell
// at (2, 3, 2) that the liquid pool still holds.
struct Forcing {
    Forcing() {
        test::sizeGrid(fluid, 6, 6, 6);
        fluid.initialize();
        fluid.setDomainBoundaryCells();
        fluid.setFluidCells(worldBox(fluid, {0.5f, 0.5f, 0.5f}, {5.5f, 3.3f, 5.5f}), {}, 0.0f, 1, 1);
        fluid.setSinkCells(worldBox(fluid, {4.2f, 1.2f, 4.2f}, {4.8f, 1.8f, 4.8f}), true);
        static_cast<LBM_Q19_MAC_Cell3F*>(fluid.refGrid().at(2, 3, 2))->setEmpty();
        fluid.setUnitFactors(0.01f, 0.05f, 0.125f);
    }
    Vector3<float> forceAt(unsigned i, unsigned j, unsigned k) const { return liquidAt(fluid, i, j, k).getForce(); }
    Vector3<float> gridPoint(float x, float y, float z) const { return fluid.getGrid().getBox().min + Vector3<float>(x, y, z); }

    MAC_LBM_Fluid3 fluid;
    const Vector3<float> f{3.0f, -4.0f, 12.0f};
};

TEST(DomainForces, GlobalFormsChangeFluidAndInterfaceCellsOnly) {
    Forcing s;
    const Vector3<float> force = s.fluid.worldToGridForce(s.f);
    s.fluid.addForce(s.f);
    s.fluid.addForce(s.f);
    EXPECT_TRUE(s.forceAt(1, 1, 1) == force + force && s.forceAt(4, 3, 1) == force + force);
    EXPECT_EQ(s.forceAt(2, 3, 2), Vector3<float>());  // gas
    s.fluid.setForce(s.f);
    s.fluid.addAcceleration(s.f);
    EXPECT_EQ(s.forceAt(3, 2, 3), force + s.fluid.worldToGridAcceleration(s.f));
    s.fluid.setAcceleration({});
    unsigned liquid = 0;
    for (const LBM_Cell3<float>* cell : s.fluid.getGrid().getCells()) {
        if (cell == nullptr || !cell->isFluid()) continue;
        ++liquid;
        EXPECT_EQ(static_cast<const LBM_Q19_MAC_Cell3F*>(cell)->getForce(), Vector3<float>());
    }
    EXPECT_EQ(liquid, 48u - 2u);
    EXPECT_TRUE(s.fluid.getGrid().at(4, 1, 4)->isSink() && s.fluid.getSolidCellCount() == 216u - 64u);
}

// Forces take a grid-space position and any cell with a force field;
// accelerations a world position and only fluid or interface cells.
TEST(DomainForces, PositionalFormsFindTheirCell) {
    Forcing s;
    const Vector3<float> force = s.fluid.worldToGridForce(s.f);
    s.fluid.addForce(s.gridPoint(2.5f, 3.5f, 2.5f), s.f);
    s.fluid.addForce(s.gridPoint(0.5f, 0.5f, 0.5f), s.f);   // wall: no force field
    s.fluid.addForce(s.gridPoint(-0.5f, 1.5f, 1.5f), s.f);  // outside, though it truncates to cell 0
    EXPECT_EQ(s.forceAt(2, 3, 2), force);
    s.fluid.setForce(s.gridPoint(1.5f, 1.5f, 1.5f), s.f);
    s.fluid.setForce(s.gridPoint(1.5f, 1.5f, 1.5f), s.f);
    EXPECT_EQ(s.forceAt(1, 1, 1), force);

    const Vector3<float> a = s.fluid.worldToGridAcceleration(s.f);
    for (const Vector3<float>& p : {s.gridPoint(1.5f, 1.5f, 1.5f), s.gridPoint(2.5f, 3.5f, 2.5f), s.gridPoint(1.5f, 1.5f, 6.5f)})
        s.fluid.addAcceleration(s.fluid.gridToWorldPosition(p), s.f);
    EXPECT_EQ(s.forceAt(1, 1, 1), force + a);
    EXPECT_EQ(s.forceAt(2, 3, 2), force);
}

TEST(DomainForces, TurnedFluidGetsTheWorldDirectionAtTheSameLatticeLength) {
    Forcing still;
    Forcing turned;
    turned.fluid.setRotation({30.0f, 90.0f, -45.0f});
    const Vector3<float> g(0.0f, -9.81f, 0.0f);
    still.fluid.setAcceleration(g);
    turned.fluid.setAcceleration(g);
    const Vector3<float> s = still.forceAt(1, 1, 1);
    const Vector3<float> t = turned.forceAt(1, 1, 1);
    EXPECT_FLOAT_EQ(s.length(), 9.81f * still.fluid.getAccelerationFactor());
    EXPECT_NEAR(t.length(), s.length(), 1e-6f * s.length());
    const Vector3<float> back = turned.fluid.getXformGridToWorld().transformVector(t);
    test::expectNear(back / back.length(), {0.0f, -1.0f, 0.0f});
}

}  // namespace
}  // namespace kelvar::fluid
