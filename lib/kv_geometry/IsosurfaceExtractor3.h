#pragma once

#include "kv_basic/Export.h"
#include "kv_geometry/Mesh.h"
#include "kv_geometry/ScalarField3.h"

namespace kelvar {

// Turns the iso-surface of a scalar field into a triangle mesh.
//
// Method: every grid cube is split into six tetrahedra around a main
// diagonal and the piecewise-linear surface is traced through each
// tetrahedron. The split is mirrored about the grid's centre (cubes in the
// upper half along an axis use the split reflected in that axis), which keeps
// the diagonals of neighbouring cubes' common faces equal, so there are no
// ambiguous cases and no cracks: the mesh is a closed 2-manifold wherever it
// does not leave the field.
//
// Guarantees:
// - Below the iso value is inside (liquid), at or above it outside (gas); a
//   value equal to the iso value counts as outside, so the surface never
//   passes exactly through a voxel. NaN counts as outside.
// - One vertex per crossed grid edge, shared by every triangle using it.
// - Triangles are wound so that (b - a) x (c - a) points from inside to
//   outside.
// - Crossings are kept at least 1/1024 of an edge away from its ends, so no
//   triangle collapses onto a voxel.
// - The close switches (closeXmin ... closeZmax; non-zero = on) treat the
//   region beyond that face of the box as gas, one voxel deep: where inside
//   voxels touch a closed face the surface is capped half a spacing outside
//   the box (on the cell faces when voxels are cell centres), so with all six
//   on the mesh is closed. The mirrored split runs the diagonals of the
//   corner cubes through the box's edges and corners, so caps meet in sharp
//   edges: a field wholly inside gives exactly the box grown by half a
//   spacing on each side.
// - option bit 0 (value 1): also compute per-vertex unit normals, the
//   area-weighted mean of the adjacent triangle normals, into the vertex
//   attribute "Normal" (3 floats). Other bits are ignored.
// - abortCallback (may be null) is called once before every slab of cubes
//   between two x layers; a result above 0 stops the extraction, clears the
//   mesh and makes the call return 0.
// - The output depends only on the inputs (single-threaded, fixed order).
//
// The mesh is cleared first; the result is the number of triangles produced.
class KV_EXPORT IsosurfaceExtractor3 {
public:
    template <class T>
    static unsigned long extractMesh(const ScalarField3<T>& field, Mesh& mesh, const T& iso, unsigned closeXmin,
                                     unsigned closeXmax, unsigned closeYmin, unsigned closeYmax, unsigned closeZmin,
                                     unsigned closeZmax, unsigned option, int (*abortCallback)());

    // Option bit: compute per-vertex normals into the "Normal" attribute.
    static constexpr unsigned kOptionNormals = 1;
};

extern template unsigned long IsosurfaceExtractor3::extractMesh<float>(const ScalarField3<float>&, Mesh&,
                                                                       const float&, unsigned, unsigned, unsigned,
                                                                       unsigned, unsigned, unsigned, unsigned,
                                                                       int (*)());

}  // namespace kelvar
