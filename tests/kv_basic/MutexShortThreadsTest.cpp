#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "kv_basic/Array.h"
#include "kv_basic/MutexShort.h"

namespace kelvar {
namespace {

// Several threads append to one array under the mutex, as worker threads
// do with the shared pools: nothing may be lost or duplicated.
TEST(MutexShort, SerialisesAppendsFromManyThreads) {
    constexpr int kThreads = 4;
    constexpr int kPerThread = 5000;
    MutexShort mutex;
    Array<int> shared;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < kPerThread; ++i) {
                mutex.lock();
                shared.push_back(t * kPerThread + i);
                mutex.unlock();
            }
        });
    for (std::thread& thread : threads) thread.join();

    ASSERT_EQ(shared.size(), static_cast<uint32_t>(kThreads * kPerThread));
    std::vector<int> seen(kThreads * kPerThread, 0);
    for (int v : shared) ++seen[v];
    for (int count : seen) EXPECT_EQ(count, 1);
}

}  // namespace
}  // namespace kelvar
