#include <gtest/gtest.h>

#include <bit>
#include <map>

#include "DomainTestSupport.h"
#include "kv_fluids_dyn/domain/KV_Combo.h"
#include "kv_fluids_dyn/lattice/LBM_CellType.h"

namespace kelvar::fluid {
namespace {

using test::countTypes;
using test::liquidAt;
using test::sizeGrid;
using test::worldBox;

// A placed and turned 10^3 fluid and a box whose faces cross cells 2..6 in x,
// 1..4 in y and 3..5 in z; the centres of cells 3..5 x 2..3 x 4 lie inside.
struct BoxScene {
    BoxScene() {
        sizeGrid(fluid, 10, 10, 10);
        fluid.setRotation({0.0f, 90.0f, 0.0f});
        fluid.setPosition({5.0f, -3.0f, 2.0f});
        fluid.initialize();
        mesh = worldBox(fluid, {2.7f, 1.7f, 3.7f}, {6.3f, 4.3f, 5.3f});
    }
    test::PoolFluid fluid;
    Mesh mesh;
};

TEST(DomainEmission, BoxMakesInterfaceAndFluidCellsWithEightParticlesEach) {
    BoxScene scene;
    MAC_LBM_Fluid3& fluid = scene.fluid;
    const Vector3<float> velocity(0.01f, -0.02f, 0.03f);
    fluid.setFluidCells(scene.mesh, velocity, 0.0f, 3, 42);
    const auto counts = countTypes(fluid);
    EXPECT_TRUE(counts[LBM_CELL_INTERFACE] == 5 * 4 * 3 - 6 && counts[LBM_CELL_FLUID] == 6 && counts[1] == 1000 - 60);
    const LBM_Q19_MAC_Cell3F& inner = liquidAt(fluid, 5, 3, 4);
    EXPECT_TRUE(inner.getType() == LBM_CELL_FLUID && inner.getMass() == inner.getDensity() &&
                inner.getVelocity() == fluid.worldToGridVelocity(velocity));

    std::map<const LBM_Cell3<float>*, unsigned> perCell;
    const auto& particles = fluid.get_MAC_ParticleSystem().getParticlesArray();
    for (const MAC_Particle3* p : particles) {
        Tuple3<unsigned> ijk;
        ASSERT_TRUE(fluid.getGrid().locate(p->position, ijk));  // grid space
        ++perCell[fluid.getGrid().at(ijk.first, ijk.second, ijk.third)];
        EXPECT_EQ(p->sourceId, 42);
    }
    EXPECT_EQ(perCell.size(), 60u);
    for (const auto& entry : perCell) EXPECT_TRUE(entry.first != nullptr && entry.second == 8u);

    // Without jitter, the first cell made, (2, 1, 3), has its particles at the
    // sub-cell centres, x varying fastest; u and v run over the grid's x and z.
    const Vector3<float>& min = fluid.getGrid().getBox().min;
    for (unsigned n = 0; n < 8; ++n) {
        const Vector3<float> p(min.x + ((n & 1) ? 2.75f : 2.25f), min.y + ((n & 2) ? 1.75f : 1.25f),
                               min.z + ((n & 4) ? 3.75f : 3.25f));
        EXPECT_EQ(particles[n]->position, p) << n;
        EXPECT_EQ(particles[n]->uv, Vector2<float>((p.x - min.x) / 10.0f, (p.z - min.z) / 10.0f)) << n;
    }

    // Emitting again restarts the cells at the new velocity, without particles.
    fluid.setFluidCells(scene.mesh, {1.0f, 0.0f, 0.0f}, 1.0f, 5, 7);
    EXPECT_EQ(fluid.get_MAC_ParticleSystem().getParticlesCount(), 480u);
    EXPECT_EQ(&liquidAt(fluid, 5, 3, 4), &inner);
    EXPECT_EQ(inner.getVelocity(), fluid.worldToGridVelocity({1.0f, 0.0f, 0.0f}));
}

// A reused pool cell hands its old velocity to its particles before it is
// reset; jitter draws go z, y, x and map [0, 1] onto ±0.99 of a quarter cell.
TEST(DomainEmission, ParticlesTakePooledVelocityAndGeneratorJitter) {
    KV_Combo seeded(1);  // x = 11, y = 3, z = 1
    EXPECT_EQ(seeded.next(), 33u + 30903u);
    EXPECT_EQ(seeded.next(), 99u + 30903u * 30903u);

    BoxScene scene;
    LBM_Q19_MAC_Cell3F* pooled = scene.fluid.acquireLiquidCell();
    pooled->setType(LBM_CELL_FLUID);
    pooled->setVelocity({0.5f, 0.25f, -0.125f});
    scene.fluid.releaseCell(pooled);  // the pool rewinds: this cell comes next
    const float jitter = 0.6f;
    scene.fluid.setFluidCells(scene.mesh, {}, jitter, 11, 1);
    ASSERT_EQ(scene.fluid.getGrid().at(2, 1, 3), pooled);
    EXPECT_EQ(pooled->getVelocity(), Vector3<float>());

    KV_Combo combo(11);
    const auto offset = [&] { return jitter * (combo.nextUnit() * 1.98f - 0.99f) * 0.25f; };
    const float dz = offset(), dy = offset(), dx = offset();
    const Vector3<float> low = scene.fluid.getGrid().getBox().min + Vector3<float>(2.25f, 1.25f, 3.25f);
    const MAC_Particle3& first = *scene.fluid.get_MAC_ParticleSystem().getParticlesArray()[0];
    EXPECT_EQ(first.velocity, Vector3<float>(0.5f, 0.25f, -0.125f));
    EXPECT_EQ(first.position, low + Vector3<float>(dx, dy, dz));
}

// Scaling a draw multiplies by the reciprocal of 2^32 - 1; the float must be
// the quotient's, bit for bit.
TEST(DomainEmission, UnitDrawsAreTheDoubleQuotientRoundedToFloat) {
    KV_Combo scaled(-12345);
    KV_Combo raw(-12345);
    for (unsigned n = 0; n < 1000000; ++n) {
        const float quotient = static_cast<float>(static_cast<double>(raw.next()) / 4294967295.0);
        ASSERT_EQ(std::bit_cast<uint32_t>(scaled.nextUnit()), std::bit_cast<uint32_t>(quotient)) << n;
    }
}

// A box far larger than the domain fills it whatever its size: world
// coordinates whose grid-space image overflows a float are pulled in, not
// dropped. The sink of the same size drains all of it again.
TEST(DomainEmission, BoxesBeyondTheFloatRangeOfGridSpaceStillEnclose) {
    for (const float reach : {1e6f, 3e38f}) {
        MAC_LBM_Fluid3 fluid;
        sizeGrid(fluid, 6, 6, 6);
        // Cells of about 1 cm, so that 3e38 m overflows a float in cells.
        fluid.setScale(fluid.getTransformWorld().getScale() * 0.01f);
        ASSERT_EQ(fluid.getGrid().getNx(), 6u);
        fluid.initialize();
        fluid.setDomainBoundaryCells();
        const Mesh enclosing = makeBoxMesh(Box3<float>({-reach, -reach, -reach}, {reach, reach, reach}));
        fluid.setFluidCells(enclosing, {}, 0.0f, 1, 1);
        EXPECT_EQ(countTypes(fluid)[LBM_CELL_FLUID], 64u) << reach;
        fluid.setSinkCells(enclosing, true);
        EXPECT_EQ(fluid.getLiquidCellCount(), 0u) << reach;
    }
}

}  // namespace
}  // namespace kelvar::fluid
