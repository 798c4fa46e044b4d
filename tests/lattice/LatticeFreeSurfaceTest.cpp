#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "LatticeTestSupport.h"
#include "kv_fluids_dyn/lattice/LBM_SinkCell3.h"
#include "kv_fluids_dyn/lattice/LBM_SolidCell3.h"

using namespace kelvar;
using namespace kelvar::fluid;
using namespace kelvar::fluid::test;

namespace {

using Neighbours = LBM_Q19_MAC_Cell3F::Neighbours;

// A liquid cell of the given type with every slot set to a distinct value.
ProbeCell liquid(unsigned char type, float scale = 1.0f) {
    ProbeCell c;
    c.initialize();
    c.setType(type);
    for (unsigned i = 0; i < kQ; ++i) c.setPdfAt(i, scale * float(i + 1) / 64.0f);
    return c;
}

LBM_SolidCell3<float> wall(double factor, Vector3<float> velocity = {}) {
    LBM_SolidCell3<float> w;
    w.setWallFactor(factor);
    w.setVelocity(velocity);
    return w;
}

Neighbours around(std::initializer_list<std::pair<unsigned, LBM_Cell3<float>*>> cells) {
    Neighbours n = noNeighbours();
    for (const auto& [direction, cell] : cells) n[direction] = cell;
    return n;
}

// What the collision does first: back from the swapped to the natural layout.
void unswap(ProbeCell& c) {
    for (unsigned s : c.getStreamIndices()) {
        const float t = c.getPdfAt(s);
        c.setPdfAt(s, c.getPdfAt(kOpp[s]));
        c.setPdfAt(kOpp[s], t);
    }
}

}  // namespace

TEST(LatticeFreeSurface, SwapStreamingMovesAPulseOneCellPerStep) {
    constexpr unsigned kCells = 6;
    std::vector<ProbeCell> row(kCells, liquid(LBM_CELL_FLUID, 0.0f));
    std::vector<Neighbours> links(kCells, noNeighbours());
    for (unsigned k = 0; k < kCells; ++k) {
        row[k].setType(k % 2 ? LBM_CELL_FLUID : LBM_CELL_INTERFACE);
        if (k + 1 < kCells) links[k][1] = &row[k + 1];
        if (k > 0) links[k][3] = &row[k - 1];
    }
    row[1].setPdfAt(1, 1.0f);   // moving +x
    row[4].setPdfAt(3, 0.5f);   // moving -x
    row[2].setPdfAt(2, 0.25f);  // moving +y into a missing cell: comes back

    for (unsigned step = 1; step <= 3; ++step) {
        for (unsigned k = 0; k < kCells; ++k) row[k].streamPassFluid(links[k]);
        for (ProbeCell& c : row) unswap(c);
        float total = 0.0f;
        for (unsigned k = 0; k < kCells; ++k) {
            EXPECT_EQ(row[k].getPdfAt(1), k == 1 + step ? 1.0f : 0.0f) << "step " << step << " cell " << k;
            EXPECT_EQ(row[k].getPdfAt(3), k == 4 - step ? 0.5f : 0.0f) << "step " << step << " cell " << k;
            total += row[k].sumOfSlots();
        }
        EXPECT_EQ(row[2].getPdfAt(step % 2 ? 4 : 2), 0.25f);
        EXPECT_EQ(total, 1.75f);
    }
    // An interior cell of the row misses everything but its x neighbours.
    for (unsigned i = 0; i < kQ; ++i) EXPECT_EQ(row[2].getArrReconstructBit().test(i), i != 0 && i != 1 && i != 3);
}

