#include <gtest/gtest.h>

#include "kv_fluids_dyn/particles/MAC_ParticleSystem3.h"

namespace kelvar::fluid {
namespace {

// Removing every particle restarts the ids but keeps the speeds.
TEST(MAC_ParticleSystem3, RemoveParticlesRestartsIdsAndKeepsSpeeds) {
    MAC_ParticleSystem3 particles;
    particles.createParticle({1, 2, 3}, {4, 5, 6}, 9, {0.25f, 0.75f});
    EXPECT_EQ(particles.createParticle({}, {}, 3, {}).id, 1u);

    particles.setMaxSpeed(2.0f);
    particles.setMinSpeed(0.5f);
    particles.removeParticles();
    EXPECT_EQ(particles.getParticlesCount(), 0u);
    EXPECT_EQ(particles.createParticle({}, {}, 0, {}).id, 0u);
    const MAC_ParticleSystem3 copy(particles);
    EXPECT_TRUE(copy.getMaxSpeed() == 2.0f && copy.getMinSpeed() == 0.5f) << "speeds survive removal and copying";
}

TEST(MAC_ParticleSystem3, MaxSpeedIsTheLargestVelocityLength) {
    MAC_ParticleSystem3 particles;
    particles.setMaxSpeed(42.0f);
    particles.calcMaxVelModule();
    EXPECT_EQ(particles.getMaxSpeed(), 0.0f);
    particles.createParticle({}, {3, 4, 0}, 0, {});
    particles.createParticle({}, {0, -12, 5}, 0, {});
    particles.createParticle({}, {1, 1, 1}, 0, {});
    particles.calcMaxVelModule();
    EXPECT_EQ(particles.getMaxSpeed(), 13.0f);
    ASSERT_TRUE(particles.remove(1u));
    particles.calcMaxVelModule();
    EXPECT_EQ(particles.getMaxSpeed(), 5.0f);
}

TEST(MAC_ParticleSystem3, IntegrationNarrowsTheStepFirst) {
    MAC_ParticleSystem3 particles;
    particles.createParticle({1.0f, -2.0f, 0.5f}, {3.0f, 0.7f, -1.1f}, 0, {});
    particles.integrateParticlesPosition(0.1);
    const MAC_Particle3& p = *particles.begin();
    const float h = 0.1f;
    EXPECT_EQ(p.position, (Vector3<float>{h * 3.0f + 1.0f, h * 0.7f + -2.0f, h * -1.1f + 0.5f}));
    EXPECT_EQ(p.velocity, (Vector3<float>{3.0f, 0.7f, -1.1f}));
}

}  // namespace
}  // namespace kelvar::fluid
