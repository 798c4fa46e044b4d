#include <cstring>
#include <utility>

#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/parallel/RunParallel.h"
#include "kv_fluids_dyn/solver/internal/CellListsPass.h"
#include "kv_fluids_dyn/solver/internal/GridBlocks.h"

namespace kelvar::fluid {

namespace {

// One joined list sized for the lists `list` of every block, and where each
// block's share of it starts; copyBlock fills one block's share.
template <class Out, class Record, class List>
class BlockJoin {
public:
    BlockJoin(Out& out, const Record* blocks, List Record::*list) : blocks(blocks), list(list) {
        offsets[0] = 0;
        for (uint32_t b = 0; b < kGridBlocks; ++b) offsets[b + 1] = offsets[b] + (blocks[b].*list).size();
        out.clear();
        first = out.appendForOverwrite(offsets[kGridBlocks]);
    }

    void copyBlock(const uint32_t& b) const {
        const auto& from = blocks[b].*list;
        if (!from.empty()) std::memcpy(first + offsets[b], from.data(), sizeof(from[0]) * from.size());
    }

private:
    const Record* blocks;
    List Record::*list;
    decltype(std::declval<Out&>().appendForOverwrite(0)) first;
    uint32_t offsets[kGridBlocks + 1];
};

// Copies the blocks' shares of every join, in one pass whose blocks are
// dealt to the workers as the grid's are.
template <class... Joins>
void joinBlocks(const unsigned int& threads, const Joins&... joins) {
    runGridBlocks(
        kGridBlocks, [&](const unsigned int&, uint32_t b, const GridBlock&) { (joins.copyBlock(b), ...); }, threads);
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

void CellListsPass::run(MAC_LBM_Fluid3& fluid, GridTypes& types, const unsigned int& threads) {
    Lists* const lists = clearedBlocks();
    LBM_Cell3<float>* const* const cells = fluid.getGrid().getCells().data();
    types.resize(fluid.getGrid().getCount());
    unsigned char* const codes = types.data();
    runGridBlocks(
        fluid.getGrid().getCount(),
        [&](const unsigned int&, uint32_t b, const GridBlock& block) {
            Lists& mine = lists[b];
            for (uint32_t index = block.first; index < block.end; ++index) {
                LBM_Cell3<float>* cell = cells[index];
                if (cell == nullptr) {
                    codes[index] = GridTypes::kNoCell;
                    continue;
                }
                codes[index] = cell->getType();
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

    joinBlocks(threads, BlockJoin(fluid.refArrLiquidCells(), lists, &Lists::liquid),
               BlockJoin(fluid.refArrInterfaceCells(), lists, &Lists::interface),
               BlockJoin(fluid.refArrSolidCells(), lists, &Lists::solid),
               BlockJoin(fluid.refArrSinkCells(), lists, &Lists::sink));
}

float CellListsPass::liquidDensitySum() const {
    float sum = 0.0f;
    for (const Lists& lists : blocks)
        for (const float& density : lists.density) sum += density;
    return sum;
}

void CellListsPass::writeTypes(const SolverGrid& grid, GridTypes& types, const unsigned int& threads) {
    LBM_Cell3<float>* const* const cells = grid.getCells().data();
    types.resize(grid.getCount());
    unsigned char* const codes = types.data();
    runGridBlocks(
        grid.getCount(),
        [&](const unsigned int&, uint32_t, const GridBlock& block) {
            for (uint32_t index = block.first; index < block.end; ++index)
                codes[index] = cells[index] == nullptr ? GridTypes::kNoCell : cells[index]->getType();
        },
        threads);
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
    joinBlocks(threads, BlockJoin(fluid.refArrSolidCells(), lists, &Lists::solid));
}

}  // namespace kelvar::fluid
