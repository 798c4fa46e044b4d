#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "MathTestUtil.h"
#include "kv_math/Transform3.h"
#include "kv_math/Transform3Rts.h"

namespace kelvar {
namespace {

using test::expectNear;
using V = Vector3<float>;
using Q = Quaternion<float>;
using M = Matrix4<float>;
using Rts = Transform3Rts<float>;
using Xf = Transform3<float>;

Rts makeRts(const V& t, const V& eulerRadians, const V& s) {
    Rts rts;
    rts.setTranslation(t);
    rts.setRotation(Q::fromEuler(eulerRadians));
    rts.setScale(s);
    return rts;
}

TEST(Transform3Rts, ScalesThenRotatesThenTranslates) {
    const V t{1, -2, 3}, s{2, 3, 0.5f};
    const Rts rts = makeRts(t, {0.2f, -0.7f, 1.1f}, s);
    const V p{0.25f, 1, -4};
    expectNear(rts.transformPoint(p), t + rts.getRotation().rotate(s.mul(p)));
    expectNear(rts.getMatrix().transformPoint(p), rts.transformPoint(p));
}

TEST(Transform3Rts, InverseUndoesTheMapForUniformAndNonUniformScale) {
    for (const V& s : {V{2, 2, 2}, V{2, 0.5f, 3}}) {
        const Rts rts = makeRts({4, 5, -6}, {0.9f, 0.1f, -0.3f}, s);
        expectNear(rts.getMatrix() * rts.getInverseMatrix(), M::identity());
        const V p{1, -1, 2};
        expectNear(rts.inverseTransformPoint(rts.transformPoint(p)), p, 1e-4f);
    }
}

// Scale counts as uniform within float epsilon of the mean of the other two
// components. Identity means no rotation flag, unit scale and no
// translation: setting even the identity quaternion raises the flag.
TEST(Transform3Rts, UniformScaleWithinFloatEpsilonAndIdentityNeedsTheRotationFlagClear) {
    Rts rts;
    EXPECT_TRUE(rts.isIdentity());
    EXPECT_EQ(rts.getInverseMatrix(), M::identity());
    // 1 + 2^-23 is one float epsilon above 1: still uniform.
    rts.setScale({1, 1, 1.00000012f});
    EXPECT_TRUE(rts.isUniformScale());
    EXPECT_EQ(rts.getScale(), V(1, 1, 1));
    for (const V& s : {V{1.00000024f, 1, 1}, V{1, 1.00000024f, 1}, V{1, 1, 1.00000024f}}) {
        rts.setScale(s);
        EXPECT_FALSE(rts.isUniformScale());
        EXPECT_EQ(rts.getScale(), s);
    }
    rts.setScale({3, 3, 3});
    EXPECT_TRUE(rts.isUniformScale());
    EXPECT_FALSE(rts.isIdentity());

    rts.setScale({1, 1, 1});
    rts.setRotation(Q::identity());
    EXPECT_TRUE(rts.hasRotation());
    EXPECT_FALSE(rts.isIdentity());
    rts.setRotation(Q::fromAxisAngle({0, 1, 0}, 1.0f));
    rts.resetRotation();
    EXPECT_TRUE(rts.isIdentity());
    EXPECT_EQ(rts.getRotation(), Q::identity());
    EXPECT_EQ(rts.getMatrix(), M::identity());
}

TEST(Transform3Rts, BinaryFormIsLittleEndianAndRoundTrips) {
    const Rts rts = makeRts({1, 2, 3}, {0.5f, 0.25f, 0.125f}, {2, 1, 4});
    std::array<unsigned char, Rts::kBinarySize> bytes{};
    ASSERT_EQ(bytes.size(), 41u);
    rts.writeBinary(bytes.data());
    // 1.0f is 0x3f800000, stored low byte first.
    const unsigned char one[4] = {0x00, 0x00, 0x80, 0x3f};
    EXPECT_EQ(std::memcmp(bytes.data(), one, 4), 0);
    EXPECT_EQ(bytes[40], 1);

    Rts back;
    back.readBinary(bytes.data());
    EXPECT_EQ(back.getTranslation(), rts.getTranslation());
    EXPECT_EQ(back.getRotation(), rts.getRotation());
    EXPECT_EQ(back.getScale(), rts.getScale());
    EXPECT_TRUE(back.hasRotation());
    EXPECT_FALSE(back.isUniformScale());
    EXPECT_EQ(back.getMatrix(), rts.getMatrix());
    EXPECT_EQ(back.getInverseMatrix(), rts.getInverseMatrix());
}

TEST(Transform3, ConcatenateAppliesFirstThenSecondAndRoundTripsInBinary) {
    const Rts firstRts = makeRts({1, 0, 0}, {0, 0, 0.5f}, {2, 1, 1});
    const Xf first(firstRts);
    EXPECT_EQ(first.getMatrix(), firstRts.getMatrix());
    const Xf second(makeRts({0, 3, 0}, {0.4f, 0, 0}, {1, 1, 5}));
    const Xf both = Xf::concatenate(first, second);
    const V p{0.5f, -1, 2};
    expectNear(both.transformPoint(p), second.transformPoint(first.transformPoint(p)));
    expectNear(both.inverseTransformPoint(both.transformPoint(p)), p, 1e-4f);
    expectNear(both.transformVector(p), second.transformVector(first.transformVector(p)));
    expectNear(both.inverseTransformVector(both.transformVector(p)), p, 1e-4f);
    EXPECT_EQ(both.getRotation(), second.getRotation() * first.getRotation());
    // The carried rotation turns directions as the matrix does, without scale.
    const V dir{0, 1, 0};
    const V viaMatrix = both.transformVector(dir);
    expectNear(both.getRotation().rotate(dir), viaMatrix / viaMatrix.length());

    std::array<unsigned char, Xf::kBinarySize> bytes{};
    both.writeBinary(bytes.data());
    Xf back;
    back.readBinary(bytes.data());
    EXPECT_EQ(back.getMatrix(), both.getMatrix());
    EXPECT_EQ(back.getInverseMatrix(), both.getInverseMatrix());
    EXPECT_EQ(back.getRotation(), both.getRotation());
}

}  // namespace
}  // namespace kelvar
