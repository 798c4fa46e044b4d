#include "kv_geometry/detail/ParallelRanges.h"

#include <thread>
#include <vector>

namespace kelvar {

void runRangesParallel(uint32_t count, unsigned threads,
                       const std::function<void(uint32_t begin, uint32_t end, unsigned thread)>& work) {
    if (threads == 0) threads = 1;
    const uint32_t share = count / threads;
    auto rangeEnd = [&](unsigned t) { return t + 1 == threads ? count : (t + 1) * share; };
    std::vector<std::thread> workers;
    workers.reserve(threads - 1);
    for (unsigned t = 1; t < threads; ++t) workers.emplace_back(work, t * share, rangeEnd(t), t);
    work(0, rangeEnd(0), 0);
    for (std::thread& worker : workers) worker.join();
}

}  // namespace kelvar
