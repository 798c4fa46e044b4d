#include <gtest/gtest.h>

#include "DomainTestSupport.h"

namespace kelvar::fluid {
namespace {

using test::worldBox;

// A walled 6^3 fluid with non-trivial units, liquid in cells 1..4 x 1..3 x
// 1..4, a drain at (4, 1, 4) and a gas cell at (2, 3, 2) that the liquid pool
// still holds.
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
    Vector3<float> at(unsigned i, unsigned j, unsigned k) const { return test::liquidAt(fluid, i, j, k).getForce(); }
    Vector3<float> grid(float x, float y, float z) const {
        return fluid.getGrid().getBox().min + Vector3<float>(x, y, z);
    }

    MAC_LBM_Fluid3 fluid;
};

// Global forms change fluid and interface cells only. Positional forces take
// a grid-space position and any cell with a force field; the positional
// acceleration a world position and only fluid or interface cells.
TEST(DomainForces, EachFormReachesItsCells) {
    Forcing s;
    const Vector3<float> f(3.0f, -4.0f, 12.0f);
    const Vector3<float> force = s.fluid.worldToGridForce(f);
    const Vector3<float> acceleration = s.fluid.worldToGridAcceleration(f);
    s.fluid.addForce(f);
    s.fluid.addForce(f);
    EXPECT_TRUE(s.at(1, 1, 1) == force + force && s.at(4, 3, 1) == force + force && s.at(2, 3, 2) == Vector3<float>());
    s.fluid.setForce(f);
    s.fluid.addAcceleration(f);
    EXPECT_EQ(s.at(3, 2, 3), force + acceleration);
    s.fluid.setAcceleration({});
    for (const LBM_Cell3<float>* cell : s.fluid.getGrid().getCells()) {
        const auto* liquid = dynamic_cast<const LBM_Q19_MAC_Cell3F*>(cell);
        EXPECT_TRUE(liquid == nullptr || !liquid->isFluid() || liquid->getForce() == Vector3<float>());
    }

    s.fluid.addForce(s.grid(2.5f, 3.5f, 2.5f), f);   // gas
    s.fluid.addForce(s.grid(0.5f, 0.5f, 0.5f), f);   // wall: no force field
    s.fluid.addForce(s.grid(-0.5f, 1.5f, 1.5f), f);  // outside, though it truncates to cell 0
    s.fluid.setForce(s.grid(1.5f, 1.5f, 1.5f), f);
    s.fluid.setForce(s.grid(1.5f, 1.5f, 1.5f), f);
    for (const Vector3<float>& p : {s.grid(1.5f, 1.5f, 1.5f), s.grid(2.5f, 3.5f, 2.5f), s.grid(1.5f, 1.5f, 6.5f)})
        s.fluid.addAcceleration(s.fluid.gridToWorldPosition(p), f);
    EXPECT_EQ(s.at(2, 3, 2), force);
    EXPECT_EQ(s.at(1, 1, 1), force + acceleration);
    EXPECT_TRUE(s.fluid.getGrid().at(4, 1, 4)->isSink() && s.fluid.getSolidCellCount() == 216u - 64u);
}

TEST(DomainForces, TurnedFluidGetsTheWorldDirectionAtTheSameLatticeLength) {
    Forcing still;
    Forcing turned;
    turned.fluid.setRotation({30.0f, 90.0f, -45.0f});
    still.fluid.setAcceleration({0.0f, -9.81f, 0.0f});
    turned.fluid.setAcceleration({0.0f, -9.81f, 0.0f});
    const Vector3<float> s = still.at(1, 1, 1);
    const Vector3<float> t = turned.at(1, 1, 1);
    EXPECT_FLOAT_EQ(s.length(), 9.81f * still.fluid.getAccelerationFactor());
    EXPECT_NEAR(t.length(), s.length(), 1e-6f * s.length());
    const Vector3<float> back = turned.fluid.getXformGridToWorld().transformVector(t);
    test::expectNear(back / back.length(), {0.0f, -1.0f, 0.0f});
}

}  // namespace
}  // namespace kelvar::fluid
