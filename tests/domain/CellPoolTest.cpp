#include "kv_fluids_dyn/domain/CellPool.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "kv_fluids_dyn/lattice/LBM_SolidCell3.h"

namespace kelvar::fluid {
namespace {

using Pool = CellPool<LBM_SolidCell3<float>>;
constexpr uint32_t kChunk = Pool::kChunkSize;

TEST(CellPool, HandsOutConsecutiveSlotsThenReusesLastReleasedFirst) {
    Pool pool;
    LBM_SolidCell3<float>* a = pool.acquire();
    LBM_SolidCell3<float>* b = pool.acquire();
    LBM_SolidCell3<float>* c = pool.acquire();
    EXPECT_EQ(b, a + 1);
    EXPECT_EQ(c, a + 2);
    EXPECT_EQ(pool.getCount(), 3u);

    pool.release(a);
    pool.release(c);
    EXPECT_EQ(pool.getCount(), 1u);
    EXPECT_EQ(pool.acquire(), c);
    EXPECT_EQ(pool.acquire(), a);
    EXPECT_EQ(pool.acquire(), a + 3);  // free list empty: next fresh slot
    EXPECT_EQ(pool.getCount(), 4u);
}

TEST(CellPool, RewindsToTheFirstSlotWhenTheLastCellComesBack) {
    Pool pool;
    LBM_SolidCell3<float>* first = pool.acquire();
    LBM_SolidCell3<float>* second = pool.acquire();
    pool.release(first);   // count 1: goes on the free list
    pool.release(second);  // count 0: the pool rewinds, the free list is dropped
    EXPECT_EQ(pool.getCount(), 0u);
    EXPECT_EQ(pool.acquire(), first);
    EXPECT_EQ(pool.acquire(), second);  // not `first` again from a stale free list
}

TEST(CellPool, CrossesIntoNewChunksAndReusesThemAfterARewind) {
    Pool pool;
    EXPECT_EQ(pool.getChunkCount(), 1u);
    std::vector<LBM_SolidCell3<float>*> cells;
    for (uint32_t n = 0; n < kChunk + 2; ++n) cells.push_back(pool.acquire());
    EXPECT_EQ(pool.getChunkCount(), 2u);
    EXPECT_EQ(std::set<LBM_SolidCell3<float>*>(cells.begin(), cells.end()).size(), cells.size());
    EXPECT_EQ(cells[kChunk - 1], cells[0] + (kChunk - 1));
    EXPECT_NE(cells[kChunk], cells[0] + kChunk);  // a separate allocation
    EXPECT_EQ(cells[kChunk + 1], cells[kChunk] + 1);

    for (LBM_SolidCell3<float>* cell : cells) pool.release(cell);
    for (uint32_t n = 0; n < kChunk + 2; ++n) EXPECT_EQ(pool.acquire(), cells[n]);
    EXPECT_EQ(pool.getChunkCount(), 2u);  // chunks are kept until clear()
}

TEST(CellPool, ClearKeepsOneFreshChunk) {
    Pool pool;
    for (uint32_t n = 0; n < 2 * kChunk + 1; ++n) pool.acquire()->setFlags(7);
    EXPECT_EQ(pool.getChunkCount(), 3u);
    pool.clear();
    EXPECT_EQ(pool.getChunkCount(), 1u);
    EXPECT_EQ(pool.getCount(), 0u);
    LBM_SolidCell3<float>* cell = pool.acquire();
    EXPECT_EQ(cell->getFlags(), 0u);  // constructed afresh
    EXPECT_EQ(pool.getCount(), 1u);
}

TEST(CellPool, ReusedCellsKeepTheirPreviousState) {
    Pool pool;
    LBM_SolidCell3<float>* keep = pool.acquire();
    LBM_SolidCell3<float>* cell = pool.acquire();
    cell->setVelocity({1, 2, 3});
    pool.release(cell);
    ASSERT_EQ(pool.acquire(), cell);
    EXPECT_EQ(cell->getVelocity(), Vector3<float>(1, 2, 3));
    pool.release(keep);
}

}  // namespace
}  // namespace kelvar::fluid