TEST(LatticeFreeSurface, MissingAndSinkNeighboursAreRebuiltFromTheGasEquilibrium) {
    ProbeCell lone = liquid(LBM_CELL_INTERFACE);
    lone.setVelocity({0.02f, -0.01f, 0.03f});
    lone.refArrReconstructBit().set(0);  // stale bits are cleared first
    const float rest = lone.getPdfAt(0);
    lone.streamPassFluid(noNeighbours());
    for (unsigned i = 0; i < kQ; ++i) EXPECT_EQ(lone.getArrReconstructBit().test(i), i != 0) << i;
    lone.reconstructPdfs(noNeighbours());
    EXPECT_EQ(lone.getPdfAt(0), rest);
    for (unsigned o = 1; o < kQ; ++o) EXPECT_EQ(lone.getPdfAt(o), lone.calcFeq(kOpp[o])) << o;

    // Liquid all round but a sink at +x: only bit 3 is set, the sink is never
    // swapped with, and the missing -x distribution is rebuilt in slot 1.
    ProbeCell cell = liquid(LBM_CELL_FLUID);
    cell.setVelocity({0.01f, 0.0f, 0.0f});
    std::vector<ProbeCell> others(kQ, liquid(LBM_CELL_FLUID, 2.0f));
    LBM_SinkCell3<float> sink;
    Neighbours n = noNeighbours();
    for (unsigned i = 2; i < kQ; ++i) n[i] = &others[i];
    n[1] = &sink;
    const float outgoingX = cell.getPdfAt(1);
    cell.streamPassFluid(n);
    for (unsigned i = 0; i < kQ; ++i) EXPECT_EQ(cell.getArrReconstructBit().test(i), i == 3) << i;
    EXPECT_EQ(cell.getPdfAt(1), outgoingX);
    EXPECT_EQ(cell.getPdfAt(2), 10.0f / 64.0f);  // swapped with +y
    EXPECT_EQ(others[2].getPdfAt(4), 3.0f / 64.0f);
    cell.reconstructPdfs(n);
    EXPECT_EQ(cell.getPdfAt(1), cell.calcFeq(1) + cell.calcFeq(3) - outgoingX);
}

TEST(LatticeFreeSurface, WallsBounceBackWithTheMovingWallTerm) {
    ProbeCell cell = liquid(LBM_CELL_FLUID);
    ProbeCell below = liquid(LBM_CELL_FLUID, 3.0f);
    LBM_SolidCell3<float> right = wall(0.0);
    LBM_SolidCell3<float> front = wall(1.0, {0.1f, 0.2f, -0.3f});
    LBM_SolidCell3<float> corner10 = wall(0.0);
    LBM_SolidCell3<float> corner11 = wall(0.0, {0.0f, 0.0f, -0.25f});
    const Neighbours n = around({{1, &right}, {4, &below}, {5, &front}, {10, &corner10}, {11, &corner11}});
    const ProbeCell before = cell;
    cell.streamPassFluid(n);
    EXPECT_EQ(cell.getPdfAt(1), before.getPdfAt(1));  // solids are skipped by the swap
    cell.streamPassSolid(n);
    EXPECT_EQ(cell.getPdfAt(1), before.getPdfAt(1));
    // Direction 6 points back from the front wall: 6/18 * 0.3.
    EXPECT_NEAR(cell.getPdfAt(5), before.getPdfAt(5) + 0.1f, 1e-7f);
    // Both sides of the +x+z corner solid: 6/36 * 0.25 along direction 13.
    EXPECT_NEAR(cell.getPdfAt(11), before.getPdfAt(11) + 0.25f / 6.0f, 1e-7f);
    // Row 10 lists no mirror pair: +x-y along the +x wall is left alone.
    EXPECT_EQ(cell.getPdfAt(10), before.getPdfAt(10));
    EXPECT_EQ(below.getPdfAt(9), liquid(LBM_CELL_FLUID, 3.0f).getPdfAt(9));
}

