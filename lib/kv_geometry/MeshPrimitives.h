#pragma once

#include "kv_basic/Export.h"
#include "kv_geometry/Mesh.h"
#include "kv_math/Box3.h"

namespace kelvar {

// Closed, outward-wound meshes of simple solids, for emitters, sinks,
// tests and benchmarks.

// An axis-aligned box whose faces are split into `divisions` x `divisions`
// squares of two triangles each (divisions >= 1), with welded vertices.
KV_EXPORT Mesh makeBoxMesh(const Box3<float>& box, unsigned divisions = 1);

// A latitude-longitude sphere with `slices` meridians and `stacks` bands
// (clamped to at least 3 and 2); 2 * slices * (stacks - 1) triangles.
KV_EXPORT Mesh makeSphereMesh(const Vector3<float>& centre, float radius, unsigned slices, unsigned stacks);

}  // namespace kelvar
