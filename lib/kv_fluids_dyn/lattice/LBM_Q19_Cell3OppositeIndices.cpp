#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3OppositeIndices.h"

#include <iterator>

#include "kv_fluids_dyn/lattice/LBM_Q19_Constants.h"

namespace kelvar::fluid {

const LBM_Q19_Cell3OppositeIndices* LBM_Q19_Cell3OppositeIndices::instance() {
    static const LBM_Q19_Cell3OppositeIndices table;
    return &table;
}

LBM_Q19_Cell3OppositeIndices::LBM_Q19_Cell3OppositeIndices() {
    assign(std::begin(q19::kOpposite), std::end(q19::kOpposite));
}

LBM_Q19_Cell3OppositeIndices::~LBM_Q19_Cell3OppositeIndices() = default;

}  // namespace kelvar::fluid
