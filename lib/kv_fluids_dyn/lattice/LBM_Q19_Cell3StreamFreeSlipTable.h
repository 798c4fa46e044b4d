#pragma once

#include "kv_fluids_dyn/lattice/LBM_Cell3StreamFreeSlipTable.h"

namespace kelvar::fluid {

// The D3Q19 free-slip table: rows 0 to 6 are absent, rows 7 to 18 describe
// how each diagonal slides along a wall.
// Built on the first call of instance() and read-only afterwards, so any
// number of threads may read it once it exists.
class KV_EXPORT LBM_Q19_Cell3StreamFreeSlipTable : public LBM_Cell3StreamFreeSlipTable {
public:
    static const LBM_Q19_Cell3StreamFreeSlipTable* instance();
    ~LBM_Q19_Cell3StreamFreeSlipTable();

private:
    LBM_Q19_Cell3StreamFreeSlipTable();
    LBM_Q19_Cell3StreamFreeSlipTable(const LBM_Q19_Cell3StreamFreeSlipTable&) = delete;
    LBM_Q19_Cell3StreamFreeSlipTable& operator=(const LBM_Q19_Cell3StreamFreeSlipTable&) = delete;
};

}  // namespace kelvar::fluid
