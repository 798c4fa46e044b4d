// The density sum before the sub-step adds the densities that the cell-list
// pass copied on its workers; it must give the plain sequential sum's bits.

#include <bit>
#include <cstdint>
#include <unordered_set>

#include <gtest/gtest.h>

#include "SolverTestScene.h"
#include "kv_fluids_dyn/solver/internal/CellListsPass.h"
#include "kv_fluids_dyn/solver/internal/DensitySums.h"
#include "kv_fluids_dyn/solver/internal/SolverRandom.h"

namespace kelvar::fluid::test {
namespace {

// A falling block whose cells get densities of very different sizes, so
// that any other order of the additions shows in the last bits.
struct MixedDensities : ::testing::Test {
    MixedDensities() {
        fillBlock(scene.fluid, {1, 1, 1}, {9, 8, 9}, latticeGravity(scene.fluid));
        runSubSteps(scene.solver, scene.fluid, 4);
        SolverRand random(7);
        for (LBM_Cell3<float>* cell : scene.fluid.refGrid().getCells())
            if (cell != nullptr && cell->isFluid())
                static_cast<LBM_Q19_MAC_Cell3F*>(cell)->setDensity(float(1 + random()) * (random() % 2 ? 1e-3f : 7.0f));
    }
    WalledScene<PassSolver> scene{12 * 12 * 12, 2};
};

// Every position's code is its cell's type, kNoCell where it holds none.
void expectCodesOfGrid(const SolverGrid& grid, const GridTypes& types, unsigned threads) {
    ASSERT_EQ(types.size(), grid.getCount());
    uint32_t wrong = 0;
    for (uint32_t index = 0; index < grid.getCount(); ++index) {
        const LBM_Cell3<float>* cell = grid.getCells()[index];
        wrong += types.data()[index] != (cell == nullptr ? GridTypes::kNoCell : cell->getType());
    }
    EXPECT_EQ(wrong, 0u) << threads;
}

TEST_F(MixedDensities, ListedDensitiesSumAsTheCellsDoAndCodesFollowTheGrid) {
    const float expected = liquidDensitySum(scene.fluid.getArrLiquidCells());
    for (unsigned threads : {1u, 2u, 3u}) {
        CellListsPass lists;
        GridTypes types;
        lists.run(scene.fluid, types, threads);
        EXPECT_EQ(std::bit_cast<uint32_t>(lists.liquidDensitySum()), std::bit_cast<uint32_t>(expected)) << threads;
        expectCodesOfGrid(scene.fluid.getGrid(), types, threads);

        GridTypes alone;
        CellListsPass::writeTypes(scene.fluid.getGrid(), alone, threads);
        expectCodesOfGrid(scene.fluid.getGrid(), alone, threads);
    }
}

// Relabelling empties every third cell of the top liquid row (their
// particles are taken away) and creates cells above every fourth; the sum
// over the listed, emptied and created cells must have the grid walk's bits.
TEST_F(MixedDensities, DensitySumAfterRelabellingIsTheGridWalksSum) {
    SceneFluid& fluid = scene.fluid;
    const unsigned top = highestLiquidRow(fluid);
    ASSERT_GT(top + 1, 1u);
    Array<unsigned int> gone;
    for (const MAC_Particle3* p : fluid.get_MAC_ParticleSystem().getParticlesArray()) {
        Tuple3<unsigned int> ijk;
        if (fluid.getGrid().locate(p->position, ijk) && ijk.second == top && (ijk.first + ijk.third) % 3 == 0)
            gone.push_back(p->id);
    }
    fluid.ref_MAC_ParticleSystem().remove(gone);
    const Vector3<float>& origin = fluid.getGrid().getBox().min;
    for (unsigned i = 1; i < 9; i += 4)
        for (unsigned k = 1; k < 9; k += 4)
            fluid.ref_MAC_ParticleSystem().createParticle(
                origin + Vector3<float>(float(i) + 0.5f, float(top) + 1.5f, float(k) + 0.5f), {}, 0, {});

    scene.solver.updateCellArrays(fluid);
    scene.solver.label(2, fluid.refSolverContext(), fluid);

    // The cells relabelling created are the liquid cells the list lacks.
    const LiquidCells& listed = fluid.getArrLiquidCells();
    const std::unordered_set<const void*> wasListed(listed.begin(), listed.end());
    LiquidCells created;
    uint32_t emptied = 0;
    for (LBM_Cell3<float>* cell : fluid.refGrid().getCells())
        if (cell != nullptr && cell->isFluid() && wasListed.count(cell) == 0)
            created.push_back(static_cast<LBM_Q19_MAC_Cell3F*>(cell));
    for (const LBM_Q19_MAC_Cell3F* cell : listed) emptied += !cell->isFluid();
    ASSERT_FALSE(created.empty());
    ASSERT_GT(emptied, 0u);

    // What relabelling records of the listed cells: 0 for the emptied ones.
    ListedDensities remaining;
    for (const LBM_Q19_MAC_Cell3F* cell : listed) {
        remaining.density.push_back(cell->isFluid() ? cell->getDensity() : 0.0f);
        remaining.gridIndex.push_back(cell->getGridMonoindex());
    }
    const float sum = liquidDensitySumAfterRelabel(remaining, created);
    EXPECT_EQ(std::bit_cast<uint32_t>(sum), std::bit_cast<uint32_t>(gridDensityAndMass(fluid.getGrid()).first));
}

}  // namespace
}  // namespace kelvar::fluid::test
