#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "kv_fluids_dyn/particles/MAC_ParticleSystemFilter.h"

namespace kelvar::fluid {
namespace {

// 8^3 voxels of spacing 1 centred on the origin (box -3.5..3.5) whose value
// rises linearly with y from 0 to 1: 0.5 at y = 0, gradient along +y.
ScalarField3<float> rampAlongY() {
    ScalarField3<float> field(Tuple3<unsigned int>{8, 8, 8}, Vector3<float>{1, 1, 1});
    for (unsigned int n = 0; n < 512; ++n) field.refValues()[n] = float(n / 8 % 8) / 7.0f;  // z fastest
    return field;
}

Obb3<float> cube(float halfExtent) {
    Obb3<float> box;
    box.halfExtent = {halfExtent, halfExtent, halfExtent};
    return box;
}

using Case = std::pair<Vector3<float>, Vector3<float>>;  // position, velocity

struct Filtering : ::testing::Test {
    ScalarField3<float> field = rampAlongY();
    MAC_ParticleSystem3 particles;

    std::vector<uint32_t> select(const std::vector<Case>& cases, const Obb3<float>& box, float levelOffset,
                                 float maxAngle, unsigned int threads) {
        particles.removeParticles();
        for (const Case& c : cases) particles.createParticle(c.first, c.second, 0, {});
        ArrayOfPtr<MAC_Particle3, KV_NO> result;
        result.push_back(nullptr);  // the filter empties the result first
        MAC_ParticleSystemFilter::filter(particles, field, box, levelOffset, maxAngle, threads, result);
        std::vector<uint32_t> ids;
        for (MAC_Particle3* p : result) ids.push_back(p->id);
        return ids;
    }
};

TEST_F(Filtering, TenParticlesOverThreeThreadsKeepArrayOrder) {
    EXPECT_TRUE(select({}, cube(2), 0, 45, 4).empty());
    std::vector<Case> cases;
    for (int i = 0; i < 10; ++i) cases.push_back({{-1.8f + 0.4f * float(i), 0.0f, 0.0f}, {0, 1, 0}});
    const std::vector<uint32_t> all{0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    EXPECT_EQ(select(cases, cube(2), 0, 45, 3), all);
    EXPECT_EQ(select(cases, cube(2), 0, 45, 0), all);

    // Moving every third particle down out of the level keeps the others in order.
    for (int i = 0; i < 10; i += 3) cases[i].first.y = -1.0f;
    EXPECT_EQ(select(cases, cube(2), 0, 45, 3), (std::vector<uint32_t>{1, 2, 4, 5, 7, 8}));
}

TEST_F(Filtering, AngleMapsLinearlyOntoTheDirectionLimit) {
    // 45 degrees off the gradient: cosine 0.707.
    const std::vector<Case> diagonal{{{0, 0, 0}, {1, 1, 0}}};
    EXPECT_EQ(select(diagonal, cube(2), 0, 30, 2).size(), 1u) << "limit 1 - 30/90 = 0.667, not cos 30";
    EXPECT_TRUE(select(diagonal, cube(2), 0, 20, 2).empty()) << "limit 0.778";

    const std::vector<Case> sideways{{{0, 0, 0}, {1, 0.01f, 0}}, {{0, 0, 0}, {1, -0.01f, 0}}};
    EXPECT_EQ(select(sideways, cube(2), 0, 90, 2), (std::vector<uint32_t>{0}));

    const std::vector<Case> along{{{0, 0, 0}, {0, 5, 0}}};
    EXPECT_TRUE(select(along, cube(2), 0, 0, 2).empty()) << "a unit dot product is never above 1";
    const std::vector<Case> resting{{{0, 0, 0}, {0, 0, 0}}};
    EXPECT_TRUE(select(resting, cube(2), 0, 90, 2).empty());
}

TEST_F(Filtering, LevelBoxAndFieldBounds) {
    const std::vector<Case> low{{{0, -0.5f, 0}, {0, 1, 0}}};  // value 3/7
    EXPECT_TRUE(select(low, cube(2), 0, 45, 1).empty());
    EXPECT_EQ(select(low, cube(2), 0.1f, 45, 1).size(), 1u);

    const std::vector<Case> edge{{{1.0f, 0, 0}, {0, 1, 0}}, {{1.5f, 0, 0}, {0, 1, 0}}, {{0, 0, -1.0f}, {0, 1, 0}}};
    EXPECT_EQ(select(edge, cube(1), 0, 45, 2), (std::vector<uint32_t>{0, 2})) << "the box boundary is inside";

    Obb3<float> turned = cube(1);  // rotated 45 degrees about z
    const float r = 0.70710678f;
    turned.axis[0] = {r, r, 0};
    turned.axis[1] = {-r, r, 0};
    const std::vector<Case> corner{{{1.2f, 0, 0}, {0, 1, 0}}, {{0.9f, 0.9f, 0}, {0, 1, 0}}};
    EXPECT_EQ(select(corner, turned, 0.5f, 45, 2), (std::vector<uint32_t>{0}));

    const std::vector<Case> outsideField{{{5, 0, 0}, {0, 1, 0}}};
    EXPECT_TRUE(select(outsideField, cube(10), 0.5f, 45, 2).empty());
}

}  // namespace
}  // namespace kelvar::fluid
