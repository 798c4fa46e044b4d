#pragma once

#include <gtest/gtest.h>

#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_math/Vector3.h"

namespace kelvar::fluid::test {

inline void expectNear(const Vector3<float>& actual, const Vector3<float>& expected, float tolerance = 1e-5f) {
    EXPECT_NEAR(actual.x, expected.x, tolerance);
    EXPECT_NEAR(actual.y, expected.y, tolerance);
    EXPECT_NEAR(actual.z, expected.z, tolerance);
}

// Sizes the fluid's grid to exactly nx x ny x nz cells: a world box a
// little short of whole cells, with a count that makes the edge just over 1.
inline void sizeGrid(MAC_LBM_Fluid3& fluid, unsigned int nx, unsigned int ny, unsigned int nz) {
    const Vector3<float> scale(float(nx) - 0.5f, float(ny) - 0.5f, float(nz) - 0.5f);
    fluid.setScale(scale);
    fluid.setResolution(unsigned(scale.x * scale.y * scale.z));
    ASSERT_EQ(fluid.getGrid().getNx(), nx);
    ASSERT_EQ(fluid.getGrid().getNy(), ny);
    ASSERT_EQ(fluid.getGrid().getNz(), nz);
}

}  // namespace kelvar::fluid::test
