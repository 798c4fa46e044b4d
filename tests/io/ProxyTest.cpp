#include <gtest/gtest.h>

#include "CheckpointFiles.h"
#include "kv_fluids_dyn/particles/MAC_ParticleSystemFilter.h"

namespace kelvar::fluid::test {
namespace {

using Quality = MAC_LBM_Fluid3::ProxyQuality;

// A walled box with one interface cell holding 25 particles and one full
// cell holding 3.
struct ProxyScene {
    ProxyScene() {
        makeWalledBox(fluid, 6 * 6 * 6);
        placeLiquid(fluid, 2, 2, 2, LBM_CELL_INTERFACE, Vector3<float>());
        placeLiquid(fluid, 3, 2, 2, LBM_CELL_FLUID, Vector3<float>());
        const Vector3<float>& min = fluid.getGrid().getBox().min;
        for (unsigned n = 0; n < 25; ++n)
            fluid.ref_MAC_ParticleSystem().createParticle(min + Vector3<float>(2.5f, 2.5f, 2.0f + 0.03f * float(n)),
                                                          Vector3<float>(float(n), 0.0f, 0.0f), 3, {1.0f, 1.0f});
        for (unsigned n = 0; n < 3; ++n)
            fluid.ref_MAC_ParticleSystem().createParticle(min + Vector3<float>(3.5f, 2.5f, 2.5f), {}, 3, {});
        fluid.ref_MAC_ParticleSystem().setMinSpeed(0.5f);
        fluid.ref_MAC_ParticleSystem().setMaxSpeed(24.0f);
    }
    SceneFluid fluid;
};

TEST(Proxy, QualityPicksEveryNthSurfaceParticleOrAll) {
    ProxyScene scene;
    TempFile file("quality.kvp");
    const std::pair<int, uint32_t> expected[] = {{0, 2}, {1, 8}, {2, 12}, {3, 25}, {4, 28}, {5, 25}};
    for (const auto& [quality, records] : expected) {
        ASSERT_TRUE(scene.fluid.createProxy(file.path(), Quality(quality)));
        const std::string bytes = file.bytes();
        ASSERT_EQ(bytes.size(), 4 + records * 24 + 8) << quality;
        EXPECT_EQ(valueAt<uint32_t>(bytes, 0), records) << quality;
        EXPECT_EQ(valueAt<float>(bytes, bytes.size() - 8), 0.5f) << "smallest speed first";
        EXPECT_EQ(valueAt<float>(bytes, bytes.size() - 4), 24.0f);
    }
    // Every 10th of the 25: the 10th and the 20th in the filter's order.
    ASSERT_TRUE(scene.fluid.createProxy(file.path(), Quality::PROXY_SURFACE_TENTH));
    const std::string bytes = file.bytes();
    EXPECT_EQ(valueAt<float>(bytes, 4 + 12), 9.0f);
    EXPECT_EQ(valueAt<float>(bytes, 4 + 24 + 12), 19.0f);
}

TEST(Proxy, RestoreReplacesParticlesAndRefusesACutFile) {
    ProxyScene scene;
    TempFile file("restore.kvp");
    ASSERT_TRUE(scene.fluid.createProxy(file.path(), Quality::PROXY_ALL));
    const uint32_t cells = scene.fluid.getLiquidCellCount();

    ProxyScene target;
    target.fluid.ref_MAC_ParticleSystem().remove(0u);
    ASSERT_TRUE(target.fluid.restoreFromProxy(file.path()));
    const MAC_ParticleSystem3& particles = target.fluid.get_MAC_ParticleSystem();
    ASSERT_EQ(particles.getParticlesCount(), 28u);
    unsigned int expectedId = 0;
    for (const MAC_Particle3& p : particles) {
        EXPECT_EQ(p.id, expectedId++);
        EXPECT_TRUE(p.sourceId == 0 && p.uv == Vector2<float>(0.0f, 0.0f));
    }
    EXPECT_EQ(const_cast<MAC_ParticleSystem3&>(particles).find(9).velocity.x, 9.0f);
    EXPECT_EQ(target.fluid.getLiquidCellCount(), cells);

    const std::string whole = file.bytes();
    const int64_t signature = target.fluid.get_MAC_ParticleSystem().computeSignature_v1();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        file.write(whole.substr(0, size));
        EXPECT_FALSE(target.fluid.restoreFromProxy(file.path())) << size;
    }
    EXPECT_EQ(target.fluid.get_MAC_ParticleSystem().computeSignature_v1(), signature);
    EXPECT_EQ(target.fluid.get_MAC_ParticleSystem().getParticlesCount(), 28u);
    EXPECT_FALSE(target.fluid.restoreFromProxy(file.path() + ".missing"));
}

}  // namespace
}  // namespace kelvar::fluid::test
