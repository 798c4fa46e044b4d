#pragma once

#include <cstdint>

#include "kv_basic/Array.h"
#include "kv_basic/Export.h"
#include "kv_fluids_dyn/parallel/WorkRange.h"

namespace kelvar::fluid {

// The one parallel loop of the library. A pass over E elements on N threads
// (N == 0 counts as 1) is split statically into N contiguous ranges: worker
// i gets [i*(E/N), (i+1)*(E/N)), the last worker also the remainder E % N.
// Every worker walks its range in ascending order and hands its own index
// (0..N-1) to each call, so a pass can keep per-thread scratch indexed by it.
// The call returns when every element is done; all writes of the pass are
// visible to the caller and to the next pass (the return is the barrier).
// The launching thread processes the last range itself (see WorkerPool).
//
// The operation is called concurrently through a const reference, as
//     op(const unsigned int& threadIndex, Element& element)
// so it must be const-callable (no `mutable` lambdas) and must not throw.
// Ranges are disjoint: an operation may write its own element freely; shared
// data needs a MutexShort or per-thread scratch.
//
//     Array<Array<Cell*>> found(threads);          // one list per worker
//     runParallel(cells, [&](unsigned int t, Cell* cell) {
//         if (cell->type == LBM_CELL_INTERFACE) found[t].push_back(cell);
//     }, threads);
//     // merge found[0..threads-1] in order after the call

// Runs `task` over the split of `elementCount` elements into `threads`
// ranges on the calling thread's persistent workers (see WorkerPool) and
// returns when every range is done.
KV_EXPORT void runRangeTask(const uint32_t& elementCount, const unsigned int& threads, const RangeTask& task);

// Runs op(range) once per non-empty range; the building block of the others.
template <class RangeOp>
void runParallelRanges(const uint32_t& elementCount, const RangeOp& op, const unsigned int& threads) {
    const RangeTask task{
        [](const void* context, const WorkRange& range) { (*static_cast<const RangeOp*>(context))(range); }, &op};
    runRangeTask(elementCount, threads, task);
}

// op(threadIndex, data[i]) for every element of data[0, count): the body of
// the array forms below, for mutable and const elements alike.
template <class Element, class Op>
void runParallelElements(Element* const data, const uint32_t& count, const Op& op, const unsigned int& threads) {
    runParallelRanges(
        count,
        [data, &op](const WorkRange& range) {
            const unsigned int threadIndex = range.threadIndex;
            const uint32_t end = range.first + range.count;
            for (uint32_t i = range.first; i < end; ++i) op(threadIndex, data[i]);
        },
        threads);
}

// op(threadIndex, array[i]) for every element; works for Array<T> and for
// ArrayOfPtr<T, KV_NO> (the element is then the stored pointer).
template <class T, class Op>
void runParallel(Array<T>& array, const Op& op, const unsigned int& threads) {
    runParallelElements(array.data(), array.size(), op, threads);
}

template <class T, class Op>
void runParallel(const Array<T>& array, const Op& op, const unsigned int& threads) {
    runParallelElements(array.data(), array.size(), op, threads);
}

// op(threadIndex, index) for every index of [0, count), e.g. voxel loops.
template <class Op>
void runParallelIndices(const uint32_t& count, const Op& op, const unsigned int& threads) {
    runParallelRanges(
        count,
        [&op](const WorkRange& range) {
            const unsigned int threadIndex = range.threadIndex;
            const uint32_t end = range.first + range.count;
            for (uint32_t i = range.first; i < end; ++i) op(threadIndex, i);
        },
        threads);
}

}  // namespace kelvar::fluid
