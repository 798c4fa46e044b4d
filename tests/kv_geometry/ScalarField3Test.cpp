#include <gtest/gtest.h>

#include "../kv_math/MathTestUtil.h"
#include "kv_geometry/ScalarField3.h"

namespace kelvar {
namespace {

using Field = ScalarField3<float>;

// A field whose value is a linear function of position, which trilinear
// interpolation and central differences reproduce.
Field linearField(const Tuple3<unsigned>& res, const Vector3<float>& spacing, const Vector3<float>& offset) {
    Field f(res, spacing);
    f.moveBox(offset);
    for (unsigned i = 0; i < res.first; ++i)
        for (unsigned j = 0; j < res.second; ++j)
            for (unsigned k = 0; k < res.third; ++k) {
                const Vector3<float> p = f.voxelPosition(i, j, k);
                f.at(i, j, k) = 2.0f * p.x - 3.0f * p.y + 0.5f * p.z + 1.0f;
            }
    return f;
}

TEST(ScalarField3, GeometryIsCentredKeepsCentreOnResizeAndRefusesOverflow) {
    Field f({5, 3, 2}, {1.0f, 2.0f, 0.5f});
    EXPECT_EQ(f.getBox().min, Vector3<float>(-2.0f, -2.0f, -0.25f));
    EXPECT_EQ(f.getBox().max, Vector3<float>(2.0f, 2.0f, 0.25f));
    EXPECT_EQ(f.voxelCount(), 30u);
    EXPECT_EQ(f.index(1, 2, 1), 1u * 6 + 2 * 2 + 1);

    f.moveBox({10.0f, 0.0f, 0.0f});
    f.setResolution({9, 3, 2});
    EXPECT_EQ(f.getBox().min.x, 6.0f);
    EXPECT_EQ(f.getBox().max.x, 14.0f);
    f.setSpacing({0.5f, 2.0f, 0.5f});
    EXPECT_EQ(f.getBox().min.x, 8.0f);
    EXPECT_EQ(f.getBox().max.x, 12.0f);

    f.setBox(Box3<float>({0, 0, 0}, {16, 4, 1}));
    EXPECT_EQ(f.getSpacing(), Vector3<float>(2.0f, 2.0f, 1.0f));

    // A count past 32 bits is refused and changes nothing; clear() zeroes.
    f.at(8, 2, 1) = 7.0f;
    EXPECT_FALSE(f.setResolution({65536, 65536, 2}));
    EXPECT_EQ(f.getResolution(), (Tuple3<unsigned>{9, 3, 2}));
    f.clear();
    for (float v : f.getValues()) EXPECT_EQ(v, 0.0f);
}

// Outside the box, for a NaN position or an empty field, sample() fails and
// leaves the value alone; the box's faces still count as inside.
TEST(ScalarField3, SampleReproducesVoxelsInterpolatesLinearlyAndFailsOutside) {
    const Field f = linearField({7, 6, 5}, {0.1f, 0.3f, 0.7f}, {3.3f, -1.7f, 0.9f});
    float v = 42.0f;
    for (unsigned i = 0; i < 7; ++i)
        for (unsigned j = 0; j < 6; ++j)
            for (unsigned k = 0; k < 5; ++k) {
                ASSERT_TRUE(f.sample(f.voxelPosition(i, j, k), v));
                EXPECT_EQ(v, f.at(i, j, k)) << i << " " << j << " " << k;
            }
    const Vector3<float> p = f.getBox().min + Vector3<float>(0.234f, 0.77f, 1.9f);
    ASSERT_TRUE(f.sample(p, v));
    EXPECT_NEAR(v, 2.0f * p.x - 3.0f * p.y + 0.5f * p.z + 1.0f, 1e-4f);

    const Field unit = linearField({4, 4, 4}, {1, 1, 1}, {0, 0, 0});
    v = 42.0f;
    for (const Vector3<float>& p : {Vector3<float>(1.6f, 0, 0), Vector3<float>(0, -1.51f, 0),
                                    Vector3<float>(std::nanf(""), 0, 0)})
        EXPECT_FALSE(unit.sample(p, v)) << p.x << " " << p.y;
    EXPECT_FALSE(Field().sample({0, 0, 0}, v));
    EXPECT_EQ(v, 42.0f);
    EXPECT_TRUE(unit.sample(unit.getBox().max, v));
}

TEST(ScalarField3, GradientOfLinearFieldIsExactInsideAndOneSidedAtFaces) {
    const Field f = linearField({9, 9, 9}, {0.5f, 0.25f, 1.0f}, {1.0f, 2.0f, 3.0f});
    for (const Vector3<float>& p : {f.getBox().center(), f.getBox().min, f.getBox().max,
                                    f.getBox().min + Vector3<float>(0.3f, 0.1f, 0.2f)})
        test::expectNear(f.gradient(p, {2, 2, 2}), {2.0f, -3.0f, 0.5f}, 1e-3f);
    // Order 0 leaves an axis out.
    test::expectNear(f.gradient(f.getBox().center(), {1, 0, 3}), {2.0f, 0.0f, 0.5f}, 1e-3f);
    EXPECT_EQ(Field().gradient({0, 0, 0}, {2, 2, 2}), Vector3<float>());
}

}  // namespace
}  // namespace kelvar
