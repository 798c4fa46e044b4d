#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

#include "MeshChecks.h"
#include "kv_geometry/IsosurfaceExtractor3.h"

namespace kelvar {
namespace {

using Field = ScalarField3<float>;

Field sphereField(unsigned n, float radius, const Vector3<float>& centre) {
    Field f({n, n, n}, {1, 1, 1});
    for (unsigned i = 0; i < n; ++i)
        for (unsigned j = 0; j < n; ++j)
            for (unsigned k = 0; k < n; ++k) f.at(i, j, k) = (f.voxelPosition(i, j, k) - centre).length() - radius;
    return f;
}

// With all six switches the field's faces are capped, so the surface closes there.
unsigned long extractAllClosed(const Field& f, Mesh& mesh, float iso, unsigned option = 0,
                               int (*abort)() = nullptr) {
    return IsosurfaceExtractor3::extractMesh<float>(f, mesh, iso, 1, 1, 1, 1, 1, 1, option, abort);
}
unsigned long extractOpen(const Field& f, Mesh& mesh, float iso, unsigned option = 0) {
    return IsosurfaceExtractor3::extractMesh<float>(f, mesh, iso, 0, 0, 0, 0, 0, 0, option, nullptr);
}

TEST(IsosurfaceExtractor3, SphereIsClosedOrientedWithOutwardNormalsAndTheRightVolume) {
    const float radius = 25.0f;
    const Vector3<float> centre(0.3f, -0.2f, 0.1f);
    const Field f = sphereField(64, radius, centre);
    Mesh mesh;
    ASSERT_GT(extractOpen(f, mesh, 0.0f, IsosurfaceExtractor3::kOptionNormals), 1000u);
    const test::Topology topology = test::checkTopology(mesh);
    EXPECT_TRUE(topology.closedAndConsistent());
    EXPECT_EQ(topology.degenerateTriangles, 0u);
    const double exact = 4.0 / 3.0 * std::numbers::pi * radius * radius * radius;
    EXPECT_NEAR(mesh.volume(), exact, 0.01 * exact);  // positive: normals point outwards
    ASSERT_TRUE(mesh.isBoxValid());
    EXPECT_NEAR(mesh.getBox().max.x, 25.3f, 0.05f);

    const MeshAttribute* normals = mesh.findAttribute(Mesh::kNormal);
    ASSERT_NE(normals, nullptr);
    ASSERT_EQ(normals->tupleCount(), mesh.vertexCount());
    for (uint32_t v = 0; v < mesh.vertexCount(); ++v) {
        const Vector3<float> n(normals->floats[3 * v], normals->floats[3 * v + 1], normals->floats[3 * v + 2]);
        EXPECT_NEAR(n.length(), 1.0f, 1e-5f);
        EXPECT_GT(n.dot((mesh.getVertices()[v] - centre) / radius), 0.9f);
    }
    extractOpen(f, mesh, 0.0f);
    EXPECT_EQ(mesh.findAttribute(Mesh::kNormal), nullptr);
}

// A capped block reaches half a spacing beyond the box, with sharp edges and
// corners where capped faces meet; without the switches nothing closes.
TEST(IsosurfaceExtractor3, FullAndFlatBlocksAreCappedHalfASpacingOutsideTheBox) {
    Field f({10, 7, 5}, {1.0f, 1.0f, 2.0f});
    for (float& v : f.refValues()) v = -0.5f;
    Mesh mesh;
    ASSERT_GT(extractAllClosed(f, mesh, 0.0f), 0u);
    EXPECT_TRUE(test::checkTopology(mesh).closedAndConsistent());
    EXPECT_NEAR(mesh.volume(), 700.0, 0.7);
    EXPECT_EQ(mesh.getBox().min, f.getBox().min - Vector3<float>(0.5f, 0.5f, 1.0f));
    EXPECT_EQ(mesh.getBox().max, f.getBox().max + Vector3<float>(0.5f, 0.5f, 1.0f));
    EXPECT_EQ(extractOpen(f, mesh, 0.0f), 0u);
    EXPECT_EQ(extractAllClosed(Field(), mesh, 0.0f), 0u);

    // A single liquid layer becomes a closed slab.
    Field flat({1, 8, 8}, {1, 1, 1});
    EXPECT_EQ(extractOpen(flat, mesh, 0.5f), 0u);
    EXPECT_GT(extractAllClosed(flat, mesh, 0.5f), 0u);
    EXPECT_TRUE(test::checkTopology(mesh).closedAndConsistent());
    EXPECT_NEAR(mesh.volume(), 64.0, 0.064);
}

TEST(IsosurfaceExtractor3, NoiseWithValuesOnTheIsoLevelStaysManifoldAndNonDegenerate) {
    std::mt19937 random(7);
    std::uniform_int_distribution<int> level(-2, 2);
    Field f({17, 13, 11}, {0.5f, 1.0f, 0.25f});
    for (float& v : f.refValues()) v = float(level(random));
    for (float iso : {0.0f, 1.0f, -1.5f}) {
        Mesh mesh;
        ASSERT_GT(extractAllClosed(f, mesh, iso), 0u);
        const test::Topology topology = test::checkTopology(mesh);
        EXPECT_TRUE(topology.closedAndConsistent()) << iso;
        EXPECT_EQ(topology.degenerateTriangles, 0u) << iso;
        EXPECT_GT(mesh.volume(), 0.0) << iso;
    }
}

int gCalls = 0;
int neverAbort() { return ++gCalls, 0; }
int abortAtThird() { return ++gCalls >= 3 ? 1 : 0; }

TEST(IsosurfaceExtractor3, AbortCallbackIsPolledPerSlabAndClearsTheMesh) {
    const Field f = sphereField(16, 5.0f, {0, 0, 0});
    Mesh mesh;
    EXPECT_GT(extractAllClosed(f, mesh, 0.0f, 0, neverAbort), 0u);
    EXPECT_GE(gCalls, 17);  // 18 padded layers, 17 slabs
    gCalls = 0;
    EXPECT_EQ(extractAllClosed(f, mesh, 0.0f, 0, abortAtThird), 0u);
    EXPECT_EQ(mesh.vertexCount() + mesh.triangleCount(), 0u);
}

}  // namespace
}  // namespace kelvar
