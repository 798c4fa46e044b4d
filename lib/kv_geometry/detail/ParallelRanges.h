#pragma once

#include <cstdint>
#include <functional>


namespace kelvar {

// Runs work(begin, end, thread) over [0, count) split into `threads`
// contiguous ranges of count / threads elements each, the last range also
// taking the remainder. Each range runs on its own std::thread (range 0 on
// the calling thread); the call returns when all have finished. Ranges may be
// empty when there are more threads than elements. threads == 0 counts as 1.
void runRangesParallel(uint32_t count, unsigned threads,
                                 const std::function<void(uint32_t begin, uint32_t end, unsigned thread)>& work);

}  // namespace kelvar
