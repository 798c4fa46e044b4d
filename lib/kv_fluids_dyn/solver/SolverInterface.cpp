// Passes over the interface cells (fill fraction, reconstruction, mass
// exchange) and the return of the lost density to the liquid.

#include <algorithm>
#include <cmath>

#include "kv_fluids_dyn/lattice/LBM_MAC_Cell3Flags.h"
#include "kv_fluids_dyn/solver/GridNeighbourhood.h"
#include "kv_fluids_dyn/solver/MAC_LBM_Solver3.h"
#include "kv_fluids_dyn/parallel/RunParallel.h"

namespace kelvar::fluid {

namespace {

// Below this density sum there is no liquid to give density back to.
constexpr double kMinDensitySum = 9.9999998e-15;

// Runs op(cell, neighbours) over the interface list, each worker gathering
// the 19 neighbours of its cell into its own reused list.
template <class Op>
void forEachInterfaceCell(SolverThreadScratch* perThread, const unsigned int& threadCount, MAC_LBM_Fluid3& fluid,
                          const Op& op) {
    const GridNeighbourhood grid(fluid.getGrid());
    runParallel(
        fluid.refArrInterfaceCells(),
        [&](const unsigned int& t, LBM_Q19_MAC_Cell3F* cell) {
            auto& neighbours = perThread[t].neighbours;
            grid.gather(cell->getGridMonoindex(), neighbours.data());
            op(*cell, neighbours);
        },
        threadCount);
}

}  // namespace

void MAC_LBM_Solver3::updateEpsilon(const unsigned int& threadCount, MAC_LBM_Fluid3& fluid) {
    runParallel(
        fluid.refArrInterfaceCells(), [](const unsigned int&, LBM_Q19_MAC_Cell3F* cell) { cell->updateEpsilon(); },
        threadCount);
    fluid.refDirtyFlags().set(MAC_LBM_Fluid3::VOF_DIRTY);
}

void MAC_LBM_Solver3::reconstructPdfs(const unsigned int& threadCount, MAC_LBM_SolverContext3&,
                                      MAC_LBM_Fluid3& fluid) {
    forEachInterfaceCell(scratchFor(threadCount), threadCount, fluid,
                         [](LBM_Q19_MAC_Cell3F& cell, const LBM_Q19_MAC_Cell3F::Neighbours& neighbours) {
                             cell.reconstructPdfs(neighbours);
                         });
}

void MAC_LBM_Solver3::massExchange(const unsigned int& threadCount, MAC_LBM_Fluid3& fluid) {
    forEachInterfaceCell(scratchFor(threadCount), threadCount, fluid,
                         [](LBM_Q19_MAC_Cell3F& cell, const LBM_Q19_MAC_Cell3F::Neighbours& neighbours) {
                             cell.massExchange(neighbours);
                         });
}

void MAC_LBM_Solver3::distributeRho(const unsigned int& threadCount, const float& rhoSum,
                                    MAC_LBM_SolverContext3& context, MAC_LBM_Fluid3& fluid) {
    // A gain (negative loss) is never taken away: it offsets later losses.
    if (!(std::fabs(static_cast<double>(rhoSum)) > kMinDensitySum) || !(context.getLostMass() > 0.0f)) return;

    // Liquid cells that did not just appear, in liquid-list order.
    SolverThreadScratch* const perThread = scratchFor(threadCount);
    const uint32_t workers = std::max(threadCount, 1u);
    for (uint32_t t = 0; t < workers; ++t) perThread[t].cells.clear();
    runParallel(
        fluid.refArrLiquidCells(),
        [&](const unsigned int& t, LBM_Q19_MAC_Cell3F* cell) {
            if (cell->isFluid() && !cell->getFlags().test(MAC_FLAG_NEW_INTERFACE)) perThread[t].cells.push_back(cell);
        },
        threadCount);
    eligibleCells.clear();
    for (uint32_t t = 0; t < workers; ++t)
        for (LBM_Q19_MAC_Cell3F* cell : perThread[t].cells) eligibleCells.push_back(cell);
    if (eligibleCells.empty()) return;

    const float fraction = context.getLostMass() / rhoSum;
    const unsigned int count = eligibleCells.size();
    const float amount = context.getLostMass() * fraction;
    runParallel(
        eligibleCells, [&](const unsigned int&, LBM_Q19_MAC_Cell3F* cell) { cell->addDensity(amount, count); },
        threadCount);
    context.setLostMass(context.getLostMass() * (1.0f - fraction));
}

}  // namespace kelvar::fluid
