#include "kv_fluids_dyn/solver/internal/StreamPass.h"

#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/parallel/RunParallel.h"
#include "kv_fluids_dyn/solver/internal/GridNeighbourhood.h"

namespace kelvar::fluid {

namespace {

using Codes = unsigned char[q19::kDirectionCount];

bool isLiquidCode(const unsigned char& code) { return code == LBM_CELL_FLUID || code == LBM_CELL_INTERFACE; }

bool hasSolidNeighbour(const Codes& codes) {
    bool wall = false;
    for (unsigned int i = 1; i < q19::kDirectionCount; ++i) wall = wall || codes[i] == LBM_CELL_SOLID;
    return wall;
}

// LBM_Q19_MAC_Cell3F::streamPassFluid of one cell, with the neighbours'
// types taken from their codes. Liquid cells are of that class, so their
// slots are reached through its non-virtual accessors.
void swapLinks(LBM_Q19_MAC_Cell3F& cell, const Codes& codes, const GridNeighbourhood& grid) {
    ArrayBit& rebuilt = cell.refArrReconstructBit();
    rebuilt.clearAll();
    for (unsigned int i = 1; i < q19::kDirectionCount; ++i)
        if (codes[i] == GridTypes::kNoCell || codes[i] == LBM_CELL_SINK) rebuilt.set(q19::kOpposite[i]);

    using Slots = LBM_Q19_Cell3<float>;
    for (const unsigned int s : q19::kStreamIndex) {
        if (!isLiquidCode(codes[s])) continue;
        auto* n = static_cast<LBM_Q19_MAC_Cell3F*>(grid.neighbour(cell.getGridMonoindex(), s));
        const unsigned int o = q19::kOpposite[s];
        const float incoming = n->Slots::getPdfAt(o);
        n->Slots::setPdfAt(o, cell.Slots::getPdfAt(s));
        cell.Slots::setPdfAt(s, incoming);
    }
}

}  // namespace

void StreamPass::run(MAC_LBM_Fluid3& fluid, const GridTypes& types, const unsigned int& threads) {
    const GridNeighbourhood grid(fluid.getGrid());
    visitLiquidCells(fluid, types, threads,
                     [&grid](LBM_Q19_MAC_Cell3F* cell, const Codes& codes) { swapLinks(*cell, codes, grid); });

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
    visitLiquidCells(fluid, types, threads, [](LBM_Q19_MAC_Cell3F*, const Codes&) {});
}

// Gathers each liquid cell's neighbour codes, applies op, and lists the
// cells with a solid neighbour into `walls`.
template <class CellOp>
void StreamPass::visitLiquidCells(MAC_LBM_Fluid3& fluid, const GridTypes& types, const unsigned int& threads,
                                  const CellOp& op) {
    Scratch* const scratch = perWorker.forWorkers(threads);
    const uint32_t workers = workerCount(threads);
    for (uint32_t t = 0; t < workers; ++t) scratch[t].walls.clear();
    const GridNeighbourhood grid(fluid.getGrid());
    const unsigned char* const codes = types.data();
    runParallel(
        fluid.refArrLiquidCells(),
        [&](const unsigned int& t, LBM_Q19_MAC_Cell3F* cell) {
            Codes around;
            grid.gatherCodes(codes, GridTypes::kNoCell, cell->getGridMonoindex(), around);
            op(cell, around);
            if (hasSolidNeighbour(around)) scratch[t].walls.push_back(cell);
        },
        threads);
    mergeInWorkerOrder(walls, scratch, workers, &Scratch::walls);
}

}  // namespace kelvar::fluid