TEST(LatticeFreeSurface, DiagonalsSlideAlongFreeSlipWalls) {
    // Wall above, liquid at +x: the +x+y distribution slides along the wall
    // into the -x+y slot of the +x neighbour and that one comes back; factor 1
    // bounces both back, factor 1/2 blends.
    for (double factor : {0.0, 1.0, 0.5}) {
        ProbeCell cell = liquid(LBM_CELL_INTERFACE);
        ProbeCell side = liquid(LBM_CELL_FLUID, 3.0f);
        LBM_SolidCell3<float> above = wall(factor);
        LBM_SolidCell3<float> corner = wall(factor);
        LBM_SolidCell3<float> otherCorner = wall(factor);
        const float s = cell.getPdfAt(7);
        const float t = side.getPdfAt(8);
        cell.streamPassSolid(around({{1, &side}, {2, &above}, {7, &corner}, {8, &otherCorner}}));
        const float f = float(factor);
        EXPECT_EQ(side.getPdfAt(8), (1.0f - f) * s + t * f) << factor;
        EXPECT_EQ(cell.getPdfAt(7), s * f + (1.0f - f) * t) << factor;
        // -x has no cell: the -x+y corner's distribution is rebuilt instead.
        EXPECT_TRUE(cell.getArrReconstructBit().test(kOpp[8]));
    }

    // Wall at +x, liquid above: the +x+y distribution goes to slot 10 above.
    ProbeCell cell = liquid(LBM_CELL_FLUID);
    ProbeCell up = liquid(LBM_CELL_FLUID, 3.0f);
    LBM_SolidCell3<float> right = wall(0.0);
    LBM_SolidCell3<float> corner = wall(0.0, {0.0f, 0.0f, 0.5f});
    const float s = cell.getPdfAt(7);
    const float t = up.getPdfAt(10);
    cell.streamPassSolid(around({{1, &right}, {2, &up}, {7, &corner}}));
    EXPECT_EQ(up.getPdfAt(10), s);
    EXPECT_EQ(cell.getPdfAt(7), t);
}

TEST(LatticeFreeSurface, MassExchangeClampsAfterEveryExistingNeighbour) {
    ProbeCell cell = liquid(LBM_CELL_INTERFACE, 0.0f);
    std::vector<ProbeCell> others(kQ, liquid(LBM_CELL_FLUID, 0.0f));
    Neighbours n = noNeighbours();
    for (unsigned i = 1; i < kQ; ++i) {  // balanced exchange
        n[i] = &others[i];
        others[i].setPdfAt(i, 0.125f);
        cell.setPdfAt(kOpp[i], 0.125f);
    }
    cell.setMass(0.5f);
    cell.massExchange(n);
    EXPECT_EQ(cell.getMass(), 0.5f);

    // 0.875 + 0.3125 is clamped to 1 before -0.25 towards +y; likewise at 0.
    cell = liquid(LBM_CELL_INTERFACE, 0.0f);
    n = around({{1, &others[1]}, {2, &others[2]}});
    others[1].setPdfAt(1, 0.3125f);
    others[2].setPdfAt(2, 0.0f);
    cell.setPdfAt(4, 0.25f);
    cell.setMass(0.875f);
    cell.massExchange(n);
    EXPECT_EQ(cell.getMass(), 0.75f);
    others[1].setPdfAt(1, 0.0f);
    cell.setPdfAt(3, 0.5f);
    others[2].setPdfAt(2, 0.375f);
    cell.setPdfAt(4, 0.0f);
    cell.setMass(0.25f);
    cell.massExchange(n);
    EXPECT_EQ(cell.getMass(), 0.375f);

    // Interface neighbours weigh by the mean fill fraction.
    cell = liquid(LBM_CELL_INTERFACE, 0.0f);
    others[1].setType(LBM_CELL_INTERFACE);
    others[1].setPdfAt(1, 0.5f);
    cell.setMass(0.25f);
    cell.massExchange(around({{1, &others[1]}}));
    EXPECT_EQ(cell.getMass(), 0.25f);
    others[1].setEpsilon(0.5f);
    cell.setEpsilon(0.25f);
    cell.massExchange(around({{1, &others[1]}}));
    EXPECT_EQ(cell.getMass(), 0.25f + 0.375f * 0.5f);

    // Other types exchange nothing but still clamp; absent ones do neither.
    LBM_SolidCell3<float> solid = wall(1.0);
    cell.setMass(1.5f);
    cell.massExchange(noNeighbours());
    EXPECT_EQ(cell.getMass(), 1.5f);
    cell.massExchange(around({{6, &solid}}));
    EXPECT_EQ(cell.getMass(), 1.0f);
}

