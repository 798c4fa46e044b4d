#include "kv_fluids_dyn/solver/internal/StreamPass.h"

#include "kv_fluids_dyn/parallel/RunParallel.h"
#include "kv_fluids_dyn/solver/internal/GridNeighbourhood.h"

namespace kelvar::fluid {

namespace {

bool hasSolidNeighbour(const LBM_Cell3<float>* const* neighbours) {
    bool wall = false;
    for (unsigned int i = 1; i < q19::kDirectionCount; ++i)
        wall = wall || (neighbours[i] != nullptr && neighbours[i]->isSolid());
    return wall;
}

}  // namespace

void StreamPass::run(MAC_LBM_Fluid3& fluid, const unsigned int& threads) {
    visitLiquidCells(fluid, threads,
                     [](LBM_Q19_MAC_Cell3F* cell, const AllNeighbours& neighbours) { cell->streamPassFluid(neighbours); });

    Scratch* const scratch = perWorker.forWorkers(threads);
    const GridNeighbourhood grid(fluid.getGrid());
    runParallel(
        walls,
        [&](const unsigned int& t, LBM_Q19_MAC_Cell3F* cell) {
            AllNeighbours& neighbours = scratch[t].neighbours;
            grid.gather(cell->getGridMonoindex(), neighbours.data());
            cell->streamPassSolid(neighbours);
        },
        threads);
}

void StreamPass::listWallCells(MAC_LBM_Fluid3& fluid, const unsigned int& threads) {
    visitLiquidCells(fluid, threads, [](LBM_Q19_MAC_Cell3F*, const AllNeighbours&) {});
}

// Gathers each liquid cell's neighbours, applies op, and lists the cells
// with a solid neighbour into `walls`.
template <class CellOp>
void StreamPass::visitLiquidCells(MAC_LBM_Fluid3& fluid, const unsigned int& threads, const CellOp& op) {
    Scratch* const scratch = perWorker.forWorkers(threads);
    const uint32_t workers = workerCount(threads);
    for (uint32_t t = 0; t < workers; ++t) scratch[t].walls.clear();
    const GridNeighbourhood grid(fluid.getGrid());
    runParallel(
        fluid.refArrLiquidCells(),
        [&](const unsigned int& t, LBM_Q19_MAC_Cell3F* cell) {
            Scratch& mine = scratch[t];
            grid.gather(cell->getGridMonoindex(), mine.neighbours.data());
            op(cell, mine.neighbours);
            if (hasSolidNeighbour(mine.neighbours.data())) mine.walls.push_back(cell);
        },
        threads);
    mergeInWorkerOrder(walls, scratch, workers, &Scratch::walls);
}

}  // namespace kelvar::fluid
