// Whole scenes through the public interface: emitters, drains and gravity
// driving a solver.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "DomainTestSupport.h"
#include "kv_fluids_dyn/solver/MAC_LBM_Solver3.h"

namespace kelvar::fluid {
namespace {

using test::worldBox;

// A walled tank of nx x ny x nz cells, 1 m along its longest side.
struct Tank {
    Tank(unsigned nx, unsigned ny, unsigned nz) {
        test::sizeGrid(fluid, nx, ny, nz);
        fluid.setLargestLength(1.0f);
        fluid.setViscosity(0.1f);
        fluid.setCompressibility(0.1f);
        fluid.setMaxForce(9.81f);
        fluid.initialize();
        fluid.setDomainBoundaryCells();
    }
    void start() {
        solver.attach(fluid);
        solver.initialize(2);
    }
    // New cells start without force, so gravity is applied every frame.
    void frame(unsigned subSteps) {
        fluid.setAcceleration({0.0f, -9.81f, 0.0f});
        solver.preSolve();
        solver.solve(fluid.getSolverContext().getDt() * float(subSteps));
        solver.postSolve();
    }
    // No NaN or infinity in any liquid cell's velocity or particle position.
    bool finite() const {
        for (const LBM_Cell3<float>* cell : fluid.getGrid().getCells())
            if (cell != nullptr && cell->isFluid() && !std::isfinite(cell->getVelocity().length())) return false;
        for (const MAC_Particle3* p : fluid.get_MAC_ParticleSystem().getParticlesArray())
            if (!std::isfinite(p->position.length())) return false;
        return true;
    }

    MAC_LBM_Fluid3 fluid;
    MAC_LBM_Solver3 solver;
};

Mesh floorDrain(const MAC_LBM_Fluid3& fluid, float y) {
    return worldBox(fluid, {1.0f, y + 0.2f, 1.0f}, {11.0f, y + 0.8f, 11.0f}, 5);
}

// Mean liquid cell count over frames 300-599 and 600-899 of an emitter
// pouring into a 12^3 tank, with or without a drain over the floor.
void pour(Tank& tank, bool drained, double (&means)[2]) {
    const Mesh emitter = worldBox(tank.fluid, {4.2f, 8.2f, 4.2f}, {7.8f, 9.8f, 7.8f});
    tank.start();
    means[0] = means[1] = 0.0;
    for (unsigned f = 0; f < 900; ++f) {
        tank.fluid.setFluidCells(emitter, {0.0f, -1.0f, 0.0f}, 1.0f, int(f), 1);
        if (drained) tank.fluid.setSinkCells(floorDrain(tank.fluid, 1.0f), true);
        tank.frame(1);
        if (f >= 300) means[(f - 300) / 300] += tank.fluid.getLiquidCellCount() / 300.0;
    }
}

TEST(DomainFillScene, DrainKeepsAPouredTankFromFilling) {
    Tank open(12, 12, 12);
    Tank drained(12, 12, 12);
    double filling[2];
    double steady[2];
    pour(open, false, filling);
    pour(drained, true, steady);
    std::printf("poured tank: %.0f -> %.0f liquid cells, with a drain %.0f -> %.0f\n", filling[0], filling[1],
                steady[0], steady[1]);
    ASSERT_TRUE(drained.finite());
    EXPECT_GT(filling[1], 1.3 * filling[0]);
    EXPECT_LT(steady[1], 1.15 * steady[0]);
    EXPECT_LT(steady[1], filling[1]);

    // Moved up under the lid (the solver has cleared the marks), the drain
    // leaves the floor.
    drained.fluid.setSinkCells(floorDrain(drained.fluid, 10.0f), true);
    EXPECT_EQ(drained.fluid.getSinkCellCount(), 100u);
    for (unsigned i = 1; i < 11; ++i) {
        const LBM_Cell3<float>* cell = drained.fluid.getGrid().at(i, 1, 5);
        EXPECT_TRUE(cell == nullptr || cell->isFluid()) << i;
    }
}

TEST(DomainFillScene, DamBreakRunsAlongTheFloorToTheFarWall) {
    Tank tank(20, 10, 10);
    tank.fluid.setFluidCells(worldBox(tank.fluid, {0.5f, 0.5f, 0.5f}, {6.5f, 7.5f, 9.5f}), {}, 0.5f, 3, 1);
    tank.start();
    // The farthest floor column holding liquid.
    const auto front = [&] {
        unsigned x = 0;
        for (unsigned i = 1; i < 19; ++i)
            for (unsigned k = 1; k < 9; ++k)
                if (const LBM_Cell3<float>* c = tank.fluid.getGrid().at(i, 1, k); c != nullptr && c->isFluid()) x = i;
        return x;
    };
    unsigned last = front();
    unsigned reachedAt = 0;
    for (unsigned f = 0; f < 200; ++f) {
        tank.frame(2);
        const unsigned now = front();
        EXPECT_TRUE(reachedAt > 0 || now >= last) << "front receded at frame " << f;
        if (now == 18 && reachedAt == 0) reachedAt = f;
        last = now;
    }
    std::printf("dam break: front at the far wall after %u frames\n", reachedAt);
    EXPECT_TRUE(tank.finite());
    EXPECT_GT(reachedAt, 0u);
}

}  // namespace
}  // namespace kelvar::fluid