TEST(LatticeFreeSurface, NeighbourAveragesSkipGasNewCellsAndTheLastEntry) {
    ProbeCell a = liquid(LBM_CELL_FLUID);
    ProbeCell b = liquid(LBM_CELL_INTERFACE);
    ProbeCell fresh = liquid(LBM_CELL_INTERFACE);
    ProbeCell last = liquid(LBM_CELL_FLUID);
    a.setDensity(1.0f);
    a.setVelocity({0.25f, 0.0f, 0.5f});
    b.setDensity(2.0f);
    b.setVelocity({0.0f, 0.5f, 0.25f});
    b.refFlags().set(MAC_FLAG_BIT9);
    fresh.setDensity(4.0f);
    fresh.setVelocity({1.0f, 1.0f, 1.0f});
    fresh.refFlags().set(MAC_FLAG_NEW_INTERFACE);
    LBM_SolidCell3<float> solid = wall(1.0, {9.0f, 9.0f, 9.0f});
    const Neighbours n = around({{0, &a}, {3, &b}, {7, &fresh}, {9, &solid}, {18, &last}});

    const ProbeCell self;
    float density = 1.0f;  // accumulated into, not cleared
    Vector3<float> velocity;
    self.interpolateCellValues(n, density, velocity);
    EXPECT_EQ(density, 2.0f);
    EXPECT_EQ(velocity, Vector3<float>(0.125f, 0.25f, 0.375f));

    density = 0.0f;
    velocity = {};
    self.interpolateCellValuesSolid(std::vector<LBM_Cell3<float>*>(n.begin(), n.end()), density, velocity);
    EXPECT_EQ(density, 2.5f);  // a and the new interface cell; b is flagged
    EXPECT_EQ(velocity, Vector3<float>(0.625f, 0.5f, 0.75f));

    density = 0.0f;
    self.interpolateCellValues(noNeighbours(), density, velocity);
    EXPECT_EQ(density, 1.0f);
    EXPECT_EQ(velocity, Vector3<float>());
}

TEST(LatticeFreeSurface, FreeSlipVelocityMirrorsTheBestFacingAxisNeighbour) {
    ProbeCell below = liquid(LBM_CELL_FLUID);
    below.setInitialVelocity({0.02f, 0.03f, -0.01f});
    ProbeCell beside = liquid(LBM_CELL_FLUID);
    beside.setInitialVelocity({0.05f, 0.0f, 0.0f});
    std::vector<LBM_Q19_MAC_Cell3F*> cells(6, nullptr);
    cells[3] = &below;   // direction 4, -y
    cells[0] = &beside;  // direction 1, +x

    const ProbeCell self;
    const Vector3<float> v = below.computeVelocity();
    Vector3<float> result;
    ASSERT_TRUE(self.getVelocityAtFreeSlipCell(cells, {0.1f, -1.0f, 0.0f}, result));
    for (unsigned k = 0; k < 3; ++k) EXPECT_FLOAT_EQ(result[k], k == 1 ? -v.y : v[k]) << k;

    // Ties keep the first axis; no liquid axis facing the direction: false.
    ASSERT_TRUE(self.getVelocityAtFreeSlipCell(cells, {1.0f, -1.0f, 0.0f}, result));
    EXPECT_FLOAT_EQ(result.x, -beside.computeVelocity().x);
    EXPECT_FALSE(self.getVelocityAtFreeSlipCell(cells, {0.0f, 0.0f, 1.0f}, result));
    below.setType(LBM_CELL_EMPTY);
    EXPECT_FALSE(self.getVelocityAtFreeSlipCell(cells, {0.0f, -1.0f, 0.0f}, result));
}
