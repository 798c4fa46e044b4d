#include <gtest/gtest.h>

#include <cmath>

#include "DomainTestSupport.h"
#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Constants.h"
#include "kv_fluids_dyn/lattice/LBM_SinkCell3.h"
#include "kv_fluids_dyn/lattice/LBM_SolidCell3.h"

namespace kelvar::fluid {
namespace {

using test::expectNear;
using test::PoolFluid;
using test::sizeGrid;

bool onBoundary(const Grid3<LBM_Cell3<float>, float>& grid, unsigned i, unsigned j, unsigned k) {
    return i == 0 || j == 0 || k == 0 || i + 1 == grid.getNx() || j + 1 == grid.getNy() || k + 1 == grid.getNz();
}

TEST(DomainWalls, EveryFaceCellWalledOnceAndNoneInside) {
    const unsigned int shapes[][4] = {{2, 2, 2, 8}, {3, 3, 3, 26}, {4, 4, 4, 56}, {4, 5, 6, 120 - 24}};
    for (const auto& shape : shapes) {
        MAC_LBM_Fluid3 fluid;
        sizeGrid(fluid, shape[0], shape[1], shape[2]);
        fluid.initialize();
        fluid.setDomainBoundaryCells();
        const auto& grid = fluid.getGrid();
        EXPECT_EQ(fluid.getSolidCellCount(), shape[3]);  // one pool cell per boundary cell
        for (unsigned n = 0; n < grid.getCount(); ++n) {
            const auto* wall = static_cast<const LBM_SolidCell3<float>*>(grid.at(n));
            if (!onBoundary(grid, n / grid.getStride(), n / grid.getNz() % grid.getNy(), n % grid.getNz())) {
                EXPECT_EQ(wall, nullptr) << n;
                continue;
            }
            ASSERT_NE(wall, nullptr) << n;
            EXPECT_TRUE(wall->getType() == LBM_CELL_SOLID && wall->getFlags() == 1 && wall->getWallFactor() == 0.001 &&
                        wall->getVelocity() == Vector3<float>() && wall->getGridMonoindex() == n)
                << n;
        }
    }
}

// Every form gives the cell along each lattice direction in order, null past
// the grid's faces (never wrapped), at an interior site and at both corners.
TEST(DomainNeighbours, LatticeOrderEveryFormAndNullPastTheFaces) {
    MAC_LBM_Fluid3 fluid;
    LBM_Cell3<float> cells[60];
    sizeGrid(fluid, 3, 4, 5);
    for (unsigned n = 0; n < 60; ++n) fluid.refGrid().at(n) = &cells[n];
    const auto cellAt = [&](int i, int j, int k) { return fluid.getGrid().at(unsigned(i), unsigned(j), unsigned(k)); };
    for (const Tuple3<int>& p : {Tuple3<int>{1, 2, 2}, Tuple3<int>{0, 0, 0}, Tuple3<int>{2, 3, 4}}) {
        const Tuple3<unsigned int> site{unsigned(p.first), unsigned(p.second), unsigned(p.third)};
        MAC_LBM_Fluid3::NeighborArray out(18), byIndex(18);
        fluid.getNeighborCells(site.first, site.second, site.third, fluid.getGrid(), out);
        fluid.getNeighborCells(fluid.getGrid().index(site.first, site.second, site.third), fluid.getGrid(), byIndex);
        for (unsigned m = 0; m < 18; ++m) {
            const int* e = q19::kDirection[m + 1];
            const int i = p.first + e[0], j = p.second + e[1], k = p.third + e[2];
            const bool inside = i >= 0 && j >= 0 && k >= 0 && i < 3 && j < 4 && k < 5;
            EXPECT_EQ(out[m], inside ? cellAt(i, j, k) : nullptr) << p.first << p.second << p.third << " " << m;
            EXPECT_EQ(byIndex[m], out[m]) << m;
        }
    }

}

// Checkpoints join runs of cells this calls equal. NaN in a field is unequal
// to itself unless both sides are the same cell; empty and unclassified
// cells are equal only to themselves.
TEST(DomainCellEquality, RulesPerType) {
    PoolFluid fluid;
    const auto equal = [&fluid](const LBM_Cell3<float>* a, const LBM_Cell3<float>* b) {
        return fluid.areCellsEqual(a, b);
    };
    LBM_SolidCell3<float> a, b, c, d;
    b.setGridMonoindex(17);  // the index is never compared
    EXPECT_TRUE(equal(nullptr, nullptr) && equal(&a, &b));
    EXPECT_FALSE(equal(&a, nullptr) || equal(nullptr, &b));
    b.setFlags(2);
    EXPECT_FALSE(equal(&a, &b));
    a.setWallFactor(NAN);
    b.setWallFactor(NAN);
    b.setFlags(0);
    c.setVelocity({0, NAN, 0});
    d.setVelocity({0, NAN, 0});
    EXPECT_FALSE(equal(&a, &b) || equal(&c, &d));
    EXPECT_TRUE(equal(&a, &a));

    LBM_SinkCell3<float> s, t;
    s.setFlags(1);  // the 16-bit word is not compared
    EXPECT_TRUE(equal(&s, &t));
    t.setSinkId(4);
    EXPECT_FALSE(equal(&s, &t) || equal(&s, &c));

    LBM_Q19_MAC_Cell3F p, q;
    LBM_Cell3<float> u, v;
    p.setType(LBM_CELL_FLUID);
    q.setType(LBM_CELL_FLUID);
    EXPECT_TRUE(equal(&p, &q));
    q.setType(LBM_CELL_INTERFACE);
    EXPECT_FALSE(equal(&p, &q) || equal(&u, &v));
    p.setType(LBM_CELL_EMPTY);
    q.setType(LBM_CELL_EMPTY);
    EXPECT_FALSE(equal(&p, &q));
    EXPECT_TRUE(equal(&p, &p));
}

// Fluid and interface cells go back to the liquid pool, walls to theirs;
// empty and sink cells are not pooled here.
TEST(DomainCellRelease, EachTypeGoesBackToItsOwnPool) {
    PoolFluid fluid;
    LBM_Q19_MAC_Cell3F* const liquid[] = {fluid.acquireLiquidCell(), fluid.acquireLiquidCell(),
                                          fluid.acquireLiquidCell()};
    LBM_SinkCell3<float>* sink = fluid.acquireSinkCell();
    LBM_SolidCell3<float>* wall = fluid.acquireSolidCell();
    fluid.acquireSolidCell();
    liquid[0]->setType(LBM_CELL_FLUID);
    liquid[1]->setType(LBM_CELL_INTERFACE);
    liquid[2]->setType(LBM_CELL_EMPTY);
    for (LBM_Cell3<float>* cell :
         std::initializer_list<LBM_Cell3<float>*>{liquid[0], liquid[1], liquid[2], sink, wall, nullptr})
        fluid.releaseCell(cell);
    EXPECT_TRUE(liquid[0]->getType() == LBM_CELL_NONE && wall->getType() == LBM_CELL_NONE);
    EXPECT_TRUE(liquid[2]->getType() == LBM_CELL_EMPTY && sink->getType() == LBM_CELL_SINK);
    EXPECT_TRUE(fluid.getLiquidCellCount() == 1u && fluid.getSinkCellCount() == 1u && fluid.getSolidCellCount() == 1u);
    EXPECT_EQ(fluid.acquireLiquidCell(), liquid[1]);
}

// A 3^3 walled fluid with a liquid cell in the middle, listed as liquid and
// interface, one particle and some lost mass.
LBM_Q19_MAC_Cell3F* populate(PoolFluid& fluid) {
    sizeGrid(fluid, 3, 3, 3);
    fluid.setDomainBoundaryCells();
    LBM_Q19_MAC_Cell3F* liquid = fluid.acquireLiquidCell();
    liquid->setType(LBM_CELL_FLUID);
    fluid.refGrid().at(1, 1, 1) = liquid;
    fluid.refArrLiquidCells().push_back(liquid);
    fluid.refArrInterfaceCells().push_back(liquid);
    fluid.refArrSolidCells().push_back(static_cast<LBM_SolidCell3<float>*>(fluid.getGrid().at(0u)));
    fluid.ref_MAC_ParticleSystem().createParticle({0, 0, 0}, {1, 0, 0}, 2, {0, 0});
    fluid.refSolverContext().setLostMass(0.75f);
    return liquid;
}

TEST(DomainInitialize, EmptiesGridPoolsParticlesAndAccumulators) {
    PoolFluid fluid;
    populate(fluid);
    fluid.refSolverContext().setAddedMass(3.0f);
    fluid.refSolverContext().setDt(0.5f);
    fluid.initialize();
    EXPECT_EQ(test::countTypes(fluid)[1], 27u);  // every entry null
    EXPECT_TRUE(fluid.getLiquidCellCount() == 0u && fluid.getSolidCellCount() == 0u);
    EXPECT_EQ(fluid.get_MAC_ParticleSystem().getParticlesCount(), 0u);
    EXPECT_TRUE(fluid.getSolverContext().getLostMass() == 0.0f && fluid.getSolverContext().getAddedMass() == 0.0f);
    EXPECT_EQ(fluid.getSolverContext().getDt(), 0.5f);  // only the accumulators are reset
}

Vector3<float> linearField(const Vector3<float>& p) {
    return {0.5f * p.x - 0.25f * p.y + 0.1f, 0.125f * p.z + 0.2f, p.x + p.y - 0.5f * p.z};
}

// A 4^3 grid of liquid cells whose velocity is linear in the cell centre is
// reproduced between the centres. Corners that are not liquid take the host
// cell's velocity; with the host not liquid either, nothing contributes. The
// cell lookup gives zero past the grid, on its max face and for no cell.
TEST(DomainInterpolation, ReproducesALinearFieldAndFallsBackOnTheHostCell) {
    MAC_LBM_Fluid3 fluid;
    LBM_Q19_MAC_Cell3F cells[64];
    sizeGrid(fluid, 4, 4, 4);
    const auto& grid = fluid.getGrid();
    for (unsigned n = 0; n < 64; ++n) {
        const unsigned i = n / 16, j = n / 4 % 4, k = n % 4;
        cells[n].setType(k == 3 ? LBM_CELL_INTERFACE : LBM_CELL_FLUID);
        cells[n].setVelocity(linearField(grid.getBox().min + Vector3<float>(i + 0.5f, j + 0.5f, k + 0.5f)));
        fluid.refGrid().at(i, j, k) = &cells[n];
    }
    for (const Vector3<float>& p : {Vector3<float>(0, 0, 0), Vector3<float>(-0.5f, -0.5f, -0.5f),
                                    Vector3<float>(0.3f, -0.7f, 1.1f), Vector3<float>(-1.2f, 0.9f, 0.2f),
                                    Vector3<float>(1.49f, 1.2f, -1.4f), Vector3<float>(0.25f, 0.75f, -0.25f)})
        expectNear(fluid.evalVelocityAt(p), linearField(p));
    const Vector3<float> centre(0.5f, -0.5f, 1.5f);  // a cell centre: exactly that cell's velocity
    EXPECT_EQ(fluid.evalVelocityAt(centre), fluid.getVelocityAt(centre));
    for (unsigned a = 0; a < 3; ++a) {
        EXPECT_EQ(fluid.getVelocityAt(a == 0 ? 4u : 0u, a == 1 ? 4u : 0u, a == 2 ? 4u : 0u), Vector3<float>()) << a;
        Vector3<float> onMaxFace = centre;
        onMaxFace[a] = grid.getBox().max[a];
        EXPECT_EQ(fluid.getVelocityAt(onMaxFace), Vector3<float>()) << a;
    }

    for (LBM_Q19_MAC_Cell3F& cell : cells) cell.setType(LBM_CELL_EMPTY);
    LBM_Q19_MAC_Cell3F& host = cells[grid.index(2, 2, 2)];
    host.setType(LBM_CELL_FLUID);
    expectNear(fluid.evalVelocityAt({0.2f, 0.9f, 0.6f}), host.getVelocity(), 1e-6f);
    EXPECT_EQ(&fluid.getVelocityAt(2u, 2u, 2u), &host.getVelocity());
    host.setType(LBM_CELL_SOLID);
    EXPECT_EQ(fluid.evalVelocityAt({0.2f, 0.9f, 0.6f}), Vector3<float>());
    fluid.refGrid().at(2, 2, 2) = nullptr;
    EXPECT_EQ(fluid.getVelocityAt(2u, 2u, 2u), Vector3<float>());
}

TEST(DomainCopy, ShallowCopySharesCellsButNotPools) {
    PoolFluid source;
    LBM_Q19_MAC_Cell3F* liquid = populate(source);
    source.refDirtyFlags().set(MAC_LBM_Fluid3::VOF_DIRTY);
    source.setViscosity(0.25f);
    source.setLargestLength(4.0f);
    source.setUnitFactors(0.01f, 0.5f, 2.0f);

    const MAC_LBM_Fluid3 copy(source);
    EXPECT_TRUE(copy.getViscosity() == 0.25f && copy.getLargestLength() == 4.0f);
    EXPECT_EQ(copy.getXformGridToWorld().getMatrix(), source.getXformGridToWorld().getMatrix());
    for (unsigned n = 0; n < 27; ++n) EXPECT_EQ(copy.getGrid().at(n), source.getGrid().at(n));
    EXPECT_TRUE(copy.getArrLiquidCells()[0] == liquid && copy.getArrInterfaceCells()[0] == liquid);
    EXPECT_EQ(copy.getArrSolidCells()[0], source.getGrid().at(0u));
    EXPECT_EQ(copy.get_MAC_ParticleSystem().getParticlesCount(), 1u);
    EXPECT_EQ(copy.getSolverContext().getLostMass(), 0.75f);
    EXPECT_TRUE(copy.getDirtyFlags().test(MAC_LBM_Fluid3::VOF_DIRTY));
    // The pools stay with the source: the copy hands out none of its cells.
    EXPECT_TRUE(copy.getLiquidCellCount() == 0u && copy.getSolidCellCount() == 0u);
    EXPECT_EQ(source.getSolidCellCount(), 26u);

    MAC_LBM_Fluid3 assigned;
    assigned = source;
    EXPECT_EQ(assigned.getGrid().at(1, 1, 1), liquid);
    EXPECT_EQ(assigned.getSolverContext().getLostMass(), 0.75f);
    EXPECT_EQ(assigned.get_VOF_Field().getResolution(), (Tuple3<unsigned int>{}));  // not copied
}

}  // namespace
}  // namespace kelvar::fluid
