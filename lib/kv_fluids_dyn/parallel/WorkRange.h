#pragma once

#include <cstdint>

namespace kelvar::fluid {

// The slice of a pass that one worker processes: elements [first,
// first + count) of the pass's array, handled by the worker `threadIndex`.
struct WorkRange {
    uint32_t first = 0;
    uint32_t count = 0;
    uint32_t threadIndex = 0;
};

// A range of work behind one type-erased call: run(context, range) processes
// the elements of `range`. Built on the stack by runParallel; no allocation.
struct RangeTask {
    void (*run)(const void* context, const WorkRange& range) = nullptr;
    const void* context = nullptr;
};

// Static contiguous split of `elementCount` elements over `threads` workers:
// every worker gets elementCount / threads elements, the last worker also
// gets the remainder. With fewer elements than workers, all but the last
// worker get empty ranges. `threads` must be at least 1.
constexpr WorkRange splitWork(uint32_t elementCount, uint32_t threads, uint32_t threadIndex) {
    const uint32_t chunk = elementCount / threads;
    const uint32_t remainder = threadIndex + 1 == threads ? elementCount % threads : 0;
    return WorkRange{threadIndex * chunk, chunk + remainder, threadIndex};
}

}  // namespace kelvar::fluid
