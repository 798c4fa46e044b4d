#include <gtest/gtest.h>

#include <map>

#include "DomainTestSupport.h"
#include "FillTestSupport.h"
#include "kv_fluids_dyn/domain/KV_Combo.h"
#include "kv_fluids_dyn/lattice/LBM_CellType.h"

namespace kelvar::fluid {
namespace {

using test::cellAt;
using test::countTypes;
using test::liquidAt;
using test::sizeGrid;
using test::worldBox;

class PooledFluid : public MAC_LBM_Fluid3 {
public:
    using MAC_LBM_Fluid3::acquireLiquidCell;
    using MAC_LBM_Fluid3::releaseCell;
};

TEST(DomainEmission, GeneratorDrawsTheCombinedSequence) {
    KV_Combo combo(1);  // x = 11, y = 3, z = 1
    EXPECT_EQ(combo.next(), 33u + 30903u);
    EXPECT_EQ(combo.next(), 99u + 30903u * 30903u);
    EXPECT_EQ(combo.getX(), 33u);
    const KV_Combo negative(-1);  // seeds wrap as unsigned words
    EXPECT_EQ(negative.getX(), 0xFFFFFFFBu);
    EXPECT_EQ(negative.getY(), 0xFFFFFFFFu);
    EXPECT_EQ(negative.getZ(), 0xFFFFFFFFu);
}

// A box whose faces cross cells 2..6 in x, 1..4 in y and 3..5 in z, with
// the centres of cells 3..5, 2..3 and 4 inside, on a placed and turned fluid.
class DomainEmissionBox : public ::testing::Test {
protected:
    void SetUp() override {
        sizeGrid(fluid, 10, 10, 10);
        fluid.setRotation({0.0f, 90.0f, 0.0f});
        fluid.setPosition({5.0f, -3.0f, 2.0f});
        fluid.initialize();
        mesh = worldBox(fluid, {2.7f, 1.7f, 3.7f}, {6.3f, 4.3f, 5.3f});
    }
    static bool inBlock(unsigned i, unsigned j, unsigned k) { return i - 2 < 5 && j - 1 < 4 && k - 3 < 3; }
    static bool inside(unsigned i, unsigned j, unsigned k) { return i - 3 < 3 && j - 2 < 2 && k == 4; }

