#include <gtest/gtest.h>

#include "kv_geometry/detail/FacePlanes.h"

namespace kelvar {
namespace {

Mesh rightTriangleAndDegenerate() {
    Mesh m;
    m.addVertex({0, 0, 0});
    m.addVertex({2, 0, 0});
    m.addVertex({0, 2, 0});
    m.addVertex({4, 4, 0});
    m.addTriangle(0, 1, 2);
    m.addTriangle(0, 3, 3);  // collapsed
    MeshAttribute* uv = m.addAttribute(Mesh::kUvMap, MeshAttributeDomain::Corner, 2, false);
    const float corners[6] = {0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 1.0f};
    for (uint32_t i = 0; i < 6; ++i) uv->floats[i] = corners[i];
    return m;
}

TEST(FacePlanes, PlanesClassifyPointsAndProjectOntoTheFace) {
    const Mesh mesh = rightTriangleAndDegenerate();
    Array<FacePlanes> planes;
    buildFacePlanes(mesh, planes);
    ASSERT_EQ(planes.size(), 2u);
    const FacePlanes& f = planes[0];
    EXPECT_EQ(f.face.normal, Vector3<float>(0, 0, 1));
    EXPECT_EQ(f.face.distance({5, 5, 3}), 3.0f);
    EXPECT_TRUE(f.contains({0.5f, 0.5f, 0}));
    EXPECT_TRUE(f.contains({1, 1, 0}));   // on the hypotenuse
    EXPECT_TRUE(f.contains({0, 0, 0}));   // a corner
    EXPECT_FALSE(f.contains({1.1f, 1.0f, 0}));
    EXPECT_FALSE(f.contains({-0.1f, 0.5f, 0}));
    EXPECT_EQ(f.uvIndex[2], 2u);
    EXPECT_NEAR(f.edges[2].normal.x, -1.0f, 1e-6f);  // edge c -> a faces -x

    EXPECT_FALSE(planes[1].contains({0, 0, 0}));
    EXPECT_EQ(barycentric(mesh, 1, {0, 0, 0}), Vector3<float>());
}

TEST(FacePlanes, BarycentricWeightsInterpolateTextureCoordinates) {
    const Mesh mesh = rightTriangleAndDegenerate();
    Array<FacePlanes> planes;
    buildFacePlanes(mesh, planes);
    const Vector3<float> w = barycentric(mesh, 0, {0.5f, 0.5f, 7.0f});  // off the plane: projected
    EXPECT_FLOAT_EQ(w.x, 0.5f);
    EXPECT_FLOAT_EQ(w.y, 0.25f);
    EXPECT_FLOAT_EQ(w.z, 0.25f);
    Vector2<float> uv;
    ASSERT_TRUE(interpolateUv(mesh, planes[0], 0, {1.0f, 0.5f, 0.0f}, uv));
    EXPECT_FLOAT_EQ(uv.x, 0.5f);
    EXPECT_FLOAT_EQ(uv.y, 0.25f);

    Mesh plain = mesh;
    plain.removeAttribute(Mesh::kUvMap);
    buildFacePlanes(plain, planes);
    EXPECT_EQ(planes[0].uvIndex[0], FacePlanes::kNoUv);
    EXPECT_FALSE(interpolateUv(plain, planes[0], 0, {1, 0.5f, 0}, uv));
}

}  // namespace
}  // namespace kelvar
