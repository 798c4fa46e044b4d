#pragma once

#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/solver/internal/GridTypes.h"
#include "kv_fluids_dyn/solver/internal/LinkSwap.h"
#include "kv_fluids_dyn/solver/internal/PerWorker.h"
#include "kv_fluids_dyn/solver/internal/SolverTypes.h"

namespace kelvar::fluid {

// Streaming of the liquid cells in two passes. The swap pass moves every
// link once (LinkSwap) and lists the liquid cells next to a solid; only when
// it has finished on every worker does the wall pass reflect and slide those
// cells' distributions, because it reads slots the swap pass of neighbours
// wrote.
//
// In a sub-step the swap pass is no pass of its own: the walk that lists the
// cells (CellListsPass::runAndSwap) hands each liquid cell to linkSwap() as
// soon as its neighbours' codes are written, and streamWalls() finishes.
// run() streams the liquid list as it stands, both passes, for callers
// outside a sub-step.
//
// Input: the fluid's liquid list and grid, and the type codes of the grid's
// positions as they stand. Output: the streamed cells and wallCells(), the
// liquid cells with a solid neighbour in liquid-list order, valid until the
// solids or the liquid list change.
class StreamPass {
public:
    void run(MAC_LBM_Fluid3& fluid, const GridTypes& types, const unsigned int& threads);

    // The swap visitor of the walk that lists the cells.
    LinkSwap& linkSwap() { return swap; }

    // The wall pass over the cells the last swap walk recorded.
    void streamWalls(MAC_LBM_Fluid3& fluid, const unsigned int& threads);

    // Lists the wall cells as run() would, without streaming.
    void listWallCells(MAC_LBM_Fluid3& fluid, const GridTypes& types, const unsigned int& threads);

    const LiquidCells& wallCells() const { return walls; }

private:
    struct alignas(64) Scratch {
        AllNeighbours neighbours;
    };

    // op(worker, cell, codes) for every cell of the liquid list, with the
    // codes of its neighbours; the workers' ranges are the swap's parts.
    template <class CellOp>
    void visitLiquidCells(MAC_LBM_Fluid3& fluid, const GridTypes& types, const unsigned int& threads,
                          const CellOp& op);

    LinkSwap swap;
    PerWorker<Scratch> perWorker;
    LiquidCells walls;
};

}  // namespace kelvar::fluid
