#include <gtest/gtest.h>

#include "DomainTestSupport.h"
#include "FillTestSupport.h"
#include "kv_geometry/MeshPrimitives.h"

namespace kelvar::fluid {
namespace {

using test::sizeGrid;
using test::worldBox;

// A 24^3 domain with a ball of liquid and a drain box through it, filled on
// `threads` workers.
void fillScene(MAC_LBM_Fluid3& fluid, unsigned threads, float jitter) {
    sizeGrid(fluid, 24, 24, 24);
    fluid.setThreads(threads);
    fluid.initialize();
    fluid.setFluidCells(makeSphereMesh(fluid.gridToWorldPosition({0.3f, -0.2f, 0.1f}), 9.0f, 24, 12), {0.1f, 0, 0},
                        jitter, 17, 4);
    Mesh drain = worldBox(fluid, {10.2f, 2.0f, 2.0f}, {13.8f, 22.0f, 22.0f});
    drain.setId(2);
    fluid.setSinkCells(drain, true);
}

void expectSameState(const MAC_LBM_Fluid3& a, const MAC_LBM_Fluid3& b) {
    const auto& cellsA = a.getGrid().getCells();
    const auto& cellsB = b.getGrid().getCells();
    for (uint32_t n = 0; n < cellsA.size(); ++n) {
        const int typeA = cellsA[n] == nullptr ? -1 : cellsA[n]->getType();
        const int typeB = cellsB[n] == nullptr ? -1 : cellsB[n]->getType();
        ASSERT_EQ(typeA, typeB) << n;
    }
    const auto& pa = a.get_MAC_ParticleSystem().getParticlesArray();
    const auto& pb = b.get_MAC_ParticleSystem().getParticlesArray();
    ASSERT_EQ(pa.size(), pb.size());
    for (uint32_t n = 0; n < pa.size(); ++n) {
        ASSERT_TRUE(pa[n]->id == pb[n]->id && pa[n]->position == pb[n]->position &&
                    pa[n]->velocity == pb[n]->velocity && pa[n]->uv == pb[n]->uv && pa[n]->sourceId == pb[n]->sourceId)
            << n;
    }
}

TEST(DomainFillThreads, SameSeedAndThreadsGiveTheSameParticles) {
    MAC_LBM_Fluid3 first;
    MAC_LBM_Fluid3 second;
    fillScene(first, 3, 1.0f);
    fillScene(second, 3, 1.0f);
    EXPECT_GT(first.getSinkCellCount(), 0u);
    expectSameState(first, second);
}

// Without jitter the generators are never drawn from, so the thread count
// changes nothing at all.
TEST(DomainFillThreads, WithoutJitterThreadCountDoesNotMatter) {
    MAC_LBM_Fluid3 serial;
    MAC_LBM_Fluid3 parallel;
    fillScene(serial, 1, 0.0f);
    fillScene(parallel, 4, 0.0f);
    expectSameState(serial, parallel);
}

}  // namespace
}  // namespace kelvar::fluid
