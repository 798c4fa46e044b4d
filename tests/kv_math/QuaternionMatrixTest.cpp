#include <gtest/gtest.h>

#include <numbers>

#include "MathTestUtil.h"
#include "kv_math/Matrix4.h"
#include "kv_math/Obb3.h"
#include "kv_math/Quaternion.h"

namespace kelvar {
namespace {

using test::expectNear;
using V = Vector3<float>;
using Q = Quaternion<float>;
using M = Matrix4<float>;

constexpr float kHalfPi = std::numbers::pi_v<float> / 2;

TEST(Quaternion, RotationsAreRightHanded) {
    expectNear(Q::fromAxisAngle({0, 0, 1}, kHalfPi).rotate({1, 0, 0}), {0, 1, 0});
    expectNear(Q::fromAxisAngle({1, 0, 0}, kHalfPi).rotate({0, 1, 0}), {0, 0, 1});
    expectNear(Q::fromAxisAngle({0, 1, 0}, kHalfPi).rotate({0, 0, 1}), {1, 0, 0});
    // The axis need not be of unit length; a zero axis means no rotation.
    expectNear(Q::fromAxisAngle({0, 0, 5}, kHalfPi).rotate({1, 0, 0}), {0, 1, 0});
    EXPECT_EQ(Q::fromAxisAngle({0, 0, 0}, 1.0f), Q::identity());
}

TEST(Quaternion, ProductAppliesRightOperandFirst) {
    const Q a = Q::fromAxisAngle({0, 0, 1}, kHalfPi);
    const Q b = Q::fromAxisAngle({1, 0, 0}, kHalfPi);
    const V v{0, 1, 0};
    expectNear((a * b).rotate(v), a.rotate(b.rotate(v)));
    // b takes y to z, which a leaves alone; the other order gives -x.
    expectNear((a * b).rotate(v), {0, 0, 1});
    expectNear((b * a).rotate(v), {-1, 0, 0});
}

TEST(Quaternion, EulerAnglesApplyXThenYThenZ) {
    // x first: y -> z, then y: z -> x. The order y then x would give z.
    expectNear(Q::fromEuler({kHalfPi, kHalfPi, 0}).rotate({0, 1, 0}), {1, 0, 0});
    const V angles{0.3f, -1.1f, 2.0f};
    const Q expected = Q::fromAxisAngle({0, 0, 1}, angles.z) * Q::fromAxisAngle({0, 1, 0}, angles.y) *
                       Q::fromAxisAngle({1, 0, 0}, angles.x);
    EXPECT_EQ(Q::fromEuler(angles), expected);
}

TEST(Quaternion, ConjugateUndoesAndNormalizedHasUnitNorm) {
    const Q q = Q::fromEuler({0.4f, 0.5f, -0.6f});
    const V v{1.5f, -2, 0.25f};
    expectNear(q.conjugate().rotate(q.rotate(v)), v);
    const Q scaled{q.x * 3, q.y * 3, q.z * 3, q.w * 3};
    EXPECT_NEAR(scaled.norm(), 3.0f, 1e-5f);
    EXPECT_NEAR(scaled.normalized().norm(), 1.0f, 1e-6f);
    EXPECT_EQ(Q(0, 0, 0, 0).normalized(), Q::identity());
}

TEST(Matrix4, RowMajorWithTranslationInColumnThreeAndRotationAsTheQuaternion) {
    const M t = M::translation({1, 2, 3});
    for (int i = 0; i < 3; ++i) EXPECT_EQ(t.m[i][3], float(i + 1)) << i;
    EXPECT_EQ(t.m[3][0], 0.0f);
    EXPECT_EQ(t.transformPoint({1, 1, 1}), V(2, 3, 4));
    EXPECT_EQ(t.transformVector({1, 1, 1}), V(1, 1, 1));
    EXPECT_EQ(t.transposed().m[3][0], 1.0f);

    // A quarter turn about z takes x to y: column 0 holds the image of x.
    const M r = M::rotation(Q::fromAxisAngle({0, 0, 1}, kHalfPi));
    EXPECT_NEAR(r.m[1][0], 1.0f, 1e-6f);
    EXPECT_NEAR(r.m[0][1], -1.0f, 1e-6f);
    const Q q = Q::fromEuler({0.7f, -0.2f, 1.3f});
    expectNear(M::rotation(q).transformVector({0.3f, -4, 2}), q.rotate({0.3f, -4, 2}));
}

TEST(Matrix4, ProductAppliesRightOperandFirstAndInverseUndoesIt) {
    EXPECT_EQ((M::translation({1, 0, 0}) * M::scaling({2, 3, 4})).transformPoint({1, 1, 1}), V(3, 3, 4));
    EXPECT_EQ((M::scaling({2, 3, 4}) * M::translation({1, 0, 0})).transformPoint({1, 1, 1}), V(4, 3, 4));
    const M a = M::translation({5, -2, 0.5f}) * M::rotation(Q::fromEuler({0.3f, 0.9f, -0.4f})) *
                M::scaling({2, 0.5f, 3});
    expectNear(a * a.inverse(), M::identity());
    M projective = M::identity();
    projective.m[3][0] = 2;
    projective.m[0][1] = 3;
    expectNear(projective * projective.inverse(), M::identity());
    EXPECT_EQ(M::scaling({1, 0, 1}).inverse(), M{}) << "a singular matrix inverts to zero";
}

TEST(Obb3, ContainsFollowsTheAxes) {
    Obb3<float> box;
    box.center = {1, 0, 0};
    const Q turn = Q::fromAxisAngle({0, 0, 1}, kHalfPi / 2);
    for (unsigned i = 0; i < 3; ++i) box.axis[i] = turn.rotate(box.axis[i]);
    box.halfExtent = {1, 0.1f, 1};
    EXPECT_TRUE(box.contains({1.5f, 0.5f, 0}));
    EXPECT_FALSE(box.contains({1.5f, -0.5f, 0}));
    EXPECT_FALSE(box.contains({1, 0, 1.01f}));
}

}  // namespace
}  // namespace kelvar
