#pragma once

#include <algorithm>
#include <cstdint>

#include "kv_fluids_dyn/parallel/RunParallel.h"
#include "kv_fluids_dyn/parallel/internal/WorkerCount.h"

namespace kelvar::fluid {

// Walks over every position of the grid split into blocks of consecutive
// positions, kGridBlocks of them unless a pass asks for fewer, and deals the
// blocks to the workers in turn: worker t takes blocks t, t + N,
// t + 2N, ... A liquid gathered at one end of the grid (a dam break against
// a wall) then still spreads over every worker, which a contiguous split of
// the positions does not do. What a pass keeps per block, joined in block
// order, is in position order for any thread count and any block count.
inline constexpr uint32_t kGridBlocks = 64;

struct GridBlock {
    uint32_t first = 0;
    uint32_t end = 0;
};

// Block b of `count` positions split into `blocks` blocks.
inline GridBlock gridBlock(const uint32_t& count, const uint32_t& b, const uint32_t& blocks = kGridBlocks) {
    return {uint32_t(uint64_t(count) * b / blocks), uint32_t(uint64_t(count) * (b + 1) / blocks)};
}

// op(workerIndex, blockIndex, blockAt(blockIndex)) for `blocks` blocks,
// dealt to the workers in turn.
template <class BlockAt, class Op>
void runBlocks(const uint32_t& blocks, const BlockAt& blockAt, const Op& op, const unsigned int& threads) {
    const uint32_t workers = std::min(workerCount(threads), blocks);
    runParallelIndices(
        workers,
        [&](const unsigned int& t, uint32_t w) {
            for (uint32_t b = w; b < blocks; b += workers) op(t, b, blockAt(b));
        },
        workers);
}

// op(workerIndex, blockIndex, block) for every block of `count` positions
// split into `blocks` (1 to kGridBlocks) blocks.
template <class Op>
void runGridBlocks(const uint32_t& count, const Op& op, const unsigned int& threads,
                   const uint32_t& blocks = kGridBlocks) {
    runBlocks(blocks, [&](const uint32_t& b) { return gridBlock(count, b, blocks); }, op, threads);
}

}  // namespace kelvar::fluid
