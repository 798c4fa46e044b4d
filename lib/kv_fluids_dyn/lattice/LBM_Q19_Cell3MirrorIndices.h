#pragma once

#include "kv_fluids_dyn/lattice/LBM_Cell3MirrorIndices.h"

namespace kelvar::fluid {

// The D3Q19 mirror rows: rows 1, 2 and 5 (x, y, z) hold 19 entries each, rows
// 0, 3, 4 and 6 are empty.
// Built on the first call of instance() and read-only afterwards, so any
// number of threads may read it once it exists.
class KV_EXPORT LBM_Q19_Cell3MirrorIndices : public LBM_Cell3MirrorIndices {
public:
    static const LBM_Q19_Cell3MirrorIndices* instance();
    ~LBM_Q19_Cell3MirrorIndices();

private:
    LBM_Q19_Cell3MirrorIndices();
    LBM_Q19_Cell3MirrorIndices(const LBM_Q19_Cell3MirrorIndices&) = delete;
    LBM_Q19_Cell3MirrorIndices& operator=(const LBM_Q19_Cell3MirrorIndices&) = delete;
};

}  // namespace kelvar::fluid
