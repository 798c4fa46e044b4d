#pragma once

#include <atomic>
#include <cstdint>

#include "kv_basic/Array.h"
#include "kv_fluids_dyn/parallel/WorkRange.h"

namespace kelvar::fluid {

// Persistent worker threads that execute the passes of runParallel.
//
// A pass over E elements on N threads is split by splitWork into N ranges.
// Ranges 0..N-2 go to parked workers 0..N-2, range N-1 is processed by the
// launching thread itself, so a pass on N threads uses N-1 pool threads.
// Empty ranges are not handed out at all (a pass with E < N or E == 0 wakes
// nobody). run() returns only after every range is done, and everything a
// worker wrote happens-before the return: consecutive passes never overlap.
//
// runLocal() gives each launching thread its own pools, created on first use
// and grown when a pass asks for more threads than they have; workers park on
// a futex-backed atomic between passes. Passes issued back to back, several
// fluids and several host threads therefore never wait on each other. A pass
// started from inside a running pass (nested) uses a pool one level deeper
// of the thread that starts it, never the busy one.
// Per-element operations must not throw: an exception terminates the program.
class WorkerPool {
public:
    WorkerPool() = default;
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;
    // Stops and joins every worker.
    ~WorkerPool();

    // Runs `task` over the split of `elementCount` elements into `threads`
    // ranges (0 threads counts as 1) and waits until all are done.
    void run(uint32_t elementCount, uint32_t threads, const RangeTask& task);

    // run() on the calling thread's pool for the current nesting depth.
    static void runLocal(uint32_t elementCount, uint32_t threads, const RangeTask& task);

private:
    struct Worker;

    static unsigned int workerLoop(void* worker);
    void grow(uint32_t workers);
    void runRange(uint32_t threadIndex) noexcept;

    Array<Worker*> workers_;
    RangeTask task_;
    uint32_t elementCount_ = 0;
    uint32_t threads_ = 1;
    std::atomic<uint32_t> pending_{0};
    std::atomic<bool> stopping_{false};
};

}  // namespace kelvar::fluid
