#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "DomainTestSupport.h"

namespace kelvar::fluid {
namespace {

// A 24^3 domain with a ball of liquid and a drain slab through it, filled on
// `threads` workers; the grid's type codes and every particle, in pool order.
struct FilledState {
    FilledState(unsigned threads, float jitter) {
        MAC_LBM_Fluid3 fluid;
        test::sizeGrid(fluid, 24, 24, 24);
        fluid.setThreads(threads);
        fluid.initialize();
        fluid.setFluidCells(makeSphereMesh(fluid.gridToWorldPosition({0.3f, -0.2f, 0.1f}), 9.0f, 24, 12),
                            {0.1f, 0.0f, 0.0f}, jitter, 17, 4);
        fluid.setSinkCells(test::worldBox(fluid, {10.2f, 2.0f, 2.0f}, {13.8f, 22.0f, 22.0f}, 2), true);
        for (const LBM_Cell3<float>* cell : fluid.getGrid().getCells()) types.push_back(cell ? cell->getType() : 1);
        for (const MAC_Particle3* p : fluid.get_MAC_ParticleSystem().getParticlesArray())
            particles.emplace_back(p->id, p->position, p->velocity, p->uv, p->sourceId);
    }
    bool operator==(const FilledState&) const = default;
    std::vector<unsigned char> types;
    std::vector<std::tuple<uint32_t, Vector3<float>, Vector3<float>, Vector2<float>, uint16_t>> particles;
};

TEST(DomainFillThreads, SameSeedAndThreadsGiveTheSameState) {
    const FilledState first(3, 1.0f);
    EXPECT_GT(first.particles.size(), 8000u);
    EXPECT_TRUE(first == FilledState(3, 1.0f));
    // Without jitter no generator is drawn from: the thread count does not matter.
    EXPECT_TRUE(FilledState(1, 0.0f) == FilledState(4, 0.0f));
}

}  // namespace
}  // namespace kelvar::fluid
