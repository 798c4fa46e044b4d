#include <gtest/gtest.h>

#include <limits>

#include "LatticeTestSupport.h"

using namespace kelvar;
using namespace kelvar::fluid;
using namespace kelvar::fluid::test;

namespace {

constexpr float kNu = 1.0f / 64.0f;

// The perturbed swapped-layout state of collision_reference.py: direction i
// is held in slot opp(i), exact dyadic values.
void loadReferenceState(ProbeCell& cell) {
    const int base[kQ] = {1365, 228, 228, 228, 228, 228, 228, 114, 114, 114,
                          114,  114, 114, 114, 114, 114, 114, 114, 114};
    for (unsigned i = 0; i < kQ; ++i) cell.setPdfAt(i, float(base[i] + int(i * 7 % 11) - 5) / 4096.0f);
}

void expectBits(const ProbeCell& cell, const uint32_t (&expected)[kQ], uint32_t density,
                const uint32_t (&velocity)[3]) {
    for (unsigned i = 0; i < kQ; ++i) EXPECT_EQ(bitsOf(cell.getPdfAt(i)), expected[i]) << "slot " << i;
    EXPECT_EQ(bitsOf(cell.getDensity()), density);
    for (unsigned k = 0; k < 3; ++k) EXPECT_EQ(bitsOf(cell.getVelocity()[k]), velocity[k]) << "axis " << k;
}

// Density and momentum of a cell; in the swapped layout direction i sits in
// slot opp(i).
struct Moments {
    double rho = 0.0;
    Vector3<double> j;
};
Moments moments(const ProbeCell& cell, bool swapped) {
    Moments m;
    for (unsigned i = 0; i < kQ; ++i) {
        const double f = cell.getPdfAt(swapped ? kOpp[i] : i);
        const Tuple3<int32_t> c = cell.getShifter()[i];
        m.rho += f;
        m.j += Vector3<double>(c.first * f, c.second * f, c.third * f);
    }
    return m;
}

// Runs operator `op`: 0 BGK, 1 regularised Smagorinsky, 2 the default collision().
void collide(ProbeCell& cell, int op, float nu) {
    op == 0 ? cell.collisionBGK(nu) : (op == 1 ? cell.collisionRLBSmag(nu) : cell.collision(nu));
}

// A swapped-layout state away from equilibrium, with shear stress.
void loadShearedState(ProbeCell& cell) {
    cell.initialize();
    cell.setInitialVelocity({0.03f, -0.02f, 0.01f});
    for (unsigned i = 7; i < kQ; ++i) cell.setPdfAt(i, cell.getPdfAt(i) * (i % 2 ? 1.05f : 0.96f));
    float natural[kQ];
    for (unsigned i = 0; i < kQ; ++i) natural[i] = cell.getPdfAt(i);
    for (unsigned i = 0; i < kQ; ++i) cell.setPdfAt(kOpp[i], natural[i]);
}

}  // namespace

// Expected bits of both operators come from collision_reference.py, which
// evaluates the formulas in float32 independently of the library.
TEST(LatticeCollision, BGKMatchesReferenceBitsAndTakesOnlyADownwardForce) {
    ProbeCell cell;
    loadReferenceState(cell);
    cell.setForce({1.0f / 2048.0f, -1.0f / 1024.0f, 0.0f});
    cell.collisionBGK(kNu);
    const uint32_t expected[kQ] = {0x3EABBDA4u, 0x3D60A7C5u, 0x3D6522BEu, 0x3D615001u, 0x3D637816u,
                                   0x3D666640u, 0x3D609E53u, 0x3CE1E9AAu, 0x3CE6B422u, 0x3CE0E739u,
                                   0x3CE959E9u, 0x3CEDF4BCu, 0x3CE08083u, 0x3CE58496u, 0x3CDBB896u,
                                   0x3CE53205u, 0x3CE79D21u, 0x3CDA6EF9u, 0x3CE52819u};
    expectBits(cell, expected, 0x3F803800u, {0x3A3FAC25u, 0x3AD9A0CAu, 0x3B97BD9Du});

    // Only the downward part of a force counts: up or sideways changes nothing.
    ProbeCell free, pushed;
    loadReferenceState(free);
    loadReferenceState(pushed);
    pushed.setForce({0.01f, 0.01f, -0.01f});
    free.collisionBGK(kNu);
    pushed.collisionBGK(kNu);
    for (unsigned i = 0; i < kQ; ++i) EXPECT_EQ(bitsOf(pushed.getPdfAt(i)), bitsOf(free.getPdfAt(i))) << i;
}

