#pragma once

#include <cstdint>

#include "kv_basic/Array.h"
#include "kv_geometry/Mesh.h"
#include "kv_math/Vector2.h"
#include "kv_math/Vector3.h"

namespace kelvar {

// A plane n . p + d = 0 with unit normal n; distance() is signed.
struct Plane3f {
    Vector3<float> normal{};
    float d = 0.0f;
    float distance(const Vector3<float>& p) const { return normal.dot(p) + d; }
};

// What a per-cell lookup needs about one triangle: its plane (normal along
// (b - a) x (c - a)), three edge planes through its edges and perpendicular
// to it, facing outwards (a point of the plane lies in the triangle when its
// distance to all three is <= 0), and the corner tuples of its texture
// coordinates. A degenerate triangle gets edge planes that no point passes.
struct FacePlanes {
    static constexpr uint32_t kNoUv = 0xFFFFFFFFu;

    Plane3f face;
    Plane3f edges[3];
    uint32_t uvIndex[3] = {kNoUv, kNoUv, kNoUv};  // tuples of "UV_MAP_0", or kNoUv

    bool contains(const Vector3<float>& pointOnPlane) const {
        return edges[0].distance(pointOnPlane) <= 0.0f && edges[1].distance(pointOnPlane) <= 0.0f &&
               edges[2].distance(pointOnPlane) <= 0.0f;
    }
};

// One FacePlanes per triangle, in triangle order. The texture-coordinate
// indices are 3 * f + c when the mesh carries "UV_MAP_0" per corner, the
// vertex index when it carries it per vertex, kNoUv otherwise.
void buildFacePlanes(const Mesh& mesh, Array<FacePlanes>& out);

// Barycentric coordinates of p (projected onto the triangle's plane) in
// triangle f; all three are zero for a degenerate triangle.
Vector3<float> barycentric(const Mesh& mesh, uint32_t f, const Vector3<float>& p);

// Texture coordinates at p in triangle f, interpolated from "UV_MAP_0";
// false when the mesh has none.
bool interpolateUv(const Mesh& mesh, const FacePlanes& planes, uint32_t f, const Vector3<float>& p,
                    Vector2<float>& uv);

}  // namespace kelvar
