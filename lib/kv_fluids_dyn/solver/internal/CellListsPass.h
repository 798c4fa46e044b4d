#pragma once

#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/parallel/internal/GridBlocks.h"
#include "kv_fluids_dyn/solver/internal/GridTypes.h"
#include "kv_fluids_dyn/solver/internal/LinkSwap.h"
#include "kv_fluids_dyn/solver/internal/PerWorker.h"
#include "kv_fluids_dyn/solver/internal/SolverTypes.h"

namespace kelvar::fluid {

// Rebuilds the fluid's per-step cell lists from its grid: every liquid cell
// (full or interface), the interface cells among them, the solids and the
// sinks, each in grid order, so that the later passes of the sub-step walk
// dense arrays instead of the grid.
//
// Input: the grid. Output: the fluid's four lists (run) or its solid list
// alone (runSolids). The grid positions go in fixed blocks dealt to the
// workers in turn (GridBlocks.h); each block lists its own cells, and the
// blocks' lists are joined in block order, which is grid order.
//
// run() also copies the liquid cells' densities in list order, while it
// has the cells at hand, so that the density sum over the liquid list
// (liquidDensitySum) walks dense floats instead of the cells, and writes
// every position's type code into `types`.
//
// runAndSwap() does what run() does and, in the same walk, hands each liquid
// cell to the swap step of streaming once its neighbours' codes are written:
// the grid is walked once at the start of a sub-step. Its blocks are one per
// worker, split so that each holds an equal share of the liquid as the last
// such walk found it.
class CellListsPass {
public:
    void run(MAC_LBM_Fluid3& fluid, GridTypes& types, const unsigned int& threads);
    void runAndSwap(MAC_LBM_Fluid3& fluid, GridTypes& types, const unsigned int& threads, LinkSwap& swap);
    void runSolids(MAC_LBM_Fluid3& fluid, const unsigned int& threads);

    // The density sum over the liquid list of the last run(), one float at
    // a time in list order: the same bits as summing the cells' densities
    // in that order, as long as no density has changed since.
    float liquidDensitySum() const;

    // Writes the type codes of the grid's positions alone, as run() does.
    static void writeTypes(const SolverGrid& grid, GridTypes& types, const unsigned int& threads);

private:
    struct alignas(64) Lists {
        LiquidCells liquid;
        LiquidCells interface;
        SolidCells solid;
        SinkCells sink;
        Array<float> density;
    };

    // The blocks' lists, emptied; their storage is kept between runs.
    Lists* clearedBlocks();

    // run() over the blocks of `split`, calling walk.listed(block index,
    // block, position) after each position and walk.blockDone(block index,
    // block) after each block.
    template <class Walk>
    void listCells(MAC_LBM_Fluid3& fluid, GridTypes& types, const unsigned int& threads, const Walk& walk);
    void balanceSwapBlocks(const uint32_t& count, const uint32_t& blocks);
    void markLiquid(const LiquidCells& liquid);

    Array<Lists> blocks;
    Array<GridBlock> split;
    // Grid positions of evenly spaced entries of the last listed liquid, and
    // how many cells it had.
    Array<uint32_t> liquidMarks;
    uint32_t recordedLiquid = 0;
};

}  // namespace kelvar::fluid