    PooledFluid fluid;
    Mesh mesh;
    const Vector3<float> velocity{0.01f, -0.02f, 0.03f};
};

TEST_F(DomainEmissionBox, SurfaceCellsBecomeInterfaceAndInsideCellsFluid) {
    fluid.setFluidCells(mesh, velocity, 0.0f, 3, 42);
    const Vector3<float> lattice = fluid.worldToGridVelocity(velocity);
    for (unsigned i = 0; i < 10; ++i)
        for (unsigned j = 0; j < 10; ++j)
            for (unsigned k = 0; k < 10; ++k) {
                if (!inBlock(i, j, k)) {
                    EXPECT_EQ(cellAt(fluid, i, j, k), nullptr);
                    continue;
                }
                const LBM_Q19_MAC_Cell3F& cell = liquidAt(fluid, i, j, k);
                EXPECT_EQ(cell.getType(), inside(i, j, k) ? LBM_CELL_FLUID : LBM_CELL_INTERFACE);
                EXPECT_TRUE(cell.getEpsilon() == 1.0f && cell.getMass() == cell.getDensity() &&
                            cell.getVelocity() == lattice && cell.getGridMonoindex() == fluid.getGrid().index(i, j, k));
            }
    EXPECT_EQ(fluid.getLiquidCellCount(), 60u);

    // Eight particles per cell, in grid space, stamped with the emitter id
    // and the velocity the fresh pooled cell held (zero).
    const auto& particles = fluid.get_MAC_ParticleSystem().getParticlesArray();
    ASSERT_EQ(particles.size(), 480u);
    std::map<unsigned, unsigned> perCell;
    for (const MAC_Particle3* p : particles) {
        Tuple3<unsigned> ijk;
        ASSERT_TRUE(fluid.getGrid().locate(p->position, ijk));
        ++perCell[fluid.getGrid().index(ijk.first, ijk.second, ijk.third)];
        EXPECT_TRUE(p->sourceId == 42 && p->velocity == Vector3<float>());
    }
    EXPECT_EQ(perCell.size(), 60u);
    for (const auto& [index, count] : perCell) EXPECT_EQ(count, 8u) << index;

    // Without jitter the first cell made, (2, 1, 3), has its particles at the
    // sub-cell centres, x varying fastest.
    const Vector3<float>& min = fluid.getGrid().getBox().min;
    for (unsigned n = 0; n < 8; ++n) {
        const MAC_Particle3& p = *particles[n];
        const Vector3<float> expected(min.x + ((n & 1) ? 2.75f : 2.25f), min.y + ((n & 2) ? 1.75f : 1.25f),
                                      min.z + ((n & 4) ? 3.75f : 3.25f));
        EXPECT_EQ(p.position, expected) << n;
        EXPECT_EQ(p.uv, Vector2<float>((expected.x - min.x) / 10.0f, (expected.z - min.z) / 10.0f)) << n;
    }
}

TEST_F(DomainEmissionBox, RepeatedEmissionRestartsCellsWithoutNewParticles) {
    fluid.setFluidCells(mesh, velocity, 0.0f, 3, 42);
    const LBM_Cell3<float>* before = cellAt(fluid, 4, 2, 4);
    fluid.setFluidCells(mesh, -velocity, 1.0f, 5, 7);
    EXPECT_EQ(fluid.get_MAC_ParticleSystem().getParticlesCount(), 480u);
    EXPECT_EQ(fluid.getLiquidCellCount(), 60u);
    EXPECT_EQ(cellAt(fluid, 4, 2, 4), before);
    EXPECT_EQ(liquidAt(fluid, 4, 2, 4).getVelocity(), fluid.worldToGridVelocity(-velocity));
}

// A reused pool cell hands its old velocity to its particles before it is
// reset; jitter draws go z, y, x and map [0, 1] onto ±0.99 of a quarter cell.
TEST_F(DomainEmissionBox, ParticlesTakePooledVelocityAndJitter) {
    LBM_Q19_MAC_Cell3F* pooled = fluid.acquireLiquidCell();
    pooled->setType(LBM_CELL_FLUID);
    pooled->setVelocity({0.5f, 0.25f, -0.125f});
    fluid.releaseCell(pooled);  // the pool rewinds: the next cell taken is this one

    const float jitter = 0.6f;
    fluid.setFluidCells(mesh, velocity, jitter, 11, 1);
    EXPECT_EQ(cellAt(fluid, 2, 1, 3), pooled);
    const MAC_Particle3& first = *fluid.get_MAC_ParticleSystem().getParticlesArray()[0];
    EXPECT_EQ(first.velocity, Vector3<float>(0.5f, 0.25f, -0.125f));
    EXPECT_EQ(pooled->getVelocity(), fluid.worldToGridVelocity(velocity));

    KV_Combo combo(11);
    const float dz = combo.nextUnit() * 1.98f - 0.99f;
    const float dy = combo.nextUnit() * 1.98f - 0.99f;
    const float dx = combo.nextUnit() * 1.98f - 0.99f;
    const Vector3<float> low = fluid.getGrid().getBox().min + Vector3<float>(2.25f, 1.25f, 3.25f);
    EXPECT_EQ(first.position, Vector3<float>(low.x + jitter * dx * 0.25f, low.y + jitter * dy * 0.25f,
                                             low.z + jitter * dz * 0.25f));
}

TEST(DomainEmission, LeavesWallsAndDrainsAndIgnoresMeshesOutside) {
    MAC_LBM_Fluid3 fluid;
    sizeGrid(fluid, 6, 6, 6);
    fluid.initialize();
    fluid.setDomainBoundaryCells();
    Mesh drain = test::worldBox(fluid, {2.2f, 2.2f, 2.2f}, {2.8f, 2.8f, 2.8f});
    drain.setId(3);
    fluid.setSinkCells(drain, true);

    fluid.setFluidCells(worldBox(fluid, {12.0f, 0.0f, 0.0f}, {15.0f, 5.0f, 5.0f}), {}, 0.0f, 1, 1);
    fluid.setFluidCells(Mesh(), {}, 0.0f, 1, 1);
    EXPECT_EQ(fluid.getLiquidCellCount(), 0u);

    fluid.setFluidCells(worldBox(fluid, {-1.0f, -1.0f, -1.0f}, {7.0f, 7.0f, 7.0f}), {}, 0.0f, 1, 1);
    const auto counts = countTypes(fluid);
    EXPECT_EQ(counts[LBM_CELL_SOLID], 216u - 64u);
    EXPECT_EQ(counts[LBM_CELL_SINK], 1u);
    EXPECT_EQ(counts[LBM_CELL_FLUID], 63u);
    EXPECT_EQ(fluid.get_MAC_ParticleSystem().getParticlesCount(), 63u * 8u);
}

}  // namespace
}  // namespace kelvar::fluid
