#pragma once

#include "kv_fluids_dyn/lattice/LBM_Cell3Shifter.h"

namespace kelvar::fluid {

// The D3Q19 displacement vectors, one integer triple per direction.
// Built on the first call of instance() and read-only afterwards, so any
// number of threads may read it once it exists.
class KV_EXPORT LBM_Q19_Cell3Shifter : public LBM_Cell3Shifter {
public:
    static const LBM_Q19_Cell3Shifter* instance();
    ~LBM_Q19_Cell3Shifter();

private:
    LBM_Q19_Cell3Shifter();
    LBM_Q19_Cell3Shifter(const LBM_Q19_Cell3Shifter&) = delete;
    LBM_Q19_Cell3Shifter& operator=(const LBM_Q19_Cell3Shifter&) = delete;
};

}  // namespace kelvar::fluid
