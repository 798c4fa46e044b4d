#include "kv_fluids_dyn/solver/internal/InterfacePass.h"

#include <cmath>

#include "kv_fluids_dyn/lattice/LBM_MAC_Cell3Flags.h"
#include "kv_fluids_dyn/parallel/RunParallel.h"
#include "kv_fluids_dyn/solver/internal/GridNeighbourhood.h"
#include "kv_fluids_dyn/solver/internal/MassBalance.h"

namespace kelvar::fluid {

namespace {

// Below this density sum there is no liquid to give density back to.
constexpr double kMinDensitySum = 9.9999998e-15;

}  // namespace

void InterfacePass::updateEpsilon(MAC_LBM_Fluid3& fluid, const unsigned int& threads) {
    if (fluid.getConserveMass())
        runParallel(
            fluid.refArrInterfaceCells(),
            [](const unsigned int&, LBM_Q19_MAC_Cell3F* cell) { updateEpsilonClamped(*cell); }, threads);
    else
        runParallel(
            fluid.refArrInterfaceCells(),
            [](const unsigned int&, LBM_Q19_MAC_Cell3F* cell) { cell->updateEpsilon(); }, threads);
    fluid.refDirtyFlags().set(MAC_LBM_Fluid3::VOF_DIRTY);
}

// The rebuild reads only the cell's own slots and marks, so the neighbours
// are not gathered: each worker hands its array as it stands.
void InterfacePass::reconstructPdfs(MAC_LBM_Fluid3& fluid, const unsigned int& threads) {
    Scratch* const scratch = perWorker.forWorkers(threads);
    runParallel(
        fluid.refArrInterfaceCells(),
        [&](const unsigned int& t, LBM_Q19_MAC_Cell3F* cell) { cell->reconstructPdfs(scratch[t].neighbours); },
        threads);
}

void InterfacePass::massExchange(MAC_LBM_Fluid3& fluid, const unsigned int& threads) {
    forEachInterfaceCell(fluid, threads, [](LBM_Q19_MAC_Cell3F& cell, const AllNeighbours& neighbours) {
        cell.massExchange(neighbours);
    });
}

// Runs op(cell, neighbours) over the interface list, each worker gathering
// the 19 neighbours of its cell into its own array.
template <class CellOp>
void InterfacePass::forEachInterfaceCell(MAC_LBM_Fluid3& fluid, const unsigned int& threads, const CellOp& op) {
    Scratch* const scratch = perWorker.forWorkers(threads);
    const GridNeighbourhood grid(fluid.getGrid());
    runParallel(
        fluid.refArrInterfaceCells(),
        [&](const unsigned int& t, LBM_Q19_MAC_Cell3F* cell) {
            AllNeighbours& neighbours = scratch[t].neighbours;
            grid.gather(cell->getGridMonoindex(), neighbours.data());
            op(*cell, neighbours);
        },
        threads);
}

void DistributePass::run(MAC_LBM_Fluid3& fluid, const float& rhoSum, MAC_LBM_SolverContext3& context,
                         const bool& capped, const unsigned int& threads) {
    if (!(std::fabs(static_cast<double>(rhoSum)) > kMinDensitySum) || !(context.getLostMass() > 0.0f)) return;

    // Liquid cells that did not just appear, in liquid-list order.
    collectInOrder(
        fluid.refArrLiquidCells(), perWorker, &Scratch::eligible, eligible,
        [](const LBM_Q19_MAC_Cell3F* cell) { return cell->isFluid() && !cell->getFlags().test(MAC_FLAG_NEW_INTERFACE); },
        threads);
    if (eligible.empty()) return;

    float fraction = context.getLostMass() / rhoSum;
    if (capped && fraction > 1.0f) fraction = 1.0f;
    const unsigned int count = eligible.size();
    const float amount = context.getLostMass() * fraction;
    runParallel(
        eligible, [&](const unsigned int&, LBM_Q19_MAC_Cell3F* cell) { cell->addDensity(amount, count); }, threads);
    context.setLostMass(context.getLostMass() * (1.0f - fraction));
}

}  // namespace kelvar::fluid
