#pragma once

#include <gtest/gtest.h>

#include <array>

#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_geometry/MeshPrimitives.h"
#include "kv_math/Vector3.h"

namespace kelvar::fluid::test {

inline void expectNear(const Vector3<float>& actual, const Vector3<float>& expected, float tolerance = 1e-5f) {
    for (unsigned a = 0; a < 3; ++a) EXPECT_NEAR(actual[a], expected[a], tolerance) << "axis " << a;
}

// Opens the cell pools the solver uses.
struct PoolFluid : MAC_LBM_Fluid3 {
    using MAC_LBM_Fluid3::acquireLiquidCell;
    using MAC_LBM_Fluid3::acquireSinkCell;
    using MAC_LBM_Fluid3::acquireSolidCell;
    using MAC_LBM_Fluid3::areCellsEqual;
    using MAC_LBM_Fluid3::releaseCell;
};

// Sizes the grid to exactly nx x ny x nz cells: a box a little short of whole
// cells, with a count that makes the edge just over 1.
inline void sizeGrid(MAC_LBM_Fluid3& fluid, unsigned int nx, unsigned int ny, unsigned int nz) {
    const Vector3<float> scale(float(nx) - 0.5f, float(ny) - 0.5f, float(nz) - 0.5f);
    fluid.setScale(scale);
    fluid.setResolution(unsigned(scale.x * scale.y * scale.z));
    ASSERT_EQ(fluid.getGrid().getNx(), nx);
    ASSERT_EQ(fluid.getGrid().getNy(), ny);
    ASSERT_EQ(fluid.getGrid().getNz(), nz);
}

// A closed box mesh over grid-space [lo, hi), in cells from the grid's min
// corner, placed in the world through the fluid's transform.
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
