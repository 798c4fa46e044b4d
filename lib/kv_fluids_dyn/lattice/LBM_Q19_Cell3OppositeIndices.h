#pragma once

#include "kv_fluids_dyn/lattice/LBM_Cell3OppositeIndices.h"

namespace kelvar::fluid {

// The opposite of every D3Q19 direction.
// Built on the first call of instance() and read-only afterwards, so any
// number of threads may read it once it exists.
class KV_EXPORT LBM_Q19_Cell3OppositeIndices : public LBM_Cell3OppositeIndices {
public:
    static const LBM_Q19_Cell3OppositeIndices* instance();
    ~LBM_Q19_Cell3OppositeIndices();

private:
    LBM_Q19_Cell3OppositeIndices();
    LBM_Q19_Cell3OppositeIndices(const LBM_Q19_Cell3OppositeIndices&) = delete;
    LBM_Q19_Cell3OppositeIndices& operator=(const LBM_Q19_Cell3OppositeIndices&) = delete;
};

}  // namespace kelvar::fluid
