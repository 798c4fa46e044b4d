#pragma once

#include <algorithm>
#include <cstdint>

#include "kv_fluids_dyn/parallel/RunParallel.h"

namespace kelvar::fluid {

// A list and what to do with each of its elements: op(threadIndex, element).
template <class List, class Op>
struct ListVisit {
    List& list;
    const Op& op;
};

template <class List, class Op>
ListVisit<List, Op> visitList(List& list, const Op& op) {
    return {list, op};
}

// Runs the visits of several lists, whose elements do not depend on each
// other, as one parallel pass over the lists laid end to end: one wake-up and
// one barrier instead of one per list. Workers split the joined elements as
// runParallel splits one array, and walk each list's share in order.
template <class... Visits>
void runVisitsInOnePass(const unsigned int& threads, const Visits&... visits) {
    const uint32_t total = (uint32_t(0) + ... + uint32_t(visits.list.size()));
    runParallelRanges(
        total,
        [&](const WorkRange& range) {
            const uint32_t end = range.first + range.count;
            uint32_t base = 0;
            const auto walk = [&](const auto& visit) {
                const uint32_t size = visit.list.size();
                const uint32_t from = std::max(range.first, base);
                const uint32_t to = std::min(end, base + size);
                for (uint32_t i = from; i < to; ++i) visit.op(range.threadIndex, visit.list[i - base]);
                base += size;
            };
            (walk(visits), ...);
        },
        threads);
}

}  // namespace kelvar::fluid
