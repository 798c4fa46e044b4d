#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3StreamFreeSlipTable.h"

#include <algorithm>
#include <iterator>

#include "kv_fluids_dyn/lattice/LBM_Q19_Constants.h"

namespace kelvar::fluid {

const LBM_Q19_Cell3StreamFreeSlipTable* LBM_Q19_Cell3StreamFreeSlipTable::instance() {
    static const LBM_Q19_Cell3StreamFreeSlipTable table;
    return &table;
}

LBM_Q19_Cell3StreamFreeSlipTable::LBM_Q19_Cell3StreamFreeSlipTable() {
    resize(q19::kDirectionCount);
    for (unsigned int d = 0; d < q19::kDirectionCount; ++d)
        std::copy(std::begin(q19::kFreeSlip[d]), std::end(q19::kFreeSlip[d]), (*this)[d].begin());
}

LBM_Q19_Cell3StreamFreeSlipTable::~LBM_Q19_Cell3StreamFreeSlipTable() = default;

}  // namespace kelvar::fluid
