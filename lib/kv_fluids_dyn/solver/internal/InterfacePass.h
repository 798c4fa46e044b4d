#pragma once

#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/solver/internal/PerWorker.h"
#include "kv_fluids_dyn/solver/internal/SolverTypes.h"

namespace kelvar::fluid {

// The passes over the interface cells, in the order a sub-step runs them:
// the fill fractions from the cells' mass (before streaming), then, with
// the slots freshly streamed, the reconstruction of the slots no neighbour
// delivered and the mass exchange across the interface.
//
// When the fluid conserves mass, a cell may hold more than its density or,
// for a moment, less than nothing; its fill fraction is then held within
// [0, 1] (MassBalance.h).
//
// Input: the fluid's interface list and grid. Output: the interface cells;
// updateEpsilon also marks the fluid's VOF field out of date.
class InterfacePass {
public:
    static void updateEpsilon(MAC_LBM_Fluid3& fluid, const unsigned int& threads);
    void reconstructPdfs(MAC_LBM_Fluid3& fluid, const unsigned int& threads);
    void massExchange(MAC_LBM_Fluid3& fluid, const unsigned int& threads);

private:
    template <class CellOp>
    void forEachInterfaceCell(MAC_LBM_Fluid3& fluid, const unsigned int& threads, const CellOp& op);

    struct alignas(64) Scratch {
        AllNeighbours neighbours;
    };

    PerWorker<Scratch> perWorker;
};

// Hands the density lost in the sub-step back to the liquid. The fraction
// lostMass / rhoSum of the loss goes to the full cells that did not just
// appear, an equal share each, and the context keeps the rest for the next
// sub-step. A gain (a negative loss) is never taken away: it offsets later
// losses. With `capped` the fraction is at most 1, so no sub-step hands back
// more than is owed (the loss can exceed the liquid's density sum when
// drains take most of it).
//
// Input: the liquid list, the liquid density sum after the relabelling and
// the context's lostMass. Output: the cells' densities and lostMass.
class DistributePass {
public:
    void run(MAC_LBM_Fluid3& fluid, const float& rhoSum, MAC_LBM_SolverContext3& context, const bool& capped,
             const unsigned int& threads);

private:
    struct alignas(64) Scratch {
        LiquidCells eligible;
    };

    PerWorker<Scratch> perWorker;
    LiquidCells eligible;
};

}  // namespace kelvar::fluid
