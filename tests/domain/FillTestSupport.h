#pragma once

#include <array>

#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_geometry/MeshPrimitives.h"

namespace kelvar::fluid::test {

// A closed box mesh over the grid-space range [lo, hi), given in cells from
// the grid's min corner, placed in the world through the fluid's transform.
inline Mesh worldBox(const MAC_LBM_Fluid3& fluid, const Vector3<float>& lo, const Vector3<float>& hi,
                     unsigned id = 0) {
    const Vector3<float>& min = fluid.getGrid().getBox().min;
    Mesh mesh = makeBoxMesh({min + lo, min + hi});
    mesh.transform(fluid.getXformGridToWorld().getMatrix());
    mesh.setId(id);
    return mesh;
}

inline const LBM_Q19_MAC_Cell3F& liquidAt(const MAC_LBM_Fluid3& fluid, unsigned i, unsigned j, unsigned k) {
    return static_cast<const LBM_Q19_MAC_Cell3F&>(*fluid.getGrid().at(i, j, k));
}

// Grid entries per type code; entry 1 (a code never used) counts null entries.
inline std::array<unsigned, 7> countTypes(const MAC_LBM_Fluid3& fluid) {
    std::array<unsigned, 7> counts{};
    for (const LBM_Cell3<float>* cell : fluid.getGrid().getCells()) ++counts[cell == nullptr ? 1 : cell->getType()];
    return counts;
}

}  // namespace kelvar::fluid::test
