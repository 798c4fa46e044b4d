#pragma once

#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/solver/internal/GridTypes.h"
#include "kv_fluids_dyn/solver/internal/PerWorker.h"
#include "kv_fluids_dyn/solver/internal/SolverTypes.h"

namespace kelvar::fluid {

// Streaming of the liquid cells in two passes. The swap pass moves every
// link once (each link is swapped by exactly one cell, so cells never
// conflict) and lists the liquid cells next to a solid; only when it has
// finished on every worker does the wall pass reflect and slide those cells'
// distributions, because it reads slots the swap pass of neighbours wrote.
//
// The swap pass leaves each cell as its streamPassFluid would, but tests the
// neighbours' types in the grid's type codes and loads a neighbour only for
// a link it swaps.
//
// Input: the fluid's liquid list and grid, and the type codes of the grid's
// positions as they stand. Output: the streamed cells and wallCells(), the
// liquid cells with a solid neighbour in liquid-list order, valid until the
// solids or the liquid list change.
class StreamPass {
public:
    void run(MAC_LBM_Fluid3& fluid, const GridTypes& types, const unsigned int& threads);

    // Lists the wall cells as run() would, without streaming.
    void listWallCells(MAC_LBM_Fluid3& fluid, const GridTypes& types, const unsigned int& threads);

    const LiquidCells& wallCells() const { return walls; }

private:
    struct alignas(64) Scratch {
        AllNeighbours neighbours;
        LiquidCells walls;
    };

    template <class CellOp>
    void visitLiquidCells(MAC_LBM_Fluid3& fluid, const GridTypes& types, const unsigned int& threads,
                          const CellOp& op);

    PerWorker<Scratch> perWorker;
    LiquidCells walls;
};

}  // namespace kelvar::fluid
