#pragma once

#include <algorithm>
#include <cstdint>

namespace kelvar::fluid {

// The workers' count, as the parallel loops run it: 0 threads is one worker.
inline uint32_t workerCount(const unsigned int& threads) { return std::max(threads, 1u); }

}  // namespace kelvar::fluid
