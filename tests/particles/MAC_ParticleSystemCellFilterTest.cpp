#include <gtest/gtest.h>

#include <vector>

#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/lattice/LBM_MAC_Cell3Flags.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_MAC_Cell3F.h"
#include "kv_fluids_dyn/particles/MAC_ParticleSystemFilter.h"

namespace kelvar::fluid {
namespace {

using FilterFlags = Flag<_MAC_ParticleSystemFilterFlags, unsigned char>;

// A 3 x 3 x 3 grid in lattice units (box -1.5..1.5) whose cells belong to
// the test; cells 0..5 get the types and flag words below, index 6 has no
// cell at all, the rest are plain fluid. One particle sits in each of 0..6.
class CellFilter : public ::testing::Test {
protected:
    void SetUp() override {
        constexpr unsigned short both = MAC_FLAG_NEAR_INTERFACE | MAC_FLAG_NEIGHBOUR_MARK;
        const LBM_CellType types[] = {LBM_CELL_INTERFACE, LBM_CELL_FLUID, LBM_CELL_FLUID,
                                      LBM_CELL_FLUID,     LBM_CELL_FLUID, LBM_CELL_EMPTY};
        const unsigned short flags[] = {0, MAC_FLAG_NEAR_INTERFACE, MAC_FLAG_NEIGHBOUR_MARK, both,
                                        MAC_FLAG_BIT9 | 0x0400 /* high byte only */, both};
        const Vector3<float> scale(2.5f, 2.5f, 2.5f);  // just short of three cells per axis
        fluid.setScale(scale);
        fluid.setResolution(unsigned(scale.x * scale.y * scale.z));
        ASSERT_EQ(fluid.getGrid().getCount(), 27u);
        for (unsigned n = 0; n < 27; ++n) {
            cells[n].setType(n < 6 ? types[n] : LBM_CELL_FLUID);
            cells[n].setFlags(n < 6 ? flags[n] : 0);
            fluid.refGrid().at(n) = n == 6 ? nullptr : &cells[n];
        }
        for (unsigned n = 0; n < 7; ++n) particles.createParticle(centreOf(n), {}, 0, {});
    }

    // Centre of the cell at linear index n (z fastest).
    static Vector3<float> centreOf(unsigned n) {
        return {float(n / 9) - 1.0f, float(n / 3 % 3) - 1.0f, float(n % 3) - 1.0f};
    }

    std::vector<uint32_t> select(unsigned char flags) {
        ArrayOfPtr<MAC_Particle3, KV_NO> result;
        result.push_back(nullptr);
        MAC_ParticleSystemFilter::filter(particles, fluid, FilterFlags(flags), 0, result);
        EXPECT_EQ(result.capacity(), result.size());
        std::vector<uint32_t> ids;
        for (MAC_Particle3* p : result) ids.push_back(p->id);
        return ids;
    }

    MAC_LBM_Fluid3 fluid;
    LBM_Q19_MAC_Cell3F cells[27];
    MAC_ParticleSystem3 particles;
};

TEST_F(CellFilter, EachBitSelectsItsCells) {
    EXPECT_EQ(select(MAC_FILTER_INTERFACE), (std::vector<uint32_t>{0}));
    EXPECT_EQ(select(MAC_FILTER_NEAR_INTERFACE), (std::vector<uint32_t>{1, 3}));
    EXPECT_EQ(select(MAC_FILTER_NEIGHBOUR_MARK), (std::vector<uint32_t>{2, 3}));
    EXPECT_EQ(select(MAC_FILTER_NEAR_INTERFACE | MAC_FILTER_NEIGHBOUR_MARK), (std::vector<uint32_t>{1, 2, 3}))
        << "a particle selected by both bits appears once";
    EXPECT_EQ(select(0x07), (std::vector<uint32_t>{0, 1, 2, 3}));
    EXPECT_TRUE(select(0xF8).empty()) << "other bits are ignored";
}

TEST_F(CellFilter, EmptySystemAndParticlesOutsideTheGridSelectNothing) {
    particles.removeParticles();
    EXPECT_TRUE(select(0x07).empty());
    particles.createParticle({-1.5f, -1.5f, -1.5f}, {}, 0, {});  // grid corner: cell 0
    particles.createParticle({-2.2f, -1.0f, -1.0f}, {}, 0, {});  // 0.7 cells left of the grid
    particles.createParticle({-3.0f, -1.0f, -1.0f}, {}, 0, {});  // a whole cell left: wraps
    particles.createParticle({1.5f, -1.0f, -1.0f}, {}, 0, {});   // at the far face
    particles.createParticle({-1.0f, -1.0f, 7.0f}, {}, 0, {});
    // Truncation towards zero puts the particle 0.7 cells left into cell 0.
    EXPECT_EQ(select(0x07), (std::vector<uint32_t>{0, 1}));
}

}  // namespace
}  // namespace kelvar::fluid
