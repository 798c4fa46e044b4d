#pragma once

#include <cstdint>

#include "kv_basic/Array.h"
#include "kv_fluids_dyn/parallel/RunParallel.h"
#include "kv_fluids_dyn/parallel/internal/WorkerCount.h"

namespace kelvar::fluid {

// One record of T per worker of a parallel pass, indexed by the worker's
// index (runParallel's first argument). Records live as long as the pass
// that owns them and are reused from sub-step to sub-step: a pass clears the
// lists it uses and never frees them, so once the lists have grown no pass
// allocates. T is declared alignas(64), so that each record starts on its
// own cache line and workers writing their records do not share a line.
template <class T>
class PerWorker {
    static_assert(alignof(T) % 64 == 0, "per-worker records must be cache-line aligned");

public:
    // The records of `threads` workers (0 counts as 1), grown on demand.
    T* forWorkers(const unsigned int& threads) {
        const uint32_t needed = workerCount(threads);
        if (records.size() < needed) records.resize(needed);
        return records.data();
    }

private:
    Array<T> records;
};

// op(element) for every element of the lists `list` of the first `workers`
// records, in worker order: the order of the pass's input.
template <class Records, class Record, class List, class Op>
void forEachInWorkerOrder(Records* records, const uint32_t& workers, List Record::*list, const Op& op) {
    for (uint32_t t = 0; t < workers; ++t)
        for (auto& element : records[t].*list) op(element);
}

// Appends the lists `list` of the first `workers` records to `out` in
// worker order. With runParallel's contiguous split that is the order of
// the pass's input, whatever the thread count.
template <class Out, class Record, class List>
void appendInWorkerOrder(Out& out, const Record* records, const uint32_t& workers, List Record::*list) {
    uint32_t total = out.size();
    for (uint32_t t = 0; t < workers; ++t) total += (records[t].*list).size();
    out.reserve(total);
    forEachInWorkerOrder(records, workers, list, [&out](const auto& element) { out.push_back(element); });
}

// The same into an emptied `out`.
template <class Out, class Record, class List>
void mergeInWorkerOrder(Out& out, const Record* records, const uint32_t& workers, List Record::*list) {
    out.clear();
    appendInWorkerOrder(out, records, workers, list);
}

// The elements of `input` for which keep(element) holds, in input order:
// each worker gathers its range into its record's `list`, and the lists are
// merged into `out` in worker order.
template <class Input, class Record, class List, class Keep>
void collectInOrder(Input& input, PerWorker<Record>& records, List Record::*list, List& out, const Keep& keep,
                    const unsigned int& threads) {
    Record* const perThread = records.forWorkers(threads);
    const uint32_t workers = workerCount(threads);
    for (uint32_t t = 0; t < workers; ++t) (perThread[t].*list).clear();
    runParallel(
        input,
        [&](const unsigned int& t, auto element) {
            if (keep(element)) (perThread[t].*list).push_back(element);
        },
        threads);
    mergeInWorkerOrder(out, perThread, workers, list);
}

}  // namespace kelvar::fluid
