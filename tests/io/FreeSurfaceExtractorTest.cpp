#include <gtest/gtest.h>

#include <algorithm>

#include "HandFilledFluid.h"
#include "MeshChecks.h"
#include "kv_fluids_dyn/io/FreeSurfaceExtractor.h"

namespace kelvar::fluid {
namespace {

using test::HandFilledFluid;
using kelvar::test::sameElements;

// Arguments: level, sample on the grid's own resolution, mesh cell size when
// resampling, close the surface at the field's faces, option, mesh, abort.
constexpr auto extract = &FreeSurfaceExtractor::extractMesh<MAC_LBM_Fluid3>;

// A walled 32^3 tank in a world box of edge 32, so that one world unit is
// exactly one cell (a count just under 32^3 keeps 32 cells per axis). A block
// of liquid rests on the floor: full cells inside, a layer of half-full
// interface cells on the sides and top, full cells next to them flagged as
// near the interface.
class RestingBlock : public ::testing::Test {
protected:
    static constexpr unsigned kN = 32;
    static constexpr unsigned kLo = 4, kHi = 27, kTop = 16;  // liquid in [kLo, kHi] x [1, kTop] x [kLo, kHi]
    // The level that puts the surface of a resting pool where its fill
    // fractions say the liquid ends; level 0 wraps every site near liquid.
    static constexpr float kSurfaceLevel = 0.35f;

    RestingBlock() : fluid(kN, kN, kN) {
        fluid.setScale({float(kN), float(kN), float(kN)});
        fluid.setResolution(kN * kN * kN - 1);
        fluid.initialize();
        fluid.setDomainBoundaryCells();
        for (unsigned i = kLo; i <= kHi; ++i)
            for (unsigned j = 1; j <= kTop; ++j)
                for (unsigned k = kLo; k <= kHi; ++k) place(i, j, k);
        fluid.markDirty();
    }

    void place(unsigned i, unsigned j, unsigned k) {
        const auto distanceToSurface = std::min({i - kLo, kHi - i, k - kLo, kHi - k, kTop - j});
        if (distanceToSurface == 0) {
            fluid.placeLiquid(i, j, k, LBM_CELL_INTERFACE, 0.5f);
            liquidVolume += 0.5;
        } else {
            fluid.placeLiquid(i, j, k, LBM_CELL_FLUID, 1.0f, distanceToSurface == 1 ? MAC_FLAG_NEAR_INTERFACE : 0);
            liquidVolume += 1.0;
        }
    }

    static int abortAtOnce() { ++calls; return 1; }
    static int neverAbort() { ++calls; return 0; }

    static inline int calls = 0;
    HandFilledFluid fluid;
    double liquidVolume = 0.0;
};

TEST_F(RestingBlock, SurfaceIsClosedAndHoldsTheLiquidVolume) {
    ASSERT_EQ(fluid.getGrid().getNx(), kN);
    Mesh mesh;
    const unsigned long triangles = extract(fluid, kSurfaceLevel, true, 1.0f, true, 0, mesh, nullptr);
    EXPECT_EQ(triangles, mesh.triangleCount());
    ASSERT_GT(triangles, 0u);
    EXPECT_TRUE(kelvar::test::checkTopology(mesh).closedAndConsistent());
    EXPECT_NEAR(mesh.volume(), liquidVolume, 0.05 * liquidVolume);
    EXPECT_FALSE(fluid.getDirtyFlags().test(MAC_LBM_Fluid3::VOF_DIRTY));
    EXPECT_EQ(mesh.findAttribute(Mesh::kNormal), nullptr);

    // Level 0 takes in the gas sites next to the liquid: one more layer.
    Mesh wrapped;
    extract(fluid, 0.0f, true, 1.0f, true, 0, wrapped, nullptr);
    EXPECT_GT(wrapped.volume(), 1.1 * liquidVolume);
    // Option 1 asks the extractor for vertex normals.
    Mesh withNormals;
    extract(fluid, kSurfaceLevel, true, 1.0f, true, 1, withNormals, nullptr);
    EXPECT_NE(withNormals.findAttribute(Mesh::kNormal), nullptr);
}

TEST_F(RestingBlock, ResamplingAtTheCellSizeReproducesTheDirectSurface) {
    Mesh direct;
    Mesh resampled;
    const unsigned long a = extract(fluid, kSurfaceLevel, true, 1.0f, true, 0, direct, nullptr);
    calls = 0;
    const unsigned long b = extract(fluid, kSurfaceLevel, false, 1.0f, true, 0, resampled, &neverAbort);
    EXPECT_EQ(a, b);
    EXPECT_GE(calls, int(kN * kN * kN));  // once per sample, then per slab of the extractor
    EXPECT_TRUE(sameElements(direct.getVertices(), resampled.getVertices()));
    EXPECT_TRUE(sameElements(direct.getTriangles(), resampled.getTriangles()));

    // Twice as fine: the same liquid, a finer surface.
    Mesh fine;
    ASSERT_GT(extract(fluid, kSurfaceLevel, false, 0.5f, true, 0, fine, nullptr), a);
    EXPECT_TRUE(kelvar::test::checkTopology(fine).closedAndConsistent());
    EXPECT_NEAR(fine.volume(), liquidVolume, 0.05 * liquidVolume);
}

TEST_F(RestingBlock, AbortOrOversizedResamplingReturnsZeroAndKeepsTheMesh) {
    // A mesh that must survive a refused extraction.
    Mesh mesh;
    mesh.addTriangle(mesh.addVertex({0, 0, 0}), mesh.addVertex({1, 0, 0}), mesh.addVertex({0, 1, 0}));
    const Array<Vector3<float>> vertices = mesh.getVertices();
    calls = 0;
    EXPECT_EQ(extract(fluid, 0.0f, false, 1.0f, true, 0, mesh, &abortAtOnce), 0u);
    EXPECT_EQ(calls, 1);
    // 31 cells at 1e-9 per voxel is past 2^32 on every axis; at 1e-3 each
    // axis fits but the whole does not; a zero size divides to infinity.
    calls = 0;
    for (const float size : {1e-9f, 1e-3f, 0.0f})
        EXPECT_EQ(extract(fluid, 0.0f, false, size, true, 0, mesh, &neverAbort), 0u) << size;
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(sameElements(mesh.getVertices(), vertices));
    EXPECT_EQ(mesh.triangleCount(), 1u);
}

TEST(FreeSurfaceSwitches, OpenFacesStayOpenWithoutTheFlag) {
    // Liquid filling the whole unwalled grid touches every face of the field.
    HandFilledFluid fluid(4, 4, 4);
    for (unsigned n = 0; n < 64; ++n) fluid.placeLiquid(n / 16, n / 4 % 4, n % 4, LBM_CELL_INTERFACE, 1.0f);
    fluid.markDirty();
    Mesh mesh;
    ASSERT_GT(extract(fluid, 0.0f, true, 1.0f, true, 0, mesh, nullptr), 0u);
    EXPECT_TRUE(kelvar::test::checkTopology(mesh).closedAndConsistent());
    EXPECT_EQ(extract(fluid, 0.0f, true, 1.0f, false, 0, mesh, nullptr), 0u);
}

}  // namespace
}  // namespace kelvar::fluid
