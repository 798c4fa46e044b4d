#pragma once

#include <gtest/gtest.h>

#include "kv_math/Matrix4.h"
#include "kv_math/Vector3.h"

namespace kelvar::test {

inline void expectNear(const Vector3<float>& actual, const Vector3<float>& expected, float tolerance = 1e-5f) {
    EXPECT_NEAR(actual.x, expected.x, tolerance);
    EXPECT_NEAR(actual.y, expected.y, tolerance);
    EXPECT_NEAR(actual.z, expected.z, tolerance);
}

inline void expectNear(const Matrix4<float>& actual, const Matrix4<float>& expected, float tolerance = 1e-5f) {
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) EXPECT_NEAR(actual.m[i][j], expected.m[i][j], tolerance) << "at " << i << "," << j;
}

}  // namespace kelvar::test
