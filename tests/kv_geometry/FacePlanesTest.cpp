#include <gtest/gtest.h>

#include "kv_geometry/detail/FacePlanes.h"

namespace kelvar {
namespace {

TEST(FacePlanes, PlanesClassifyPointsAndWeightsInterpolateTextureCoordinates) {
    Mesh mesh;
    const Vector3<float> points[] = {{0, 0, 0}, {2, 0, 0}, {0, 2, 0}, {4, 4, 0}};
    for (const Vector3<float>& p : points) mesh.addVertex(p);
    mesh.addTriangle(0, 1, 2);
    mesh.addTriangle(0, 3, 3);  // collapsed
    MeshAttribute* corners = mesh.addAttribute(Mesh::kUvMap, MeshAttributeDomain::Corner, 2, false);
    corners->floats[2] = 1.0f;  // (0, 0), (1, 0), (0, 1)
    corners->floats[5] = 1.0f;
    Array<FacePlanes> planes;
    buildFacePlanes(mesh, planes);
    ASSERT_EQ(planes.size(), 2u);
    const FacePlanes& f = planes[0];
    EXPECT_EQ(f.face.normal, Vector3<float>(0, 0, 1));
    EXPECT_EQ(f.face.distance({5, 5, 3}), 3.0f);
    // Inside, on the hypotenuse and at a corner; not past the edges nor in the collapsed face.
    EXPECT_TRUE(f.contains({0.5f, 0.5f, 0}) && f.contains({1, 1, 0}) && f.contains({0, 0, 0}));
    EXPECT_FALSE(f.contains({1.1f, 1.0f, 0}) || f.contains({-0.1f, 0.5f, 0}) || planes[1].contains({0, 0, 0}));
    EXPECT_EQ(barycentric(mesh, 1, {0, 0, 0}), Vector3<float>());

    EXPECT_EQ(barycentric(mesh, 0, {0.5f, 0.5f, 7.0f}), Vector3<float>(0.5f, 0.25f, 0.25f));  // projected
    Vector2<float> uv;
    ASSERT_TRUE(interpolateUv(mesh, f, 0, {1.0f, 0.5f, 0.0f}, uv));
    EXPECT_FLOAT_EQ(uv.x, 0.5f);
    EXPECT_FLOAT_EQ(uv.y, 0.25f);

    mesh.removeAttribute(Mesh::kUvMap);
    buildFacePlanes(mesh, planes);
    EXPECT_EQ(planes[0].uvIndex[0], FacePlanes::kNoUv);
    EXPECT_FALSE(interpolateUv(mesh, planes[0], 0, {1, 0.5f, 0}, uv));
}

}  // namespace
}  // namespace kelvar
