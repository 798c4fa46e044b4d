#include "kv_fluids_dyn/parallel/RunParallel.h"

#include "kv_fluids_dyn/parallel/internal/WorkerPool.h"

namespace kelvar::fluid {

void runRangeTask(const uint32_t& elementCount, const unsigned int& threads, const RangeTask& task) {
    WorkerPool::runLocal(elementCount, threads, task);
}

}  // namespace kelvar::fluid
