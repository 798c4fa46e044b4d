#pragma once

#include <cstdint>

#include "kv_basic/Array.h"
#include "kv_basic/Tuple.h"
#include "kv_fluids_dyn/domain/FrictionTable.h"
#include "kv_geometry/Mesh.h"
#include "kv_geometry/detail/FacePlanes.h"
#include "kv_math/Box3.h"
#include "kv_math/Vector2.h"

namespace kelvar::fluid {

class MAC_LBM_Fluid3;

// Turns the obstacle faces that touch one grid cell into one friction value
// for the cell. Built on the stack for one voxelisation of the merged
// obstacle mesh; refers to, and does not own, the fluid, the mesh, the
// friction table and the per-face data (plane, edge planes, texture
// coordinate indices) the voxelisation prepared.
class FrictionEvaluator {
public:
    // (mesh id, face index) of one face found in a cell.
    using FaceRecord = Tuple2<unsigned int, unsigned int>;

    // Without per-face data (null), every evaluation gives 0.
    FrictionEvaluator(const MAC_LBM_Fluid3& fluid, const Mesh& mesh, const FrictionTable& table,
                      const Array<FacePlanes>* faces);
    virtual ~FrictionEvaluator();

    // The mean friction of the faces in `records` for the cell `box` (in the
    // mesh's space): a constant record adds its constant; a texture record
    // adds the texel under the cell centre's projection onto the face, or
    // nothing when that projection falls outside the face, which still
    // counts in the mean (a deliberate dilution). A face whose mesh id has
    // no record takes the previous face's record. 0 for no records.
    float evaluate(const Array<FaceRecord>& records, const Box3<float>& box) const;

    // The friction of a texture record at texture coordinates uv. Columns
    // and rows wrap over 0 to W (and 0 to H) inclusive: one past the last
    // column reads the next row's first texel, which the image's padding
    // keeps inside its buffer.
    static float sampleTexture(const FrictionData& data, const Vector2<float>& uv);

private:
    const MAC_LBM_Fluid3& fluid;
    const Mesh& mesh;
    const FrictionTable& table;
    const Array<FacePlanes>* faces;
    // 0xFFFFFFFF while the per-face data is absent.
    uint32_t faceCount;
    uint32_t uvCount;
};

}  // namespace kelvar::fluid
