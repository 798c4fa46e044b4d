#include <algorithm>
#include <cstring>
#include <utility>

#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/parallel/RunParallel.h"
#include "kv_fluids_dyn/parallel/internal/GridBlocks.h"
#include "kv_fluids_dyn/solver/internal/CellListsPass.h"
#include "kv_fluids_dyn/solver/internal/GridNeighbourhood.h"

namespace kelvar::fluid {

namespace {

// One joined list sized for the lists `list` of every block, and where each
// block's share of it starts; copyBlock fills one block's share.
template <class Out, class Record, class List>
class BlockJoin {
public:
    BlockJoin(Out& out, const Record* blocks, const uint32_t& count, List Record::*list)
        : blocks(blocks), list(list) {
        offsets[0] = 0;
        for (uint32_t b = 0; b < count; ++b) offsets[b + 1] = offsets[b] + (blocks[b].*list).size();
        out.clear();
        first = out.appendForOverwrite(offsets[count]);
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

// Copies the shares of `count` blocks of every join, in one pass whose
// blocks are dealt to the workers as the grid's are.
template <class... Joins>
void joinBlocks(const unsigned int& threads, const uint32_t& count, const Joins&... joins) {
    runGridBlocks(
        count, [&](const unsigned int&, uint32_t b, const GridBlock&) { (joins.copyBlock(b), ...); }, threads, count);
}

// How many positions ahead the walk starts loading a cell: the cells lie
// scattered over memory, and each one's type is a likely miss.
constexpr uint32_t kCellLookahead = 16;

// What walking past a position costs, in liquid cells: a liquid cell is
// listed and streams its links, any other position is one pointer test.
constexpr double kPositionCost = 1.0 / 32.0;

// How many points of the liquid's spread over the grid a walk records for
// the next walk's split.
constexpr uint32_t kLiquidMarks = 64;

// The walk that lists the cells without streaming.
struct ListOnly {
    void listed(const uint32_t&, const GridBlock&, const uint32_t&) const {}
    void blockDone(const uint32_t&, const GridBlock&) const {}
};

// Streams the liquid cells of a block a reach behind the walk that writes
// the block's codes, so that the codes of a cell's neighbours in the block
// are written when it streams. A cell within reach of the block's ends has
// neighbours in blocks other workers may not have coded yet: it takes its
// neighbours' types from the cells, which no worker changes during the walk.
class SwapBehind {
public:
    SwapBehind(const SolverGrid& cells, const unsigned char* codes, LinkSwap& swap)
        : grid(cells), reach(grid.reach()), cells(cells.getCells().data()), codes(codes), swap(swap) {}

    // After position `index` of block b got its code.
    void listed(const uint32_t& b, const GridBlock& block, const uint32_t& index) const {
        if (index - block.first >= reach) streamAt(b, block, index - reach);
    }

    // After the last position of block b: the positions the walk left behind.
    void blockDone(const uint32_t& b, const GridBlock& block) const {
        for (uint32_t p = block.end - std::min(reach, block.end - block.first); p < block.end; ++p)
            streamAt(b, block, p);
    }

private:
    void streamAt(const uint32_t& b, const GridBlock& block, const uint32_t& p) const {
        if (!LinkSwap::isLiquidCode(codes[p])) return;
        LinkSwap::Codes around;
        if (p - block.first >= reach && block.end - p > reach)
            grid.gatherCodes(codes, GridTypes::kNoCell, p, around);
        else
            grid.gatherCellCodes(p, GridTypes::kNoCell, around);
        swap.visit(b, *static_cast<LBM_Q19_MAC_Cell3F*>(cells[p]), around, grid);
    }

    const GridNeighbourhood grid;
    const uint32_t reach;
    LBM_Cell3<float>* const* cells;
    const unsigned char* codes;
    LinkSwap& swap;
};

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
    const uint32_t count = fluid.getGrid().getCount();
    split.resize(kGridBlocks);
    for (uint32_t b = 0; b < kGridBlocks; ++b) split[b] = gridBlock(count, b);
    listCells(fluid, types, threads, ListOnly());
}

void CellListsPass::runAndSwap(MAC_LBM_Fluid3& fluid, GridTypes& types, const unsigned int& threads,
                               LinkSwap& swap) {
    balanceSwapBlocks(fluid.getGrid().getCount(), std::min(workerCount(threads), kGridBlocks));
    swap.beginParts(split.size());
    types.resize(fluid.getGrid().getCount());
    listCells(fluid, types, threads, SwapBehind(fluid.getGrid(), types.data(), swap));
    markLiquid(fluid.getArrLiquidCells());
}

// One block per worker, each with an equal share of the cost of the walk as
// the last walk found the liquid spread: streaming makes a liquid cell cost
// far more than an empty position, and the liquid may be gathered at one
// end of the grid. One block per worker keeps the cells within reach of a
// block's ends, which take the slower neighbour types, few. Where the
// blocks end changes nothing in the results: the lists are joined in block
// order, which is grid order. The cost up to a position is taken as linear
// between the recorded marks.
void CellListsPass::balanceSwapBlocks(const uint32_t& count, const uint32_t& blocks) {
    split.resize(blocks);
    if (liquidMarks.empty() || blocks == 1) {
        for (uint32_t b = 0; b < blocks; ++b) split[b] = gridBlock(count, b, blocks);
        return;
    }
    // Cost points: the grid's start, the marks (mark m has m / kLiquidMarks
    // of the liquid before it) and the grid's end with all of it.
    const double liquid = double(recordedLiquid);
    const uint32_t points = kLiquidMarks + 2;
    const auto positionAt = [&](const uint32_t& i) {
        if (i == 0) return 0.0;
        if (i == points - 1) return double(count);
        return double(std::min(liquidMarks[i - 1], count));
    };
    const auto costAt = [&](const uint32_t& i) {
        const double before = i == 0 ? 0.0 : (i == points - 1 ? liquid : liquid * double(i - 1) / kLiquidMarks);
        return before + kPositionCost * positionAt(i);
    };
    const double total = costAt(points - 1);
    uint32_t i = 0;
    uint32_t first = 0;
    for (uint32_t b = 0; b + 1 < blocks; ++b) {
        const double target = total * double(b + 1) / double(blocks);
        while (i + 2 < points && costAt(i + 1) < target) ++i;
        const double low = costAt(i), high = costAt(i + 1);
        const double at = positionAt(i) + (high > low ? (target - low) / (high - low) : 0.0) *
                                              (positionAt(i + 1) - positionAt(i));
        const uint32_t end = std::clamp(uint32_t(at), first, count);
        split[b] = {first, end};
        first = end;
    }
    split[blocks - 1] = {first, count};
}

// Records where the liquid lies, for the next walk's split.
void CellListsPass::markLiquid(const LiquidCells& liquid) {
    const uint32_t n = liquid.size();
    recordedLiquid = n;
    liquidMarks.resize(n == 0 ? 0 : kLiquidMarks);
    for (uint32_t m = 0; m < liquidMarks.size(); ++m)
        liquidMarks[m] = liquid[uint32_t(uint64_t(m) * n / kLiquidMarks)]->getGridMonoindex();
}

template <class Walk>
void CellListsPass::listCells(MAC_LBM_Fluid3& fluid, GridTypes& types, const unsigned int& threads,
                              const Walk& walk) {
    Lists* const lists = clearedBlocks();
    LBM_Cell3<float>* const* const cells = fluid.getGrid().getCells().data();
    types.resize(fluid.getGrid().getCount());
    unsigned char* const codes = types.data();
    const uint32_t blockCount = split.size();
    runBlocks(
        blockCount, [&](const uint32_t& b) { return split[b]; },
        [&](const unsigned int&, uint32_t b, const GridBlock& block) {
            Lists& mine = lists[b];
            for (uint32_t index = block.first; index < block.end; ++index) {
                if (block.end - index > kCellLookahead && cells[index + kCellLookahead] != nullptr)
                    __builtin_prefetch(cells[index + kCellLookahead]);
                LBM_Cell3<float>* cell = cells[index];
                const unsigned char code = cell == nullptr ? GridTypes::kNoCell : cell->getType();
                codes[index] = code;
                switch (code) {
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
                walk.listed(b, block, index);
            }
            walk.blockDone(b, block);
        },
        threads);

    joinBlocks(threads, blockCount, BlockJoin(fluid.refArrLiquidCells(), lists, blockCount, &Lists::liquid),
               BlockJoin(fluid.refArrInterfaceCells(), lists, blockCount, &Lists::interface),
               BlockJoin(fluid.refArrSolidCells(), lists, blockCount, &Lists::solid),
               BlockJoin(fluid.refArrSinkCells(), lists, blockCount, &Lists::sink));
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
    joinBlocks(threads, kGridBlocks, BlockJoin(fluid.refArrSolidCells(), lists, kGridBlocks, &Lists::solid));
}

}  // namespace kelvar::fluid
