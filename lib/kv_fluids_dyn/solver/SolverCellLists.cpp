#include <cstring>

#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/parallel/RunParallel.h"
#include "kv_fluids_dyn/solver/internal/CellListsPass.h"
#include "kv_fluids_dyn/solver/internal/GridBlocks.h"

namespace kelvar::fluid {

namespace {

// Copies the lists `list` of the blocks into `out`, in block order; each
// block's share is copied by the worker that the block is dealt to.
template <class Out, class Record, class List>
void joinBlocks(Out& out, const Record* blocks, List Record::*list, const unsigned int& threads) {
    uint32_t offsets[kGridBlocks + 1];
    offsets[0] = 0;
    for (uint32_t b = 0; b < kGridBlocks; ++b) offsets[b + 1] = offsets[b] + (blocks[b].*list).size();
    out.clear();
    auto* const first = out.appendForOverwrite(offsets[kGridBlocks]);
    runGridBlocks(
        kGridBlocks,
        [&](const unsigned int&, uint32_t b, const GridBlock&) {
            const auto& from = blocks[b].*list;
            if (!from.empty()) std::memcpy(first + offsets[b], from.data(), sizeof(from[0]) * from.size());
        },
        threads);
}

}  // namespace

CellListsPass::Lists* CellListsPass::clearedBlocks() {
    if (blocks.size() != kGridBlocks) blocks.resize(kGridBlocks);
    for (Lists& lists : blocks) {
        lists.liquid.clear();
        lists.interface.clear();
        lists.solid.clear();
        lists.sink.clear();
        lists.density.clear();
    }
    return blocks.data();
}

void CellListsPass::run(MAC_LBM_Fluid3& fluid, const unsigned int& threads) {
    Lists* const lists = clearedBlocks();
    LBM_Cell3<float>* const* const cells = fluid.getGrid().getCells().data();
    runGridBlocks(
        fluid.getGrid().getCount(),
        [&](const unsigned int&, uint32_t b, const GridBlock& block) {
            Lists& mine = lists[b];
            for (uint32_t index = block.first; index < block.end; ++index) {
                LBM_Cell3<float>* cell = cells[index];
                if (cell == nullptr) continue;
                switch (cell->getType()) {
                    case LBM_CELL_SOLID:
                        mine.solid.push_back(static_cast<LBM_SolidCell3<float>*>(cell));
                        break;
                    case LBM_CELL_SINK:
                        mine.sink.push_back(static_cast<LBM_SinkCell3<float>*>(cell));
                        break;
                    case LBM_CELL_INTERFACE:
                        mine.interface.push_back(static_cast<LBM_Q19_MAC_Cell3F*>(cell));
                        [[fallthrough]];
                    case LBM_CELL_FLUID:
                        mine.liquid.push_back(static_cast<LBM_Q19_MAC_Cell3F*>(cell));
                        mine.density.push_back(static_cast<LBM_Q19_MAC_Cell3F*>(cell)->getDensity());
                        break;
                    default:
                        break;
                }
            }
        },
        threads);

    joinBlocks(fluid.refArrLiquidCells(), lists, &Lists::liquid, threads);
    joinBlocks(fluid.refArrInterfaceCells(), lists, &Lists::interface, threads);
    joinBlocks(fluid.refArrSolidCells(), lists, &Lists::solid, threads);
    joinBlocks(fluid.refArrSinkCells(), lists, &Lists::sink, threads);
}

float CellListsPass::liquidDensitySum() const {
    float sum = 0.0f;
    for (const Lists& lists : blocks)
        for (const float& density : lists.density) sum += density;
    return sum;
}

void CellListsPass::runSolids(MAC_LBM_Fluid3& fluid, const unsigned int& threads) {
    Lists* const lists = clearedBlocks();
    LBM_Cell3<float>* const* const cells = fluid.getGrid().getCells().data();
    runGridBlocks(
        fluid.getGrid().getCount(),
        [&](const unsigned int&, uint32_t b, const GridBlock& block) {
            for (uint32_t index = block.first; index < block.end; ++index) {
                LBM_Cell3<float>* cell = cells[index];
                if (cell != nullptr && cell->isSolid())
                    lists[b].solid.push_back(static_cast<LBM_SolidCell3<float>*>(cell));
            }
        },
        threads);
    joinBlocks(fluid.refArrSolidCells(), lists, &Lists::solid, threads);
}

}  // namespace kelvar::fluid