TEST(LatticeCollision, RegularisedSmagorinskyMatchesReferenceBitsAndIsTheDefault) {
    const uint32_t expected[kQ] = {0x3EAB5B8Bu, 0x3D6436B1u, 0x3D65748Au, 0x3D628BBBu, 0x3D63CA74u,
                                   0x3D672A09u, 0x3D607F39u, 0x3CE1E769u, 0x3CE6CFF7u, 0x3CDE925Fu,
                                   0x3CE6D0D7u, 0x3CECADADu, 0x3CDF74B4u, 0x3CE457E8u, 0x3CDA74D9u,
                                   0x3CE4E2F3u, 0x3CE9BC00u, 0x3CDC8E0Fu, 0x3CE4BB46u};
    for (int op : {1, 2}) {
        SCOPED_TRACE(op == 1 ? "collisionRLBSmag" : "collision");
        ProbeCell cell;
        loadReferenceState(cell);
        cell.setForce({1.0f / 2048.0f, -1.0f / 1024.0f, 1.0f / 4096.0f});
        collide(cell, op, kNu);
        expectBits(cell, expected, 0x3F803800u, {0x3A3FAC25u, 0x3B0FC11Cu, 0x3B97BD9Du});
    }
}

TEST(LatticeCollision, RestStaysAtRestAndDensityAndMomentumAreKeptWithoutForce) {
    for (int op = 0; op < 2; ++op) {
        SCOPED_TRACE(op == 0 ? "collisionBGK" : "collisionRLBSmag");
        ProbeCell rest;
        rest.initialize();
        collide(rest, op, 0.1f);
        EXPECT_EQ(rest.getVelocity(), Vector3<float>());
        // Up to the rounding of the weights' sum to 1.
        for (unsigned i = 0; i < kQ; ++i)
            EXPECT_NEAR(rest.getPdfAt(i), rest.getWeights()[i], 1e-6f * rest.getWeights()[i]) << i;

        for (float nu : {0.001f, 0.02f, 0.5f}) {
            ProbeCell cell;
            loadShearedState(cell);
            const Moments before = moments(cell, true);
            collide(cell, op, nu);
            const Moments after = moments(cell, false);
            EXPECT_NEAR(after.rho, before.rho, 2e-6) << "nu " << nu;
            for (unsigned k = 0; k < 3; ++k) EXPECT_NEAR(after.j[k], before.j[k], 2e-6) << "nu " << nu << " axis " << k;
            EXPECT_FLOAT_EQ(cell.getDensity(), float(before.rho));
        }
    }
}

// The four-lane collision leaves every cell bit for bit as its own call,
// also with non-finite lanes (the moments on lanes are held to the per-cell
// updates by SolverCollisionLanes).
TEST(LatticeCollision, FourLanesLeaveEachCellAsItsOwnCall) {
    const float inf = std::numeric_limits<float>::infinity();
    auto prepare = [](ProbeCell& cell, unsigned variant, float special) {
        if (variant == 0) {
            loadReferenceState(cell);
        } else {
            loadShearedState(cell);
            for (unsigned i = 0; i < kQ; ++i)
                cell.setPdfAt(i, cell.getPdfAt(i) * (1.0f + 0.01f * float(variant * i % 5)));
        }
        cell.setForce({0.001f * float(variant), -0.002f, 0.0005f * float(variant % 2)});
        if (special != 0.0f) cell.setPdfAt(variant + 3, special);
    };
    // Per group, the special value given to one slot of each lane (0: none).
    const float groups[][4] = {{0, 0, 0, 0}, {0, inf, 0, 0}, {1e30f, 0, 0, -inf}, {inf, inf, inf, inf}};
    for (const auto& specials : groups) {
        for (float nu : {kNu, 0.3f}) {
            ProbeCell alone[4], together[4];
            LBM_Q19_Cell3<float>* group[4];
            for (unsigned c = 0; c < 4; ++c) {
                prepare(alone[c], c, specials[c]);
                prepare(together[c], c, specials[c]);
                alone[c].collision(nu);
                group[c] = &together[c];
            }
            LBM_Q19_Cell3<float>::collision4(group, nu);
            for (unsigned c = 0; c < 4; ++c) {
                SCOPED_TRACE(::testing::Message() << "lane " << c << " special " << specials[c] << " nu " << nu);
                for (unsigned i = 0; i < kQ; ++i)
                    ASSERT_EQ(bitsOf(together[c].getPdfAt(i)), bitsOf(alone[c].getPdfAt(i))) << "slot " << i;
                ASSERT_EQ(bitsOf(together[c].getDensity()), bitsOf(alone[c].getDensity()));
                for (unsigned k = 0; k < 3; ++k)
                    ASSERT_EQ(bitsOf(together[c].getVelocity()[k]), bitsOf(alone[c].getVelocity()[k])) << k;
            }
        }
    }
}
