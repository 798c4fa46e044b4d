#include "kv_fluids_dyn/solver/internal/StreamPass.h"

#include "kv_fluids_dyn/parallel/RunParallel.h"
#include "kv_fluids_dyn/solver/internal/GridNeighbourhood.h"

namespace kelvar::fluid {

void StreamPass::run(MAC_LBM_Fluid3& fluid, const GridTypes& types, const unsigned int& threads) {
    const GridNeighbourhood grid(fluid.getGrid());
    visitLiquidCells(fluid, types, threads,
                     [&](const unsigned int& t, LBM_Q19_MAC_Cell3F* cell, const LinkSwap::Codes& codes) {
                         swap.visit(t, *cell, codes, grid);
                     });
    streamWalls(fluid, threads);
}

void StreamPass::streamWalls(MAC_LBM_Fluid3& fluid, const unsigned int& threads) {
    swap.joinWalls(walls);
    const GridNeighbourhood grid(fluid.getGrid());
    Scratch* const scratch = perWorker.forWorkers(threads);
    runParallel(
        walls,
        [&](const unsigned int& t, LBM_Q19_MAC_Cell3F* cell) {
            AllNeighbours& neighbours = scratch[t].neighbours;
            grid.gather(cell->getGridMonoindex(), neighbours.data());
            cell->streamPassSolid(neighbours);
        },
        threads);
}

void StreamPass::listWallCells(MAC_LBM_Fluid3& fluid, const GridTypes& types, const unsigned int& threads) {
    visitLiquidCells(fluid, types, threads,
                     [&](const unsigned int& t, LBM_Q19_MAC_Cell3F* cell, const LinkSwap::Codes& codes) {
                         swap.recordWall(t, *cell, codes);
                     });
    swap.joinWalls(walls);
}

template <class CellOp>
void StreamPass::visitLiquidCells(MAC_LBM_Fluid3& fluid, const GridTypes& types, const unsigned int& threads,
                                  const CellOp& op) {
    swap.beginParts(workerCount(threads));
    const GridNeighbourhood grid(fluid.getGrid());
    const unsigned char* const codes = types.data();
    runParallel(
        fluid.refArrLiquidCells(),
        [&](const unsigned int& t, LBM_Q19_MAC_Cell3F* cell) {
            LinkSwap::Codes around;
            grid.gatherCodes(codes, GridTypes::kNoCell, cell->getGridMonoindex(), around);
            op(t, cell, around);
        },
        threads);
}

}  // namespace kelvar::fluid
