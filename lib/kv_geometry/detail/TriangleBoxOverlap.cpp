#include "kv_geometry/detail/TriangleBoxOverlap.h"

#include <algorithm>
#include <cmath>

namespace kelvar::detail {

namespace {

using V = Vector3<double>;

// True when the triangle's and the box's projections on `axis` are disjoint.
bool separatedAlong(const V& axis, const V& v0, const V& v1, const V& v2, const V& half) {
    const double p0 = axis.dot(v0);
    const double p1 = axis.dot(v1);
    const double p2 = axis.dot(v2);
    const double radius = half.x * std::fabs(axis.x) + half.y * std::fabs(axis.y) + half.z * std::fabs(axis.z);
    return std::min({p0, p1, p2}) > radius || std::max({p0, p1, p2}) < -radius;
}

}  // namespace

bool triangleBoxOverlap(const V& centre, const V& half, const V& a, const V& b, const V& c) {
    const V v0 = a - centre;
    const V v1 = b - centre;
    const V v2 = c - centre;

    // Box face normals: the triangle's bounding box against the box.
    for (unsigned axis = 0; axis < 3; ++axis) {
        if (std::min({v0[axis], v1[axis], v2[axis]}) > half[axis]) return false;
        if (std::max({v0[axis], v1[axis], v2[axis]}) < -half[axis]) return false;
    }

    // Triangle normal: the plane against the box.
    const V e0 = v1 - v0;
    const V e1 = v2 - v1;
    const V e2 = v0 - v2;
    if (separatedAlong(e0.cross(e1), v0, v1, v2, half)) return false;

    // Box axes crossed with triangle edges.
    static const V kAxes[3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    for (const V& edge : {e0, e1, e2})
        for (const V& boxAxis : kAxes)
            if (separatedAlong(boxAxis.cross(edge), v0, v1, v2, half)) return false;
    return true;
}

}  // namespace kelvar::detail
