#pragma once

#include "kv_basic/Export.h"
#include "kv_geometry/Mesh.h"

namespace kelvar::fluid {

class MAC_LBM_Fluid3;

// Turns a fluid's VOF field into a triangle mesh of its free surface.
//
// The fluid's field is rebuilt if out of date, then handed to the geometry
// library's iso-surface extractor, either as it is (one voxel per cell) or
// resampled first at a chosen world-space mesh cell size. The class has no
// state; it only groups the operation.
class KV_EXPORT FreeSurfaceExtractor {
public:
    FreeSurfaceExtractor() = default;
    FreeSurfaceExtractor(const FreeSurfaceExtractor&) = default;
    FreeSurfaceExtractor& operator=(const FreeSurfaceExtractor&) = default;

    // Fills `mesh` with the surface at `level` above the field's mid value
    // and returns the extractor's result (the triangle count). `flag` closes
    // the surface on all six faces of the field, `option` is passed to the
    // extractor (bit 0: vertex normals). With useGridResolution the field is
    // triangulated directly; otherwise it is resampled with voxels
    // `meshCellSize` apart (world units), calling `abortCallback` (may be
    // null) before each sample. Returns 0, leaving `mesh` untouched, when the
    // callback returns a value above 0 during resampling or when the
    // resampled field would hold 2^32 voxels or more along an axis or in all.
    template <class Fluid>
    static unsigned long extractMesh(const Fluid& fluid, const float& level, const bool& useGridResolution,
                                     const float& meshCellSize, const bool& flag, const int& option, Mesh& mesh,
                                     int (*abortCallback)());
};

extern template KV_EXPORT unsigned long FreeSurfaceExtractor::extractMesh<MAC_LBM_Fluid3>(
    const MAC_LBM_Fluid3&, const float&, const bool&, const float&, const bool&, const int&, Mesh&, int (*)());

}  // namespace kelvar::fluid
