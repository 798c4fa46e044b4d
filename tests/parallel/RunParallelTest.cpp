#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <utility>

#include "kv_basic/Array.h"
#include "kv_basic/Tuple.h"
#include "kv_fluids_dyn/parallel/RunParallel.h"
#include "kv_fluids_dyn/parallel/Thread.h"

namespace kelvar::fluid {
namespace {

constexpr uint32_t kUnset = 0xFFFFFFFFu;

template <class T>
Array<T> filled(uint32_t count, const T& value) {
    Array<T> array;
    array.resize(count, value);
    return array;
}

// Ranges by thread as a pass hands them out: the remainder goes to the last
// worker and empty ranges are never run (their first stays kUnset).
TEST(RunParallel, StaticSplitGivesTheRemainderToTheLastWorker) {
    const struct {
        uint32_t elements;
        uint32_t ranges[4][2];  // first, count
    } cases[] = {
        {10, {{0, 2}, {2, 2}, {4, 2}, {6, 4}}},
        {3, {{kUnset, 0}, {kUnset, 0}, {kUnset, 0}, {0, 3}}},
        {0, {{kUnset, 0}, {kUnset, 0}, {kUnset, 0}, {kUnset, 0}}},
    };
    for (const auto& c : cases) {
        Array<WorkRange> seen = filled(4u, WorkRange{kUnset, 0, kUnset});
        runParallelRanges(c.elements, [&](const WorkRange& r) { seen[r.threadIndex] = r; }, 4u);
        for (uint32_t t = 0; t < 4; ++t) {
            EXPECT_EQ(seen[t].first, c.ranges[t][0]) << c.elements << " elements, thread " << t;
            EXPECT_EQ(seen[t].count, c.ranges[t][1]) << c.elements << " elements, thread " << t;
            EXPECT_TRUE(seen[t].first == kUnset || seen[t].threadIndex == t);
        }
    }
}

// Zero threads count as one; every worker visits its own range once, in order.
TEST(RunParallel, EveryElementOnceByItsWorkerInAscendingOrder) {
    const uint32_t count = 1001;
    for (unsigned int threads : {0u, 1u, 3u}) {
        const unsigned int workers = std::max(threads, 1u);
        Array<Array<uint32_t>> visited(workers);
        const auto visit = [&](unsigned int t, uint32_t i) {
            ASSERT_LT(t, workers);
            visited[t].push_back(i);
        };
        runParallelIndices(count, visit, threads);
        for (uint32_t t = 0; t < workers; ++t) {
            const WorkRange r = splitWork(count, workers, t);
            ASSERT_EQ(visited[t].size(), r.count) << threads << " threads";
            for (uint32_t k = 0; k < r.count; ++k) EXPECT_EQ(visited[t][k], r.first + k);
        }
    }
}

TEST(RunParallel, EachPassSeesEveryWriteOfThePreviousOne) {
    // Element i reads element (i + 17) % n of the previous pass, written by
    // another worker: a missing barrier gives a wrong sum and a data race
    // under ThreadSanitizer.
    const uint32_t n = 64;
    Array<uint64_t> a = filled<uint64_t>(n, 0), b = a;
    for (uint32_t i = 0; i < n; ++i) a[i] = i;
    Array<uint64_t> *from = &a, *to = &b;
    const int passes = 2000;
    for (int pass = 0; pass < passes; ++pass) {
        runParallelIndices(n, [&](unsigned int, uint32_t i) { (*to)[i] = (*from)[(i + 17) % n] + 1; }, 4u);
        std::swap(from, to);
    }
    uint64_t sum = 0;
    for (uint64_t v : *from) sum += v;
    EXPECT_EQ(sum, uint64_t(n) * (n - 1) / 2 + uint64_t(n) * passes);
}

TEST(RunParallel, PerThreadScratchMergedInThreadOrderKeepsArrayOrder) {
    for (unsigned int threads : {2u, 4u, 3u, 7u}) {  // grows and shrinks the pool
        Array<Tuple3<unsigned int>> coordinates;
        for (unsigned int i = 0; i < 500; ++i) coordinates.push_back({i, i * 2, i * 3});
        Array<Array<unsigned int>> scratch(threads);
        runParallel(
            std::as_const(coordinates),
            [&](unsigned int t, const Tuple3<unsigned int>& c) {
                if (c.first % 3 == 0) scratch[t].push_back(c.third);
            },
            threads);
        Array<unsigned int> merged;
        for (const Array<unsigned int>& list : scratch)
            for (unsigned int v : list) merged.push_back(v);
        ASSERT_EQ(merged.size(), 167u);
        for (uint32_t k = 0; k < merged.size(); ++k) EXPECT_EQ(merged[k], 9 * k);
    }
}

TEST(RunParallel, IndependentLaunchersAndNestedPassesDoNotBlockEachOther) {
    auto launcher = [](uint64_t* total) {
        for (int pass = 0; pass < 300; ++pass) {
            std::atomic<uint64_t> sum{0};
            runParallelIndices(100, [&](unsigned int, uint32_t i) { sum.fetch_add(i); }, 3u);
            *total += sum.load();
        }
    };
    uint64_t totals[2] = {0, 0};
    std::thread other(launcher, &totals[0]);
    launcher(&totals[1]);
    other.join();
    EXPECT_EQ(totals[0], 300u * 4950u);
    EXPECT_EQ(totals[1], 300u * 4950u);

    // A pass started from inside a pass, on the launcher's own range too.
    std::atomic<uint32_t> inner{0};
    const auto count = [&](unsigned int, uint32_t) { inner.fetch_add(1); };
    runParallelIndices(4, [&](unsigned int, uint32_t) { runParallelIndices(10, count, 2u); }, 2u);
    EXPECT_EQ(inner.load(), 40u);
}

TEST(Thread, StateGoesCreatedRunningFinishedJoined) {
    Thread thread;
    struct Probe {
        Thread* self;
        std::atomic<unsigned int> seenInside{99};
        std::atomic<bool> release{false};
    } probe{&thread};
    EXPECT_EQ(thread.getState(), Thread::Created);
    thread.start(
        [](void* argument) -> unsigned int {
            Probe& p = *static_cast<Probe*>(argument);
            p.seenInside.store(p.self->getState());
            while (!p.release.load()) std::this_thread::yield();
            return 0;
        },
        &probe);
    while (probe.seenInside.load() == 99) std::this_thread::yield();
    EXPECT_EQ(probe.seenInside.load(), Thread::Running);
    probe.release.store(true);
    while (thread.getState() != Thread::Finished) std::this_thread::yield();
    thread.join();
    EXPECT_EQ(thread.getState(), Thread::Joined);
}

}  // namespace
}  // namespace kelvar::fluid
