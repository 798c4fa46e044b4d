#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "MeshChecks.h"
#include "kv_geometry/MeshPrimitives.h"

namespace kelvar {
namespace {

Mesh texturedTriangle(float offset, uint32_t meshId) {
    Mesh m;
    m.addVertex({offset, 0, 0});
    m.addVertex({offset + 1, 0, 0});
    m.addVertex({offset, 1, 0});
    m.addTriangle(0, 1, 2);
    MeshAttribute* uv = m.addAttribute(Mesh::kUvMap, MeshAttributeDomain::Corner, 2, false);
    for (uint32_t i = 0; i < 6; ++i) uv->floats[i] = float(i) * 0.1f;
    m.addAttribute(Mesh::kMeshId, MeshAttributeDomain::Face, 1, true)->uints[0] = meshId;
    return m;
}

TEST(Mesh, PrimitivesAreClosedAndOutwardWound) {
    const Mesh box = makeBoxMesh(Box3<float>({1, 2, 3}, {3, 5, 7}), 3);
    EXPECT_TRUE(test::checkTopology(box).closedAndConsistent());
    EXPECT_EQ(box.triangleCount(), 6u * 9u * 2u);
    EXPECT_NEAR(box.volume(), 24.0, 1e-4);
    EXPECT_NEAR(box.area(), 2.0 * (6 + 8 + 12), 1e-4);

    const Mesh sphere = makeSphereMesh({0, 0, 0}, 2.0f, 64, 32);
    EXPECT_TRUE(test::checkTopology(sphere).closedAndConsistent());
    EXPECT_EQ(sphere.triangleCount(), 2u * 64u * 31u);
    const double exact = 4.0 / 3.0 * std::numbers::pi * 8.0;
    EXPECT_NEAR(sphere.volume(), exact, 0.01 * exact);
    EXPECT_EQ(sphere.getBox().max.y, 2.0f);
}

TEST(Mesh, AddMeshOffsetsIndicesAndMergesAttributes) {
    Mesh merged = texturedTriangle(0, 7);
    Mesh other = texturedTriangle(5, 9);
    MeshAttribute* velocity = other.addAttribute(Mesh::kVelocity, MeshAttributeDomain::Vertex, 3, false);
    velocity->floats[3] = 2.5f;
    merged.addMesh(other);
    merged.addMesh(merged);  // self-append doubles everything

    ASSERT_EQ(merged.vertexCount(), 12u);
    const Array<Mesh::Triangle> triangles{{0, 1, 2}, {3, 4, 5}, {6, 7, 8}, {9, 10, 11}};
    EXPECT_TRUE(test::sameElements(merged.getTriangles(), triangles));
    const MeshAttribute* ids = merged.findAttribute(Mesh::kMeshId);
    ASSERT_NE(ids, nullptr);
    EXPECT_TRUE(test::sameElements(ids->uints, Array<uint32_t>{7, 9, 7, 9}));
    const MeshAttribute* uv = merged.findAttribute(Mesh::kUvMap);
    EXPECT_EQ(uv->floats.size(), 24u);
    EXPECT_FLOAT_EQ(uv->floats[6 + 5], 0.5f);
    const MeshAttribute* v = merged.findAttribute(Mesh::kVelocity);
    ASSERT_TRUE(v != nullptr && v->tupleCount() == 12u);
    EXPECT_EQ(v->floats[3], 0.0f);       // zero-filled for the first mesh's vertices
    EXPECT_EQ(v->floats[9 + 3], 2.5f);   // other's vertex 1
    EXPECT_EQ(v->floats[27 + 3], 2.5f);  // and its copy
    EXPECT_EQ(merged.addAttribute(Mesh::kMeshId, MeshAttributeDomain::Vertex, 1, true), nullptr);
}

TEST(Mesh, TransformMovesVerticesVelocitiesAndKeepsOrientationUnderMirror) {
    Mesh box = makeBoxMesh(Box3<float>({0, 0, 0}, {1, 2, 3}), 1);
    MeshAttribute* velocity = box.addAttribute(Mesh::kVelocity, MeshAttributeDomain::Vertex, 3, false);
    velocity->floats[0] = 1.0f;
    box.addAttribute(Mesh::kUvMap, MeshAttributeDomain::Corner, 2, false)->floats[2] = 4.0f;
    const uint32_t secondCorner = box.getTriangles()[0].second;

    Transform3Rts<float> rts;
    rts.setScale({2, 2, 2});
    rts.setTranslation({10, 0, 0});
    box.transformRts(rts);
    EXPECT_FALSE(box.isBoxValid());
    box.workBox();
    EXPECT_EQ(box.getBox(), Box3<float>({10, 0, 0}, {12, 4, 6}));
    EXPECT_EQ(box.findAttribute(Mesh::kVelocity)->floats[0], 2.0f);  // linear part only
    EXPECT_NEAR(box.volume(), 48.0, 1e-3);

    box.transform(Matrix4<float>::scaling({-1, 1, 1}));
    EXPECT_NEAR(box.volume(), 48.0, 1e-3);  // winding reversed with the mirror
    EXPECT_TRUE(test::checkTopology(box).closedAndConsistent());
    EXPECT_EQ(box.getTriangles()[0].third, secondCorner);
    EXPECT_EQ(box.findAttribute(Mesh::kUvMap)->floats[4], 4.0f);  // corner value followed its corner
}

}  // namespace
}  // namespace kelvar
