#pragma once

#include "kv_math/Vector3.h"

namespace kelvar::detail {

// Separating-axis test of a triangle against an axis-aligned box given by its
// centre and half extents: the box's three face normals, the triangle's
// normal and the nine cross products of box axes with triangle edges.
// Touching counts as overlapping. Evaluated in double precision.
bool triangleBoxOverlap(const Vector3<double>& centre, const Vector3<double>& halfExtent,
                        const Vector3<double>& a, const Vector3<double>& b, const Vector3<double>& c);

}  // namespace kelvar::detail
