// The collision pass takes the liquid cells four at a time (limiter,
// relaxation, moments on four lanes); it must leave every cell as the plain
// per-cell calls do, bit for bit, including cells that the limiter replaces
// and cells with non-finite slots.

#include <bit>
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
// trip the limiter, and now and then an infinite or huge slot.
void randomCell(LBM_Q19_MAC_Cell3F& cell, SolverRand& random) {
    cell.initialize();
    const float drift = random() % 3 == 0 ? 0.05f : 0.005f;
    for (unsigned i = 0; i < q19::kDirectionCount; ++i)
        cell.setPdfAt(i, cell.getPdfAt(i) + drift * float(random() - SolverRand::kMax / 2) / float(SolverRand::kMax));
    cell.setForce(Vector3<float>(0.0f, -1e-4f * float(random() % 4), 0.0f));
    const int special = random() % 97;
    if (special == 0) cell.setPdfAt(unsigned(random()) % q19::kDirectionCount, std::numeric_limits<float>::infinity());
    if (special == 1) cell.setPdfAt(unsigned(random()) % q19::kDirectionCount, 3e30f);
}

TEST(SolverCollisionLanes, FourCellsAtOnceMatchTheCellByCellCalls) {
    MAC_LBM_SolverContext3 context;
    context.setLatticeViscosity(0.02f);
    context.setLatticeMaxSpeed(0.1f);
    context.setLatticeMaxSpeed2(0.01f);
    constexpr unsigned kCells = 2003;  // not a multiple of four: the tail too
    std::vector<LBM_Q19_MAC_Cell3F> lanes(kCells), alone(kCells);
    SolverRand random(11);
    for (unsigned n = 0; n < kCells; ++n) {
        randomCell(lanes[n], random);
        alone[n] = lanes[n];
    }
    LiquidCells list;
    for (LBM_Q19_MAC_Cell3F& cell : lanes) list.push_back(&cell);
    collideLiquidCells(list, context, 3);

    unsigned limited = 0;
    for (unsigned n = 0; n < kCells; ++n) {
        LBM_Q19_MAC_Cell3F& cell = alone[n];
        limited += limitCellSpeed(cell, context.getLatticeMaxSpeed(), context.getLatticeMaxSpeed2());
        cell.collision(context.getLatticeViscosity());
        cell.updateDensity();
        cell.updateVelocity();
        for (unsigned i = 0; i < q19::kDirectionCount; ++i)
            ASSERT_EQ(std::bit_cast<uint32_t>(lanes[n].getPdfAt(i)), std::bit_cast<uint32_t>(cell.getPdfAt(i)))
                << "cell " << n << " slot " << i;
        ASSERT_EQ(std::bit_cast<uint32_t>(lanes[n].getDensity()), std::bit_cast<uint32_t>(cell.getDensity())) << n;
        for (unsigned a = 0; a < 3; ++a)
            ASSERT_EQ(std::bit_cast<uint32_t>(lanes[n].getVelocity()[a]), std::bit_cast<uint32_t>(cell.getVelocity()[a]))
                << "cell " << n << " axis " << a;
    }
    EXPECT_GT(limited, 20u) << "the limiter was hardly exercised";
}

}  // namespace
}  // namespace kelvar::fluid::test
