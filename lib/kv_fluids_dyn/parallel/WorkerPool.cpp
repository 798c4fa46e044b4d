#include "kv_fluids_dyn/parallel/internal/WorkerPool.h"

#include "kv_fluids_dyn/parallel/Thread.h"

namespace kelvar::fluid {

// One parked worker. `ticket` is bumped by the launcher to hand out a range
// (or to stop); it sits on its own cache line so that waking one worker does
// not disturb the others.
struct alignas(64) WorkerPool::Worker {
    std::atomic<uint32_t> ticket{0};
    WorkerPool* pool = nullptr;
    uint32_t index = 0;
    Thread thread;
};

WorkerPool::~WorkerPool() {
    stopping_.store(true, std::memory_order_relaxed);
    for (Worker* worker : workers_) {
        worker->ticket.fetch_add(1, std::memory_order_release);
        worker->ticket.notify_one();
    }
    for (Worker* worker : workers_) {
        worker->thread.join();
        delete worker;
    }
}

void WorkerPool::run(uint32_t elementCount, uint32_t threads, const RangeTask& task) {
    if (elementCount == 0) return;
    const uint32_t n = threads == 0 ? 1 : threads;
    // With fewer elements than threads only the last range is non-empty.
    const uint32_t helpers = elementCount / n == 0 ? 0 : n - 1;
    grow(helpers);

    task_ = task;
    elementCount_ = elementCount;
    threads_ = n;
    pending_.store(helpers, std::memory_order_relaxed);
    for (uint32_t i = 0; i < helpers; ++i) {
        workers_[i]->ticket.fetch_add(1, std::memory_order_release);
        workers_[i]->ticket.notify_one();
    }

    runRange(n - 1);

    for (uint32_t left = pending_.load(std::memory_order_acquire); left != 0;
         left = pending_.load(std::memory_order_acquire)) {
        pending_.wait(left, std::memory_order_acquire);
    }
}

namespace {

// The pools of one launching thread, one per nesting depth of passes.
struct LocalPools {
    Array<WorkerPool*> byDepth;
    uint32_t depth = 0;
    ~LocalPools() {
        for (WorkerPool* pool : byDepth) delete pool;
    }
};

}  // namespace

void WorkerPool::runLocal(uint32_t elementCount, uint32_t threads, const RangeTask& task) {
    thread_local LocalPools pools;
    if (pools.depth == pools.byDepth.size()) pools.byDepth.push_back(new WorkerPool);
    WorkerPool* pool = pools.byDepth[pools.depth];
    ++pools.depth;
    pool->run(elementCount, threads, task);
    --pools.depth;
}

unsigned int WorkerPool::workerLoop(void* argument) {
    Worker& worker = *static_cast<Worker*>(argument);
    WorkerPool& pool = *worker.pool;
    uint32_t seen = 0;
    for (;;) {
        worker.ticket.wait(seen, std::memory_order_acquire);
        seen = worker.ticket.load(std::memory_order_acquire);
        if (pool.stopping_.load(std::memory_order_relaxed)) return 0;
        pool.runRange(worker.index);
        if (pool.pending_.fetch_sub(1, std::memory_order_acq_rel) == 1) pool.pending_.notify_one();
    }
}

void WorkerPool::grow(uint32_t workers) {
    while (workers_.size() < workers) {
        Worker* worker = new Worker;
        worker->pool = this;
        worker->index = workers_.size();
        workers_.push_back(worker);
        worker->thread.start(&WorkerPool::workerLoop, worker);
    }
}

void WorkerPool::runRange(uint32_t threadIndex) noexcept {
    const WorkRange range = splitWork(elementCount_, threads_, threadIndex);
    if (range.count != 0) task_.run(task_.context, range);
}

}  // namespace kelvar::fluid
