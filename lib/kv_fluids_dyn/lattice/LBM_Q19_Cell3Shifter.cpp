#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3Shifter.h"

#include "kv_fluids_dyn/lattice/LBM_Q19_Constants.h"

namespace kelvar::fluid {

const LBM_Q19_Cell3Shifter* LBM_Q19_Cell3Shifter::instance() {
    static const LBM_Q19_Cell3Shifter table;
    return &table;
}

LBM_Q19_Cell3Shifter::LBM_Q19_Cell3Shifter() {
    resize(q19::kDirectionCount);
    for (unsigned int i = 0; i < q19::kDirectionCount; ++i)
        (*this)[i] = {q19::kDirection[i][0], q19::kDirection[i][1], q19::kDirection[i][2]};
}

LBM_Q19_Cell3Shifter::~LBM_Q19_Cell3Shifter() = default;

}  // namespace kelvar::fluid
