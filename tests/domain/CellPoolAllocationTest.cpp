// Allocation failures inside the cell pool. This program replaces the
// aligned forms of the global operator new (the ones the pool and the
// arrays use) with a version that can be told to fail at the n-th call, so
// every allocation of a pool operation can be made to fail in turn.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "kv_fluids_dyn/domain/CellPool.h"

namespace {

// Calls to the aligned operator new left before one fails; negative: never.
int allocationsBeforeFailure = -1;

}  // namespace

void* operator new(std::size_t size, std::align_val_t alignment) {
    if (allocationsBeforeFailure == 0) {
        allocationsBeforeFailure = -1;
        throw std::bad_alloc();
    }
    if (allocationsBeforeFailure > 0) --allocationsBeforeFailure;
    const std::size_t align = static_cast<std::size_t>(alignment);
    void* memory = std::aligned_alloc(align, (size + align - 1) / align * align);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
void operator delete(void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }

namespace kelvar::fluid::test {
namespace {

// A cell that counts how many of its kind exist, so that a destructor run
// on storage that was never constructed shows as a negative count. Cells
// are built on several workers at once, hence the atomic count.
struct CountedCell {
    CountedCell() { ++alive; }
    ~CountedCell() { --alive; }
    unsigned char payload[160] = {};
    static inline std::atomic<int> alive{0};
};

using Pool = CellPool<CountedCell>;
constexpr int kChunk = int(Pool::kChunkSize);

TEST(CellPoolAllocation, AFailedReserveOrAcquireLeavesThePoolAsItWas) {
    for (int failAt = 0; failAt < 6; ++failAt) {
        {
            Pool pool;
            CountedCell* first = pool.acquire();
            allocationsBeforeFailure = failAt;
            EXPECT_THROW(pool.reserve(4 * kChunk, 2), std::bad_alloc) << "failing allocation " << failAt;
            allocationsBeforeFailure = -1;
            EXPECT_EQ(CountedCell::alive, kChunk);
            EXPECT_EQ(pool.getChunkCount(), 1u);

            // Fill the first chunk, then fail the chunk the next acquisition needs.
            for (int n = 1; n < kChunk; ++n) pool.acquire();
            allocationsBeforeFailure = 0;
            EXPECT_THROW(pool.acquire(), std::bad_alloc);
            EXPECT_EQ(pool.getCount(), uint32_t(kChunk));
            EXPECT_EQ(CountedCell::alive, kChunk);

            // Usable afterwards, with the cells it would have given anyway.
            pool.reserve(4 * kChunk, 2);
            EXPECT_EQ(CountedCell::alive, 5 * kChunk);
            const CountedCell* next = pool.acquire();
            EXPECT_NE(next, first);
            EXPECT_EQ(pool.getCount(), uint32_t(kChunk + 1));
        }
        EXPECT_EQ(CountedCell::alive, 0) << "every built cell destroyed once, no other";
    }
}

}  // namespace
}  // namespace kelvar::fluid::test
