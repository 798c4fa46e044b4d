#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "kv_geometry/detail/ParallelRanges.h"

namespace kelvar {
namespace {

// Contiguous ranges with the remainder on the last thread, the first on the
// calling thread; every element is visited once whatever the thread count.
TEST(ParallelRanges, ContiguousSplitVisitsEveryElementOnce) {
    std::vector<std::pair<uint32_t, uint32_t>> ranges(3);
    std::vector<std::thread::id> ids(3);
    runRangesParallel(10, 3, [&](uint32_t begin, uint32_t end, unsigned thread) {
        ranges[thread] = {begin, end};
        ids[thread] = std::this_thread::get_id();
    });
    EXPECT_EQ(ranges, (std::vector<std::pair<uint32_t, uint32_t>>{{0, 3}, {3, 6}, {6, 10}}));
    EXPECT_EQ(ids[0], std::this_thread::get_id());
    EXPECT_NE(ids[1], ids[2]);

    for (unsigned threads : {0u, 1u, 2u, 7u, 40u}) {
        std::vector<std::atomic<int>> visits(33);
        runRangesParallel(33, threads, [&](uint32_t begin, uint32_t end, unsigned) {
            for (uint32_t i = begin; i < end; ++i) ++visits[i];
        });
        for (const auto& v : visits) EXPECT_EQ(v.load(), 1) << threads;
    }
}

}  // namespace
}  // namespace kelvar
