#include "kv_fluids_dyn/domain/CellPool.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "kv_fluids_dyn/lattice/LBM_SolidCell3.h"

namespace kelvar::fluid {
namespace {

using Cell = LBM_SolidCell3<float>;
using Pool = CellPool<Cell>;
constexpr uint32_t kChunk = Pool::kChunkSize;

TEST(DomainCellPool, ReusesTheLastReleasedCellFirstAndKeepsItsState) {
    Pool pool;
    Cell* a = pool.acquire();
    pool.acquire();
    Cell* c = pool.acquire();
    EXPECT_EQ(c, a + 2);  // consecutive slots of the first chunk
    c->setVelocity({1, 2, 3});
    pool.release(a);
    pool.release(c);
    EXPECT_EQ(pool.getCount(), 1u);
    EXPECT_EQ(pool.acquire(), c);
    EXPECT_EQ(c->getVelocity(), Vector3<float>(1, 2, 3));  // handed out as left
    EXPECT_EQ(pool.acquire(), a);
    EXPECT_EQ(pool.acquire(), a + 3);  // free list empty: next fresh slot
    EXPECT_EQ(pool.getCount(), 4u);
}

TEST(DomainCellPool, RewindsWhenTheLastCellComesBackAndClearKeepsOneFreshChunk) {
    Pool pool;
    std::vector<Cell*> cells;
    for (uint32_t n = 0; n < kChunk + 2; ++n) cells.push_back(pool.acquire());
    EXPECT_EQ(pool.getChunkCount(), 2u);
    EXPECT_EQ(std::set<Cell*>(cells.begin(), cells.end()).size(), cells.size());
    EXPECT_EQ(cells[kChunk + 1], cells[kChunk] + 1);

    // Released in order: the free list would hand them back reversed, but
    // the count reaching zero rewinds the pool to the first slot instead.
    for (Cell* cell : cells) pool.release(cell);
    EXPECT_EQ(pool.getCount(), 0u);
    for (uint32_t n = 0; n < kChunk + 2; ++n) ASSERT_EQ(pool.acquire(), cells[n]) << n;
    EXPECT_EQ(pool.getChunkCount(), 2u);  // memory is kept until clear()

    for (Cell* cell : cells) cell->setFlags(7);
    for (uint32_t n = 0; n < kChunk; ++n) pool.acquire()->setFlags(7);
    EXPECT_EQ(pool.getChunkCount(), 3u);
    pool.clear();
    EXPECT_TRUE(pool.getChunkCount() == 1u && pool.getCount() == 0u);
    EXPECT_EQ(pool.acquire()->getFlags(), 0u);  // constructed afresh
}

// Reserving uses the free list and the open chunk first, then adds the
// chunks the acquisitions would have added, constructed afresh on several
// threads; which cells come out does not change.
TEST(DomainCellPool, ReserveAddsTheChunksTheAcquisitionsWouldAdd) {
    Pool pool;
    std::vector<Cell*> first;
    for (uint32_t n = 0; n < 10; ++n) first.push_back(pool.acquire());
    for (uint32_t n = 0; n < 3; ++n) pool.release(first[n]);
    const uint32_t spare = 3 + (kChunk - 10);
    pool.reserve(spare, 2);
    EXPECT_EQ(pool.getChunkCount(), 1u);
    pool.reserve(spare + 2 * kChunk + 1, 2);
    EXPECT_EQ(pool.getChunkCount(), 4u);
    for (uint32_t n = 3; n-- > 0;) EXPECT_EQ(pool.acquire(), first[n]);
    Cell* previous = first[9];
    for (uint32_t n = 3; n < spare + 2 * kChunk + 1; ++n) {
        Cell* cell = pool.acquire();
        ASSERT_TRUE(((n - spare) % kChunk == 0 || cell == previous + 1) && cell->getFlags() == 0u) << n;
        previous = cell;
    }
    EXPECT_EQ(pool.getChunkCount(), 4u);
}

}  // namespace
}  // namespace kelvar::fluid
