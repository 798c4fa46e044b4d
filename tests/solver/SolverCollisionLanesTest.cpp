// The collision pass on four or eight lanes against the per-cell calls, bit
// for bit, limited and non-finite cells included.

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "kv_fluids_dyn/solver/internal/CollisionPass.h"
#include "kv_fluids_dyn/solver/internal/SolverRandom.h"
#include "kv_fluids_dyn/solver/internal/SpeedLimit.h"

namespace kelvar::fluid::test {
namespace {

// Slots near the rest equilibrium with random drifts, some strong enough to
// trip the limiter, and now and then an extreme slot: infinite, NaN, or
// huge in the rest direction (which the limiter does not see, so the
// relaxation's own finiteness check has to catch it), or large enough for
// the new density to overflow.
void randomCell(LBM_Q19_MAC_Cell3F& cell, SolverRand& random) {
    cell.initialize();
    const float drift = random() % 3 == 0 ? 0.05f : 0.005f;
    for (unsigned i = 0; i < q19::kDirectionCount; ++i)
        cell.setPdfAt(i, cell.getPdfAt(i) + drift * float(random() - SolverRand::kMax / 2) / float(SolverRand::kMax));
    cell.setForce(Vector3<float>(0.0f, -1e-4f * float(random() % 4), 0.0f));
    // Fields next to the slots, which the lanes must leave alone.
    cell.setMass(float(random()));
    cell.setEpsilon(float(random()));
    const unsigned slot = unsigned(random()) % q19::kDirectionCount;
    switch (random() % 97) {
        case 0: cell.setPdfAt(slot, std::numeric_limits<float>::infinity()); break;
        case 1: cell.setPdfAt(slot, 3e30f); break;
        case 2: cell.setPdfAt(slot, -std::numeric_limits<float>::quiet_NaN()); break;
        case 3: cell.setPdfAt(0, 3e30f); break;
        case 4:
            for (unsigned i = 0; i < q19::kDirectionCount; i += 2) cell.setPdfAt(i, 3e37f);
            break;
        default: break;
    }
}

TEST(SolverCollisionLanes, EveryLaneWidthMatchesTheCellByCellCalls) {
    MAC_LBM_SolverContext3 context;
    context.setLatticeViscosity(0.02f);
    context.setLatticeMaxSpeed(0.1f);
    context.setLatticeMaxSpeed2(0.01f);
    constexpr unsigned kCells = 2003;  // not a multiple of four: the tail too
    std::vector<LBM_Q19_MAC_Cell3F> alone(kCells);
    SolverRand random(11);
    for (LBM_Q19_MAC_Cell3F& cell : alone) randomCell(cell, random);
    std::vector<std::vector<LBM_Q19_MAC_Cell3F>> byWidth;
    for (unsigned width = 4; width <= widestCollisionLanes(); width *= 2) {
        std::vector<LBM_Q19_MAC_Cell3F>& lanes = byWidth.emplace_back(alone);
        LiquidCells list;
        for (LBM_Q19_MAC_Cell3F& cell : lanes) list.push_back(&cell);
        // Three workers: ranges that end in a partial group of each width.
        collideLiquidCells(list, context, 3, width);
    }

    unsigned limited = 0, nonFinite = 0;
    for (unsigned n = 0; n < kCells; ++n) {
        LBM_Q19_MAC_Cell3F& cell = alone[n];
        limited += limitCellSpeed(cell, context.getLatticeMaxSpeed(), context.getLatticeMaxSpeed2());
        cell.collision(context.getLatticeViscosity());
        cell.updateDensity();
        cell.updateVelocity();
        nonFinite += !std::isfinite(cell.getDensity());
        for (const std::vector<LBM_Q19_MAC_Cell3F>& lanes : byWidth) {
            const LBM_Q19_MAC_Cell3F& lane = lanes[n];
            const auto at = [&] { return ::testing::Message() << "width " << (4u << (&lanes - byWidth.data())) << " cell " << n; };
            for (unsigned i = 0; i < q19::kDirectionCount; ++i)
                ASSERT_EQ(std::bit_cast<uint32_t>(lane.getPdfAt(i)), std::bit_cast<uint32_t>(cell.getPdfAt(i)))
                    << at() << " slot " << i;
            ASSERT_EQ(std::bit_cast<uint32_t>(lane.getDensity()), std::bit_cast<uint32_t>(cell.getDensity())) << at();
            ASSERT_EQ(lane.getMass(), cell.getMass()) << at();
            ASSERT_EQ(lane.getEpsilon(), cell.getEpsilon()) << at();
            for (unsigned a = 0; a < 3; ++a)
                ASSERT_EQ(std::bit_cast<uint32_t>(lane.getVelocity()[a]), std::bit_cast<uint32_t>(cell.getVelocity()[a]))
                    << at() << " axis " << a;
        }
    }
    EXPECT_GT(limited, 20u) << "the limiter was hardly exercised";
    EXPECT_GT(nonFinite, 20u) << "the non-finite fallbacks were hardly exercised";
}

}  // namespace
}  // namespace kelvar::fluid::test
