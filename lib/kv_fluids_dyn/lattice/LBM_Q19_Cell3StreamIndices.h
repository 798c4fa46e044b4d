#pragma once

#include "kv_fluids_dyn/lattice/LBM_Cell3StreamIndices.h"

namespace kelvar::fluid {

// The nine D3Q19 stream directions 1, 2, 5, 7, 8, 11, 12, 15, 16.
// Built on the first call of instance() and read-only afterwards, so any
// number of threads may read it once it exists.
class KV_EXPORT LBM_Q19_Cell3StreamIndices : public LBM_Cell3StreamIndices {
public:
    static const LBM_Q19_Cell3StreamIndices* instance();
    ~LBM_Q19_Cell3StreamIndices();

private:
    LBM_Q19_Cell3StreamIndices();
    LBM_Q19_Cell3StreamIndices(const LBM_Q19_Cell3StreamIndices&) = delete;
    LBM_Q19_Cell3StreamIndices& operator=(const LBM_Q19_Cell3StreamIndices&) = delete;
};

}  // namespace kelvar::fluid
